#pragma once
// Small helpers shared by the FFmpeg-based readers and writers of this folder. FFmpeg is a private
// dependency of QuorvelDriver: nothing here may appear in a public header.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
#include <libavutil/dict.h>
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}

#include <string>

namespace quorvel::video {

/// Metadata key of the DVS time (µs) of a fusion recording's first APS frame.
inline constexpr const char* kApsTimeOffsetKey = "quorvel_aps_time_offset_us";

/// FFmpeg's text for an error code.
inline std::string avError(int code) {
    char buf[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, buf, sizeof buf);
    return buf;
}

/// Silences FFmpeg's own stderr logging once per process: our callers report errors themselves,
/// and a corrupt file would otherwise flood the console. QUORVEL_FFMPEG_LOG=1 keeps it.
void quietFfmpegLog();

/// The H.264 encoder: libx264 when present, otherwise whatever H.264 encoder libavcodec has.
const AVCodec* findH264Encoder();

} // namespace quorvel::video
