#include "quorvel/raw/EventDecoder.h"

#include <algorithm>
#include <bit>
#include <cstring>

// The decode loops below run at hundreds of millions of events a second, so they keep the whole
// decoder state in locals, read words with memcpy (the payload is not aligned: the header length
// is arbitrary) and write each event as two 64-bit stores.

namespace quorvel {

void DecodeStats::add(const DecodeStats& o) {
    if (o.events && !events)
        firstEventTs = o.firstEventTs;
    if (o.events)
        lastEventTs = o.lastEventTs;
    events += o.events;
    onEvents += o.onEvents;
    triggers += o.triggers;
    invalidEvents += o.invalidEvents;
    reservedWords += o.reservedWords;
    timeBackwards += o.timeBackwards;
}

namespace {

#if defined(__GNUC__)
#define QV_LIKELY(x) __builtin_expect(!!(x), 1)
#define QV_UNLIKELY(x) __builtin_expect(!!(x), 0)
#else
#define QV_LIKELY(x) (x)
#define QV_UNLIKELY(x) (x)
#endif

inline uint16_t load16(const uint8_t* p) {
    uint16_t v;
    std::memcpy(&v, p, 2);
    return v;
}
inline uint32_t load32(const uint8_t* p) {
    uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
}
inline uint64_t load64(const uint8_t* p) {
    uint64_t v;
    std::memcpy(&v, p, 8);
    return v;
}

// Event2D is {x:u16, y:u16, polarity:u8, pad, timestamp:u64}: the first 8 bytes are
// x | y << 16 | polarity << 32.
inline void putEvent(Event2D* o, uint64_t xyp, uint64_t t) {
    std::memcpy(reinterpret_cast<uint8_t*>(o), &xyp, 8);
    std::memcpy(reinterpret_cast<uint8_t*>(o) + 8, &t, 8);
}
inline uint64_t packXYP(uint64_t x, uint64_t y, uint64_t p) { return x | (y << 16) | (p << 32); }

// Tracks the first and last event time in counting mode.
struct CountTimes {
    uint64_t first = 0, last = 0;
    bool any = false;
    void note(uint64_t t) {
        if (QV_UNLIKELY(!any)) {
            any = true;
            first = t;
        }
        last = t;
    }
};

inline void finishCount(DecodeStats& stats, const CountTimes& ct) {
    if (!ct.any)
        return;
    if (stats.events == 0) // called before this chunk's count is added
        stats.firstEventTs = ct.first;
    stats.lastEventTs = ct.last;
}

// ---------------------------------------------------------------------------------------------
// EVT 3.0
// ---------------------------------------------------------------------------------------------
class Evt3Decoder final : public EventDecoder {
public:
    Evt3Decoder(uint32_t w, uint32_t h, uint64_t timeBaseUs) : EventDecoder(w, h) {
        m_initial.timeBase = timeBaseUs & ~((uint64_t{1} << 24) - 1);
        m_initial.rawTime = m_initial.floor = m_initial.timeBase;
        m_state = m_initial;
    }
    RawEncoding encoding() const override { return RawEncoding::Evt3; }
    size_t wordSize() const override { return 2; }
    size_t maxEventsPerWord() const override { return 12; }
    DecodeResult decode(const uint8_t* in, size_t len, Event2D* out, size_t cap,
                        std::vector<EventTriggerIn>& triggers) override {
        if (cap < 12)
            return {};
        size_t produced = 0;
        const size_t used = run<true>(in, len, out, cap, triggers, produced);
        return {used, produced};
    }
    size_t count(const uint8_t* in, size_t len, std::vector<EventTriggerIn>& triggers) override {
        size_t produced = 0;
        return run<false>(in, len, nullptr, 0, triggers, produced);
    }
    bool isTimeHighWord(const uint8_t* w) const override { return (load16(w) >> 12) == 0x8; }

private:
    template <bool Emit>
    size_t run(const uint8_t* in, size_t len, Event2D* out, size_t cap,
               std::vector<EventTriggerIn>& triggers, size_t& produced);
};

template <bool Emit>
size_t Evt3Decoder::run(const uint8_t* in, size_t len, Event2D* out, size_t cap,
                        std::vector<EventTriggerIn>& triggers, size_t& produced) {
    const uint8_t* p = in;
    const uint8_t* const end = in + (len & ~size_t{1});
    DecoderState& s = m_state;

    while (!s.started && p < end) {
        const uint32_t w = load16(p);
        p += 2;
        if ((w >> 12) == 0x8) {
            s.started = 1;
            s.lastHigh = w & 0xFFF;
            s.rawTime = s.timeBase + (uint64_t{s.lastHigh} << 12);
            s.floor = std::max(s.floor, s.rawTime);
        }
    }

    const uint32_t W = m_width, H = m_height;
    uint64_t timeBase = s.timeBase, rawTime = s.rawTime, t = s.floor;
    uint32_t high = s.lastHigh;
    uint32_t y = s.y, baseX = s.baseX, vpol = s.polarity;
    bool cdEnabled = s.cdEnabled != 0;
    bool rowOk = cdEnabled && y < H;
    uint64_t rowY = uint64_t{y} << 16;
    uint64_t invalid = 0, reserved = 0, backwards = 0, nEvents = 0, nOn = 0, nTrig = 0;
    CountTimes ct;

    Event2D* o = out;
    Event2D* const oLimit = Emit ? out + (cap - 12) : nullptr;

    auto slowVector = [&](uint32_t mask, uint32_t bits) {
        for (uint32_t i = 0; i < bits; ++i) {
            if (!((mask >> i) & 1))
                continue;
            const uint32_t x = baseX + i;
            if (rowOk && x < W) {
                if constexpr (Emit) {
                    putEvent(o++, packXYP(x, y, vpol), t);
                } else {
                    ++nEvents;
                    nOn += vpol;
                    ct.note(t);
                }
            } else if (cdEnabled) {
                ++invalid;
            }
        }
    };

    while (p < end) {
        if constexpr (Emit) {
            if (QV_UNLIKELY(o > oLimit))
                break;
        }
        const uint32_t w = load16(p);
        p += 2;
        switch (w >> 12) {
        case 0x0: // ADDR_Y
            y = w & 0x7FF;
            cdEnabled = true;
            rowOk = y < H;
            rowY = uint64_t{y} << 16;
            break;
        case 0x2: { // ADDR_X
            const uint32_t x = w & 0x7FF;
            const uint32_t pol = (w >> 11) & 1;
            if (QV_LIKELY(rowOk && x < W)) {
                if constexpr (Emit) {
                    putEvent(o++, x | rowY | (uint64_t{pol} << 32), t);
                } else {
                    ++nEvents;
                    nOn += pol;
                    ct.note(t);
                }
            } else if (cdEnabled) {
                ++invalid;
            }
            break;
        }
        case 0x3: // VECT_BASE_X
            baseX = w & 0x7FF;
            vpol = (w >> 11) & 1;
            break;
        case 0x4: { // VECT_12
            const uint32_t mask = w & 0xFFF;
            if (QV_LIKELY(rowOk && baseX + 12 <= W)) {
                if constexpr (Emit) {
                    const uint64_t lo = baseX | rowY | (uint64_t{vpol} << 32);
                    for (uint32_t i = 0; i < 12; ++i) {
                        putEvent(o, lo + i, t);
                        o += (mask >> i) & 1;
                    }
                } else {
                    const uint32_t n = static_cast<uint32_t>(std::popcount(mask));
                    nEvents += n;
                    nOn += n & (0u - vpol);
                    if (n)
                        ct.note(t);
                }
            } else {
                slowVector(mask, 12);
            }
            baseX += 12;
            break;
        }
        case 0x5: { // VECT_8
            const uint32_t mask = w & 0xFF;
            if (QV_LIKELY(rowOk && baseX + 8 <= W)) {
                if constexpr (Emit) {
                    const uint64_t lo = baseX | rowY | (uint64_t{vpol} << 32);
                    for (uint32_t i = 0; i < 8; ++i) {
                        putEvent(o, lo + i, t);
                        o += (mask >> i) & 1;
                    }
                } else {
                    const uint32_t n = static_cast<uint32_t>(std::popcount(mask));
                    nEvents += n;
                    nOn += n & (0u - vpol);
                    if (n)
                        ct.note(t);
                }
            } else {
                slowVector(mask, 8);
            }
            baseX += 8;
            break;
        }
        case 0x6: { // TIME_LOW
            rawTime = timeBase + (uint64_t{high} << 12) + (w & 0xFFF);
            if (QV_UNLIKELY(rawTime < t))
                ++backwards;
            else
                t = rawTime;
            break;
        }
        case 0x8: { // TIME_HIGH
            const uint32_t h = w & 0xFFF;
            if (h + 2048 <= high)
                timeBase += uint64_t{1} << 24;
            else if (h < high)
                ++backwards;
            high = h;
            rawTime = timeBase + (uint64_t{h} << 12);
            if (rawTime > t)
                t = rawTime;
            break;
        }
        case 0xA: // EXT_TRIGGER
            triggers.emplace_back(static_cast<int16_t>((w >> 8) & 0xF), static_cast<int16_t>(w & 1), rawTime);
            ++nTrig;
            break;
        case 0x1: // old exposure word: CD decoding is off until the next ADDR_Y
            cdEnabled = false;
            rowOk = false;
            break;
        case 0x7: case 0xE: case 0xF: // CONTINUED_4, OTHERS, CONTINUED_12
            break;
        default:
            ++reserved;
            break;
        }
    }

    s.timeBase = timeBase;
    s.rawTime = rawTime;
    s.floor = t;
    s.lastHigh = high;
    s.y = static_cast<uint16_t>(y);
    s.baseX = baseX;
    s.polarity = static_cast<uint8_t>(vpol);
    s.cdEnabled = cdEnabled ? 1 : 0;
    if constexpr (Emit) {
        produced = static_cast<size_t>(o - out);
        nEvents = produced;
    } else {
        finishCount(m_stats, ct);
    }
    m_stats.events += nEvents;
    m_stats.onEvents += nOn;
    m_stats.triggers += nTrig;
    m_stats.invalidEvents += invalid;
    m_stats.reservedWords += reserved;
    m_stats.timeBackwards += backwards;
    return static_cast<size_t>(p - in);
}

// ---------------------------------------------------------------------------------------------
// EVT 2.0 and EVT 2.1 share the time handling: a 28-bit TIME_HIGH (time bits 33..6) and a 6-bit
// low part in every event word.
// ---------------------------------------------------------------------------------------------
struct Evt2Time {
    static constexpr uint64_t kWrap = uint64_t{1} << 34;
    static void timeHigh(DecoderState& s, uint32_t th, uint64_t& backwards) {
        if (s.started) {
            if (uint64_t{th} + (1u << 27) <= s.lastHigh)
                s.timeBase += kWrap;
            else if (th < s.lastHigh)
                ++backwards;
        }
        s.started = 1;
        s.lastHigh = th;
        s.rawTime = s.timeBase + (uint64_t{th} << 6);
        s.floor = std::max(s.floor, s.rawTime);
    }
};

class Evt2Decoder final : public EventDecoder {
public:
    Evt2Decoder(uint32_t w, uint32_t h, uint64_t timeBaseUs) : EventDecoder(w, h) {
        m_initial.timeBase = timeBaseUs & ~(Evt2Time::kWrap - 1);
        m_initial.rawTime = m_initial.floor = m_initial.timeBase;
        m_state = m_initial;
    }
    RawEncoding encoding() const override { return RawEncoding::Evt2; }
    size_t wordSize() const override { return 4; }
    size_t maxEventsPerWord() const override { return 1; }
    DecodeResult decode(const uint8_t* in, size_t len, Event2D* out, size_t cap,
                        std::vector<EventTriggerIn>& triggers) override {
        size_t produced = 0;
        const size_t used = run<true>(in, len, out, cap, triggers, produced);
        return {used, produced};
    }
    size_t count(const uint8_t* in, size_t len, std::vector<EventTriggerIn>& triggers) override {
        size_t produced = 0;
        return run<false>(in, len, nullptr, 0, triggers, produced);
    }
    bool isTimeHighWord(const uint8_t* w) const override { return (load32(w) >> 28) == 0x8; }

private:
    template <bool Emit>
    size_t run(const uint8_t* in, size_t len, Event2D* out, size_t cap,
               std::vector<EventTriggerIn>& triggers, size_t& produced) {
        const uint8_t* p = in;
        const uint8_t* const end = in + (len & ~size_t{3});
        DecoderState& s = m_state;
        uint64_t invalid = 0, reserved = 0, backwards = 0, nEvents = 0, nOn = 0, nTrig = 0;
        while (!s.started && p < end) {
            const uint32_t w = load32(p);
            p += 4;
            if ((w >> 28) == 0x8)
                Evt2Time::timeHigh(s, w & 0x0FFFFFFF, backwards);
        }
        const uint32_t W = m_width, H = m_height;
        uint64_t rawTime = s.rawTime, floor = s.floor;
        CountTimes ct;
        Event2D* o = out;
        Event2D* const oEnd = out + cap;
        while (p < end) {
            if constexpr (Emit) {
                if (QV_UNLIKELY(o >= oEnd))
                    break;
            }
            const uint32_t w = load32(p);
            p += 4;
            const uint32_t type = w >> 28;
            if (QV_LIKELY(type <= 1)) {
                const uint32_t x = (w >> 11) & 0x7FF, y = w & 0x7FF;
                if (QV_LIKELY(x < W && y < H)) {
                    uint64_t t = rawTime + ((w >> 22) & 63);
                    backwards += t < floor;
                    t = std::max(t, floor);
                    floor = t;
                    if constexpr (Emit) {
                        putEvent(o++, packXYP(x, y, type), t);
                    } else {
                        ++nEvents;
                        nOn += type;
                        ct.note(t);
                    }
                } else {
                    ++invalid;
                }
                continue;
            }
            switch (type) {
            case 0x8:
                s.floor = floor;
                Evt2Time::timeHigh(s, w & 0x0FFFFFFF, backwards);
                rawTime = s.rawTime;
                floor = s.floor;
                break;
            case 0xA:
                triggers.emplace_back(static_cast<int16_t>((w >> 8) & 0x1F), static_cast<int16_t>(w & 1),
                                      rawTime + ((w >> 22) & 63));
                ++nTrig;
                break;
            case 0xE: case 0xF:
                break;
            default:
                ++reserved;
                break;
            }
        }
        s.rawTime = rawTime;
        s.floor = floor;
        if constexpr (Emit) {
            produced = static_cast<size_t>(o - out);
            nEvents = produced;
        } else {
            finishCount(m_stats, ct);
        }
        m_stats.events += nEvents;
        m_stats.onEvents += nOn;
        m_stats.triggers += nTrig;
        m_stats.invalidEvents += invalid;
        m_stats.reservedWords += reserved;
        m_stats.timeBackwards += backwards;
        return static_cast<size_t>(p - in);
    }
};

class Evt21Decoder final : public EventDecoder {
public:
    Evt21Decoder(uint32_t w, uint32_t h, uint64_t timeBaseUs, bool legacy) : EventDecoder(w, h), m_legacy(legacy) {
        m_initial.timeBase = timeBaseUs & ~(Evt2Time::kWrap - 1);
        m_initial.rawTime = m_initial.floor = m_initial.timeBase;
        m_state = m_initial;
    }
    RawEncoding encoding() const override { return RawEncoding::Evt21; }
    size_t wordSize() const override { return 8; }
    size_t maxEventsPerWord() const override { return 32; }
    DecodeResult decode(const uint8_t* in, size_t len, Event2D* out, size_t cap,
                        std::vector<EventTriggerIn>& triggers) override {
        if (cap < 32)
            return {};
        size_t produced = 0;
        const size_t used = run<true>(in, len, out, cap, triggers, produced);
        return {used, produced};
    }
    size_t count(const uint8_t* in, size_t len, std::vector<EventTriggerIn>& triggers) override {
        size_t produced = 0;
        return run<false>(in, len, nullptr, 0, triggers, produced);
    }
    bool isTimeHighWord(const uint8_t* w) const override { return (word(w) >> 60) == 0x8; }

private:
    uint64_t word(const uint8_t* p) const {
        if (m_legacy)
            return (uint64_t{load32(p)} << 32) | load32(p + 4);
        return load64(p);
    }

