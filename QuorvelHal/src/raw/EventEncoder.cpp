#include "quorvel/raw/EventEncoder.h"

#include <algorithm>
#include <cstring>

namespace quorvel {

void EventEncoder::begin(uint64_t timeBaseUs) {
    m_timeBase = timeBaseUs;
    m_started = false;
    m_last = timeBaseUs;
    m_size = 0;
    m_failed = false;
    m_error.clear();
    onBegin();
}

void EventEncoder::encode(const Event2D* eb, const Event2D* ee, const EventTriggerIn* tb, const EventTriggerIn* te) {
    if (m_failed)
        return;
    if (!tb || tb == te) {
        encodeEvents(eb, ee);
        return;
    }
    while ((eb != ee || tb != te) && !m_failed) {
        if (tb != te && (eb == ee || tb->timestamp <= eb->timestamp)) {
            encodeTrigger(*tb++);
            continue;
        }
        // Events up to the next trigger's time go as one run so vectors can form.
        const Event2D* stop = ee;
        if (tb != te)
            stop = std::upper_bound(eb, ee, tb->timestamp, [](uint64_t t, const Event2D& e) { return t < e.timestamp; });
        if (stop == eb)
            stop = eb + 1;
        encodeEvents(eb, stop);
        eb = stop;
    }
}

namespace {

#if defined(__GNUC__)
#define QV_UNLIKELY(x) __builtin_expect(!!(x), 0)
#else
#define QV_UNLIKELY(x) (x)
#endif

inline uint8_t* put16(uint8_t* p, uint32_t w) {
    const uint16_t v = static_cast<uint16_t>(w);
    std::memcpy(p, &v, 2);
    return p + 2;
}
inline uint8_t* put32(uint8_t* p, uint32_t w) {
    std::memcpy(p, &w, 4);
    return p + 4;
}

class Evt3Encoder final : public EventEncoder {
public:
    Evt3Encoder(uint32_t w, uint32_t h) : EventEncoder(w, h) {}

    uint64_t timeBaseFor(uint64_t first) const override { return first & ~kLoopMask; }

    void syncTo(const DecoderState& s, bool withVectorBase) override {
        moveHighTo((s.timeBase >> 12) + s.lastHigh);
        // The copied payload starts with a TIME_HIGH, which sets the time anew; the TIME_LOW only
        // keeps every TIME_HIGH followed by one, as the rules promise readers.
        m_low = static_cast<uint32_t>(s.rawTime) & 0xFFF;
        uint8_t* p = reserve(16);
        p = put16(p, 0x6000 | m_low);
        p = put16(p, 0x0000 | (s.y & 0x7FF));
        m_y = s.y;
        if (withVectorBase)
            p = put16(p, 0x3000 | ((s.polarity & 1u) << 11) | (s.baseX & 0x7FF));
        if (!s.cdEnabled)
            p = put16(p, 0x1000);
        commit(p);
        m_last = std::max(m_last, s.floor);
    }

    void assume(const DecoderState& s) override {
        m_started = s.started != 0;
        m_high = (s.timeBase >> 12) + s.lastHigh;
        // The copied payload may end with a TIME_HIGH that readers keeping the last TIME_LOW read
        // differently: the next event gets a TIME_LOW of its own.
        m_low = kNoLow;
        m_y = s.cdEnabled ? static_cast<int32_t>(s.y) : -1;
        m_last = std::max(m_last, s.floor);
    }

protected:
    void onBegin() override {
        m_high = 0;
        m_low = kNoLow;
        m_y = -1;
    }

    void encodeTrigger(const EventTriggerIn& tr) override {
        uint64_t t = tr.timestamp;
        if (t < m_last) {
            ++m_clamped;
            t = m_last;
        }
        if (!timeTo(t))
            return;
        uint8_t* p = reserve(2);
        p = put16(p, 0xA000 | ((static_cast<uint32_t>(tr.id) & 0xF) << 8) | (tr.polarity ? 1u : 0u));
        commit(p);
        m_last = t;
        ++m_triggers;
    }

