// The playback half of QvEventProcessor: loading a recording, the play loop, steps, seeks, loop
// and reset. Rendering is in qveventprocessor.cpp.

#include "qveventprocessor.h"

#include "quorvel/TimeUtils.h"

#include <QDebug>

#include <chrono>

using quorvel::Event2D;

namespace {
uint64_t monotonicNs() {
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
            .count());
}
} // namespace

bool QvEventProcessor::readyForPlayback() const {
    return m_reader && !m_loading;
}

QSize QvEventProcessor::fileResolution() const {
    if (!m_reader || m_loading)
        return {};
    return QSize(m_reader->getWidth(), m_reader->getHeight());
}

QString QvEventProcessor::localTimeText(uint64_t timestampUs) const {
    const auto tp = std::chrono::time_point_cast<std::chrono::system_clock::duration>(
        m_fileInfo.localTimeAt(timestampUs));
    return QString::fromStdString(quorvel::timePointToString(tp));
}

double QvEventProcessor::loadProgress() const {
    // The reader is replaced only by loadFile on the GUI thread, the thread that asks.
    return m_loading && m_reader ? m_reader->indexProgress() : 1.0;
}

void QvEventProcessor::waitForLoad() {
    if (m_loadThread.joinable())
        m_loadThread.join();
}

void QvEventProcessor::joinPlayThread() {
    if (m_playThread.joinable() && m_playThread.get_id() != std::this_thread::get_id())
        m_playThread.join();
}

void QvEventProcessor::pauseIfPlaying() {
    if (m_playing) {
        slotPlaybackCtrl(false);
        emit signalPlayStatus(false);
    }
}

void QvEventProcessor::showFrame(const std::shared_ptr<std::vector<Event2D>>& batch) {
    if (!batch || batch->empty())
        return;
    processEvents(batch->data(), batch->data() + batch->size());
    const uint64_t position = m_current;
    emit signalRealTimeTimeStamp(position);
    emit signalLocalTime(localTimeText(position));
    publishFrame();
}

void QvEventProcessor::loadFile(QString path) {
    if (path.isEmpty()) {
        emit signalPlayStatus(false);
        if (m_reader && !m_loading) {
            m_playing = false;
            joinPlayThread();
        }
        if (!m_loading && !isJobRunning())
            m_reader.reset();
        return;
    }
    qDebug() << "Load raw file: " << path;
    if (m_loading) {
        qDebug() << "is loading.";
        return;
    }
    if (isJobRunning()) {
        // A cut or export reads through the current reader: it must finish before the reader goes.
        emit signalShowLeftBottomTips(tr("Please wait until the current export has finished."), QvMessageWarning,
                                      QString());
        return;
    }
    emit signalPlayStatus(false);
    // The play thread reads through the reader: stop it before the reader goes.
    m_playing = false;
    joinPlayThread();
    m_reader.reset();
    m_firstEventTime = kNoTime;
    m_reader = quorvel::DvsFileReader::createFileReader(path.toLocal8Bit().toStdString());
    if (!m_reader) {
        qDebug() << "not raw file." << QString::fromStdString(quorvel::DvsFileReader::lastCreateError());
        emit signalShowLeftBottomTips(
            tr("Cannot open %1: %2")
                .arg(path, QString::fromStdString(quorvel::DvsFileReader::lastCreateError())),
            QvMessageError, QString());
        return;
    }
    if (m_loadThread.joinable())
        m_loadThread.join();
    m_loading = true; // set before the thread starts so that no slot slips in between
    m_loadThread = std::thread(&QvEventProcessor::loadSequence, this);
}

void QvEventProcessor::loadSequence() {
    emit signalLoadingStatus(true);
    m_loading = true;
    uint64_t start = 0;
    uint64_t end = 0;
    m_reader->prepareFile();
    m_reader->getStartTimestamp(start);
    m_firstEventTime = start; // the overview can be drawn from here while the index grows
    m_reader->getEndTimestamp(end);
    m_fileInfo = quorvel::DvsFileInfo{};
    m_reader->getFileInfo(m_fileInfo);
    qDebug() << "Start time: " << start;
    qDebug() << "End time: " << end;
    m_start = start;
    m_end = end;
    m_current = start;

    try {
        const std::vector<quorvel::EventTriggerIn> triggers = m_reader->getTriggerList();
        QvTriggerMarks marks;
        marks.reserve(triggers.size());
        for (const quorvel::EventTriggerIn& t : triggers)
            marks.emplace_back(t.timestamp, static_cast<uint8_t>(t.polarity));
        emit signalTriggerList(marks);
    } catch (...) {
        qDebug() << "No triggers found in file or error reading triggers.";
    }

    emit signalEndTimeStamp(end);
    emit signalStartTimeStamp(start);
    emit signalRealTimeTimeStamp(start);
    emit signalLocalTime(localTimeText(m_current));
    emit signalPlayStatus(true);
    // Cleared before the last signal, so that whoever reacts to it finds the file ready.
    m_loading = false;
    emit signalLoadingStatus(false);
    qDebug() << "Load raw file success.";
}

