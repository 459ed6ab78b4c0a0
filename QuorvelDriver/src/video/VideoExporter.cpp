#include "quorvel/VideoExporter.h"

#include "quorvel/DvsFileReader.h"
#include "quorvel/Logger.h"

#include "EventFrameYuv.h"
#include "Mp4Encoder.h"

#include <algorithm>

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

    video::EventFrameYuv canvas(width, height, padW, padH, m_options);
    const uint64_t progressStep = std::max<uint64_t>(1, frames / 100);
    for (uint64_t k = 0; k < frames; ++k) {
        const uint64_t winStart = startUs + k * windowUs;
        // The last frame stops at the range's end, which belongs to the range.
        const uint64_t winEnd = std::min(winStart + windowUs, endUs + 1);
        canvas.clear();
        if (winStart <= lastTs) {
            auto events = reader.getEventsInRange(winStart, winEnd - winStart);
            if (!events) {
                m_error = "cannot read the events at " + std::to_string(winStart) + " us: " + reader.lastError();
                encoder.abort();
                return false;
            }
            canvas.accumulate(events->data(), events->data() + events->size());
        }
        AVFrame* f = encoder.frame();
        canvas.render(f->data[0], f->linesize[0], f->data[1], f->linesize[1], f->data[2], f->linesize[2]);
        if (!encoder.encode(static_cast<int64_t>(k), m_error))
            return false;
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
