#pragma once
// Shows what a fusion camera sees (APS intensity frames and DVS events from one device) and plays
// fusion recordings: `<base>.raw` (events), `<base>.mp4` (APS frames) and, optionally,
// `<base>.json` (the APS-to-DVS calibration).
//
// Alignment of a recording: a time base on the DVS clock advances by 1000000 / fps us per played
// frame; the APS frame shown is the last one whose own timestamp plus the video's time offset is
// not after the time base, and the events drawn are those of the accumulation time that ends at
// the time base. APS frames are warped into DVS geometry by the Calibrator (the recording's
// calibration, or the one in force when it has none, plus the user's manual offset). Events of a
// recording are drawn mirrored, at width - x (column 0 is therefore never drawn: kept so, as
// recordings have always been shown that way); live events are drawn where they are.
//
// Viewer types: 0 events only (on the background colour), 1 APS only, 2 APS with the events drawn
// over it. The live camera's frames come from the SDK's DvsApsFusionProccessor, fed by the
// camera's APS frames and the live pull thread's events, already paired frame by frame.
//
// Thread rules: slots run on the GUI thread; the load and play threads are owned here, joined
// before another of their kind starts and in the destructor; images leave by queued signals. The
// live path runs on the camera's APS thread; the calibrator is shared by all paths under its
// mutex. The last image is kept under its own mutex for whoever asks (lastImage()).

#include "qvmessagetype.h"

#include "quorvel/ApsFileReader.h"
#include "quorvel/ApsFrame.h"
#include "quorvel/Calibrator.h"
#include "quorvel/DvsApsFusionProccessor.h"
#include "quorvel/DvsFileInfo.h"
#include "quorvel/DvsFileReader.h"
#include "quorvel/FusionCamera.h"
#include "quorvel/StreamType.h"

#include <QImage>
#include <QObject>
#include <QPixmap>
#include <QString>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>

class QvFusionCameraDataProcessor : public QObject {
    Q_OBJECT
public:
    /// Wall-clock period of the play loop, whatever the fps.
    static constexpr uint64_t kPlayFramePeriodUs = 33333;
    /// Name of the manual calibration file written into the application data folder.
    static constexpr const char* kManualCalibrationFile = "/tmp_calibration_file.json";

    explicit QvFusionCameraDataProcessor(QObject* parent = nullptr);
    ~QvFusionCameraDataProcessor() override;

    // State, for the window and for tests.
    bool hasFile() const { return m_dvsReader && m_apsReader; }
    bool isBusy() const { return m_busy.load(); }
    bool isPlaying() const { return m_playing.load(); }
    uint64_t timeBase() const { return m_timeBase.load(); }
    uint64_t fusionStart() const { return m_fusionStart.load(); }
    uint64_t fusionEnd() const { return m_fusionEnd.load(); }
    uint64_t apsTimeOffset() const { return m_apsOffset; }
    /// Capture time (own timestamp) of the APS frame shown now.
    uint64_t currentApsTimestamp() const { return m_current.getTimestamp(); }
    int imageWidth() const { return m_width; }
    int imageHeight() const { return m_height; }
    quorvel::STREAM_TYPE viewerType() const { return static_cast<quorvel::STREAM_TYPE>(m_viewerType.load()); }
    /// The calibration in force (the recording's, the camera's or the last loaded one, with the
    /// manual offset).
    quorvel::CalibratorParameters calibration() const;
    /// A copy of the last image shown.
    QImage lastImage() const;
    /// Blocks until a running load has finished (tests and shutdown).
    void waitForLoad();
    /// Images emitted since construction.
    uint64_t emittedImages() const { return m_emitted.load(); }

