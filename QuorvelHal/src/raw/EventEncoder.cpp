#include "quorvel/raw/EventEncoder.h"

#include <algorithm>
#include <cstring>

namespace quorvel {

void EventEncoder::begin(uint64_t timeBaseUs) {
    m_timeBase = timeBaseUs;
    m_started = false;
    m_last = timeBaseUs;
    m_size = 0;
    onBegin();
}

void EventEncoder::encode(const Event2D* eb, const Event2D* ee, const EventTriggerIn* tb, const EventTriggerIn* te) {
    if (!tb || tb == te) {
        encodeEvents(eb, ee);
        return;
    }
    while (eb != ee || tb != te) {
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

    void syncTo(const DecoderState& s) override {
        const uint64_t target = s.timeBase + (uint64_t{s.lastHigh} << 12);
        uint8_t* p = reserve(16);
        if (!m_started) {
            p = put16(p, 0x8000 | s.lastHigh);
            m_started = true;
            m_high = target >> 12;
            commit(p);
        } else if ((target >> 12) >= m_high) {
            commit(p);
            stepHighTo(target >> 12);
        } else {
            // The source stream's clock stepped back here; do the same, within the same wrap.
            p = put16(p, 0x8000 | s.lastHigh);
            m_high = target >> 12;
            commit(p);
        }
        // No TIME_LOW: the copied payload starts with a TIME_HIGH, which restarts the low part.
        p = reserve(16);
        p = put16(p, 0x0000 | (s.y & 0x7FF));
        m_y = s.y;
        p = put16(p, 0x3000 | ((s.polarity & 1u) << 11) | (s.baseX & 0x7FF));
        if (!s.cdEnabled)
            p = put16(p, 0x1000);
        commit(p);
        m_last = std::max(m_last, s.floor);
    }

    void assume(const DecoderState& s) override {
        m_started = s.started != 0;
        m_high = (s.timeBase >> 12) + s.lastHigh;
        m_low = static_cast<uint32_t>(s.rawTime - (s.timeBase + (uint64_t{s.lastHigh} << 12))) & 0xFFF;
        m_y = s.cdEnabled ? static_cast<int32_t>(s.y) : -1;
        m_last = std::max(m_last, s.floor);
    }

protected:
    void onBegin() override {
        m_high = 0;
        m_low = 0;
        m_y = -1;
    }

    void encodeTrigger(const EventTriggerIn& tr) override {
        uint64_t t = tr.timestamp;
        if (t < m_last) {
            ++m_clamped;
            t = m_last;
        }
        timeTo(t);
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
        // At most TIME_HIGH, TIME_LOW, ADDR_Y, ADDR_X per event; time gaps reserve on their own.
        uint8_t* p = reserve(n * 8 + 64);
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
                timeTo(t);
                p = reserve(static_cast<size_t>(e - it) * 8 + 64);
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

    // Brings the decoder's time to t (>= current), stepping TIME_HIGH one value at a time.
    void timeTo(uint64_t t) {
        const uint64_t high = t >> 12;
        if (!m_started) {
            uint8_t* p = reserve(4);
            p = put16(p, 0x8000 | (high & 0xFFF));
            p = put16(p, 0x6000 | (t & 0xFFF));
            commit(p);
            m_started = true;
            m_high = high;
            m_low = t & 0xFFF;
            return;
        }
        if (high != m_high)
            stepHighTo(high);
        if ((t & 0xFFF) != m_low) {
            uint8_t* p = reserve(2);
            p = put16(p, 0x6000 | (t & 0xFFF));
            commit(p);
            m_low = t & 0xFFF;
        }
    }

    void stepHighTo(uint64_t high) {
        while (m_high < high) {
            const uint64_t steps = std::min<uint64_t>(high - m_high, 1u << 16);
            uint8_t* p = reserve(steps * 2);
            for (uint64_t i = 0; i < steps; ++i)
                p = put16(p, 0x8000 | ((++m_high) & 0xFFF));
            commit(p);
        }
        m_low = 0;
    }

    uint64_t m_high = 0; // absolute TIME_HIGH index (time >> 12, wraps included)
    uint32_t m_low = 0;
    int32_t m_y = -1;
};

class Evt2Encoder final : public EventEncoder {
public:
    Evt2Encoder(uint32_t w, uint32_t h) : EventEncoder(w, h) {}
    uint64_t timeBaseFor(uint64_t first) const override { return first & ~((uint64_t{1} << 34) - 1); }

    void syncTo(const DecoderState& s) override {
        uint8_t* p = reserve(4);
        p = put32(p, 0x80000000u | (s.lastHigh & 0x0FFFFFFF));
        commit(p);
        m_th = s.rawTime >> 6;
        m_started = true;
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
        uint64_t t = clamp(tr.timestamp);
        uint8_t* p = reserve(8);
        p = timeHigh(p, t);
        p = put32(p, 0xA0000000u | static_cast<uint32_t>((t & 63) << 22) |
                         ((static_cast<uint32_t>(tr.id) & 0x1F) << 8) | (tr.polarity ? 1u : 0u));
        commit(p);
        ++m_triggers;
    }
    void encodeEvents(const Event2D* b, const Event2D* e) override {
        uint8_t* p = reserve(static_cast<size_t>(e - b) * 8);
        for (; b != e; ++b) {
            const uint64_t t = clamp(b->timestamp);
            p = timeHigh(p, t);
            p = put32(p, (b->polarity ? 0x10000000u : 0u) | static_cast<uint32_t>((t & 63) << 22) |
                             ((b->x & 0x7FFu) << 11) | (b->y & 0x7FFu));
            ++m_events;
        }
        commit(p);
    }

private:
    uint64_t clamp(uint64_t t) {
        if (t < m_last) {
            ++m_clamped;
            t = m_last;
        }
        m_last = t;
        return t;
    }
    uint8_t* timeHigh(uint8_t* p, uint64_t t) {
        if (!m_started || (t >> 6) != m_th) {
            m_th = t >> 6;
            m_started = true;
            p = put32(p, 0x80000000u | static_cast<uint32_t>(m_th & 0x0FFFFFFF));
        }
        return p;
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
