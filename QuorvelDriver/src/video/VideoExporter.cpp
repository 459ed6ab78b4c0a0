#include "quorvel/VideoExporter.h"

#include "quorvel/DvsFileReader.h"
#include "quorvel/Logger.h"

#include "EventFrameYuv.h"
#include "Mp4Encoder.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace quorvel {

bool VideoExportOptions::setScheme(const std::string& name) {
    struct Scheme {
        const char* name;
        RgbColor on, off, background;
    };
    // The application's colour schemes (positive, negative, background).
    static const Scheme kSchemes[] = {
        {"Gray", {255, 255, 255}, {0, 0, 0}, {112, 112, 112}},
        {"Dark", {255, 255, 255}, {64, 126, 200}, {30, 37, 52}},
        {"RedBlue", {255, 0, 0}, {0, 0, 255}, {112, 112, 112}},
        {"RedGreen", {255, 0, 0}, {0, 255, 0}, {112, 112, 112}},
        {"Light", {0, 0, 0}, {64, 126, 201}, {255, 255, 255}},
    };
    for (const auto& s : kSchemes)
        if (name == s.name) {
            onColor = s.on;
            offColor = s.off;
            backgroundColor = s.background;
            return true;
        }
    return false;
}

VideoExporter::VideoExporter(VideoExportOptions options) : m_options(std::move(options)) {}

uint64_t VideoExporter::frameCount(uint64_t startUs, uint64_t endUs, int fps) {
    if (fps <= 0 || endUs < startUs)
        return 0;
    const uint64_t windowUs = 1000000u / static_cast<uint64_t>(fps);
    return (endUs - startUs) / windowUs + 1;
}

namespace {

// Frames between the painting thread and the encoding thread. Painting (decoding, counting,
// colouring) and x264 each take a good share of a core at 20 M events/s; handing frames over
// lets them run side by side instead of in turn. A few slots absorb the frames that vary in cost.
class FrameQueue {
public:
    explicit FrameQueue(std::vector<AVFrame*> slots) : m_free(slots.begin(), slots.end()) {}

