#include "qvfusioncameradataprocessor.h"

#include "appsettings.h"

#include "quorvel/TimeUtils.h"

#include <QDebug>
#include <QFileInfo>

#include <chrono>
#include <cstring>

namespace {

uint64_t nowNs() {
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch()).count());
}

// The frames are kept at the largest APS geometry, so that any video plays without allocating.
constexpr int kMaxApsWidth = 3840;
constexpr int kMaxApsHeight = 2160;

} // namespace

QvFusionCameraDataProcessor::QvFusionCameraDataProcessor(QObject* parent)
    : QObject(parent), m_current(kMaxApsWidth, kMaxApsHeight), m_next(kMaxApsWidth, kMaxApsHeight) {
    qRegisterMetaType<uint64_t>("uint64_t");
    qRegisterMetaType<QvMessageType>("QvMessageType");
    qRegisterMetaType<quorvel::STREAM_TYPE>("quorvel::STREAM_TYPE");
    m_fusion.addFusionDataCallback(
        [this](quorvel::ApsFrame& frame, quorvel::Event2D* begin, quorvel::Event2D* end) {
            onAlignedFrame(frame, begin, end);
        });
}

QvFusionCameraDataProcessor::~QvFusionCameraDataProcessor() {
    setFusionCamera(nullptr);
    closeFile();
    m_fusion.removeFusionDataCallback();
}

// ---- state --------------------------------------------------------------------------------------

quorvel::CalibratorParameters QvFusionCameraDataProcessor::calibration() const {
    std::lock_guard lock(m_calibratorMutex);
    return m_calibrator.getCalibrationParam();
}

QImage QvFusionCameraDataProcessor::lastImage() const {
    std::lock_guard lock(m_lastImageMutex);
    return m_lastImage;
}

void QvFusionCameraDataProcessor::waitForLoad() {
    if (m_loadThread.joinable())
        m_loadThread.join();
}

bool QvFusionCameraDataProcessor::ready() const {
    return !m_busy && m_dvsReader && m_apsReader;
}

void QvFusionCameraDataProcessor::pauseIfPlaying() {
    if (!m_playing)
        return;
    m_playing = false;
    joinPlayThread();
    emit signalPlayStatus(false);
}

void QvFusionCameraDataProcessor::joinPlayThread() {
    if (m_playThread.joinable())
        m_playThread.join();
}

QString QvFusionCameraDataProcessor::localTimeText(uint64_t timestampUs) const {
    const auto tp =
        std::chrono::time_point_cast<std::chrono::system_clock::duration>(m_fileInfo.localTimeAt(timestampUs));
    return QString::fromStdString(quorvel::timePointToString(tp));
}

// ---- loading ------------------------------------------------------------------------------------

void QvFusionCameraDataProcessor::slotReadFusionFile(QString path) {
    if (m_busy || path.isEmpty())
        return;
    m_playing = false;
    joinPlayThread();
    m_apsReader.reset();
    m_dvsReader.reset();
    qDebug() << "Load fusion file: " << path;
    // The base name ends at the last dot, even one inside a folder name.
    const int dot = path.lastIndexOf(QLatin1Char('.'));
    const QString base = dot < 0 ? path : path.left(dot);
    m_apsReader = quorvel::ApsFileReader::createFileReader((base + QStringLiteral(".mp4")).toLocal8Bit().toStdString());
    const QString apsError = m_apsReader ? QString() : QString::fromStdString(quorvel::ApsFileReader::lastCreateError());
    m_dvsReader = quorvel::DvsFileReader::createFileReader((base + QStringLiteral(".raw")).toLocal8Bit().toStdString());
    const QString dvsError = m_dvsReader ? QString() : QString::fromStdString(quorvel::DvsFileReader::lastCreateError());
    const QString json = base + QStringLiteral(".json");
    if (QFileInfo::exists(json)) {
        quorvel::CalibratorParameters param;
        std::lock_guard lock(m_calibratorMutex);
        if (quorvel::jsonFileToParam(json.toLocal8Bit().toStdString(), param) && param.isValid()) {
            m_inForce = param;
        } else {
            // The recording plays with the calibration in force; the user learns why it looks off.
            emit signalShowLeftBottomTips(
                tr("The calibration file %1 cannot be read (%2); the calibration in force is used.")
                    .arg(QFileInfo(json).fileName(), QString::fromStdString(quorvel::calibrationLastError())),
                QvMessageWarning, QString());
        }
    }
    if (m_loadThread.joinable())
        m_loadThread.join();
    m_busy = true;
    m_loadThread = std::thread([this, path, apsError, dvsError] {
        emit signalLoadingStatus(true);
        loadSequence();
        if (!m_apsReader || !m_dvsReader)
            emit signalFusionFileFailed(path, m_apsReader ? dvsError : apsError);
        m_busy = false;
        emit signalLoadingStatus(false);
    });
}