    /// The live fusion camera whose frames are shown (null when none): its calibration is taken
    /// and its APS frames are fed to the alignment; events come through addLiveEvents().
    void setFusionCamera(std::shared_ptr<quorvel::FusionCamera> camera);
    /// Events of the live camera, in time order (called by the live pull thread).
    void addLiveEvents(const quorvel::Event2D* begin, const quorvel::Event2D* end);
    /// Saves the calibration in force (with the manual offset) and writes it into the open fusion
    /// camera; toasts the outcome. True when the camera took it.
    bool writeManualCalibration();

public slots:
    void slotSetViewerType(quorvel::STREAM_TYPE type);
    void slotReadFusionFile(QString path);
    void slotSetLowerTimeStamp(uint64_t timestamp);
    void slotSetUpperTimeStamp(uint64_t timestamp);
    void slotSetReplayFlag(bool replay);
    void slotPlaybackCtrl(bool play);
    void slotPlaybackReset();
    void preFrame();
    void nextFrame();
    void setPlayPos(uint64_t timestamp_us);
    void setFps(int fps);
    void setAccTime(uint64_t time_us);
    /// The manual calibration offsets in APS pixels (absolute, not added up).
    void slotSetApsOffset(double x, double y);
    /// Writes the manual calibration into the camera (writeManualCalibration).
    void slotApplyOffset();
    /// Closes the recording (readers dropped, play and load threads joined).
    void closeFile();

signals:
    void signalFusionImage(QImage image);
    void signalFusionPixMap(QPixmap pixmap);
    void triggerFusionImage();
    void signalTimeStamp(uint64_t timestamp);
    void signalLocalTime(QString local_time);
    void signalStartTimeStamp(uint64_t timestamp);
    void signalEndTimeStamp(uint64_t timestamp);
    void signalPalyFileFinished();
    void signalPlayStatus(bool playing);
    void signalLoadingStatus(bool loading);
    void signalShowLeftBottomTips(QString tips, QvMessageType type, QString file_path);
    /// A recording could not be played as a fusion recording (its video or its events cannot be
    /// read); `reason` says why. The events may still play as a plain recording.
    void signalFusionFileFailed(QString path, QString reason);

private:
    static quorvel::CalibratorParameters mirroredForPlayback(quorvel::CalibratorParameters param, int width,
                                                             int height);
    bool ready() const;
    void pauseIfPlaying();
    struct CallbackGate;

    void loadSequence();
    void playLoop();
    void joinPlayThread();
    /// Reads the next frame of the video into `frame`, warped into DVS geometry.
    bool readMapped(quorvel::ApsFrame& frame);
    /// Current = the frame shown at `timestampUs` (DVS clock), next = the one after it.
    bool seekApsTo(uint64_t timestampUs);
    void selectApsFrame(uint64_t timeBase);
    void renderAt(uint64_t timeBase);
    void drawEvents(QImage& image, const quorvel::Event2D* begin, const quorvel::Event2D* end, bool mirror) const;
    QImage& freeImage();
    void publish(const QImage& image, uint64_t timestampUs);
    void onAlignedFrame(quorvel::ApsFrame& frame, quorvel::Event2D* begin, quorvel::Event2D* end);
    QString localTimeText(uint64_t timestampUs) const;

    int m_height = 720;
    int m_width = 1280;
    std::atomic<int> m_viewerType{quorvel::STREAM_FUSION};
    std::atomic<bool> m_playing{false};
    std::atomic<bool> m_replay{false};
    std::shared_ptr<quorvel::ApsFileReader> m_apsReader;
    std::shared_ptr<quorvel::DvsFileReader> m_dvsReader;
    quorvel::DvsFileInfo m_fileInfo;
    std::atomic<uint64_t> m_dvsStart{0};
    std::atomic<uint64_t> m_dvsEnd{0};
    std::atomic<uint64_t> m_fusionStart{0};
    std::atomic<uint64_t> m_fusionEnd{0};
    std::atomic<uint64_t> m_timeBase{0};
    uint64_t m_apsOffset = 0;
    quorvel::ApsFrame m_current;
    quorvel::ApsFrame m_next;
    bool m_haveNext = false;
    quorvel::ApsFrame m_raw; // a frame as read, before warping
    uint64_t m_fps = 30;
    std::atomic<uint64_t> m_timeInterval{33333};
    std::atomic<uint64_t> m_accTime{33333};
    std::atomic<bool> m_busy{false};
    std::thread m_loadThread;
    std::thread m_playThread;
    std::mutex m_renderMutex; // one render at a time (play thread, steps, seeks)

    mutable std::mutex m_calibratorMutex;
    quorvel::Calibrator m_calibrator;
    quorvel::CalibratorParameters m_inForce; // as loaded, before the playback mirror
    double m_offsetX = 0;
    double m_offsetY = 0;

    quorvel::DvsApsFusionProccessor m_fusion;
    std::shared_ptr<quorvel::FusionCamera> m_camera;
    int m_apsCallbackId = -1;
    std::shared_ptr<CallbackGate> m_gate;
    quorvel::ApsFrame m_liveMapped;

    QImage m_images[3]; // reused in turn; one that the view still holds is skipped
    mutable std::mutex m_lastImageMutex;
    QImage m_lastImage;
    std::atomic<uint64_t> m_emitted{0};
};
