#include "FfmpegCommon.h"

#include <cstdlib>
#include <mutex>

namespace quorvel::video {

void quietFfmpegLog() {
    static std::once_flag once;
    std::call_once(once, [] {
        const char* env = std::getenv("QUORVEL_FFMPEG_LOG");
        if (!env || std::string(env) != "1")
            av_log_set_level(AV_LOG_QUIET);
    });
}

const AVCodec* findH264Encoder() {
    if (const AVCodec* c = avcodec_find_encoder_by_name("libx264"))
        return c;
    return avcodec_find_encoder(AV_CODEC_ID_H264);
}

} // namespace quorvel::video