    /// A frame to paint, or null once the queue is stopped.
    AVFrame* takeFree() {
        std::unique_lock lock(m_mutex);
        m_cv.wait(lock, [&] { return m_stopped || !m_free.empty(); });
        if (m_stopped)
            return nullptr;
        AVFrame* f = m_free.front();
        m_free.pop_front();
        return f;
    }
    void putPainted(AVFrame* f) {
        std::lock_guard lock(m_mutex);
        m_painted.push_back(f);
        m_cv.notify_all();
    }
    /// The next painted frame in order, or null when painting ended (finished, failed, stopped)
    /// with nothing left.
    AVFrame* takePainted() {
        std::unique_lock lock(m_mutex);
        m_cv.wait(lock, [&] { return m_stopped || m_done || !m_painted.empty(); });
        if (m_stopped || m_painted.empty())
            return nullptr;
        AVFrame* f = m_painted.front();
        m_painted.pop_front();
        return f;
    }
    void putFree(AVFrame* f) {
        std::lock_guard lock(m_mutex);
        m_free.push_back(f);
        m_cv.notify_all();
    }
    /// The painter is done; `error` is empty when it painted every frame.
    void finishPainting(std::string error) {
        std::lock_guard lock(m_mutex);
        m_done = true;
        m_error = std::move(error);
        m_cv.notify_all();
    }
    /// The encoder gives up (failure or cancellation): the painter stops at its next frame.
    void stop() {
        std::lock_guard lock(m_mutex);
        m_stopped = true;
        m_cv.notify_all();
    }
    bool stopped() {
        std::lock_guard lock(m_mutex);
        return m_stopped;
    }
    std::string paintError() {
        std::lock_guard lock(m_mutex);
        return m_error;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_cv;
    std::deque<AVFrame*> m_free;
    std::deque<AVFrame*> m_painted;
    bool m_done = false;
    bool m_stopped = false;
    std::string m_error;
};

constexpr int kFrameSlots = 4;

} // namespace

bool VideoExporter::exportRange(DvsFileReader& reader, uint64_t startUs, uint64_t endUs, const std::string& path) {
    m_error.clear();
    m_cancelled = false;
    m_frames = 0;
    const int fps = m_options.fps;
    if (fps <= 0 || fps > 1000) {
        m_error = "frame rate " + std::to_string(fps) + " is outside 1 .. 1000";
        return false;
    }
    if (endUs < startUs) {
        m_error = "the range ends before it starts";
        return false;
    }
    const int width = reader.getWidth();
    const int height = reader.getHeight();
    if (width <= 0 || height <= 0) {
        m_error = "the recording has no sensor geometry";
        return false;
    }
    uint64_t lastTs = 0;
    if (!reader.getEndTimestamp(lastTs)) {
        m_error = "cannot find the end of the recording: " + reader.lastError();
        return false;
    }
    if (startUs > lastTs) {
        m_error = "the range starts after the last event (" + std::to_string(lastTs) + " us)";
        return false;
    }

    // Frames after the last event could only be background: the video ends with the recording.
    endUs = std::min(endUs, lastTs);
    // A day of video is more than any recording needs; a damaged file's clock can claim years,
    // which would mean billions of frames.
    constexpr uint64_t kMaxVideoUs = 86'400'000'000ull;
    if (endUs - startUs > kMaxVideoUs) {
        m_error = "the range spans " + std::to_string((endUs - startUs) / 1000000) +
                  " s of recording time; a video covers at most 24 hours: choose a shorter range";
        return false;
    }
    const uint64_t windowUs = 1000000u / static_cast<uint64_t>(fps);
    const uint64_t frames = frameCount(startUs, endUs, fps);
    const int padW = width + (width & 1);
    const int padH = height + (height & 1);

    video::Mp4Encoder encoder;
    video::Mp4Encoder::Settings s;
    s.width = padW;
    s.height = padH;
    s.timeBase = AVRational{1, fps};
    s.frameRate = AVRational{fps, 1};
    s.gopSize = fps * 2;
    s.preset = m_options.preset;
    s.crf = m_options.crf;
    if (!encoder.open(path, s, m_error))
        return false;
    std::vector<video::Mp4Encoder::FramePtr> slots;
    std::vector<AVFrame*> slotPtrs;
    for (int i = 0; i < kFrameSlots; ++i) {
        slots.push_back(encoder.newFrame());
        if (!slots.back()) {
            m_error = "out of memory for a video frame";
            encoder.abort();
            return false;
        }
        slotPtrs.push_back(slots.back().get());
    }
    FrameQueue queue(slotPtrs);
    video::EventFrameYuv canvas(width, height, padW, padH, m_options);

    // Painter: frame k shows [startUs + k*W, startUs + (k+1)*W), the last one up to and including
    // endUs. The reader's batches are in time order, so each splits at the window ends.
    std::thread painter([&] {
        uint64_t k = 0;
        uint64_t winEnd = std::min(startUs + windowUs, endUs + 1);
        const auto emitFrame = [&]() -> bool {
            AVFrame* f = queue.takeFree();
            if (!f)
                return false;
            canvas.render(f->data[0], f->linesize[0], f->data[1], f->linesize[1], f->data[2], f->linesize[2]);
            canvas.clear();
            queue.putPainted(f);
            ++k;
            winEnd = std::min(startUs + (k + 1) * windowUs, endUs + 1);
            return true;
        };
        try {
            const bool read = reader.streamEventsInRange(startUs, endUs + 1, [&](const Event2D* b, const Event2D* e) {
                while (b != e) {
                    // The last frame takes whatever is left, whatever its time.
                    const Event2D* split =
                        k + 1 >= frames ? e : std::lower_bound(b, e, winEnd, [](const Event2D& ev, uint64_t t) {
                            return ev.timestamp < t;
                        });
                    canvas.accumulate(b, split);
                    b = split;
                    if (b != e && !emitFrame())
                        return false;
                }
                return !queue.stopped();
            });
            if (!read) {
                queue.finishPainting("cannot read the events: " + reader.lastError());
                return;
            }
            // The frame of the last events and any quiet windows up to the end.
            while (k < frames)
                if (!emitFrame())
                    break;
            queue.finishPainting({});
        } catch (const std::exception& ex) {
            queue.finishPainting(std::string("painting the video frames failed: ") + ex.what());
        } catch (...) {
            queue.finishPainting("painting the video frames failed");
        }
    });
    // Stops and joins the painter on every way out of this function.
    struct Join {
        FrameQueue& q;
        std::thread& t;
        ~Join() {
            q.stop();
            t.join();
        }
    } join{queue, painter};

    const uint64_t progressStep = std::max<uint64_t>(1, frames / 100);
    for (uint64_t k = 0; k < frames; ++k) {
        AVFrame* f = queue.takePainted();
        if (!f) {
            m_error = queue.paintError();
            if (m_error.empty())
                m_error = "the video frames stopped early";
            encoder.abort();
            return false;
        }
        if (!encoder.encode(f, static_cast<int64_t>(k), m_error))
            return false;
        queue.putFree(f);
        ++m_frames;
        if (m_options.progress && ((k + 1) % progressStep == 0) && k + 1 < frames &&
            !m_options.progress(static_cast<double>(k + 1) / static_cast<double>(frames))) {
            m_cancelled = true;
            m_error = "export cancelled";
            encoder.abort();
            return false;
        }
    }
    if (!encoder.finish(m_error))
        return false;
    if (m_options.progress)
        m_options.progress(1.0);
    return true;
}

// The reader's own entry point for exports with the caller's colours. Readers that can report
// the reason through lastError() override it; this default only logs it.
bool DvsFileReader::exportVideoRange(uint64_t startUs, uint64_t endUs, std::string path,
                                     const VideoExportOptions& options) {
    VideoExporter exporter(options);
    if (exporter.exportRange(*this, startUs, endUs, path))
        return true;
    QV_LOG(LOG_WARNING, "video export failed: " + exporter.lastError());
    return false;
}

} // namespace quorvel