void QvFusionCameraDataProcessor::loadSequence() {
    if (!m_apsReader) {
        qDebug() << "Load aps file failed.";
        return;
    }
    if (!m_dvsReader) {
        qDebug() << "Load dvs file failed.";
        return;
    }
    m_apsOffset = m_apsReader->getApsTimeOffset();
    m_dvsReader->prepareFile();
    uint64_t start = 0, end = 0;
    m_dvsReader->getStartTimestamp(start);
    m_dvsReader->getEndTimestamp(end);
    m_dvsReader->getFileInfo(m_fileInfo);
    m_dvsStart = start;
    m_dvsEnd = end;
    m_width = std::max<int>(1, m_dvsReader->getWidth());
    m_height = std::max<int>(1, m_dvsReader->getHeight());
    {
        std::lock_guard lock(m_calibratorMutex);
        quorvel::CalibratorParameters mirrored = mirroredForPlayback(m_inForce, m_width, m_height);
        m_calibrator.loadCalibrationParam(mirrored);
    }
    m_apsReader->rewind();
    m_haveNext = readMapped(m_next);
    m_current.setTimestamp(0);
    qDebug() << "Read aps file time offset: " << m_apsOffset;
    m_fusionStart = start;
    m_fusionEnd = end;
    m_timeBase = start;
    emit signalStartTimeStamp(start);
    emit signalEndTimeStamp(end);
    qDebug() << "fusion file start : " << start << "fusion_file_end_timestamp_: " << end << "time base: " << start;
}

void QvFusionCameraDataProcessor::closeFile() {
    m_playing = false;
    joinPlayThread();
    waitForLoad();
    m_apsReader.reset();
    m_dvsReader.reset();
}

// ---- aligning and drawing -----------------------------------------------------------------------

quorvel::CalibratorParameters QvFusionCameraDataProcessor::mirroredForPlayback(quorvel::CalibratorParameters param,
                                                                                int width, int height) {
    // Frames are warped to the geometry of the events they are shown with; and since the events
    // of a recording are drawn mirrored (at width - x), the frame is mirrored the same way, so
    // that both show the scene alike: output column x takes the APS pixel of DVS column width - x.
    param.dvsWidth = width;
    param.dvsHeight = height;
    auto& m = param.affine;
    m[2] += m[0] * width;
    m[0] = -m[0];
    m[5] += m[3] * width;
    m[3] = -m[3];
    return param;
}

bool QvFusionCameraDataProcessor::readMapped(quorvel::ApsFrame& frame) {
    if (!m_apsReader || !m_apsReader->readFrame(m_raw))
        return false;
    std::lock_guard lock(m_calibratorMutex);
    return m_calibrator.mapApsToDvs(m_raw, frame);
}

bool QvFusionCameraDataProcessor::seekApsTo(uint64_t timestampUs) {
    const uint64_t local = timestampUs > m_apsOffset ? timestampUs - m_apsOffset : 0;
    if (!m_apsReader || !m_apsReader->seekTime(local) || !readMapped(m_current))
        return false;
    m_haveNext = readMapped(m_next);
    return true;
}

void QvFusionCameraDataProcessor::selectApsFrame(uint64_t timeBase) {
    const uint64_t offset = m_apsOffset;
    const uint64_t currentAt = m_current.getTimestamp() + offset;
    if (!m_haveNext) {
        // Past the last frame of the video: the last frame stays, unless the time base went back.
        if (timeBase < currentAt)
            seekApsTo(timeBase);
        return;
    }
    const uint64_t nextAt = m_next.getTimestamp() + offset;
    if (timeBase < nextAt && timeBase >= currentAt)
        return;
    if (timeBase < nextAt) { // a jump backwards
        seekApsTo(timeBase);
        return;
    }
    // Forward: a few frames are stepped through; a longer jump seeks, so that the frame shown is
    // always the last one whose time is not after the time base.
    for (int steps = 0; m_haveNext && timeBase >= m_next.getTimestamp() + offset; ++steps) {
        if (steps == 4) {
            seekApsTo(timeBase);
            return;
        }
        std::swap(m_current, m_next);
        m_haveNext = readMapped(m_next);
    }
}

