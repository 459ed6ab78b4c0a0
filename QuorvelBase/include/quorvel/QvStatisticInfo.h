#pragma once
// Once-a-second statistics of a live stream, delivered by the camera's statistics callback.
// Thread rules: plain value.

#include <cstdint>

namespace quorvel {

struct QvStatisticInfo {
    uint64_t bandwidth = 0; ///< bytes per second of the encoded stream
    uint64_t eventRate = 0; ///< events per second
    /// Network cameras: stream packets and events lost between camera and host since the stream
    /// started (sequence gaps and what a broken link cut off). Always 0 for local cameras.
    uint64_t lostPackets = 0;
    uint64_t lostEvents = 0;

    QvStatisticInfo() = default;
    QvStatisticInfo(uint64_t bandwidth_, uint64_t eventRate_)
        : bandwidth(bandwidth_), eventRate(eventRate_) {}

    friend bool operator==(const QvStatisticInfo&, const QvStatisticInfo&) = default;
};

} // namespace quorvel
