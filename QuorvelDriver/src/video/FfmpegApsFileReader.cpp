// ApsFileReader over libavformat/libavcodec/libswscale.

#include "quorvel/ApsFileReader.h"

#include "FfmpegCommon.h"

#include <algorithm>
#include <charconv>
#include <deque>
#include <vector>

namespace quorvel {

namespace {

thread_local std::string t_lastCreateError;

class FfmpegApsFileReader final : public ApsFileReader {
public:
    ~FfmpegApsFileReader() override {
        for (AVFrame* f : m_ahead)
            av_frame_free(&f);
        for (AVFrame* f : m_spare)
            av_frame_free(&f);
        av_packet_free(&m_packet);
        avcodec_free_context(&m_dec);
        avformat_close_input(&m_fmt);
        sws_freeContext(m_sws);
    }

    bool open(const std::string& path, std::string& error) {
        video::quietFfmpegLog();
        int rc = avformat_open_input(&m_fmt, path.c_str(), nullptr, nullptr);
        if (rc < 0) {
            error = "cannot open '" + path + "': " + video::avError(rc);
            return false;
        }
        rc = avformat_find_stream_info(m_fmt, nullptr);
        if (rc < 0) {
            error = "'" + path + "' is not a readable video: " + video::avError(rc);
            return false;
        }
        const AVCodec* codec = nullptr;
        m_streamIndex = av_find_best_stream(m_fmt, AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
        if (m_streamIndex < 0 || !codec) {
            error = "'" + path + "' holds no decodable video stream";
            return false;
        }
        m_stream = m_fmt->streams[m_streamIndex];
        m_dec = avcodec_alloc_context3(codec);
        m_packet = av_packet_alloc();
        if (!m_dec || !m_packet || avcodec_parameters_to_context(m_dec, m_stream->codecpar) < 0) {
            error = "cannot set up the decoder for '" + path + "'";
            return false;
        }
        // Frame threads on both cores: reading runs ahead of playback, and the one-frame-per-
        // thread delay does not matter for files.
        m_dec->thread_count = 0;
        rc = avcodec_open2(m_dec, codec, nullptr);
        if (rc < 0) {
            error = "cannot open the decoder for '" + path + "': " + video::avError(rc);
            return false;
        }
        m_width = m_stream->codecpar->width;
        m_height = m_stream->codecpar->height;
        if (m_width <= 0 || m_height <= 0 || m_width > 65535 || m_height > 65535) {
            error = "'" + path + "' has no usable frame size";
            return false;
        }
        if (const AVDictionaryEntry* e = av_dict_get(m_fmt->metadata, video::kApsTimeOffsetKey, nullptr, 0)) {
            uint64_t v = 0;
            const char* s = e->value;
            const char* end = s + std::char_traits<char>::length(s);
            const auto r = std::from_chars(s, end, v);
            if (r.ec == std::errc() && r.ptr == end) {
                m_offset = v;
                m_hasOffset = true;
            }
        }
        // Presentation times of all frames, from the container's index: they give each frame its
        // sequence number and the file its length without decoding.
        const int n = avformat_index_get_entries_count(m_stream);
        m_indexPts.reserve(static_cast<size_t>(std::max(n, 0)));
        for (int i = 0; i < n; ++i)
            if (const AVIndexEntry* ie = avformat_index_get_entry(m_stream, i))
                m_indexPts.push_back(ie->timestamp);
        std::sort(m_indexPts.begin(), m_indexPts.end());
        m_firstPts = m_stream->start_time != AV_NOPTS_VALUE ? m_stream->start_time
                                                            : (m_indexPts.empty() ? 0 : m_indexPts.front());
        // Decode the first frame now: a file whose video cannot be decoded is refused at creation.
        AVFrame* first = takeSpare();
        if (!first || !decodeNext(first)) {
            if (first)
                releaseFrame(first);
            error = "'" + path + "': no frame can be decoded" + (m_error.empty() ? "" : " (" + m_error + ")");
            return false;
        }
        m_firstPts = std::min(m_firstPts, framePts(first));
        m_ahead.push_back(first);
        return true;
    }

    uint16_t getWidth() const override { return static_cast<uint16_t>(m_width); }
    uint16_t getHeight() const override { return static_cast<uint16_t>(m_height); }
    uint64_t getApsTimeOffset() const override { return m_offset; }
    bool hasApsTimeOffset() const override { return m_hasOffset; }

    uint64_t getFrameCount() const override {
        if (m_stream->nb_frames > 0)
            return static_cast<uint64_t>(m_stream->nb_frames);
        return m_indexPts.size();
    }

    uint64_t getLastTimestamp() const override {
        if (m_indexPts.empty())
            return 0;
        return toUs(m_indexPts.back());
    }

    std::string lastError() const override { return m_error; }

    bool readFrame(ApsFrame& frame) override {
        AVFrame* f = nullptr;
        if (!m_ahead.empty()) {
            f = m_ahead.front();
            m_ahead.pop_front();
        } else {
            f = takeSpare();
            if (!f)
                return false;
            if (!decodeNext(f)) {
                releaseFrame(f);
                return false;
            }
        }
        const bool ok = convert(f, frame);
        releaseFrame(f);
        return ok;
    }

    bool seekTime(uint64_t ts) override {
        const int64_t target = m_firstPts + av_rescale_q(static_cast<int64_t>(std::min<uint64_t>(ts, INT64_MAX / 2)),
                                                         AVRational{1, 1000000}, m_stream->time_base);
        if (!seekDecode(target, false)) {
            // Some containers land on a keyframe after the target; start from the beginning then.
            if (!seekDecode(target, true))
                return false;
        }
        return true;
    }

    bool readFrameAt(uint64_t ts, ApsFrame& frame) override { return seekTime(ts) && readFrame(frame); }

    bool rewind() override { return seekTime(0); }

private:
    int64_t framePts(const AVFrame* f) const {
        return f->best_effort_timestamp != AV_NOPTS_VALUE ? f->best_effort_timestamp : f->pts;
    }

    uint64_t toUs(int64_t pts) const {
        if (pts == AV_NOPTS_VALUE || pts <= m_firstPts)
            return 0;
        return static_cast<uint64_t>(av_rescale_q(pts - m_firstPts, m_stream->time_base, AVRational{1, 1000000}));
    }

    AVFrame* takeSpare() {
        if (!m_spare.empty()) {
            AVFrame* f = m_spare.back();
            m_spare.pop_back();
            return f;
        }
        AVFrame* f = av_frame_alloc();
        if (!f)
            m_error = "out of memory for a video frame";
        return f;
    }

    void releaseFrame(AVFrame* f) {
        av_frame_unref(f);
        m_spare.push_back(f);
    }

    void clearAhead() {
        while (!m_ahead.empty()) {
            releaseFrame(m_ahead.front());
            m_ahead.pop_front();
        }
    }

    // Decodes the next frame in presentation order into `out`. False at the end or on a read
    // error (then lastError says which). Packets the decoder rejects are skipped.
    bool decodeNext(AVFrame* out) {
        for (;;) {
            int rc = avcodec_receive_frame(m_dec, out);
            if (rc == 0) {
                if (framePts(out) == AV_NOPTS_VALUE)
                    out->best_effort_timestamp = m_lastPts == AV_NOPTS_VALUE ? m_firstPts : m_lastPts + 1;
                m_lastPts = framePts(out);
                return true;
            }
            if (rc == AVERROR_EOF) {
                m_error = "end of the video";
                return false;
            }
            if (rc != AVERROR(EAGAIN)) {
                m_error = "decoding failed: " + video::avError(rc);
                return false;
            }
            if (m_draining) {
                m_error = "end of the video";
                return false;
            }
            rc = av_read_frame(m_fmt, m_packet);
            if (rc < 0) {
                if (rc != AVERROR_EOF)
                    m_error = "reading the video failed: " + video::avError(rc);
                avcodec_send_packet(m_dec, nullptr);
                m_draining = true;
                continue;
            }
            if (m_packet->stream_index == m_streamIndex) {
                rc = avcodec_send_packet(m_dec, m_packet);
                if (rc < 0 && rc != AVERROR(EAGAIN))
                    ++m_badPackets; // a damaged packet: skip it, the next keyframe recovers
            }
            av_packet_unref(m_packet);
        }
    }

    bool seekDecode(int64_t target, bool fromStart) {
        clearAhead();
        const int64_t seekTo = fromStart ? m_firstPts : target;
        int rc = av_seek_frame(m_fmt, m_streamIndex, seekTo, AVSEEK_FLAG_BACKWARD);
        if (rc < 0 && !fromStart)
            rc = av_seek_frame(m_fmt, m_streamIndex, m_firstPts, AVSEEK_FLAG_BACKWARD);
        if (rc < 0) {
            m_error = "seek failed: " + video::avError(rc);
            return false;
        }
        avcodec_flush_buffers(m_dec);
        m_draining = false;
        m_lastPts = AV_NOPTS_VALUE;
        AVFrame* prev = nullptr;
        for (;;) {
            AVFrame* f = takeSpare();
            if (!f)
                break;
            if (!decodeNext(f)) {
                releaseFrame(f);
                break;
            }
            if (framePts(f) > target) {
                if (!prev && !fromStart && target > m_firstPts) {
                    // Landed after the target: the caller retries from the start.
                    releaseFrame(f);
                    return false;
                }
                if (prev)
                    m_ahead.push_back(prev);
                m_ahead.push_back(f);
                return true;
            }
            if (prev)
                releaseFrame(prev);
            prev = f;
        }
        if (prev) {
            // The target lies after the last frame: that frame is the one shown.
            m_ahead.push_back(prev);
            return true;
        }
        m_error = "no frame at or before the requested time";
        return false;
    }

    bool convert(const AVFrame* f, ApsFrame& frame) {
        const auto fmt = static_cast<AVPixelFormat>(f->format);
        if (!m_sws || fmt != m_swsFormat || f->width != m_swsWidth || f->height != m_swsHeight ||
            f->colorspace != m_swsSpace || f->color_range != m_swsRange) {
            m_sws = sws_getCachedContext(m_sws, f->width, f->height, fmt, f->width, f->height, AV_PIX_FMT_BGR24,
                                         SWS_POINT, nullptr, nullptr, nullptr);
            if (!m_sws) {
                m_error = "cannot convert the video's pixel format to BGR";
                return false;
            }
            // Honour the stream's own colour description; unmarked video is BT.601 limited range.
            const int space = f->colorspace == AVCOL_SPC_BT709 ? SWS_CS_ITU709 : SWS_CS_DEFAULT;
            const int srcFull = f->color_range == AVCOL_RANGE_JPEG ? 1 : 0;
            int* invTable = nullptr;
            int* table = nullptr;
            int srcRange = 0, dstRange = 0, brightness = 0, contrast = 0, saturation = 0;
            if (sws_getColorspaceDetails(m_sws, &invTable, &srcRange, &table, &dstRange, &brightness, &contrast,
                                         &saturation) >= 0)
                sws_setColorspaceDetails(m_sws, sws_getCoefficients(space), srcFull, table, 1, brightness, contrast,
                                         saturation);
            m_swsFormat = fmt;
            m_swsWidth = f->width;
            m_swsHeight = f->height;
            m_swsSpace = f->colorspace;
            m_swsRange = f->color_range;
        }
        frame.reshape(f->width, f->height);
        uint8_t* dst[1] = {frame.data()};
        const int dstStride[1] = {frame.getStride()};
        sws_scale(m_sws, f->data, f->linesize, 0, f->height, dst, dstStride);
        const int64_t pts = framePts(f);
        frame.setTimestamp(toUs(pts));
        const auto it = std::lower_bound(m_indexPts.begin(), m_indexPts.end(), pts);
        frame.setSequence(it != m_indexPts.end() && *it == pts ? static_cast<uint64_t>(it - m_indexPts.begin()) : 0);
        return true;
    }

    AVFormatContext* m_fmt = nullptr;
    AVCodecContext* m_dec = nullptr;
    AVStream* m_stream = nullptr;
    AVPacket* m_packet = nullptr;
    SwsContext* m_sws = nullptr;
    AVPixelFormat m_swsFormat = AV_PIX_FMT_NONE;
    int m_swsWidth = 0;
    int m_swsHeight = 0;
    AVColorSpace m_swsSpace = AVCOL_SPC_UNSPECIFIED;
    AVColorRange m_swsRange = AVCOL_RANGE_UNSPECIFIED;
    int m_streamIndex = -1;
    int m_width = 0;
    int m_height = 0;
    uint64_t m_offset = 0;
    bool m_hasOffset = false;
    int64_t m_firstPts = 0;
    int64_t m_lastPts = AV_NOPTS_VALUE;
    bool m_draining = false;
    uint64_t m_badPackets = 0;
    std::vector<int64_t> m_indexPts;
    std::deque<AVFrame*> m_ahead;
    std::vector<AVFrame*> m_spare;
    std::string m_error;
};

} // namespace

std::unique_ptr<ApsFileReader> ApsFileReader::createFileReader(std::string path) {
    auto r = std::make_unique<FfmpegApsFileReader>();
    std::string err;
    if (!r->open(path, err)) {
        t_lastCreateError = err;
        return nullptr;
    }
    t_lastCreateError.clear();
    return r;
}

std::string ApsFileReader::lastCreateError() { return t_lastCreateError; }

} // namespace quorvel
