#pragma once
// Turns batches of events into one RGB image per displayed frame, for the live camera and for
// recording playback.
//
// Accumulation counts events per pixel and polarity into a back buffer (saturating at a small
// ceiling); publishing swaps it with the front buffer under the frame mutex and wakes the render
// thread, which paints the front buffer: background where no event fell, the ON colour where ON
// events outnumber OFF events, the OFF colour otherwise (a tie shows OFF). Every frame starts from
// zero counts: no decay, no trail. Colours are read from the settings for every frame, so a new
// colour scheme shows on the next frame.
//
// Two details are kept on purpose because callers rely on them: only the upper end of a pixel's
// index is checked, so an x at or past the width lands in the next row; and a batch's time is the
// time of its first event.
//
// Playback: the same object plays a recording through the SDK's DvsFileReader. A load thread
// opens it and announces its range and trigger marks; a play thread shows one frame per 33333 us of
// wall-clock time, advancing the file position by 1000000 / fps us per frame and drawing the
// events of the accumulation time from there (so fps 30 plays in real time, fps 33 at about 0.91x,
// as users of the display settings expect). Steps, seeks, loops and resets work on the same
// position; positions and local times are reported by signal.
//
// Thread rules: processEvents and publishFrame come from one accumulating thread at a time (the
// live pull thread, or a playback thread under its lock); the render thread is owned by this
// object, started by the constructor and joined by the destructor; images leave by the
// signalEventImage signal (queued to the GUI). Slots run on the GUI thread; the load and play
// threads are owned by this object and joined before another of their kind starts and in the
// destructor. Nothing here allocates per event or per frame.

#include "quorvel/DvsFileInfo.h"
#include "quorvel/DvsFileReader.h"
#include "quorvel/Event2D.h"
#include "qvmessagetype.h"

#include <QDateTime>
#include <QImage>
#include <QObject>
#include <QString>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

using QvTriggerMarks = std::vector<std::pair<uint64_t, uint8_t>>;
Q_DECLARE_METATYPE(QvTriggerMarks)

class QvEventProcessor : public QObject {
    Q_OBJECT
public:
    static constexpr int kCountCeiling = 3;
    static constexpr uint64_t kLiveFrameIntervalUs = 33333;
    /// Wall-clock period of the play loop; fixed, whatever the fps.
    static constexpr uint64_t kPlayFramePeriodUs = 33333;

    explicit QvEventProcessor(QObject* parent = nullptr);
    ~QvEventProcessor() override;

    /// Adds a batch (timestamps non-decreasing) to the back buffer. In live mode publishes a frame
    /// when the batch is at least the live frame interval after the last published one.
    void processEvents(const quorvel::Event2D* begin, const quorvel::Event2D* end);
    /// Hands the back buffer to the render thread and starts a fresh one.
    void publishFrame();
    /// Reports the last batch time and publishes what has accumulated (end of a live stream).
    void flushFrame();
    /// Sets the image geometry; buffers and images are replaced and cleared.
    void resizeImage(int width, int height);

    /// 1 = live camera, anything else = file playback.
    void setSourceMode(int mode) { m_sourceMode = mode; }
    int sourceMode() const { return m_sourceMode; }
    int imageWidth() const { return m_width; }
    int imageHeight() const { return m_height; }
    uint64_t lastBatchTimestamp() const { return m_lastBatchTimestamp; }

    /// Paints the front buffer into `image` (sized to the geometry) under the frame mutex, as the
    /// render thread does for every frame; for benchmarks and diagnostics.
    void paintFrontInto(QImage& image);
    /// Count of (pixel, polarity) in the back buffer; for tests and diagnostics.
    uint16_t backCount(int x, int y, int polarity) const;
    /// Frames painted since construction.
    uint64_t renderedFrames() const { return m_renderedFrames.load(); }

