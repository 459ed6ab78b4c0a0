#pragma once
// What a file reader tells about a recording as a whole: the first event time (the reference of
// the file's time base), a one-line description, and the wall-clock time of the recording start.
//
// The local time of a file position ts is startTime + (ts - firstTimestamp) x 10 ticks: the time
// point counts 100-nanosecond ticks on the system clock.
// Thread rules: plain data.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <ratio>
#include <string>

namespace quorvel {

struct DvsFileInfo {
    using Ticks = std::chrono::duration<int64_t, std::ratio<1, 10000000>>;
    using TimePoint = std::chrono::time_point<std::chrono::system_clock, Ticks>;

    /// Time of the first event, microseconds on the file's own time base.
    uint64_t firstTimestamp = 0;
    /// e.g. "EVT3 1280x720, serial 00001034, 5000 events" (counts once the index is ready).
    std::string text;
    /// Wall-clock start of the recording, from the header `date` (local time). The epoch when the
    /// header has no readable date.
    TimePoint startTime{};

    /// Wall-clock time of the file position `timestampUs` (offsets are capped at about 30 years
    /// either way, so a damaged clock cannot overflow the time point).
    TimePoint localTimeAt(uint64_t timestampUs) const {
        constexpr uint64_t kCapUs = uint64_t{1} << 50;
        if (timestampUs >= firstTimestamp)
            return startTime + Ticks(static_cast<int64_t>(std::min(timestampUs - firstTimestamp, kCapUs)) * 10);
        return startTime - Ticks(static_cast<int64_t>(std::min(firstTimestamp - timestampUs, kCapUs)) * 10);
    }
};

} // namespace quorvel
