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
// Thread rules: processEvents and publishFrame come from one accumulating thread at a time (the
// live pull thread, or a playback thread under its lock); the render thread is owned by this
// object, started by the constructor and joined by the destructor; images leave by the
// signalEventImage signal (queued to the GUI). Nothing here allocates per event or per frame.

#include "quorvel/Event2D.h"

#include <QImage>
#include <QObject>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

class QvEventProcessor : public QObject {
    Q_OBJECT
public:
    static constexpr int kCountCeiling = 3;
    static constexpr uint64_t kLiveFrameIntervalUs = 33333;

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

    /// Count of (pixel, polarity) in the back buffer; for tests and diagnostics.
    uint16_t backCount(int x, int y, int polarity) const;
    /// Frames painted since construction.
    uint64_t renderedFrames() const { return m_renderedFrames.load(); }

signals:
    void signalEventImage(QImage image);
    void signalRealTimeTimeStamp(uint64_t timestamp);

private:
    void renderLoop();
    void paintFront(QImage& image);

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
};
