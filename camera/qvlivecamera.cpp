#include "qvlivecamera.h"

#include "appsettings.h"
#include "qveventprocessor.h"
#include "qvfilerecorder.h"
#include "qvfusioncameradataprocessor.h"
#include "qvutility.h"

#include "quorvel/NetUtils.h"
#include "quorvel/ToolType.h"

#include <QDateTime>
#include <QDebug>
#include <QTimer>

#include <chrono>

// The SDK's callbacks hold this gate, never the object itself: closing it (under its mutex) before
// a camera is let go guarantees that a callback still running on an SDK thread either finishes
// its emit first or finds nobody to report to.
struct QvLiveCamera::CallbackGate {
    std::mutex mutex;
    QvLiveCamera* owner = nullptr;

    template <typename Fn>
    void withOwner(Fn&& fn) {
        std::lock_guard lock(mutex);
        if (owner)
            fn(owner);
    }
};

QvLiveCamera::QvLiveCamera(QvEventProcessor* processor, QvFusionCameraDataProcessor* fusionProcessor,
                           QvFileRecorder* recorder, QObject* parent)
    : QObject(parent), m_processor(processor), m_fusionProcessor(fusionProcessor), m_recorder(recorder) {
    qRegisterMetaType<QvMessageType>("QvMessageType");
    qRegisterMetaType<uint32_t>("uint32_t");
    qRegisterMetaType<uint64_t>("uint64_t");
    qRegisterMetaType<quorvel::StreamLoss>("quorvel::StreamLoss");
    m_watchTimer = new QTimer(this);
    m_watchTimer->setInterval(kWatchIntervalMs);
    connect(m_watchTimer, &QTimer::timeout, this, &QvLiveCamera::watch);
}

QvLiveCamera::~QvLiveCamera() {
    closeCamera();
}

std::vector<quorvel::CameraDescription> QvLiveCamera::searchCameras() {
    qDebug() << "Search cameras ...";
    std::vector<quorvel::CameraDescription> cameras = m_manager.getCameraDescs();
    qDebug() << "Search end ... find: " << cameras.size();
    return cameras;
}

QString QvLiveCamera::networkCheckError(const quorvel::CameraDescription& description) {
    if (description.interfaceType != quorvel::CAMERA_INTERFACE_ETHERNET)
        return {};
    if (description.ip == description.localIp)
        return tr("There is a conflict between the camera ip and the local ip!");
    const auto camera = static_cast<uint32_t>(quorvel::stringToIP(description.ip));
    const auto local = static_cast<uint32_t>(quorvel::stringToIP(description.localIp));
    const auto mask = static_cast<uint32_t>(quorvel::stringToIP(description.mask));
    if ((camera & mask) != (local & mask))
        return tr("The camera ip is not in the same network segment as the local ip!");
    return {};
}

QString QvLiveCamera::bandwidthText(const quorvel::QvStatisticInfo& info) {
    const double mbPerSecond = static_cast<double>(info.bandwidth) / 1024.0 / 1024.0;
    return tr(" Bandwidth: %1 MB/s ").arg(QString::number(mbPerSecond, 'f', 1));
}

QString QvLiveCamera::eventRateText(const quorvel::QvStatisticInfo& info) {
    const double mevPerSecond = static_cast<double>(info.eventRate) / 1000000.0;
    return tr(" Events: %1 MEv/s ").arg(QString::number(mevPerSecond, 'f', 1));
}

QString QvLiveCamera::lossText(const quorvel::StreamLoss& loss) {
    return tr("Lost: %1 events").arg(loss.lostEvents() + loss.queueEvents + loss.recordingEvents);
}

