#include "quorvel/ApsVideoWriter.h"

#include "FfmpegCommon.h"
#include "Mp4Encoder.h"

#include <cmath>

namespace quorvel {

struct ApsVideoWriter::Impl {
    std::string path;
    Options options;
    bool open = false;
    bool started = false;
    video::Mp4Encoder encoder;
    SwsContext* sws = nullptr;
    int width = 0;
    int height = 0;
    uint64_t firstTs = 0;
    uint64_t lastTs = 0;

    ~Impl() { sws_freeContext(sws); }
};

ApsVideoWriter::ApsVideoWriter() : m_impl(std::make_unique<Impl>()) {}
ApsVideoWriter::~ApsVideoWriter() { abort(); }

bool ApsVideoWriter::isOpen() const { return m_impl->open; }

bool ApsVideoWriter::open(const std::string& path) { return open(path, Options{}); }

bool ApsVideoWriter::open(const std::string& path, const Options& options) {
    abort();
    if (path.empty()) {
        m_error = "no path for the APS video";
        return false;
    }
    m_impl->path = path;
    m_impl->options = options;
    m_impl->open = true;
    m_impl->started = false;
    m_frames = 0;
    m_error.clear();
    return true;
}

bool ApsVideoWriter::writeFrame(const ApsFrame& frame) {
    Impl& d = *m_impl;
    if (!d.open) {
        m_error = "the APS video is not open";
        return false;
    }
    if (frame.empty()) {
        m_error = "empty APS frame";
        return false;
    }
    if (!d.started) {
        video::Mp4Encoder::Settings s;
        s.width = frame.getWidth();
        s.height = frame.getHeight();
        s.timeBase = AVRational{1, 1000000};
        const double fps = d.options.nominalFps > 0 ? d.options.nominalFps : 30.0;
        s.frameRate = av_d2q(fps, 100000);
        s.gopSize = std::max(1, d.options.keyframeInterval);
        s.preset = d.options.preset;
        s.tune = d.options.tune;
        s.crf = d.options.crf;
        s.metadata.emplace_back(video::kApsTimeOffsetKey, std::to_string(frame.getTimestamp()));
        if (!d.encoder.open(d.path, s, m_error)) {
            d.open = false;
            return false;
        }
        d.width = frame.getWidth();
        d.height = frame.getHeight();
        d.firstTs = frame.getTimestamp();
        d.started = true;
        d.sws = sws_getCachedContext(d.sws, d.width, d.height, AV_PIX_FMT_BGR24, d.width, d.height,
                                     AV_PIX_FMT_YUV420P, SWS_POINT, nullptr, nullptr, nullptr);
        if (!d.sws) {
            m_error = "cannot set up the colour conversion";
            abort();
            return false;
        }
    } else {
        if (frame.getWidth() != d.width || frame.getHeight() != d.height) {
            m_error = "APS frame geometry changed during the recording";
            return false;
        }
        if (frame.getTimestamp() <= d.lastTs) {
            m_error = "APS frame time " + std::to_string(frame.getTimestamp()) + " us is not after the previous frame";
            return false;
        }
    }
    AVFrame* out = d.encoder.frame();
    const uint8_t* srcPlanes[1] = {frame.data()};
    const int srcStride[1] = {frame.getStride()};
    sws_scale(d.sws, srcPlanes, srcStride, 0, d.height, out->data, out->linesize);
    if (!d.encoder.encode(static_cast<int64_t>(frame.getTimestamp() - d.firstTs), m_error)) {
        d.open = false;
        return false;
    }
    d.lastTs = frame.getTimestamp();
    ++m_frames;
    return true;
}

bool ApsVideoWriter::close() {
    Impl& d = *m_impl;
    if (!d.open) {
        m_error = "the APS video is not open";
        return false;
    }
    d.open = false;
    if (!d.started) {
        m_error = "no APS frame was recorded";
        return false;
    }
    d.started = false;
    return d.encoder.finish(m_error);
}

void ApsVideoWriter::abort() {
    m_impl->encoder.abort();
    m_impl->open = false;
    m_impl->started = false;
}

} // namespace quorvel