QImage& QvFusionCameraDataProcessor::freeImage() {
    for (QImage& image : m_images)
        if (image.isNull() || image.isDetached()) {
            if (image.width() != m_width || image.height() != m_height)
                image = QImage(m_width, m_height, QImage::Format_BGR888);
            return image;
        }
    // Every image is still held by a receiver: this one detaches into a fresh buffer.
    m_images[0] = QImage(m_width, m_height, QImage::Format_BGR888);
    return m_images[0];
}

namespace {

void copyFrameInto(const quorvel::ApsFrame& frame, QImage& image) {
    const int rows = std::min(frame.getHeight(), image.height());
    const size_t rowBytes = static_cast<size_t>(std::min(frame.getWidth(), image.width())) * 3;
    for (int y = 0; y < rows; ++y)
        std::memcpy(image.scanLine(y), frame.data() + static_cast<size_t>(y) * frame.getStride(), rowBytes);
    // A video smaller than the image (a calibration made for other sensors) leaves black around it.
    const size_t imageRowBytes = static_cast<size_t>(image.width()) * 3;
    for (int y = 0; y < image.height() && (rows < image.height() || rowBytes < imageRowBytes); ++y) {
        if (y >= rows)
            std::memset(image.scanLine(y), 0, imageRowBytes);
        else
            std::memset(image.scanLine(y) + rowBytes, 0, imageRowBytes - rowBytes);
    }
}

} // namespace

void QvFusionCameraDataProcessor::drawEvents(QImage& image, const quorvel::Event2D* begin, const quorvel::Event2D* end,
                                             bool mirror) const {
    const AppSettings* settings = AppSettings::instance();
    const QRgb on = settings->positiveColor.rgb();
    const QRgb off = settings->negativeColor.rgb();
    // BGR888: blue first.
    const uint8_t onPx[3] = {uint8_t(qBlue(on)), uint8_t(qGreen(on)), uint8_t(qRed(on))};
    const uint8_t offPx[3] = {uint8_t(qBlue(off)), uint8_t(qGreen(off)), uint8_t(qRed(off))};
    const uint32_t width = static_cast<uint32_t>(image.width());
    const uint32_t height = static_cast<uint32_t>(image.height());
    uchar* bits = image.bits();
    const qsizetype stride = image.bytesPerLine();
    for (const quorvel::Event2D* e = begin; e != end; ++e) {
        // A recording is shown mirrored at width - x (not width - 1 - x): column 0 falls outside.
        const uint32_t x = mirror ? width - e->x : e->x;
        if (x >= width || e->y >= height)
            continue;
        std::memcpy(bits + e->y * stride + x * 3, e->polarity == 1 ? onPx : offPx, 3);
    }
}

void QvFusionCameraDataProcessor::publish(const QImage& image, uint64_t timestampUs) {
    {
        std::lock_guard lock(m_lastImageMutex);
        m_lastImage = image;
    }
    ++m_emitted;
    emit signalFusionImage(image);
    emit signalTimeStamp(timestampUs);
}

void QvFusionCameraDataProcessor::renderAt(uint64_t timeBase) {
    std::lock_guard lock(m_renderMutex);
    selectApsFrame(timeBase);
    const uint64_t offset = m_apsOffset;
    const uint64_t acc = m_accTime;
    const uint64_t from = timeBase > acc ? timeBase - acc : 0;
    const std::shared_ptr<std::vector<quorvel::Event2D>> batch = m_dvsReader->getEventsInRange(from, timeBase - from);
    const int type = m_viewerType;
    QImage& image = freeImage();
    if (type == quorvel::STREAM_DVS)
        image.fill(AppSettings::instance()->backgroundColor);
    else
        copyFrameInto(m_current, image);
    if (!batch || batch->empty()) {
        qDebug() << "get aps frame ts: " << m_current.getTimestamp() + offset
                 << "next aps ts: " << m_next.getTimestamp() + offset << " timebase: " << timeBase;
    } else {
        if (type != quorvel::STREAM_APS)
            drawEvents(image, batch->data(), batch->data() + batch->size(), true);
        qDebug() << "get aps frame ts: " << m_current.getTimestamp() + offset
                 << "next aps ts: " << m_next.getTimestamp() + offset << " timebase: " << timeBase
                 << " dvs start ts: " << batch->front().timestamp << " dvs end ts: " << batch->back().timestamp;
    }
    publish(image, timeBase);
    emit signalLocalTime(localTimeText(timeBase));
}