bool QvEventProcessor::timeline(size_t maxBuckets, quorvel::DvsTimeline& timeline) const {
    const uint64_t from = m_firstEventTime.load();
    return m_reader && from != kNoTime && m_reader->getTimeline(from, maxBuckets, timeline);
}

QDateTime QvEventProcessor::wallClockAt(uint64_t timestampUs) const {
    if (!m_reader || m_loading || m_fileInfo.startTime.time_since_epoch().count() == 0)
        return {};
    const auto tp = m_fileInfo.localTimeAt(timestampUs);
    return QDateTime::fromMSecsSinceEpoch(std::chrono::duration_cast<std::chrono::milliseconds>(tp.time_since_epoch()).count());
}

void QvEventProcessor::slotPlaybackCtrl(bool play) {
    if (!readyForPlayback())
        return;
    if (play) {
        if (m_playing)
            return; // already playing: a second start would lose the running thread
        // A play thread that reached the end by itself has finished but is still joinable.
        joinPlayThread();
        m_playing = true;
        m_playThread = std::thread(&QvEventProcessor::playLoop, this);
    } else {
        m_playing = false;
        joinPlayThread();
    }
}

void QvEventProcessor::playLoop() {
    while (m_playing) {
        const uint64_t t0 = monotonicNs();
        std::unique_lock lock(m_playbackMutex);
        const uint64_t interval = m_timeInterval;
        const uint64_t end = m_end;
        uint64_t current = m_current;
        std::shared_ptr<std::vector<Event2D>> batch;
        if (current + interval <= end) {
            batch = m_reader->getEventsInRange(current, m_accTime);
            current += interval;
        } else {
            // The last frame reads up to and including the end timestamp.
            batch = m_reader->getEventsInRange(current, end - current + 1);
            current = end;
        }
        m_current = current;

        bool reachedEnd = true;
        if (batch) {
            showFrame(batch);
            reachedEnd = current >= end;
        }
        if (reachedEnd) {
            m_reader->seekTime(m_start);
            m_current = m_start.load();
            if (!m_loop) {
                m_playing = false;
                emit signalPlayStatus(false);
                return;
            }
        }
        // Pace to the fixed wall-clock period. The lock is held through the sleep on purpose:
        // a step requested meanwhile waits for the frame in progress.
        const uint64_t elapsedUs = (monotonicNs() - t0) / 1000;
        if (elapsedUs < kPlayFramePeriodUs && m_playing)
            std::this_thread::sleep_for(std::chrono::microseconds(kPlayFramePeriodUs - elapsedUs));
        lock.unlock();
    }
}

void QvEventProcessor::nextFrame() {
    if (!readyForPlayback()) {
        qDebug() << "not raw file.";
        return;
    }
    pauseIfPlaying();
    std::lock_guard lock(m_playbackMutex);
    const uint64_t current = m_current;
    // The accumulation time decides here where the play loop uses the interval; kept as it is.
    if (current + m_accTime < m_end) {
        auto batch = m_reader->getEventsInRange(current, m_accTime);
        m_current = current + m_timeInterval;
        if (batch)
            showFrame(batch);
        else
            qDebug() << "File read end.";
    }
}

void QvEventProcessor::preFrame() {
    if (!readyForPlayback()) {
        qDebug() << "not raw file.";
        return;
    }
    pauseIfPlaying();
    const uint64_t current = m_current;
    const uint64_t interval = m_timeInterval;
    const uint64_t back = current - interval; // unsigned, as the position arithmetic always is
    m_current = back > m_start ? back : m_start.load();
    std::lock_guard lock(m_playbackMutex);
    if (!m_reader->seekTime(m_current))
        return;
    showFrame(m_reader->getNTimeEvents(m_accTime));
}