QString QvLiveCamera::lossDetails(const quorvel::StreamLoss& loss) {
    const auto since = loss.gaps.empty() ? loss.since : loss.gaps.front().seenAt;
    const QString at =
        QDateTime::fromMSecsSinceEpoch(std::chrono::duration_cast<std::chrono::milliseconds>(since.time_since_epoch()).count())
            .toString(QStringLiteral("HH:mm:ss"));
    return tr("In the camera: %1 events\nOn the network: %2 packets, %3 events\nDropped by the live view: %4 "
              "events\nLeft out of the recording: %5 events\nSince %6, in %7 gaps")
        .arg(loss.cameraEvents)
        .arg(loss.networkPackets)
        .arg(loss.networkEvents)
        .arg(loss.queueEvents)
        .arg(loss.recordingEvents)
        .arg(at)
        .arg(loss.gapCount);
}

std::shared_ptr<quorvel::DvsCamera> QvLiveCamera::camera() const {
    if (m_fusionCamera)
        return m_fusionCamera;
    return m_dvsCamera;
}

bool QvLiveCamera::openCamera(const quorvel::CameraDescription& description) {
    if (hasCamera())
        closeCamera();
    const std::string& serial = description.serial;
    const QString failed = tr("Open camera: ") + QString::fromStdString(serial) + tr("failed.");
    if (description.product == kFusionProduct) {
        qDebug() << "Open fusion camera.";
        std::shared_ptr<quorvel::FusionCamera> fusion = m_manager.openFusionCamera(serial);
        if (!fusion) {
            qDebug() << failed << QString::fromStdString(quorvel::DvsCameraManager::lastError());
            emit signalShowLeftBottomTips(failed, QvMessageError, QString());
            return false;
        }
        m_fusionCamera = std::move(fusion);
        m_mode = ModeFusion;
        m_firmwareVersion = QString::fromStdString(m_fusionCamera->getFirmwareVersion());
        if (!QvUtility::versionAtLeast(m_firmwareVersion, QLatin1String(kFusionFirmwareMinimum))) {
            qDebug() << "The Tarnix camera firmware needs to be upgraded!" << m_firmwareVersion;
            emit signalShowLeftBottomTips(tr("The Tarnix camera firmware needs to be upgraded!"), QvMessageWarning,
                                          QString());
        }
    } else {
        std::shared_ptr<quorvel::DvsCamera> dvs = m_manager.openCamera(serial);
        if (!dvs) {
            qDebug() << failed << QString::fromStdString(quorvel::DvsCameraManager::lastError());
            emit signalShowLeftBottomTips(failed, QvMessageError, QString());
            return false;
        }
        m_dvsCamera = std::move(dvs);
        m_mode = ModeDvs;
        m_firmwareVersion = QString::fromStdString(m_dvsCamera->getDescription().firmware);
    }
    m_description = camera()->getDescription();
    prepareOpenedCamera();
    return true;
}

bool QvLiveCamera::useCamera(std::shared_ptr<quorvel::DvsCamera> camera) {
    if (hasCamera())
        closeCamera();
    if (!camera)
        return false;
    m_fusionCamera = std::dynamic_pointer_cast<quorvel::FusionCamera>(camera);
    if (!m_fusionCamera)
        m_dvsCamera = std::move(camera);
    m_mode = m_fusionCamera ? ModeFusion : ModeDvs;
    m_description = this->camera()->getDescription();
    m_firmwareVersion = m_fusionCamera ? QString::fromStdString(m_fusionCamera->getFirmwareVersion())
                                       : QString::fromStdString(m_description.firmware);
    prepareOpenedCamera();
    return true;
}

