#include "qvfilerecorder.h"

#include "appsettings.h"

#include "quorvel/Logger.h"

#include <QDebug>

#include <chrono>

namespace {

// The recorder's log lines carry this source name and fixed line numbers, so that they read the
// same whatever becomes of this file's layout.
constexpr const char* kLogSource = "Utility/qvfilerecorder";

void logLine(int line, const std::string& message) {
    quorvel::Logger::Instance().log_(quorvel::LOG_INFO, kLogSource, line, message);
}

} // namespace

QvFileRecorder::QvFileRecorder(QObject* parent) : QObject(parent) {
    qRegisterMetaType<QvMessageType>("QvMessageType");
}

QvFileRecorder::~QvFileRecorder() {
    m_recording = false;
    joinTimedRecording();
}

void QvFileRecorder::setCamera(std::shared_ptr<quorvel::DvsCamera> camera) {
    m_camera = std::move(camera);
    m_cacheEnabled = false;
}

void QvFileRecorder::joinTimedRecording() {
    if (m_timedThread.joinable())
        m_timedThread.join();
}

bool QvFileRecorder::setCacheTime(int seconds) {
    if (!m_camera)
        return false;
    const QString folder = AppSettings::instance()->appConfigPath;
    m_camera->setCacheTime(static_cast<uint16_t>(seconds), folder.toLocal8Bit().toStdString());
    m_cacheEnabled = seconds != 0;
    return m_cacheEnabled;
}

bool QvFileRecorder::recordingTime(uint32_t seconds, QString path) {
    const bool connected = m_camera && m_camera->isConnected();
    if (!m_recording && m_camera && connected && seconds != 0) {
        joinTimedRecording();
        emit signalShowLeftBottomTips(tr("Recording file ... "), QvMessageSuccess, path);
        qDebug() << "record time : " << seconds << "file path: " << path;
        m_path = path;
        // Set here rather than by the thread, so that a second edge arriving before the thread has
        // started is refused as a recording in progress.
        m_recording = true;
        m_timedThread = std::thread(&QvFileRecorder::timedRecording, this, path, seconds);
        return true;
    }
    qDebug() << "Recording false." << m_recording.load() << connected << seconds;
    emit signalShowLeftBottomTips(tr("Currently being recorded."), QvMessageWarning, path);
    return false;
}

void QvFileRecorder::timedRecording(QString path, uint32_t seconds) {
    m_recording = true;
    logLine(52, "recording start");
    const std::shared_ptr<quorvel::DvsCamera> camera = m_camera;
    const bool started = camera->startRecording(path.toLocal8Bit().toStdString());
    if (!started)
        emit signalShowLeftBottomTips(tr("Recording failed: %1").arg(QString::fromStdString(camera->lastError())),
                                      QvMessageError, path);
    const auto t0 = std::chrono::steady_clock::now();
    while (m_recording && started) {
        const auto elapsed = std::chrono::steady_clock::now() - t0;
        if (static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(elapsed).count()) /
                1000000000ull >=
            seconds)
            break;
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
    }
    // A recording the camera had to end early (disk full, camera gone) says why; what was written
    // up to then stays in the file.
    // (A stop from the GUI has already closed the file: the second stop below only finds nothing
    // to stop, which is no failure.)
    const bool stoppedEarly = !m_recording;
    const bool ok = camera->stopRecording();
    logLine(60, "recording end");
    if (started && !stoppedEarly && !ok)
        emit signalShowLeftBottomTips(
            tr("Recording stopped: %1").arg(QString::fromStdString(camera->lastError())), QvMessageError, path);
    emit signalShowLeftBottomTips(tr("Recording end"), QvMessageSuccess, QString());
    m_recording = false;
}

bool QvFileRecorder::startRecording(QString path) {
    if (m_recording || !m_camera)
        return false;
    m_path = path;
    m_camera->startRecording(path.toLocal8Bit().toStdString());
    m_recording = true;
    return true;
}

bool QvFileRecorder::stopRecording() {
    if (!m_recording)
        return false;
    m_lastStopError.clear();
    if (m_camera && !m_camera->stopRecording())
        m_lastStopError = QString::fromStdString(m_camera->lastError());
    m_recording = false;
    return true;
}

void QvFileRecorder::slotSaveFileParamChanged(QString) {}

void QvFileRecorder::slotDetectionRecordingTime(uint32_t) {}
