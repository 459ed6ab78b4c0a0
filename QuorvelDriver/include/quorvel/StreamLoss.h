#pragma once
// What a live stream lost, where, and when: the figures behind DvsCamera's loss counters, with the
// gaps they are made of, for a window's loss label and its tooltip and for `quorvel record`.
//
// Loss is counted where it happens, never guessed afterwards:
// - Camera: the camera could not read its sensor out in time and its FIFO overflowed (a camera
//   daemon stalled by its host; a simulated sensor that fell behind the wall clock skips ahead).
//   Exact for fixed-rate sources; for a simulated scene estimated from the rate just before.
// - Network: stream packets that never arrived (sequence gaps, and what a broken link cut off).
// - Queue: the getEvents() queue was not read in time and dropped its oldest batches.
// - Recording: the recording's queue was full (the disk slower than the stream) and a batch was
//   left out of the file.
//
// Thread rules: plain values.

#include <chrono>
#include <cstdint>
#include <vector>

namespace quorvel {

enum class LossPlace : uint8_t { Camera, Network, Queue, Recording };

/// "camera", "network", "queue", "recording".
const char* lossPlaceName(LossPlace place);

/// One stretch of the stream whose events were lost.
struct LossGap {
    LossPlace place = LossPlace::Camera;
    /// Sensor time (µs) of the last event before and the first event after the gap, as far as
    /// known; equal when only one side is known (a link that broke).
    uint64_t fromUs = 0, toUs = 0;
    uint64_t events = 0;
    uint64_t packets = 0; ///< Network only
    std::chrono::system_clock::time_point seenAt; ///< wall clock when it was counted
};

struct StreamLoss {
    /// When counting began: the start() of the current (or last) stream.
    std::chrono::system_clock::time_point since;
    uint64_t cameraEvents = 0;
    uint64_t networkEvents = 0;
    uint64_t networkPackets = 0;
    uint64_t queueEvents = 0;
    uint64_t recordingEvents = 0;
    /// Every gap counted; `gaps` keeps the first kMaxGaps of them in the order seen, neighbouring
    /// drops of the same place merged.
    uint64_t gapCount = 0;
    std::vector<LossGap> gaps;
    static constexpr size_t kMaxGaps = 256;

    /// Events produced by the camera that never reached this computer.
    uint64_t lostEvents() const { return cameraEvents + networkEvents; }
    /// Everything a recording of the stream misses.
    uint64_t recordingLostEvents() const { return cameraEvents + networkEvents + recordingEvents; }
    bool any() const { return gapCount > 0; }
};

} // namespace quorvel