void QvLiveCamera::prepareOpenedCamera() {
    const std::shared_ptr<quorvel::DvsCamera> cam = camera();
    m_gate = std::make_shared<CallbackGate>();
    m_gate->owner = this;
    m_connectionLostReported = false;
    m_lastGapCount = 0;

    cam->setStatisticInfoCallback([gate = m_gate](quorvel::QvStatisticInfo info) {
        gate->withOwner([&](QvLiveCamera* self) {
            emit self->signalStatisticTexts(bandwidthText(info), eventRateText(info));
        });
    });
    // The live view draws at the sensor's geometry; nothing plays from a file meanwhile.
    m_processor->resizeImage(cam->getWidth(), cam->getHeight());
    m_processor->setSourceMode(1);
    cam->setTimeInterval(m_dvsTimeIntervalUs);
    m_recorder->setCamera(cam);
    // A fusion camera's frames are paired with its events and drawn by the fusion processor.
    if (m_fusionCamera)
        m_fusionProcessor->setFusionCamera(m_fusionCamera);
    // Started from the GUI thread's timer: this may run on the worker that opens the camera.
    QMetaObject::invokeMethod(m_watchTimer, qOverload<>(&QTimer::start), Qt::QueuedConnection);
}

void QvLiveCamera::closeGate() {
    if (!m_gate)
        return;
    std::lock_guard lock(m_gate->mutex);
    m_gate->owner = nullptr;
}

void QvLiveCamera::closeCamera() {
    m_watchTimer->stop();
    const std::shared_ptr<quorvel::DvsCamera> cam = camera();
    if (!cam)
        return;
    if (m_handRecording)
        stopRecording();
    // A timed (trigger-in) recording ends too; its thread closes the file.
    m_recorder->stopRecording();
    stopStreaming();
    closeGate();
    cam->setStatisticInfoCallback({});
    if (m_triggerCallbackId != -1)
        cam->removeTriggerInCallback(m_triggerCallbackId);
    m_triggerCallbackId = -1;
    m_recorder->joinTimedRecording();
    m_recorder->setCamera(nullptr);
    if (m_fusionCamera)
        m_fusionProcessor->setFusionCamera(nullptr);
    m_processor->setSourceMode(0);
    m_dvsCamera.reset();
    m_fusionCamera.reset();
    m_mode = ModeNone;
    m_firmwareVersion.clear();
    m_description = {};
    if (m_lastGapCount != 0)
        emit signalLoss(quorvel::StreamLoss{});
    m_lastGapCount = 0;
}

bool QvLiveCamera::startStreaming() {
    const std::shared_ptr<quorvel::DvsCamera> cam = camera();
    if (!cam)
        return false;
    joinPullThread();
    const int result = m_fusionCamera ? m_fusionCamera->start(quorvel::STREAM_FUSION) : cam->start();
    if (result != 0) {
        qDebug() << "Please check the camera connection." << QString::fromStdString(cam->lastError());
        return false;
    }
    if (m_fusionCamera)
        qDebug() << "Fusion camera start";
    m_connectionLostReported = false;
    cam->setTimeInterval(m_dvsTimeIntervalUs);
    m_processor->setSourceMode(1);
    m_streaming = true;
    m_pullCamera = cam;
    m_pullThread = std::thread(&QvLiveCamera::pullLoop, this);
    emit signalStreamingChanged(true);
    return true;
}

void QvLiveCamera::stopStreaming() {
    const std::shared_ptr<quorvel::DvsCamera> cam = camera();
    const bool wasStreaming = m_streaming.exchange(false);
    joinPullThread();
    if (!cam)
        return;
    if (m_fusionCamera) {
        m_fusionCamera->stop(quorvel::STREAM_FUSION);
        qDebug() << "Fusion camera stop.";
    } else {
        cam->stop();
        qDebug() << "stop camera.";
    }
    if (wasStreaming) {
        if (!m_fusionCamera) // the fusion view keeps its last frame
            m_processor->flushFrame();
        emit signalStreamingChanged(false);
    }
}

void QvLiveCamera::joinPullThread() {
    if (m_pullThread.joinable())
        m_pullThread.join();
    m_pullCamera.reset();
}

