#include "Mp4Encoder.h"

#include <cstdio>
#include <unistd.h>

namespace quorvel::video {

Mp4Encoder::~Mp4Encoder() { abort(); }

void Mp4Encoder::release() {
    if (m_fmt) {
        if (m_ioOpen)
            avio_closep(&m_fmt->pb);
        avformat_free_context(m_fmt);
        m_fmt = nullptr;
    }
    m_ioOpen = false;
    avcodec_free_context(&m_enc);
    av_frame_free(&m_frame);
    av_packet_free(&m_packet);
    m_stream = nullptr;
}

void Mp4Encoder::abort() {
    const bool hadFile = m_ioOpen;
    release();
    if (hadFile && !m_tmpPath.empty())
        std::remove(m_tmpPath.c_str());
    m_tmpPath.clear();
    m_tempGuard.release();
}

bool Mp4Encoder::open(const std::string& path, const Settings& s, std::string& error) {
    abort();
    quietFfmpegLog();
    if (s.width <= 0 || s.height <= 0 || (s.width % 2) != 0 || (s.height % 2) != 0) {
        error = "video size " + std::to_string(s.width) + "x" + std::to_string(s.height) +
                " is not usable (H.264 4:2:0 needs even, non-zero sizes)";
        return false;
    }
    const AVCodec* codec = findH264Encoder();
    if (!codec) {
        error = "this FFmpeg build has no H.264 encoder";
        return false;
    }
    m_path = path;
    m_tmpPath = path + ".tmp-" + std::to_string(::getpid());
    m_tempGuard = TemporaryFileGuard(m_tmpPath); // listed before it exists
    int rc = avformat_alloc_output_context2(&m_fmt, nullptr, "mp4", m_tmpPath.c_str());
    if (rc < 0 || !m_fmt) {
        error = "cannot set up the MP4 writer: " + avError(rc);
        return false;
    }
    m_enc = avcodec_alloc_context3(codec);
    m_frame = av_frame_alloc();
    m_packet = av_packet_alloc();
    if (!m_enc || !m_frame || !m_packet) {
        error = "out of memory setting up the encoder";
        release();
        return false;
    }
    m_enc->width = s.width;
    m_enc->height = s.height;
    m_enc->pix_fmt = AV_PIX_FMT_YUV420P;
    m_enc->time_base = s.timeBase;
    m_enc->framerate = s.frameRate;
    m_enc->gop_size = s.gopSize;
    m_enc->max_b_frames = 0;
    m_enc->thread_count = s.threads;
    m_enc->color_range = AVCOL_RANGE_MPEG;
    m_enc->colorspace = AVCOL_SPC_SMPTE170M;
    m_enc->color_primaries = AVCOL_PRI_SMPTE170M;
    m_enc->color_trc = AVCOL_TRC_SMPTE170M;
    if (m_fmt->oformat->flags & AVFMT_GLOBALHEADER)
        m_enc->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    AVDictionary* encOpts = nullptr;
    if (std::string(codec->name) == "libx264") {
        av_dict_set(&encOpts, "preset", s.preset.c_str(), 0);
        if (!s.tune.empty())
            av_dict_set(&encOpts, "tune", s.tune.c_str(), 0);
        av_dict_set(&encOpts, "crf", std::to_string(s.crf).c_str(), 0);
    }
    rc = avcodec_open2(m_enc, codec, &encOpts);
    av_dict_free(&encOpts);
    if (rc < 0) {
        error = std::string("cannot open the H.264 encoder (") + codec->name + "): " + avError(rc);
        release();
        return false;
    }
    m_stream = avformat_new_stream(m_fmt, nullptr);
    if (!m_stream || avcodec_parameters_from_context(m_stream->codecpar, m_enc) < 0) {
        error = "cannot add the video stream";
        release();
        return false;
    }
    m_stream->time_base = s.timeBase;
    m_stream->avg_frame_rate = s.frameRate;
    for (const auto& [k, v] : s.metadata)
        av_dict_set(&m_fmt->metadata, k.c_str(), v.c_str(), 0);

    rc = avio_open(&m_fmt->pb, m_tmpPath.c_str(), AVIO_FLAG_WRITE);
    if (rc < 0) {
        error = "cannot create '" + m_tmpPath + "': " + avError(rc);
        release();
        return false;
    }
    m_ioOpen = true;
    AVDictionary* muxOpts = nullptr;
    // Our own keys (the APS time offset) only survive in MP4 as metadata tags of their own.
    av_dict_set(&muxOpts, "movflags", "use_metadata_tags", 0);
    rc = avformat_write_header(m_fmt, &muxOpts);
    av_dict_free(&muxOpts);
    if (rc < 0) {
        error = "cannot write the MP4 header: " + avError(rc);
        abort();
        return false;
    }
    m_frame->format = AV_PIX_FMT_YUV420P;
    m_frame->width = s.width;
    m_frame->height = s.height;
    rc = av_frame_get_buffer(m_frame, 0);
    if (rc < 0) {
        error = "out of memory for a video frame";
        abort();
        return false;
    }
    m_frames = 0;
    return true;
}

bool Mp4Encoder::drain(bool flush, std::string& error) {
    for (;;) {
        int rc = avcodec_receive_packet(m_enc, m_packet);
        if (rc == AVERROR(EAGAIN) || (flush && rc == AVERROR_EOF))
            return true;
        if (rc < 0) {
            error = "video encoding failed: " + avError(rc);
            return false;
        }
        av_packet_rescale_ts(m_packet, m_enc->time_base, m_stream->time_base);
        m_packet->stream_index = m_stream->index;
        rc = av_interleaved_write_frame(m_fmt, m_packet);
        av_packet_unref(m_packet);
        if (rc < 0) {
            error = "cannot write the video file (disk full?): " + avError(rc);
            return false;
        }
    }
}

Mp4Encoder::FramePtr Mp4Encoder::newFrame() const {
    if (!m_enc)
        return nullptr;
    FramePtr f(av_frame_alloc());
    if (!f)
        return nullptr;
    f->format = m_enc->pix_fmt;
    f->width = m_enc->width;
    f->height = m_enc->height;
    if (av_frame_get_buffer(f.get(), 0) < 0)
        return nullptr;
    return f;
}

bool Mp4Encoder::encode(int64_t pts, std::string& error) { return encode(m_frame, pts, error); }

bool Mp4Encoder::encode(AVFrame* frame, int64_t pts, std::string& error) {
    if (!m_fmt) {
        error = "the video file is not open";
        return false;
    }
    frame->pts = pts;
    int rc = avcodec_send_frame(m_enc, frame);
    if (rc < 0) {
        error = "video encoding failed: " + avError(rc);
        abort();
        return false;
    }
    ++m_frames;
    if (!drain(false, error)) {
        abort();
        return false;
    }
    // The encoder may keep a reference to the frame's buffers; get fresh ones if so before the
    // caller paints the next frame.
    rc = av_frame_make_writable(frame);
    if (rc < 0) {
        error = "out of memory for a video frame";
        abort();
        return false;
    }
    return true;
}

bool Mp4Encoder::finish(std::string& error) {
    if (!m_fmt) {
        error = "the video file is not open";
        return false;
    }
    int rc = avcodec_send_frame(m_enc, nullptr);
    if (rc < 0 || !drain(true, error)) {
        if (rc < 0)
            error = "video encoding failed: " + avError(rc);
        abort();
        return false;
    }
    rc = av_write_trailer(m_fmt);
    if (rc < 0) {
        error = "cannot finish the video file (disk full?): " + avError(rc);
        abort();
        return false;
    }
    rc = avio_closep(&m_fmt->pb);
    m_ioOpen = false;
    if (rc < 0) {
        error = "cannot close the video file (disk full?): " + avError(rc);
        std::remove(m_tmpPath.c_str());
        release();
        return false;
    }
    release();
    if (std::rename(m_tmpPath.c_str(), m_path.c_str()) != 0) {
        error = "cannot move the finished video to '" + m_path + "'";
        std::remove(m_tmpPath.c_str());
        m_tmpPath.clear();
        m_tempGuard.release();
        return false;
    }
    m_tmpPath.clear();
    m_tempGuard.release();
    return true;
}

} // namespace quorvel::video