    template <bool Emit>
    size_t run(const uint8_t* in, size_t len, Event2D* out, size_t cap,
               std::vector<EventTriggerIn>& triggers, size_t& produced) {
        const uint8_t* p = in;
        const uint8_t* const end = in + (len & ~size_t{7});
        DecoderState& s = m_state;
        uint64_t invalid = 0, reserved = 0, backwards = 0, nEvents = 0, nOn = 0, nTrig = 0;
        while (!s.started && p < end) {
            const uint64_t w = word(p);
            p += 8;
            if ((w >> 60) == 0x8)
                Evt2Time::timeHigh(s, static_cast<uint32_t>(w >> 32) & 0x0FFFFFFF, backwards);
        }
        const uint32_t W = m_width, H = m_height;
        CountTimes ct;
        Event2D* o = out;
        Event2D* const oLimit = Emit ? out + (cap - 32) : nullptr;
        while (p < end) {
            if constexpr (Emit) {
                if (QV_UNLIKELY(o > oLimit))
                    break;
            }
            const uint64_t w = word(p);
            p += 8;
            const uint32_t type = static_cast<uint32_t>(w >> 60);
            if (type <= 1) {
                uint32_t mask = static_cast<uint32_t>(w);
                const uint32_t x0 = (w >> 43) & 0x7FF, y = (w >> 32) & 0x7FF;
                uint64_t t = s.rawTime + ((w >> 54) & 63);
                if (t < s.floor) {
                    ++backwards;
                    t = s.floor;
                }
                s.floor = t;
                if (QV_LIKELY(y < H && x0 + 32 <= W)) {
                    if constexpr (Emit) {
                        const uint64_t lo = packXYP(x0, y, type);
                        while (mask) {
                            putEvent(o++, lo + static_cast<uint32_t>(std::countr_zero(mask)), t);
                            mask &= mask - 1;
                        }
                    } else {
                        const uint32_t n = static_cast<uint32_t>(std::popcount(mask));
                        nEvents += n;
                        nOn += type ? n : 0;
                        if (n)
                            ct.note(t);
                    }
                } else {
                    while (mask) {
                        const uint32_t x = x0 + static_cast<uint32_t>(std::countr_zero(mask));
                        mask &= mask - 1;
                        if (x < W && y < H) {
                            if constexpr (Emit) {
                                putEvent(o++, packXYP(x, y, type), t);
                            } else {
                                ++nEvents;
                                nOn += type;
                                ct.note(t);
                            }
                        } else {
                            ++invalid;
                        }
                    }
                }
                continue;
            }
            switch (type) {
            case 0x8:
                Evt2Time::timeHigh(s, static_cast<uint32_t>(w >> 32) & 0x0FFFFFFF, backwards);
                break;
            case 0xA:
                triggers.emplace_back(static_cast<int16_t>((w >> 40) & 0x1F), static_cast<int16_t>((w >> 32) & 1),
                                      s.rawTime + ((w >> 54) & 63));
                ++nTrig;
                break;
            case 0xE: case 0xF:
                break;
            default:
                ++reserved;
                break;
            }
        }
        if constexpr (Emit) {
            produced = static_cast<size_t>(o - out);
            nEvents = produced;
        } else {
            finishCount(m_stats, ct);
        }
        m_stats.events += nEvents;
        m_stats.onEvents += nOn;
        m_stats.triggers += nTrig;
        m_stats.invalidEvents += invalid;
        m_stats.reservedWords += reserved;
        m_stats.timeBackwards += backwards;
        return static_cast<size_t>(p - in);
    }