void QvLiveCamera::pullLoop() {
    using Clock = std::chrono::steady_clock;
    const std::shared_ptr<quorvel::DvsCamera> cam = m_pullCamera;
    const bool fusion = m_fusionCamera != nullptr;
    const int64_t roundUs = 1000000 / kPullRate;
    while (m_streaming) {
        const int64_t t0 = std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count();
        if (cam->getEvents(m_batch) && !m_batch.empty()) {
            if (fusion)
                m_fusionProcessor->addLiveEvents(m_batch.data(), m_batch.data() + m_batch.size());
            else
                m_processor->processEvents(m_batch.data(), m_batch.data() + m_batch.size());
            m_pulledEvents.fetch_add(m_batch.size(), std::memory_order_relaxed);
            emit signalCameraTimestamp(m_batch.back().timestamp);
        }
        const int64_t now = std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count();
        const int64_t elapsedUs = (now - t0) / 1000;
        const int64_t waitUs = roundUs - elapsedUs;
        // Paced from the start of each round: a slow round is not made up for afterwards.
        if (waitUs > 0 && m_streaming) {
            const Clock::time_point current = Clock::now();
            const auto wait = std::chrono::microseconds(waitUs);
            const Clock::time_point deadline =
                Clock::time_point::max() - current > wait ? current + wait : Clock::time_point::max();
            std::this_thread::sleep_until(deadline);
        }
        if (!cam->isConnected()) {
            qDebug() << "Camera connection lost.";
            QMetaObject::invokeMethod(this, &QvLiveCamera::onConnectionLost, Qt::QueuedConnection);
            break;
        }
    }
}

void QvLiveCamera::onConnectionLost() {
    if (!hasCamera() || m_connectionLostReported.exchange(true))
        return;
    // The camera stays open but idle: the window keeps working, and another camera or a recording
    // can be opened.
    const bool wasStreaming = m_streaming.exchange(false);
    joinPullThread();
    if (m_handRecording)
        stopRecording();
    m_recorder->stopRecording();
    if (wasStreaming) {
        if (!m_fusionCamera) // the fusion view keeps its last frame
            m_processor->flushFrame();
        emit signalStreamingChanged(false);
    }
    emit signalConnectionLost();
}

void QvLiveCamera::watch() {
    const std::shared_ptr<quorvel::DvsCamera> cam = camera();
    if (!cam)
        return;
    if (!m_connectionLostReported && !cam->isConnected()) {
        qDebug() << "Camera connection lost.";
        onConnectionLost();
    }
    // A recording the SDK had to end (disk full, folder gone, no permission) is never silent.
    if (m_handRecording && !cam->isRecording()) {
        m_recorder->stopRecording();
        const QString reason = QString::fromStdString(cam->lastError());
        qDebug() << "recording failed:" << reason;
        m_handRecording = false;
        stopRecordingClock();
        emit signalRecordingChanged(false);
        emit signalShowLeftBottomTips(tr("Recording stopped: %1").arg(reason), QvMessageError, m_recordingPath);
    }
    // What the stream lost, where it was counted: the camera's own FIFO, the network, the live
    // view's queue, a recording's queue.
    const quorvel::StreamLoss loss = cam->getStreamLoss();
    if (loss.gapCount != m_lastGapCount) {
        m_lastGapCount = loss.gapCount;
        emit signalLoss(loss);
    }
}

void QvLiveCamera::registerTriggerIn() {
    const std::shared_ptr<quorvel::DvsCamera> cam = camera();
    if (!cam)
        return;
    if (m_triggerCallbackId != -1)
        cam->removeTriggerInCallback(m_triggerCallbackId);
    m_triggerCallbackId = cam->addTriggerInCallback([gate = m_gate](const quorvel::EventTriggerIn& trigger) {
        gate->withOwner([&](QvLiveCamera* self) {
            const AppSettings* settings = AppSettings::instance();
            // Only while recording on trigger edges is switched on: an input enabled in the settings
            // panel for other purposes must not start recordings nobody asked for.
            if (!settings->dvsTriggerInRecEnable)
                return;
            const QString& edge = settings->dvsTriggerInRecEdgeType;
            if ((edge == QLatin1String("Rising Edge") && trigger.polarity == 1) ||
                (edge == QLatin1String("Falling Edge") && trigger.polarity == 0))
                emit self->signalRecByTime(settings->dvsAfterTriggerInSaveTime, self->newRecordingPath());
        });
    });
}

