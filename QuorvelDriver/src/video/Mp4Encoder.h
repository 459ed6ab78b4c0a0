#pragma once
// H.264 in MP4 for the APS recorder and the event video export: one video stream of YUV 4:2:0
// frames with BT.601 limited-range colour (what every player assumes for such a stream).
//
// The file is written under a temporary name beside the target and renamed over it only by a
// successful finish(), so a failure, a cancellation or a crash never leaves a half-written file
// under the target name (and the temporary name is listed for a signal handler to remove, see
// TemporaryFiles.h). There are no B-frames: presentation and decoding order are the same, which
// keeps the frame times of a recording exactly the times given to encode().
//
// Errors: every operation returns false with a message in `error`; after a failure the encoder is
// unusable and the destructor removes the temporary file.
// Thread rules: one thread at a time; libx264 runs its own worker threads inside. Frames from
// newFrame() belong to the caller and may be filled on another thread while one is encoded.

#include "FfmpegCommon.h"
#include "quorvel/TemporaryFiles.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace quorvel::video {

class Mp4Encoder {
public:
    struct Settings {
        int width = 0;  ///< even
        int height = 0; ///< even
        AVRational timeBase{1, 1000000};
        AVRational frameRate{30, 1}; ///< nominal rate for rate control and the container
        int gopSize = 30;
        std::string preset = "veryfast";
        std::string tune;
        int crf = 20;
        int threads = 0; ///< 0 = libx264 decides
        std::vector<std::pair<std::string, std::string>> metadata;
    };

    Mp4Encoder() = default;
    ~Mp4Encoder();
    Mp4Encoder(const Mp4Encoder&) = delete;
    Mp4Encoder& operator=(const Mp4Encoder&) = delete;

    bool open(const std::string& path, const Settings& settings, std::string& error);
    /// The YUV 4:2:0 frame to fill before encode(); writable until encode() returns.
    AVFrame* frame() { return m_frame; }
    /// Encodes frame() with presentation time `pts` (in the settings' time base, increasing).
    bool encode(int64_t pts, std::string& error);

    struct FrameDeleter {
        void operator()(AVFrame* f) const { av_frame_free(&f); }
    };
    using FramePtr = std::unique_ptr<AVFrame, FrameDeleter>;
    /// A frame of the encoder's size and format, owned by the caller; null when out of memory.
    FramePtr newFrame() const;
    /// Encodes `frame` (from newFrame()) like encode(pts); the frame is writable again afterwards.
    bool encode(AVFrame* frame, int64_t pts, std::string& error);
    /// Drains the encoder, writes the index and renames the file into place.
    bool finish(std::string& error);
    /// Stops and removes the temporary file.
    void abort();

    bool isOpen() const { return m_fmt != nullptr; }
    int64_t framesEncoded() const { return m_frames; }

private:
    bool drain(bool flush, std::string& error);
    void release();

    AVFormatContext* m_fmt = nullptr;
    AVCodecContext* m_enc = nullptr;
    AVStream* m_stream = nullptr;
    AVFrame* m_frame = nullptr;
    AVPacket* m_packet = nullptr;
    bool m_ioOpen = false;
    std::string m_path;
    std::string m_tmpPath;
    TemporaryFileGuard m_tempGuard; ///< lists m_tmpPath for removal by a signal handler
    int64_t m_frames = 0;
};

} // namespace quorvel::video
