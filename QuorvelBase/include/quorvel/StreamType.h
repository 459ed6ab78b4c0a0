#pragma once
// Which stream of a camera an operation concerns. A fusion camera starts and stops both streams
// together with STREAM_FUSION.

namespace quorvel {

enum STREAM_TYPE : int {
    STREAM_DVS = 0,
    STREAM_APS = 1,
    STREAM_FUSION = 2,
};

} // namespace quorvel
