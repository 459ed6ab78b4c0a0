#pragma once
// One DVS event and one trigger-input edge: the records every layer of the SDK passes around.
//
// Both are plain values (trivially copyable) so that batches can live in contiguous arrays and be
// copied with memcpy. Within a batch timestamps are non-decreasing: the first element carries the
// earliest time and the last element the latest.
//
// Thread rules: plain data, no shared state.

#include <cstdint>
#include <type_traits>

namespace quorvel {

struct Event2D {
    uint16_t x = 0;         ///< pixel column, 0 .. width-1
    uint16_t y = 0;         ///< pixel row, 0 .. height-1
    uint8_t polarity = 0;   ///< 1 = brightness increase (ON), 0 = decrease (OFF)
    uint64_t timestamp = 0; ///< microseconds on the camera's or file's time base

    Event2D() = default;
    Event2D(uint16_t x_, uint16_t y_, uint8_t polarity_, uint64_t timestamp_)
        : x(x_), y(y_), polarity(polarity_), timestamp(timestamp_) {}

    friend bool operator==(const Event2D&, const Event2D&) = default;
};

static_assert(std::is_trivially_copyable_v<Event2D>);
static_assert(sizeof(Event2D) == 16, "Event2D is packed into 16 bytes by the decoders");

/// One edge seen on a camera's trigger input.
struct EventTriggerIn {
    int16_t polarity = 0;   ///< edge value: 1 rising, 0 falling
    uint64_t timestamp = 0; ///< microseconds, same time base as Event2D
    int16_t id = 0;         ///< trigger channel number

    EventTriggerIn() = default;
    /// Note the argument order (id, polarity, timestamp) differs from the field order; callers
    /// throughout the SDK and the application rely on it, so it must stay.
    EventTriggerIn(int16_t id_, int16_t polarity_, uint64_t timestamp_)
        : polarity(polarity_), timestamp(timestamp_), id(id_) {}

    friend bool operator==(const EventTriggerIn&, const EventTriggerIn&) = default;
};

static_assert(std::is_trivially_copyable_v<EventTriggerIn>);

} // namespace quorvel