void QvLiveCamera::applyTriggerInSettings() {
    const std::shared_ptr<quorvel::DvsCamera> cam = camera();
    if (!cam)
        return;
    const AppSettings* settings = AppSettings::instance();
    if (settings->dvsTriggerInRecEnable) {
        if (const std::shared_ptr<quorvel::CameraTool> tool = cam->getTool(quorvel::TOOL_TRIGGER_IN))
            tool->setBoolParam("channel_0_enable", true);
        m_recorder->setCacheTime(static_cast<int>(settings->dvsBeforeTriggerInSaveTime));
    } else {
        m_recorder->setCacheTime(0);
    }
}

QString QvLiveCamera::newRecordingPath() const {
    return AppSettings::instance()->outputRawFilePath + QLatin1Char('/') + QString::fromStdString(m_description.serial) +
           QDateTime::currentDateTime().toString(QStringLiteral("_yyyyMMdd_HHmmss")) + QStringLiteral(".raw");
}

QString QvLiveCamera::startRecording() {
    const std::shared_ptr<quorvel::DvsCamera> cam = camera();
    if (!cam || m_handRecording)
        return {};
    qDebug() << "start recording...";
    const QString path = newRecordingPath();
    if (!m_recorder->startRecording(path)) {
        emit signalShowLeftBottomTips(tr("Currently being recorded."), QvMessageWarning, m_recorder->currentPath());
        return {};
    }
    if (!cam->isRecording()) {
        const QString reason = QString::fromStdString(cam->lastError());
        m_recorder->stopRecording();
        emit signalShowLeftBottomTips(tr("Recording failed: %1").arg(reason), QvMessageError, path);
        return {};
    }
    m_handRecording = true;
    m_recordingPath = path;
    startRecordingClock();
    emit signalRecordingChanged(true);
    return path;
}

bool QvLiveCamera::stopRecording() {
    if (!m_handRecording)
        return false;
    qDebug() << "stop recording";
    m_recorder->stopRecording();
    m_handRecording = false;
    emit signalRecordingChanged(false);
    const QString error = m_recorder->lastStopError();
    if (error.isEmpty())
        emit signalShowLeftBottomTips(tr("Save file success!"), QvMessageSuccess, m_recordingPath);
    else
        emit signalShowLeftBottomTips(tr("Recording failed: %1").arg(error), QvMessageError, m_recordingPath);
    stopRecordingClock();
    return true;
}

void QvLiveCamera::startRecordingClock() {
    stopRecordingClock();
    {
        std::lock_guard lock(m_clockMutex);
        m_clockRunning = true;
    }
    m_recordClockThread = std::thread([this] {
        const auto t0 = std::chrono::steady_clock::now();
        std::unique_lock lock(m_clockMutex);
        quint64 seconds = 0;
        while (m_clockRunning) {
            emit signalRecordingSeconds(seconds);
            ++seconds;
            m_clockWake.wait_until(lock, t0 + std::chrono::seconds(seconds), [this] { return !m_clockRunning; });
        }
    });
}

void QvLiveCamera::stopRecordingClock() {
    {
        std::lock_guard lock(m_clockMutex);
        m_clockRunning = false;
    }
    m_clockWake.notify_all();
    if (m_recordClockThread.joinable())
        m_recordClockThread.join();
}

void QvLiveCamera::setDvsTimeInterval(uint64_t intervalUs) {
    m_dvsTimeIntervalUs = static_cast<uint32_t>(std::min<uint64_t>(intervalUs, UINT32_MAX));
    if (const std::shared_ptr<quorvel::DvsCamera> cam = camera())
        cam->setTimeInterval(m_dvsTimeIntervalUs);
    qDebug() << "set dvs time interval: " << m_dvsTimeIntervalUs;
}
