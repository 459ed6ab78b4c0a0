#include "SensorWords.h"

#include "Xorshift.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

namespace quorvel::test {

namespace {

void put(std::string& s, uint32_t w) {
    const uint16_t v = static_cast<uint16_t>(w);
    s.append(reinterpret_cast<const char*>(&v), 2);
}

} // namespace

SensorWordMix busySensorMix() { return {}; }

SensorWordMix sparseSensorMix() {
    SensorWordMix m;
    m.eventsPerUs = 0.111;
    m.eventsPerRow = 1.0;
    m.vectorGroupsPerRow = 0.0;
    m.doubleLowShare = 0.12;
    return m;
}

std::string generateSensorEvt3(const SensorWordMix& mix, uint64_t startUs, size_t bytes, uint32_t seed,
                               uint64_t* nextUs) {
    Xorshift rng(seed, 7);
    std::string s;
    s.reserve(bytes + 256);
    const uint32_t W = mix.width, H = mix.height;
    uint32_t lastY = H;
    uint64_t nextTrigger = mix.triggerPeriodUs ? startUs + mix.triggerPeriodUs : UINT64_MAX;
    int trigLevel = 1;
    uint64_t t = startUs;
    for (; s.size() < bytes; ++t) {
        if (t == startUs || t % 16 == 0)
            put(s, 0x8000 | ((t >> 12) & 0xFFF));
        const bool trigger = t >= nextTrigger;
        uint32_t n = rng.around(mix.eventsPerUs);
        if (n == 0 && !trigger)
            continue;
        if (rng.unit() < mix.doubleLowShare) // a TIME_LOW a few microseconds ahead, then the right one
            put(s, 0x6000 | ((t + 1 + rng.below(11)) & 0xFFF));
        put(s, 0x6000 | (t & 0xFFF));
        if (trigger) {
            put(s, 0xA000 | static_cast<uint32_t>(trigLevel));
            trigLevel ^= 1;
            nextTrigger += mix.triggerPeriodUs;
        }
        while (n > 0) {
            uint32_t y = rng.below(H);
            if (y == lastY)
                y = (y + 1) % H;
            lastY = y;
            put(s, y);
            uint32_t rowEvents = std::min(n, 1 + rng.around(mix.eventsPerRow - 1.0));
            n -= rowEvents;
            if (mix.vectorGroupsPerRow > 0 && rng.unit() < mix.vectorGroupsPerRow && W >= 32) {
                // A sparse group: about two events in 32 pixels.
                const uint32_t k = std::min(rowEvents, 1 + rng.below(3));
                rowEvents -= k;
                const uint32_t base = rng.below(W - 31);
                uint32_t mask = 0;
                while (static_cast<uint32_t>(__builtin_popcount(mask)) < k)
                    mask |= 1u << rng.below(32);
                const uint32_t pol = rng.below(2);
                put(s, 0x3000 | (pol << 11) | base);
                put(s, 0x4000 | (mask & 0xFFF));
                put(s, 0x4000 | ((mask >> 12) & 0xFFF));
                put(s, 0x5000 | (mask >> 24));
            }
            uint32_t x = rng.below(W > 48 ? W - 48 : 1);
            for (uint32_t i = 0; i < rowEvents; ++i) {
                put(s, 0x2000 | (rng.below(2) << 11) | std::min(x, W - 1));
                x += 1 + rng.below(5);
            }
        }
    }
    if (nextUs)
        *nextUs = t;
    return s;
}

} // namespace quorvel::test
