#pragma once
// A small EVT 3.0 reader written from the public format description alone, word by word, with
// nothing shared with the SDK's decoder, and a checker of the rules our writer promises. Tests
// decode what the writer, cut and recorder produce with it under both readings of the low time
// part after a TIME_HIGH (restarted from 0, or kept from the last TIME_LOW), which other readers
// differ on: files we write must decode the same either way.

#include "quorvel/Event2D.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace quorvel::test {

struct Evt3Reading {
    std::vector<Event2D> events;
    std::vector<EventTriggerIn> triggers;
};

/// Decodes an EVT 3.0 payload (no header). Times are taken exactly as the time words give them;
/// `timeBaseUs` is the header's time_base_us.
inline Evt3Reading referenceDecodeEvt3(const std::string& payload, uint32_t width, uint32_t height,
                                       bool lowRestartsAtTimeHigh, uint64_t timeBaseUs = 0) {
    Evt3Reading r;
    bool started = false, cd = true;
    uint64_t loops = timeBaseUs >> 24;
    uint32_t high = 0, low = 0, y = 0, base = 0, pol = 0;
    const auto now = [&] { return (loops << 24) + (uint64_t{high} << 12) + low; };
    const auto event = [&](uint32_t x, uint32_t p) {
        if (cd && x < width && y < height)
            r.events.emplace_back(static_cast<uint16_t>(x), static_cast<uint16_t>(y), static_cast<uint8_t>(p), now());
    };
    for (size_t i = 0; i + 1 < payload.size(); i += 2) {
        uint16_t w;
        std::memcpy(&w, payload.data() + i, 2);
        const unsigned type = w >> 12;
        if (type == 0x8) {
            const uint32_t h = w & 0xFFF;
            if (started && h + 2048 <= high)
                ++loops;
            high = h;
            started = true;
            if (lowRestartsAtTimeHigh)
                low = 0;
            continue;
        }
        if (!started)
            continue;
        switch (type) {
        case 0x6: low = w & 0xFFF; break;
        case 0x0: y = w & 0x7FF; cd = true; break;
        case 0x1: cd = false; break;
        case 0x2: event(w & 0x7FF, (w >> 11) & 1); break;
        case 0x3: base = w & 0x7FF; pol = (w >> 11) & 1; break;
        case 0x4:
            for (uint32_t b = 0; b < 12; ++b)
                if ((w >> b) & 1)
                    event(base + b, pol);
            base += 12;
            break;
        case 0x5:
            for (uint32_t b = 0; b < 8; ++b)
                if ((w >> b) & 1)
                    event(base + b, pol);
            base += 8;
            break;
        case 0xA: r.triggers.emplace_back(static_cast<int16_t>((w >> 8) & 0xF), static_cast<int16_t>(w & 1), now()); break;
        default: break;
        }
    }
    return r;
}

/// The first rule our EVT 3.0 writer breaks in `payload`, or "" when it keeps all of them.
inline std::string evt3WriterRuleBroken(const std::string& payload, uint32_t width) {
    if (payload.size() % 2)
        return "the payload is not a whole number of words";
    if (payload.empty())
        return "";
    if (payload[0] == '%')
        return "the payload begins with '%'";
    std::vector<uint16_t> w(payload.size() / 2);
    std::memcpy(w.data(), payload.data(), payload.size());
    const auto at = [](size_t i) { return " (word " + std::to_string(i) + ")"; };
    if (w[0] >> 12 != 0x8)
        return "the payload does not start with TIME_HIGH";
    size_t i = 0;
    while (i < w.size() && w[i] >> 12 == 0x8)
        ++i;
    if (i < w.size() && w[i] >> 12 != 0x6)
        return "the first TIME_HIGH is not followed by TIME_LOW" + at(i);
    bool lowPending = false, haveY = false;
    int lastHigh = -1;
    for (i = 0; i < w.size(); ++i) {
        const unsigned type = w[i] >> 12;
        if (type == 0x8) {
            const int h = w[i] & 0xFFF;
            if (lastHigh >= 0 && h != lastHigh) {
                const int step = (h - lastHigh + 4096) % 4096;
                if (step >= 2048)
                    return "TIME_HIGH steps by " + std::to_string(step) + at(i);
                lowPending = true;
            }
            lastHigh = h;
        } else if (type == 0x6) {
            lowPending = false;
        } else if (type == 0x0) {
            haveY = true;
        } else if (type == 0x2 || type == 0x3 || type == 0xA) {
            if (lowPending)
                return "no TIME_LOW between a TIME_HIGH change and the next event or trigger" + at(i);
            if (type != 0xA && !haveY)
                return "an X word before any ADDR_Y" + at(i);
            if (type == 0x3) {
                size_t j = i + 1;
                uint32_t end = w[i] & 0x7FF;
                while (j + 2 < w.size() && w[j] >> 12 == 0x4 && w[j + 1] >> 12 == 0x4 && w[j + 2] >> 12 == 0x5) {
                    j += 3;
                    end += 32;
                }
                if (end > width)
                    return "a vector past the sensor width" + at(i);
                if (j == i + 1)
                    return "VECT_BASE_X without a VECT_12, VECT_12, VECT_8 triple" + at(i);
                if (j < w.size() && (w[j] >> 12 == 0x4 || w[j] >> 12 == 0x5))
                    return "an incomplete vector triple" + at(j);
                i = j - 1;
            }
        } else if (type == 0x4 || type == 0x5) {
            return "a vector word without VECT_BASE_X" + at(i);
        }
    }
    return "";
}

} // namespace quorvel::test