    bool m_legacy;
};

// ---------------------------------------------------------------------------------------------
// DAT: 8-byte records {uint32 time, uint32 x:14 | y:14 | polarity:4}. The 32-bit time wraps after
// about 71 minutes; a time far below the previous one is taken as a wrap.
// ---------------------------------------------------------------------------------------------
class DatDecoder final : public EventDecoder {
public:
    DatDecoder(uint32_t w, uint32_t h) : EventDecoder(w ? w : 16384, h ? h : 16384) {}
    RawEncoding encoding() const override { return RawEncoding::Dat; }
    size_t wordSize() const override { return 8; }
    size_t maxEventsPerWord() const override { return 1; }
    DecodeResult decode(const uint8_t* in, size_t len, Event2D* out, size_t cap,
                        std::vector<EventTriggerIn>& triggers) override {
        size_t produced = 0;
        const size_t used = run<true>(in, len, out, cap, produced);
        return {used, produced};
    }
    size_t count(const uint8_t* in, size_t len, std::vector<EventTriggerIn>&) override {
        size_t produced = 0;
        return run<false>(in, len, nullptr, 0, produced);
    }
    bool isTimeHighWord(const uint8_t*) const override { return true; }

private:
    template <bool Emit>
    size_t run(const uint8_t* in, size_t len, Event2D* out, size_t cap, size_t& produced) {
        const uint8_t* p = in;
        const uint8_t* const end = in + (len & ~size_t{7});
        DecoderState& s = m_state;
        uint64_t invalid = 0, backwards = 0, nEvents = 0, nOn = 0;
        CountTimes ct;
        Event2D* o = out;
        Event2D* const oEnd = out + cap;
        while (p < end) {
            if constexpr (Emit) {
                if (o >= oEnd)
                    break;
            }
            const uint32_t t32 = load32(p), v = load32(p + 4);
            p += 8;
            if (s.started && uint64_t{t32} + (1u << 31) <= s.lastHigh)
                s.timeBase += uint64_t{1} << 32;
            s.started = 1;
            s.lastHigh = t32;
            s.rawTime = s.timeBase + t32;
            uint64_t t = s.rawTime;
            if (t < s.floor) {
                ++backwards;
                t = s.floor;
            }
            s.floor = t;
            const uint32_t x = v & 0x3FFF, y = (v >> 14) & 0x3FFF, pol = (v >> 28) != 0 ? 1 : 0;
            if (x < m_width && y < m_height) {
                if constexpr (Emit) {
                    putEvent(o++, packXYP(x, y, pol), t);
                } else {
                    ++nEvents;
                    nOn += pol;
                    ct.note(t);
                }
            } else {
                ++invalid;
            }
        }
        if constexpr (Emit) {
            produced = static_cast<size_t>(o - out);
            nEvents = produced;
        } else {
            finishCount(m_stats, ct);
        }
        m_stats.events += nEvents;
        m_stats.onEvents += nOn;
        m_stats.invalidEvents += invalid;
        m_stats.timeBackwards += backwards;
        return static_cast<size_t>(p - in);
    }
};

} // namespace

std::unique_ptr<EventDecoder> EventDecoder::create(const RawHeader& h) {
    switch (h.encoding) {
    case RawEncoding::Evt3: return std::make_unique<Evt3Decoder>(h.width, h.height, h.timeBaseUs);
    case RawEncoding::Evt2: return std::make_unique<Evt2Decoder>(h.width, h.height, h.timeBaseUs);
    case RawEncoding::Evt21: return std::make_unique<Evt21Decoder>(h.width, h.height, h.timeBaseUs, h.evt21Legacy);
    case RawEncoding::Dat: return std::make_unique<DatDecoder>(h.width, h.height);
    default: return nullptr;
    }
}

} // namespace quorvel