    // Playback state, for the window and for tests.
    bool hasFile() const { return m_reader != nullptr; }
    bool isLoading() const { return m_loading.load(); }
    bool isPlaying() const { return m_playing.load(); }
    bool isLooping() const { return m_loop.load(); }
    uint64_t currentPosition() const { return m_current.load(); }
    uint64_t startTimestamp() const { return m_start.load(); }
    uint64_t endTimestamp() const { return m_end.load(); }
    uint64_t fps() const { return m_fps; }
    uint64_t timeInterval() const { return m_timeInterval.load(); }
    uint64_t accumulationTime() const { return m_accTime.load(); }
    /// Geometry of the open recording (0 x 0 without one).
    QSize fileResolution() const;
    /// Local wall-clock text of a file position of the open recording.
    QString localTimeText(uint64_t timestampUs) const;
    /// While a recording loads: the share of it indexed so far, 0 .. 1 (1 when nothing loads).
    double loadProgress() const;
    /// Blocks until a running load has finished (tests and shutdown).
    void waitForLoad();
    /// The event rate over the open recording in at most `maxBuckets` buckets, from its index as
    /// far as it is built (it grows while a never-seen recording loads). False before the first
    /// event's time is known or while nothing is indexed. Callable while a load runs.
    bool timeline(size_t maxBuckets, quorvel::DvsTimeline& timeline) const;
    /// Local wall-clock time of a position of the open recording (invalid while it loads or when
    /// the recording does not say when it was made).
    QDateTime wallClockAt(uint64_t timestampUs) const;
    /// Blocks until the cut and video jobs have finished.
    void waitForJobs();
    /// A cut or video export is writing.
    bool isJobRunning() const { return m_jobsRunning.load() > 0; }

public slots:
    void loadFile(QString path);
    void slotPlaybackCtrl(bool play);
    void slotPlaybackReset();
    void slotPlayLoop(bool loop);
    void nextFrame();
    void preFrame();
    void setPlayPos(uint64_t timestamp_us);
    void setFps(int fps);
    void setAccTime(uint64_t time_us);
    void slotSetLowerTimeStamp(uint64_t timestamp);
    void slotSetUpperTimeStamp(uint64_t timestamp);
    void slotExportVideo(QString qs_out_full_path, QString qs_out_dir, uint64_t start_ts, uint64_t end_ts);
    void slotCutRawFile(QString qs_out_full_path, QString qs_out_dir, uint64_t start_ts, uint64_t end_ts);

signals:
    void signalEventImage(QImage image);
    void signalRealTimeTimeStamp(uint64_t timestamp);
    void signalStartTimeStamp(uint64_t timestamp);
    void signalEndTimeStamp(uint64_t timestamp);
    void signalPlayStatus(bool playing);
    void signalLoadingStatus(bool loading);
    void signalShowLeftBottomTips(QString tips, QvMessageType type, QString file_path);
    void signalLocalTime(QString local_time);
    void signalTriggerList(QvTriggerMarks triggers);

private:
    void renderLoop();
    void paintFront(QImage& image);

    bool readyForPlayback() const;
    void pauseIfPlaying();
    void showFrame(const std::shared_ptr<std::vector<quorvel::Event2D>>& batch);
    void loadSequence();
    void playLoop();
    void joinPlayThread();
    void runCut(QString fullPath, QString dir, uint64_t start, uint64_t end);
    void runVideoExport(QString fullPath, QString dir, uint64_t start, uint64_t end);

    int m_sourceMode = 0;
    uint64_t m_liveFrameInterval = kLiveFrameIntervalUs;
    uint64_t m_lastPublishedTimestamp = 0;
    uint64_t m_lastBatchTimestamp = 0;

    QImage m_image;
    QImage m_spareImage;
    bool m_paintIntoSpare = false;

    std::vector<uint16_t> m_backBuffer;
    std::vector<uint16_t> m_frontBuffer;
    std::mutex m_frameMutex;
    std::condition_variable m_frameCondition;
    bool m_framePending = false;

    int m_height = 720;
    int m_width = 1280;
    int m_countCeiling = kCountCeiling;

    std::atomic<bool> m_running{true};
    std::atomic<uint64_t> m_renderedFrames{0};
    std::thread m_renderThread;

    std::unique_ptr<quorvel::DvsFileReader> m_reader;
    quorvel::DvsFileInfo m_fileInfo;
    uint64_t m_fps = 33;
    std::atomic<uint64_t> m_timeInterval{30303};
    std::atomic<uint64_t> m_accTime{33333};
    std::atomic<bool> m_loop{false};
    std::atomic<bool> m_playing{false};
    std::thread m_playThread;
    std::mutex m_playbackMutex;
    std::atomic<uint64_t> m_current{0};
    std::atomic<uint64_t> m_end{0};
    std::atomic<uint64_t> m_start{0};
    std::thread m_loadThread;
    std::atomic<bool> m_loading{false};
    static constexpr uint64_t kNoTime = UINT64_MAX;
    std::atomic<uint64_t> m_firstEventTime{kNoTime};
    std::thread m_exportVideoThread;
    std::thread m_cutThread;
    std::atomic<int> m_jobsRunning{0};
};
