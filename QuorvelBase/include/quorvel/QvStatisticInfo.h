#pragma once
// Once-a-second statistics of a live stream, delivered by the camera's statistics callback.
// Thread rules: plain value.

#include <cstdint>

namespace quorvel {

struct QvStatisticInfo {
    uint64_t bandwidth = 0; ///< bytes per second of the encoded stream
    uint64_t eventRate = 0; ///< events per second
    /// Since the stream started: stream packets a network camera sent that never arrived
    /// (sequence gaps and what a broken link cut off; 0 for local cameras), and the events the
    /// camera produced that never reached the host (in those packets, or lost in the camera when
    /// its readout fell behind).
    uint64_t lostPackets = 0;
    uint64_t lostEvents = 0;

    QvStatisticInfo() = default;
    QvStatisticInfo(uint64_t bandwidth_, uint64_t eventRate_)
        : bandwidth(bandwidth_), eventRate(eventRate_) {}

    friend bool operator==(const QvStatisticInfo&, const QvStatisticInfo&) = default;
};

} // namespace quorvel
