#include "qvrecordingplayer.h"

#include "qvfusioncameradataprocessor.h"

#include <QFileInfo>

QvRecordingPlayer::QvRecordingPlayer(QObject* parent)
    : QObject(parent), m_raw(new QvEventProcessor), m_fusion(new QvFusionCameraDataProcessor) {
    // Frames and reports come from the processors' threads: queued onto the GUI thread.
    const auto queued = Qt::QueuedConnection;
    using P = QvEventProcessor;
    using F = QvFusionCameraDataProcessor;
    using R = QvRecordingPlayer;
    connect(m_raw, &P::signalEventImage, this, &R::imageReady, queued);
    connect(m_raw, &P::signalRealTimeTimeStamp, this, &R::positionChanged, queued);
    connect(m_raw, &P::signalLocalTime, this, &R::localTimeChanged, queued);
    connect(m_raw, &P::signalStartTimeStamp, this, &R::startTimeChanged, queued);
    connect(m_raw, &P::signalEndTimeStamp, this, &R::endTimeChanged, queued);
    connect(m_raw, &P::signalPlayStatus, this, &R::playStatusChanged, queued);
    connect(m_raw, &P::signalLoadingStatus, this, &R::loadingStatusChanged, queued);
    connect(m_raw, &P::signalTriggerList, this, &R::triggersFound, queued);
    connect(m_raw, &P::signalShowLeftBottomTips, this, &R::showTips, queued);
    connect(m_fusion, &F::signalFusionImage, this, &R::imageReady, queued);
    connect(m_fusion, &F::signalTimeStamp, this, &R::positionChanged, queued);
    connect(m_fusion, &F::signalLocalTime, this, &R::localTimeChanged, queued);
    connect(m_fusion, &F::signalStartTimeStamp, this, &R::startTimeChanged, queued);
    connect(m_fusion, &F::signalEndTimeStamp, this, &R::endTimeChanged, queued);
    connect(m_fusion, &F::signalPlayStatus, this, &R::playStatusChanged, queued);
    connect(m_fusion, &F::signalPalyFileFinished, this, [this] { emit playStatusChanged(false); }, queued);
    connect(m_fusion, &F::signalLoadingStatus, this, &R::loadingStatusChanged, queued);
    connect(m_fusion, &F::signalShowLeftBottomTips, this, &R::showTips, queued);
    connect(m_fusion, &F::signalFusionFileFailed, this, &R::fusionFileFailed, queued);
}

QvRecordingPlayer::~QvRecordingPlayer() {
    delete m_fusion;
    delete m_raw;
}

bool QvRecordingPlayer::hasApsVideo(const QString& rawPath) {
    const QFileInfo info(rawPath);
    return QFileInfo::exists(QStringLiteral("%1/%2.mp4").arg(info.absolutePath(), info.completeBaseName()));
}

bool QvRecordingPlayer::hasFile() const {
    return m_useFusion ? m_fusion->hasFile() : m_raw->hasFile();
}

bool QvRecordingPlayer::isLoading() const {
    return m_raw->isLoading() || m_fusion->isBusy();
}

bool QvRecordingPlayer::isBusy() const {
    return isLoading() || m_raw->isJobRunning();
}

bool QvRecordingPlayer::isPlaying() const {
    return m_useFusion ? m_fusion->isPlaying() : m_raw->isPlaying();
}

QSize QvRecordingPlayer::resolution() const {
    if (m_useFusion)
        return m_fusion->hasFile() && !m_fusion->isBusy() ? QSize(m_fusion->imageWidth(), m_fusion->imageHeight())
                                                           : QSize();
    return m_raw->fileResolution();
}

void QvRecordingPlayer::close() {
    if (m_raw->hasFile()) {
        if (m_raw->isPlaying())
            m_raw->slotPlaybackCtrl(false);
        m_raw->loadFile(QString());
    }
    m_fusion->closeFile();
}

QvTimeline QvRecordingPlayer::timeline(int maxBuckets) const {
    quorvel::DvsTimeline t;
    const bool ok = m_useFusion ? m_fusion->timeline(static_cast<size_t>(maxBuckets), t)
                                : m_raw->timeline(static_cast<size_t>(maxBuckets), t);
    QvTimeline out;
    if (!ok)
        return out;
    out.startUs = t.startUs;
    out.bucketUs = t.bucketUs;
    out.eventsPerSecond = QVector<float>(t.eventsPerSecond.begin(), t.eventsPerSecond.end());
    for (const auto& [from, to] : t.badRanges)
        out.badRanges.append({from, to});
    out.wallClockAtStart = m_useFusion ? m_fusion->wallClockAt(t.startUs) : m_raw->wallClockAt(t.startUs);
    return out;
}

void QvRecordingPlayer::play(bool play) {
    if (m_useFusion)
        m_fusion->slotPlaybackCtrl(play);
    else
        m_raw->slotPlaybackCtrl(play);
}

void QvRecordingPlayer::nextFrame() {
    m_useFusion ? m_fusion->nextFrame() : m_raw->nextFrame();
}

void QvRecordingPlayer::preFrame() {
    m_useFusion ? m_fusion->preFrame() : m_raw->preFrame();
}

void QvRecordingPlayer::reset() {
    m_useFusion ? m_fusion->slotPlaybackReset() : m_raw->slotPlaybackReset();
}

void QvRecordingPlayer::seek(uint64_t timestampUs) {
    m_useFusion ? m_fusion->setPlayPos(timestampUs) : m_raw->setPlayPos(timestampUs);
}

void QvRecordingPlayer::setLowerTimeStamp(uint64_t timestampUs) {
    m_useFusion ? m_fusion->slotSetLowerTimeStamp(timestampUs) : m_raw->slotSetLowerTimeStamp(timestampUs);
}

void QvRecordingPlayer::setUpperTimeStamp(uint64_t timestampUs) {
    m_useFusion ? m_fusion->slotSetUpperTimeStamp(timestampUs) : m_raw->slotSetUpperTimeStamp(timestampUs);
}

void QvRecordingPlayer::setLoop(bool loop) {
    m_raw->slotPlayLoop(loop);
    m_fusion->slotSetReplayFlag(loop);
}

void QvRecordingPlayer::setAccTime(uint64_t timeUs) {
    m_raw->setAccTime(timeUs);
    m_fusion->setAccTime(timeUs);
}

void QvRecordingPlayer::setFps(uint32_t fps) {
    if (fps == 0)
        return;
    m_raw->setFps(static_cast<int>(fps));
    m_fusion->setFps(static_cast<int>(fps));
}

void QvRecordingPlayer::setViewerType(quorvel::STREAM_TYPE type) {
    m_fusion->slotSetViewerType(type);
}