    void encodeEvents(const Event2D* b, const Event2D* e) override {
        const size_t n = static_cast<size_t>(e - b);
        if (!n)
            return;
        // At most TIME_LOW, ADDR_Y, ADDR_X per event; TIME_HIGH changes reserve on their own.
        uint8_t* p = reserve(n * 6 + 64);
        const Event2D* it = b;
        const uint32_t W = m_width;
        while (it != e) {
            uint64_t t = it->timestamp;
            if (t < m_last) {
                ++m_clamped;
                t = m_last;
            }
            if (QV_UNLIKELY(!m_started || (t >> 12) != m_high)) {
                commit(p);
                if (!timeTo(t))
                    return;
                p = reserve(static_cast<size_t>(e - it) * 6 + 64);
            } else if ((t & 0xFFF) != m_low) {
                p = put16(p, 0x6000 | (t & 0xFFF));
                m_low = t & 0xFFF;
            }
            m_last = t;
            const uint32_t y = it->y, pol = it->polarity ? 1u : 0u, x0 = it->x;
            if (static_cast<int32_t>(y) != m_y) {
                p = put16(p, 0x0000 | (y & 0x7FF));
                m_y = static_cast<int32_t>(y);
            }
            // A vector needs at least 5 events in base..base+31 at this time, row and polarity.
            // (The fifth event must already be in the same row, polarity and 32-pixel span: a
            // cheap test that spares the scan on scattered events.)
            if (W >= 32 && it + 4 < e && it[4].timestamp == it->timestamp && it[4].y == y &&
                (it[4].polarity ? 1u : 0u) == pol && it[4].x > x0 && it[4].x < x0 + 32) {
                uint32_t base = std::min<uint32_t>(x0, W - 32);
                const Event2D* run = it;
                uint32_t mask = 0;
                uint32_t prevX = 0;
                bool first = true;
                while (run != e && run->timestamp == it->timestamp && run->y == y &&
                       (run->polarity ? 1u : 0u) == pol && (first || run->x > prevX) && run->x < base + 32 &&
                       run->x >= base) {
                    mask |= 1u << (run->x - base);
                    prevX = run->x;
                    first = false;
                    ++run;
                }
                if (run - it >= 5) {
                    p = put16(p, 0x3000 | (pol << 11) | base);
                    p = put16(p, 0x4000 | (mask & 0xFFF));
                    p = put16(p, 0x4000 | ((mask >> 12) & 0xFFF));
                    p = put16(p, 0x5000 | (mask >> 24));
                    m_events += static_cast<uint64_t>(run - it);
                    it = run;
                    // Further triples continue at base + 32 without a new base word.
                    for (;;) {
                        base += 32;
                        if (base + 32 > W)
                            break;
                        const Event2D* r2 = it;
                        mask = 0;
                        while (r2 != e && r2->timestamp == t && r2->y == y && (r2->polarity ? 1u : 0u) == pol &&
                               r2->x > prevX && r2->x < base + 32 && r2->x >= base) {
                            mask |= 1u << (r2->x - base);
                            prevX = r2->x;
                            ++r2;
                        }
                        if (r2 - it < 4) // three words only pay off from four events
                            break;
                        p = put16(p, 0x4000 | (mask & 0xFFF));
                        p = put16(p, 0x4000 | ((mask >> 12) & 0xFFF));
                        p = put16(p, 0x5000 | (mask >> 24));
                        m_events += static_cast<uint64_t>(r2 - it);
                        it = r2;
                    }
                    continue;
                }
            }
            p = put16(p, 0x2000 | (pol << 11) | (x0 & 0x7FF));
            ++m_events;
            ++it;
        }
        commit(p);
    }

private:
    static constexpr uint64_t kLoopMask = (uint64_t{1} << 24) - 1;
    static constexpr uint32_t kNoLow = 0xFFFFFFFF; // a TIME_LOW must follow before the next event
    // Largest TIME_HIGH step: 2048 or more back is how every reader recognises a wrap.
    static constexpr uint64_t kMaxHighStep = 2047;

    // Brings the decoder's time to t; false when that is a jump no recording has.
    bool timeTo(uint64_t t) {
        if (refuseJump(t))
            return false;
        const uint64_t high = t >> 12;
        if (!m_started || high != m_high) {
            moveHighTo(high);
            m_low = kNoLow;
        }
        if ((t & 0xFFF) != m_low) {
            uint8_t* p = reserve(2);
            p = put16(p, 0x6000 | (t & 0xFFF));
            commit(p);
            m_low = t & 0xFFF;
        }
        return true;
    }

