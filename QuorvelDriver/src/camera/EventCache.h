#pragma once
// The rolling pre-trigger cache: the last N seconds of a camera's stream, so that a recording
// started by a trigger can begin N seconds before it.
//
// Events are packed into 8 bytes each (41-bit time, 11-bit x and y, polarity) in chunks of about
// 50 ms; whole chunks older than N seconds behind the newest event are released, so memory is
// bounded by N seconds (plus one chunk) of the stream. Closed chunks are immutable and shared with
// recordings by pointer, so starting a recording never copies the cache.
//
// Thread rules: not synchronised; the camera calls it under its delivery lock.

#include "quorvel/Event2D.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

namespace quorvel::detail {

struct CacheChunk {
    std::vector<uint64_t> events;
    std::vector<EventTriggerIn> triggers;
    uint64_t firstUs = 0;
    uint64_t lastUs = 0;

    static uint64_t pack(const Event2D& e) {
        return (e.timestamp << 23) | (static_cast<uint64_t>(e.x & 0x7FF) << 12) |
               (static_cast<uint64_t>(e.y & 0x7FF) << 1) | (e.polarity & 1u);
    }
    static Event2D unpack(uint64_t w) {
        return Event2D(static_cast<uint16_t>((w >> 12) & 0x7FF), static_cast<uint16_t>((w >> 1) & 0x7FF),
                       static_cast<uint8_t>(w & 1u), w >> 23);
    }
    bool empty() const { return events.empty() && triggers.empty(); }
};

/// What a recording takes from the cache: chunks to write first, from `fromUs` on.
struct CacheSnapshot {
    std::vector<std::shared_ptr<const CacheChunk>> chunks;
    uint64_t fromUs = 0;
};

class EventCache {
public:
    explicit EventCache(uint32_t seconds) : m_keepUs(static_cast<uint64_t>(seconds) * 1000000) {}

    void append(const Event2D* b, const Event2D* e, const EventTriggerIn* tb, const EventTriggerIn* te);
    /// The last N seconds (N as constructed) up to the newest event appended.
    CacheSnapshot snapshot();
    uint64_t bytes() const;
    uint64_t keepUs() const { return m_keepUs; }

private:
    void closeCurrent();

    uint64_t m_keepUs;
    std::deque<std::shared_ptr<const CacheChunk>> m_closed;
    std::shared_ptr<CacheChunk> m_current = std::make_shared<CacheChunk>();
    uint64_t m_newestUs = 0;
    bool m_any = false;
};

} // namespace quorvel::detail
