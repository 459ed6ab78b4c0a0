#pragma once
// Payload encoders: EVT 3.0 (what we record) and EVT 2.0 (used to re-encode the boundaries when
// cutting an EVT 2.0 file). They append words to an internal byte buffer that the caller drains.
//
// The EVT 3.0 encoder follows the rules every known reader agrees on: it starts with TIME_HIGH
// then TIME_LOW; before an event or trigger it emits TIME_HIGH when time bits 23..12 changed and
// then always a TIME_LOW (readers differ on the low part after a TIME_HIGH), and TIME_LOW alone
// when bits 11..0 changed; a silent stretch costs a TIME_HIGH per 2047 x 4096 us at most (three
// words per 16.8 s wrap), and no step is ever large enough to look like a wrap; ADDR_Y before
// the first X word and on every row change; single events as ADDR_X; vectors only as VECT_BASE_X
// followed by complete VECT_12, VECT_12, VECT_8 triples within the sensor width, used when they
// are shorter than the single words. Events keep their order: a vector only covers events that
// already come in increasing x at one time, row and polarity. The payload never begins with the
// byte '%' (0x25), which some readers take for another header line.
//
// Times must be non-decreasing; an earlier time is clamped to the latest one written and counted
// in clampedCount(), never reordered.
//
// Errors: more than a day between neighbouring events or triggers is no recording's clock (a
// damaged source): the encoder stops there, failed() becomes true and error() says where; what
// was encoded before stays in the buffer.
// Thread rules: one thread at a time.

#include "quorvel/Event2D.h"
#include "quorvel/raw/EventDecoder.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
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

    /// Emits words that bring a decoder of this stream into state `s` (time words, row, and the
    /// vector base when `withVectorBase`), ready for payload copied from another stream whose
    /// decoder was in `s` and which starts with a time-high word. The event floor is not set by
    /// words: the caller must have written the events that put it where `s` has it.
    virtual void syncTo(const DecoderState& s, bool withVectorBase) = 0;
    /// Declares that a decoder of this stream is now in state `s` (after copied payload).
    virtual void assume(const DecoderState& s) = 0;

    const uint8_t* data() const { return m_buf.data(); }
    size_t size() const { return m_size; }
    void clearBuffer() { m_size = 0; }

    bool failed() const { return m_failed; }
    const std::string& error() const { return m_error; }

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
    /// Refuses a step from the latest time written to `t` of more than a day; true when refused.
    bool refuseJump(uint64_t t) {
        if (!m_started || t <= m_last || t - m_last <= EventDecoder::kMaxTimeJumpUs)
            return false;
        m_failed = true;
        m_error = "the time jumps from " + std::to_string(m_last) + " us to " + std::to_string(t) +
                  " us between neighbouring events (more than a day): not a recording's clock";
        return true;
    }

    uint32_t m_width, m_height;
    uint64_t m_timeBase = 0;
    uint64_t m_last = 0;
    bool m_started = false;
    bool m_failed = false;
    std::string m_error;
    uint64_t m_clamped = 0, m_events = 0, m_triggers = 0;

private:
    std::vector<uint8_t> m_buf;
    size_t m_size = 0;
};

} // namespace quorvel