    // Emits TIME_HIGH words that take the decoder's absolute TIME_HIGH index (time >> 12, wraps
    // included) to `high`: the first word of the stream, or steps of less than 2048 forward (a
    // silence costs a few words per wrap) or back (copied payload whose clock stepped back).
    void moveHighTo(uint64_t high) {
        if (!m_started) {
            uint8_t* p = reserve(4);
            // A first byte 0x25 ('%') would make some readers take the word for a header line;
            // one TIME_HIGH earlier changes nothing for the events.
            if ((high & 0xFF) == 0x25)
                p = put16(p, 0x8000 | ((high - 1) & 0xFFF));
            p = put16(p, 0x8000 | (high & 0xFFF));
            commit(p);
            m_started = true;
            m_high = high;
            return;
        }
        while (m_high != high) {
            const uint64_t steps = m_high < high ? (high - m_high + kMaxHighStep - 1) / kMaxHighStep
                                                 : (m_high - high + kMaxHighStep - 1) / kMaxHighStep;
            uint8_t* p = reserve(static_cast<size_t>(std::min<uint64_t>(steps, 1u << 16)) * 2);
            for (uint64_t i = 0; i < steps && i < (1u << 16); ++i) {
                if (m_high < high)
                    m_high += std::min(high - m_high, kMaxHighStep);
                else
                    m_high -= std::min(m_high - high, kMaxHighStep);
                p = put16(p, 0x8000 | (m_high & 0xFFF));
            }
            commit(p);
        }
    }

    uint64_t m_high = 0; // absolute TIME_HIGH index (time >> 12, wraps included)
    uint32_t m_low = kNoLow;
    int32_t m_y = -1;
};

class Evt2Encoder final : public EventEncoder {
public:
    Evt2Encoder(uint32_t w, uint32_t h) : EventEncoder(w, h) {}
    uint64_t timeBaseFor(uint64_t first) const override { return first & ~((uint64_t{1} << 34) - 1); }

    void syncTo(const DecoderState& s, bool) override {
        uint8_t* p = reserve(8);
        p = timeHighWord(p, s.rawTime >> 6);
        commit(p);
        m_last = std::max(m_last, s.floor);
    }
    void assume(const DecoderState& s) override {
        m_started = s.started != 0;
        m_th = s.rawTime >> 6;
        m_last = std::max(m_last, s.floor);
    }

protected:
    void onBegin() override { m_th = ~uint64_t{0}; }
    void encodeTrigger(const EventTriggerIn& tr) override {
        uint64_t t = 0;
        if (!clamp(tr.timestamp, t))
            return;
        uint8_t* p = reserve(12);
        p = timeHigh(p, t);
        p = put32(p, 0xA0000000u | static_cast<uint32_t>((t & 63) << 22) |
                         ((static_cast<uint32_t>(tr.id) & 0x1F) << 8) | (tr.polarity ? 1u : 0u));
        commit(p);
        ++m_triggers;
    }
    void encodeEvents(const Event2D* b, const Event2D* e) override {
        uint8_t* p = reserve(static_cast<size_t>(e - b) * 8 + 4);
        for (; b != e; ++b) {
            uint64_t t = 0;
            if (!clamp(b->timestamp, t))
                break;
            p = timeHigh(p, t);
            p = put32(p, (b->polarity ? 0x10000000u : 0u) | static_cast<uint32_t>((t & 63) << 22) |
                             ((b->x & 0x7FFu) << 11) | (b->y & 0x7FFu));
            ++m_events;
        }
        commit(p);
    }

private:
    // The time to write for `in` (clamped to the latest written); false for a jump of more than a day.
    bool clamp(uint64_t in, uint64_t& t) {
        t = in;
        if (t < m_last) {
            ++m_clamped;
            t = m_last;
        }
        if (refuseJump(t))
            return false;
        m_last = t;
        return true;
    }
    uint8_t* timeHigh(uint8_t* p, uint64_t t) {
        if (!m_started || (t >> 6) != m_th)
            p = timeHighWord(p, t >> 6);
        return p;
    }
    // Writes TIME_HIGH `th` (one more word first when it would begin the payload with '%').
    uint8_t* timeHighWord(uint8_t* p, uint64_t th) {
        if (!m_started && (th & 0xFF) == 0x25)
            p = put32(p, 0x80000000u | static_cast<uint32_t>((th - 1) & 0x0FFFFFFF));
        m_th = th;
        m_started = true;
        return put32(p, 0x80000000u | static_cast<uint32_t>(th & 0x0FFFFFFF));
    }
    uint64_t m_th = 0;
};

} // namespace

std::unique_ptr<EventEncoder> EventEncoder::create(RawEncoding enc, uint32_t w, uint32_t h) {
    switch (enc) {
    case RawEncoding::Evt3: return std::make_unique<Evt3Encoder>(w, h);
    case RawEncoding::Evt2: return std::make_unique<Evt2Encoder>(w, h);
    default: return nullptr;
    }
}

} // namespace quorvel
