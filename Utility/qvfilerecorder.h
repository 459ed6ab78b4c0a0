#pragma once
// Records the stream of the open camera into a .raw file through the camera's own recording
// operations: open-ended recordings (start, stop), recordings of a fixed number of seconds on a
// thread of this object (trigger-in recording), and the camera's rolling event cache that lets a
// recording begin some seconds before it was asked for.
//
// Outcomes reach the user as toasts (signalShowLeftBottomTips); the steps are logged through the
// SDK's Logger under the source name "Utility/qvfilerecorder". A fusion camera given here records
// a fusion recording (.raw, .mp4 and .json), since it is a DvsCamera with more streams.
//
// Thread rules: slots run on the GUI thread. The timed-recording thread is owned by this object:
// joined before another one starts and in the destructor. The recording flag is shared between
// them and atomic.

#include "qvmessagetype.h"

#include "quorvel/DvsCamera.h"

#include <QObject>
#include <QString>

#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>

class QvFileRecorder : public QObject {
    Q_OBJECT
public:
    explicit QvFileRecorder(QObject* parent = nullptr);
    ~QvFileRecorder() override;

    /// The camera that later recordings use (null when none is open). Does not stop a recording
    /// that runs on the previous camera: the caller stops it first.
    void setCamera(std::shared_ptr<quorvel::DvsCamera> camera);
    std::shared_ptr<quorvel::DvsCamera> camera() const { return m_camera; }
    bool isRecording() const { return m_recording.load(); }
    bool isCacheEnabled() const { return m_cacheEnabled; }
    /// Path of the recording that runs or ran last.
    QString currentPath() const { return m_path; }
    /// Why the camera could not close the last recording stopped by stopRecording() (a write that
    /// failed on the way); empty when it closed cleanly.
    QString lastStopError() const { return m_lastStopError; }
    /// Blocks until a timed recording has ended (shutdown and tests).
    void joinTimedRecording();

public slots:
    /// Keeps the last `seconds` of the stream in the camera (0 switches the cache off).
    bool setCacheTime(int seconds);
    /// Records for `seconds` into `path` on a thread of its own; false (with the "Currently being
    /// recorded." warning) when a recording runs, there is no connected camera, or seconds is 0.
    bool recordingTime(uint32_t seconds, QString path);
    /// Starts an open-ended recording; false when one runs already. The camera's own answer is
    /// not examined here: callers that care ask the camera (isRecording, lastError).
    bool startRecording(QString path);
    /// Ends the recording that runs (an open-ended one at once, a timed one within 500 ms).
    bool stopRecording();
    /// Accepted for compatibility with older callers; they have no effect.
    void slotSaveFileParamChanged(QString info);
    void slotDetectionRecordingTime(uint32_t seconds);

signals:
    void signalShowLeftBottomTips(QString tips, QvMessageType type, QString file_path);

private:
    void timedRecording(QString path, uint32_t seconds);

    std::shared_ptr<quorvel::DvsCamera> m_camera;
    bool m_cacheEnabled = false;
    std::atomic<bool> m_recording{false};
    QString m_path;
    QString m_lastStopError;
    std::thread m_timedThread;
};
