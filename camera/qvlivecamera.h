#pragma once
// The live camera of the main window: finding cameras, the network checks before opening one,
// opening it (DVS or fusion), starting and stopping its stream, pulling DVS events 33 times a
// second into the event renderer, the statistics of the status line, recording by hand, the
// trigger-in edges that start timed recordings, and watching the camera for a lost connection,
// a recording the SDK had to stop, and lost data.
//
// The window keeps its slots and delegates here; everything it shows arrives by the signals below.
//
// Thread rules: every member function runs on the GUI thread, except openCamera(), which the window
// runs on a WorkerThread while its busy indicator shows (nothing else touches this object then).
// The pull thread and the recording-time thread are owned here: joined before another one of their
// kind starts and in the destructor. SDK callbacks (statistics, trigger-in) run on SDK threads and
// only build texts and emit queued signals; they go through a gate that the object closes before
// it lets a camera go, so that no callback reaches it afterwards.

#include "qvmessagetype.h"

#include "quorvel/CameraDescription.h"
#include "quorvel/DvsCamera.h"
#include "quorvel/DvsCameraManager.h"
#include "quorvel/Event2D.h"
#include "quorvel/FusionCamera.h"
#include "quorvel/QvStatisticInfo.h"
#include "quorvel/StreamLoss.h"

#include <QObject>
#include <QString>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

class QTimer;
class QvEventProcessor;
class QvFileRecorder;
class QvFusionCameraDataProcessor;

class QvLiveCamera : public QObject {
    Q_OBJECT
public:
    enum Mode { ModeNone = 0, ModeDvs = 1, ModeFusion = 2 };
    /// Rounds of the DVS pull thread per second.
    static constexpr int kPullRate = 33;
    /// Sensor time per camera batch until the display settings say otherwise: one frame's worth,
    /// so that every batch the pull thread takes is one frame of the live view.
    static constexpr uint32_t kDefaultDvsTimeIntervalUs = 33333;
    /// How often the camera's connection, recording and loss counters are looked at.
    static constexpr int kWatchIntervalMs = 250;
    static constexpr const char* kFusionProduct = "Tarnix";
    static constexpr const char* kFusionFirmwareMinimum = "Tarnix_V1.7.2";

    /// Live DVS events go to `processor`; a fusion camera's frames and events to `fusionProcessor`.
    QvLiveCamera(QvEventProcessor* processor, QvFusionCameraDataProcessor* fusionProcessor, QvFileRecorder* recorder,
                 QObject* parent = nullptr);
    ~QvLiveCamera() override;

    /// Every camera the SDK reaches now (logged as "Search cameras ..." / "Search end ... find: N").
    std::vector<quorvel::CameraDescription> searchCameras();
    /// Empty when a network camera may be opened from this host; otherwise the error toast text (the
    /// camera's address equals the host's, or lies in another network segment). Non-network
    /// cameras always pass.
    static QString networkCheckError(const quorvel::CameraDescription& description);
    /// Status-line fragments of one statistics report: " Bandwidth: 5.0 MB/s " and " Events: 2.5 MEv/s ".
    static QString bandwidthText(const quorvel::QvStatisticInfo& info);
    static QString eventRateText(const quorvel::QvStatisticInfo& info);
    /// "Lost: N events" for a stream that lost data (what reached neither view nor file).
    static QString lossText(const quorvel::StreamLoss& loss);
    /// Where the loss was counted, since when and in how many gaps (the label's tool tip).
    static QString lossDetails(const quorvel::StreamLoss& loss);

    /// Opens the described camera (a fusion camera for product "Tarnix", else a DVS camera) and
    /// prepares it: statistics, image geometry, recorder. Meant to run on a
    /// WorkerThread; failures and the firmware warning are emitted as toasts. Any camera open
    /// before is closed first. True when the camera is open.
    bool openCamera(const quorvel::CameraDescription& description);
    /// Takes a camera opened elsewhere (benchmarks, cameras made to order), as openCamera would.
    bool useCamera(std::shared_ptr<quorvel::DvsCamera> camera);
    /// Stops the stream and a running recording and lets the camera go (a recording is opened).
    void closeCamera();