// ---- transport ----------------------------------------------------------------------------------

void QvFusionCameraDataProcessor::slotPlaybackCtrl(bool play) {
    if (!play) {
        m_playing = false;
        joinPlayThread();
        return;
    }
    if (!m_apsReader || m_busy)
        return;
    joinPlayThread();
    m_playing = true;
    m_playThread = std::thread(&QvFusionCameraDataProcessor::playLoop, this);
}

void QvFusionCameraDataProcessor::playLoop() {
    while (m_playing) {
        const uint64_t t0 = nowNs();
        m_timeBase += m_timeInterval;
        renderAt(m_timeBase);
        if (m_timeBase >= m_fusionEnd) {
            std::lock_guard lock(m_renderMutex);
            m_apsReader->rewind();
            m_dvsReader->seekTime(m_dvsStart);
            if (!readMapped(m_next)) {
                m_haveNext = false;
                m_playing = false;
                emit signalPalyFileFinished();
                return;
            }
            m_haveNext = true;
            m_current.setTimestamp(0);
            m_timeBase = m_fusionStart.load();
            if (!m_replay) {
                m_playing = false;
                emit signalPalyFileFinished();
            }
        }
        const uint64_t elapsedUs = (nowNs() - t0) / 1000;
        if (elapsedUs < kPlayFramePeriodUs && m_playing)
            std::this_thread::sleep_for(std::chrono::microseconds(kPlayFramePeriodUs - elapsedUs));
    }
}

void QvFusionCameraDataProcessor::nextFrame() {
    if (!ready())
        return;
    pauseIfPlaying();
    if (m_timeBase + m_accTime < m_fusionEnd) {
        m_timeBase += m_timeInterval;
        renderAt(m_timeBase);
        qDebug() << "time base update: " << m_timeBase.load() << " interval: " << m_timeInterval.load();
    }
}

void QvFusionCameraDataProcessor::preFrame() {
    if (!ready())
        return;
    pauseIfPlaying();
    const uint64_t back = m_timeBase - m_timeInterval; // unsigned, as the position arithmetic always is
    m_timeBase = back > m_fusionStart ? back : m_fusionStart.load();
    renderAt(m_timeBase);
}

void QvFusionCameraDataProcessor::slotPlaybackReset() {
    if (!ready())
        return;
    m_playing = false;
    joinPlayThread();
    emit signalPlayStatus(false);
    {
        std::lock_guard lock(m_renderMutex);
        m_apsReader->rewind();
        m_dvsReader->seekTime(m_fusionStart);
        m_haveNext = readMapped(m_next);
        m_current.setTimestamp(0);
    }
    m_timeBase = m_fusionStart.load();
    renderAt(m_timeBase);
}

void QvFusionCameraDataProcessor::setPlayPos(uint64_t timestamp_us) {
    if (!m_dvsReader || !m_apsReader || m_busy)
        return;
    pauseIfPlaying();
    m_timeBase = timestamp_us;
    {
        std::lock_guard lock(m_renderMutex);
        seekApsTo(timestamp_us);
    }
    renderAt(timestamp_us);
}

void QvFusionCameraDataProcessor::setFps(int fps) {
    m_fps = static_cast<uint64_t>(fps);
    m_timeInterval = 1000000 / m_fps;
    qDebug() << "set fps: " << fps << " time interval: " << m_timeInterval.load();
}

void QvFusionCameraDataProcessor::setAccTime(uint64_t time_us) {
    m_accTime = time_us;
}

void QvFusionCameraDataProcessor::slotSetLowerTimeStamp(uint64_t timestamp) {
    m_fusionStart = timestamp;
}

void QvFusionCameraDataProcessor::slotSetUpperTimeStamp(uint64_t timestamp) {
    m_fusionEnd = timestamp;
}

void QvFusionCameraDataProcessor::slotSetReplayFlag(bool replay) {
    m_replay = replay;
}

void QvFusionCameraDataProcessor::slotSetViewerType(quorvel::STREAM_TYPE type) {
    m_viewerType = type;
    // A paused recording shows the new type at once; a playing one or a live camera on its next frame.
    if (ready() && !m_playing)
        renderAt(m_timeBase);
}