void QvEventProcessor::setPlayPos(uint64_t timestamp_us) {
    if (!readyForPlayback()) {
        qDebug() << "not raw file.";
        return;
    }
    if (timestamp_us < m_start || timestamp_us > m_end)
        return;
    pauseIfPlaying();
    if (!m_reader->seekTime(timestamp_us)) {
        qDebug() << "seek time err." << timestamp_us;
        return;
    }
    auto batch = m_reader->getEventsInRange(timestamp_us, m_accTime);
    m_current = timestamp_us + m_accTime;
    showFrame(batch);
}

void QvEventProcessor::slotPlaybackReset() {
    if (!readyForPlayback())
        return;
    const uint64_t before = m_current;
    m_playing = false;
    joinPlayThread();
    const uint64_t start = m_start;
    m_reader->seekTime(start);
    auto batch = m_reader->getEventsInRange(start, m_accTime);
    if (batch) {
        processEvents(batch->data(), batch->data() + batch->size());
        publishFrame();
    }
    qDebug() << "set ts: " << start;
    emit signalRealTimeTimeStamp(start);
    emit signalLocalTime(localTimeText(before)); // the position before the reset, kept as it is
    m_current = start;
    emit signalPlayStatus(false);
}

void QvEventProcessor::slotPlayLoop(bool loop) {
    m_loop = loop;
}

void QvEventProcessor::setFps(int fps) {
    m_fps = static_cast<uint64_t>(fps);
    m_timeInterval = 1000000 / m_fps;
    qDebug() << "set fps: " << m_fps << " time interval: " << m_timeInterval.load();
}

void QvEventProcessor::setAccTime(uint64_t time_us) {
    m_accTime = time_us;
}

void QvEventProcessor::slotSetLowerTimeStamp(uint64_t timestamp) {
    m_start = timestamp;
}

void QvEventProcessor::slotSetUpperTimeStamp(uint64_t timestamp) {
    m_end = timestamp;
}

void QvEventProcessor::waitForJobs() {
    if (m_exportVideoThread.joinable())
        m_exportVideoThread.join();
    if (m_cutThread.joinable())
        m_cutThread.join();
}

void QvEventProcessor::slotCutRawFile(QString qs_out_full_path, QString qs_out_dir, uint64_t start_ts,
                                      uint64_t end_ts) {
    if (!readyForPlayback())
        return;
    pauseIfPlaying();
    if (m_cutThread.joinable())
        m_cutThread.join(); // a second cut waits for the first
    ++m_jobsRunning;
    m_cutThread = std::thread(&QvEventProcessor::runCut, this, qs_out_full_path, qs_out_dir, start_ts, end_ts);
}

void QvEventProcessor::slotExportVideo(QString qs_out_full_path, QString qs_out_dir, uint64_t start_ts,
                                       uint64_t end_ts) {
    if (!readyForPlayback())
        return;
    // Playback pauses and the busy indicator holds the transport while the job runs. The export
    // reads through a cursor of its own, so the reader's position and window stay as the user
    // left them and playing on afterwards continues from the same frame.
    pauseIfPlaying();
    if (m_exportVideoThread.joinable())
        m_exportVideoThread.join();
    ++m_jobsRunning;
    m_exportVideoThread =
        std::thread(&QvEventProcessor::runVideoExport, this, qs_out_full_path, qs_out_dir, start_ts, end_ts);
}

void QvEventProcessor::runCut(QString fullPath, QString dir, uint64_t start, uint64_t end) {
    emit signalLoadingStatus(true);
    const bool ok = m_reader->exportRawRange(start, end, fullPath.toLocal8Bit().toStdString());
    if (ok) {
        qDebug() << "extract event data start:" << start << " end: " << end << " success.";
        emit signalShowLeftBottomTips(tr("Export raw file success!"), QvMessageSuccess, dir);
        emit signalShowLeftBottomTips(tr("Export video success!"), QvMessageSuccess, dir);
    } else {
        qDebug() << "cut failed:" << QString::fromStdString(m_reader->lastError());
    }
    --m_jobsRunning;
    emit signalLoadingStatus(false);
}

void QvEventProcessor::runVideoExport(QString fullPath, QString dir, uint64_t start, uint64_t end) {
    qDebug() << "start export video: " << fullPath;
    emit signalLoadingStatus(true);
    const bool ok = m_reader->exportVideoRange(start, end, fullPath.toLocal8Bit().toStdString());
    if (ok)
        qDebug() << "extract event data start:" << start << " end: " << end << " success.";
    else
        qDebug() << "video export failed:" << QString::fromStdString(m_reader->lastError());
    emit signalShowLeftBottomTips(tr("Export video success!"), QvMessageSuccess, dir);
    --m_jobsRunning;
    emit signalLoadingStatus(false);
}