    int mode() const { return m_mode; }
    bool hasCamera() const { return m_dvsCamera || m_fusionCamera; }
    /// The open camera as a DVS camera (a fusion camera is one too); null when none is open.
    std::shared_ptr<quorvel::DvsCamera> camera() const;
    std::shared_ptr<quorvel::DvsCamera> dvsCamera() const { return m_dvsCamera; }
    std::shared_ptr<quorvel::FusionCamera> fusionCamera() const { return m_fusionCamera; }
    quorvel::CameraDescription description() const { return m_description; }
    QString firmwareVersion() const { return m_firmwareVersion; }

    /// Starts the stream (both streams of a fusion camera). False, with the reason logged, when
    /// the camera refuses.
    bool startStreaming();
    void stopStreaming();
    bool isStreaming() const { return m_streaming.load(); }

    /// Registers the trigger-in callback that turns matching edges into timed recordings
    /// (signalRecByTime), replacing an earlier one.
    void registerTriggerIn();
    /// Applies the trigger-in recording settings to the open camera: with recording on trigger
    /// edges enabled, the edges of input 0 are reported and the camera keeps the before-trigger
    /// time of events in its rolling cache; disabled, the cache is switched off.
    void applyTriggerInSettings();

    /// Starts a recording by hand to outputRawFilePath/SERIAL_yyyyMMdd_HHmmss.raw. Returns the
    /// path, or an empty text after an error toast.
    QString startRecording();
    /// Ends the recording by hand; false when none runs.
    bool stopRecording();
    bool isRecording() const { return m_handRecording; }
    /// Path a recording started now would get.
    QString newRecordingPath() const;

    uint32_t dvsTimeInterval() const { return m_dvsTimeIntervalUs; }
    /// Events the pull thread has handed to the live view since this object was made.
    uint64_t pulledEvents() const { return m_pulledEvents.load(std::memory_order_relaxed); }

public slots:
    /// Batch time of the DVS camera, from the display settings' accumulation time.
    void setDvsTimeInterval(uint64_t intervalUs);

signals:
    void signalShowLeftBottomTips(QString tips, QvMessageType type, QString file_path);
    /// The two status-line fragments of a statistics report.
    void signalStatisticTexts(QString bandwidth, QString eventRate);
    /// Time of the newest event pulled (camera time, microseconds).
    void signalCameraTimestamp(uint64_t timestampUs);
    void signalStreamingChanged(bool streaming);
    void signalRecordingChanged(bool recording);
    /// Seconds since the recording by hand started, once a second while it runs.
    void signalRecordingSeconds(quint64 seconds);
    void signalConnectionLost();
    /// Data the stream lost since it started, where and when (StreamLoss::any() false: no loss).
    void signalLoss(quorvel::StreamLoss loss);
    /// A matching trigger-in edge: record `seconds` into `path` (to QvFileRecorder::recordingTime).
    void signalRecByTime(uint32_t seconds, QString path);

private:
    struct CallbackGate;

    void pullLoop();
    void joinPullThread();
    void startRecordingClock();
    void stopRecordingClock();
    void watch();
    void onConnectionLost();
    void closeGate();
    void prepareOpenedCamera();

    QvEventProcessor* m_processor;
    QvFusionCameraDataProcessor* m_fusionProcessor;
    QvFileRecorder* m_recorder;
    quorvel::DvsCameraManager m_manager;

    int m_mode = ModeNone;
    quorvel::CameraDescription m_description;
    std::shared_ptr<quorvel::DvsCamera> m_dvsCamera;
    std::shared_ptr<quorvel::FusionCamera> m_fusionCamera;
    QString m_firmwareVersion;
    uint32_t m_dvsTimeIntervalUs = kDefaultDvsTimeIntervalUs;
    int m_triggerCallbackId = -1;
    std::shared_ptr<CallbackGate> m_gate;

    std::atomic<bool> m_streaming{false};
    std::thread m_pullThread;
    std::shared_ptr<quorvel::DvsCamera> m_pullCamera;
    std::vector<quorvel::Event2D> m_batch;
    std::atomic<uint64_t> m_pulledEvents{0};
    std::atomic<bool> m_connectionLostReported{false};

    bool m_handRecording = false;
    QString m_recordingPath;
    std::thread m_recordClockThread;
    std::mutex m_clockMutex;
    std::condition_variable m_clockWake;
    bool m_clockRunning = false;

    QTimer* m_watchTimer = nullptr;
    uint64_t m_lastGapCount = 0;
};
