#pragma once
// Payload encoders: EVT 3.0 (what we record) and EVT 2.0 (used to re-encode the boundaries when
// cutting an EVT 2.0 file). They append words to an internal byte buffer that the caller drains.
//
// The EVT 3.0 encoder follows the rules every known reader agrees on: it starts with TIME_HIGH
// then TIME_LOW, emits TIME_HIGH when time bits 23..12 change (every intermediate value, so no
// step ever looks like a wrap) and TIME_LOW when bits 11..0 change, ADDR_Y before the first X
// word and on every row change, single events as ADDR_X, and vectors only as VECT_BASE_X followed
// by complete VECT_12, VECT_12, VECT_8 triples within the sensor width, used when they are shorter
// than the single words. Events keep their order: a vector only covers events that already come
// in increasing x at one time, row and polarity.
//
// Times must be non-decreasing; an earlier time is clamped to the latest one written and counted
// in clampedCount(), never reordered.
//
// Errors: none; encoding cannot fail.
// Thread rules: one thread at a time.

#include "quorvel/Event2D.h"
#include "quorvel/raw/EventDecoder.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace quorvel {

class EventEncoder {
public:
    virtual ~EventEncoder() = default;

    /// EVT3 or EVT2 encoder for the geometry; null for other encodings.
    static std::unique_ptr<EventEncoder> create(RawEncoding encoding, uint32_t width, uint32_t height);

    /// The time base a stream starting at `firstTimeUs` must declare in its header
    /// (`time_base_us`), so that its first time words decode to `firstTimeUs`.
    virtual uint64_t timeBaseFor(uint64_t firstTimeUs) const = 0;
    /// Starts a stream whose header declares `timeBaseUs`; nothing is emitted yet.
    void begin(uint64_t timeBaseUs);

    /// Encodes events and triggers, merged by time (a trigger goes before events of its time).
    /// Both ranges must be non-decreasing in time.
    void encode(const Event2D* evBegin, const Event2D* evEnd, const EventTriggerIn* trBegin = nullptr,
                const EventTriggerIn* trEnd = nullptr);

    /// Emits words that bring a decoder of this stream into state `s` (time words, row, vector
    /// base), ready for payload copied from another stream whose decoder was in `s`.
    virtual void syncTo(const DecoderState& s) = 0;
    /// Declares that a decoder of this stream is now in state `s` (after copied payload).
    virtual void assume(const DecoderState& s) = 0;

    const uint8_t* data() const { return m_buf.data(); }
    size_t size() const { return m_size; }
    void clearBuffer() { m_size = 0; }

    uint64_t clampedCount() const { return m_clamped; }
    uint64_t eventsEncoded() const { return m_events; }
    uint64_t triggersEncoded() const { return m_triggers; }
    /// Latest time written (events and triggers), valid once anything was written.
    uint64_t lastTime() const { return m_last; }
    bool started() const { return m_started; }

protected:
    EventEncoder(uint32_t width, uint32_t height) : m_width(width), m_height(height) {}
    virtual void encodeEvents(const Event2D* b, const Event2D* e) = 0;
    virtual void encodeTrigger(const EventTriggerIn& t) = 0;
    virtual void onBegin() = 0;

    /// Makes room for `bytes` more bytes and returns where they go; commit() with what was used.
    uint8_t* reserve(size_t bytes) {
        if (m_buf.size() - m_size < bytes)
            m_buf.resize(std::max(m_buf.size() * 2, m_size + bytes + 4096));
        return m_buf.data() + m_size;
    }
    void commit(uint8_t* end) { m_size = static_cast<size_t>(end - m_buf.data()); }

    uint32_t m_width, m_height;
    uint64_t m_timeBase = 0;
    uint64_t m_last = 0;
    bool m_started = false;
    uint64_t m_clamped = 0, m_events = 0, m_triggers = 0;

private:
    std::vector<uint8_t> m_buf;
    size_t m_size = 0;
};

} // namespace quorvel
