#pragma once
// The small, fast, reproducible generator behind the synthetic streams: the same seed gives the
// same stream on every machine. `salt` keeps generators of different streams apart.

#include <cstdint>

namespace quorvel::test {

struct Xorshift {
    uint64_t s;
    explicit Xorshift(uint64_t seed, uint64_t salt = 1) : s(seed * 0x9E3779B97F4A7C15ull + salt) {}
    uint64_t next() {
        s ^= s << 13;
        s ^= s >> 7;
        s ^= s << 17;
        return s;
    }
    uint32_t below(uint32_t n) { return static_cast<uint32_t>((next() >> 16) % n); }
    double unit() { return static_cast<double>(next() >> 11) * (1.0 / 9007199254740992.0); }
    /// A whole number with mean `m` (randomised rounding of a uniform value in [0, 2m)).
    uint32_t around(double m) { return static_cast<uint32_t>(2.0 * m * unit() + unit()); }
};

} // namespace quorvel::test