// ---- manual calibration -------------------------------------------------------------------------

void QvFusionCameraDataProcessor::slotSetApsOffset(double x, double y) {
    {
        std::lock_guard lock(m_calibratorMutex);
        m_offsetX = x;
        m_offsetY = y;
        m_calibrator.adjustAffineTranslation(x, y);
    }
    // A paused recording is warped again at once.
    if (ready() && !m_playing) {
        {
            std::lock_guard lock(m_renderMutex);
            seekApsTo(m_timeBase);
        }
        renderAt(m_timeBase);
    }
}

void QvFusionCameraDataProcessor::slotApplyOffset() {
    writeManualCalibration();
}

bool QvFusionCameraDataProcessor::writeManualCalibration() {
    std::string path = (AppSettings::instance()->appConfigPath + QLatin1String(kManualCalibrationFile)).toLocal8Bit().toStdString();
    bool saved = false;
    {
        std::lock_guard lock(m_calibratorMutex);
        saved = m_calibrator.saveCalibrationParam(path);
    }
    const bool ok = saved && m_camera && m_camera->isConnected() && m_camera->setCalibrationFile(path);
    if (ok)
        emit signalShowLeftBottomTips(tr("Manual calibration parameters were written successfully!"), QvMessageSuccess,
                                      QString());
    else
        emit signalShowLeftBottomTips(tr("Manual calibration parameters were written failed!"), QvMessageError, QString());
    return ok;
}

// ---- live camera --------------------------------------------------------------------------------

// The camera's APS callback holds this gate, never the processor: closing it waits for a frame
// being handed over on the camera's thread and keeps later ones out.
struct QvFusionCameraDataProcessor::CallbackGate {
    std::mutex mutex;
    QvFusionCameraDataProcessor* owner = nullptr;
};

void QvFusionCameraDataProcessor::setFusionCamera(std::shared_ptr<quorvel::FusionCamera> camera) {
    if (m_gate) {
        std::lock_guard lock(m_gate->mutex);
        m_gate->owner = nullptr;
    }
    if (m_camera && m_apsCallbackId != -1)
        m_camera->removeApsFrameCallback(m_apsCallbackId);
    m_apsCallbackId = -1;
    {
        // A frame being drawn for the old camera finishes before it goes.
        std::lock_guard lock(m_renderMutex);
        m_camera = std::move(camera);
    }
    m_fusion.clear();
    if (!m_camera)
        return;
    {
        std::lock_guard lock(m_calibratorMutex);
        quorvel::CalibratorParameters param = m_camera->getCalibrationParam();
        param.translationX = m_offsetX;
        param.translationY = m_offsetY;
        if (m_calibrator.loadCalibrationParam(param))
            m_inForce = param;
        m_width = param.dvsWidth;
        m_height = param.dvsHeight;
    }
    m_gate = std::make_shared<CallbackGate>();
    m_gate->owner = this;
    m_apsCallbackId = m_camera->addApsFrameCallback([gate = m_gate](const quorvel::ApsFrame& frame) {
        std::lock_guard lock(gate->mutex);
        if (gate->owner) {
            gate->owner->m_fusion.addApsData(frame);
            gate->owner->m_fusion.fusionData();
        }
    });
}

void QvFusionCameraDataProcessor::addLiveEvents(const quorvel::Event2D* begin, const quorvel::Event2D* end) {
    m_fusion.addDvsData(begin, end);
    m_fusion.fusionData();
}

void QvFusionCameraDataProcessor::onAlignedFrame(quorvel::ApsFrame& frame, quorvel::Event2D* begin,
                                                 quorvel::Event2D* end) {
    std::lock_guard lock(m_renderMutex);
    if (!m_camera)
        return;
    {
        std::lock_guard cal(m_calibratorMutex);
        m_calibrator.mapApsToDvs(frame, m_liveMapped);
    }
    const int type = m_viewerType;
    if (type == quorvel::STREAM_FUSION && !m_camera->isConnected())
        return;
    QImage& image = freeImage();
    if (type == quorvel::STREAM_DVS) {
        image.fill(AppSettings::instance()->backgroundColor);
        drawEvents(image, begin, end, false);
    } else {
        copyFrameInto(m_liveMapped, image);
        if (type == quorvel::STREAM_FUSION)
            drawEvents(image, begin, end, false);
    }
    publish(image, frame.getTimestamp());
}
