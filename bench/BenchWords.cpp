#include "BenchWords.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

namespace quorvel::test {

std::string repeatEvt3Payload(const std::string& payload, size_t bytes, uint32_t firstCopy, uint32_t* copies) {
    std::vector<uint16_t> w(payload.size() / 2);
    std::memcpy(w.data(), payload.data(), w.size() * 2);
    // The span of one copy in TIME_HIGH steps (wraps included); each copy starts two steps after
    // the previous one ends, so no step looks like a wrap.
    int64_t absHigh = 0, maxAbs = 0;
    int lastH = -1;
    for (uint16_t v : w) {
        if (v >> 12 != 0x8)
            continue;
        const int h = v & 0xFFF;
        if (lastH >= 0)
            absHigh += h + 2048 <= lastH ? h + 4096 - lastH : h - lastH;
        maxAbs = std::max(maxAbs, absHigh);
        lastH = h;
    }
    const uint32_t shift = static_cast<uint32_t>(maxAbs + 2);
    std::string out;
    out.reserve(bytes + payload.size());
    std::vector<uint16_t> copy(w.size());
    uint32_t c = firstCopy;
    for (; out.size() < bytes; ++c) {
        for (size_t i = 0; i < w.size(); ++i)
            copy[i] = w[i] >> 12 == 0x8 ? static_cast<uint16_t>(0x8000 | ((w[i] + c * shift) & 0xFFF)) : w[i];
        out.append(reinterpret_cast<const char*>(copy.data()), copy.size() * 2);
    }
    if (copies)
        *copies = c;
    return out;
}

std::string repeatEvt2Payload(const std::string& payload, size_t bytes, uint32_t firstCopy, uint32_t* copies) {
    std::vector<uint32_t> w(payload.size() / 4);
    std::memcpy(w.data(), payload.data(), w.size() * 4);
    uint32_t first = 0, last = 0;
    bool any = false;
    for (uint32_t v : w)
        if (v >> 28 == 0x8) {
            last = v & 0x0FFFFFFF;
            if (!any)
                first = last;
            any = true;
        }
    const uint32_t shift = last - first + 2;
    std::string out;
    out.reserve(bytes + payload.size());
    std::vector<uint32_t> copy(w.size());
    uint32_t c = firstCopy;
    for (; out.size() < bytes; ++c) {
        for (size_t i = 0; i < w.size(); ++i)
            copy[i] = w[i] >> 28 == 0x8 ? 0x80000000u | ((w[i] + c * shift) & 0x0FFFFFFF) : w[i];
        out.append(reinterpret_cast<const char*>(copy.data()), copy.size() * 4);
    }
    if (copies)
        *copies = c;
    return out;
}

std::string evt3WordMix(const std::string& payload) {
    static const char* const names[16] = {"ADDR_Y", "type 1", "ADDR_X", "VECT_BASE_X", "VECT_12", "VECT_8",
                                          "TIME_LOW", "CONT_4", "TIME_HIGH", "type 9", "EXT_TRIGGER", "type B",
                                          "type C", "type D", "OTHERS", "CONT_12"};
    uint64_t counts[16] = {};
    const size_t n = payload.size() / 2;
    for (size_t i = 0; i < n; ++i)
        ++counts[static_cast<uint8_t>(payload[2 * i + 1]) >> 4];
    const int order[] = {2, 0, 4, 3, 5, 6, 8, 10, 1, 7, 9, 11, 12, 13, 14, 15};
    std::string out;
    char buf[64];
    for (int type : order) {
        if (!counts[type])
            continue;
        std::snprintf(buf, sizeof buf, "%s%s %.1f %%", out.empty() ? "" : ", ", names[type],
                      100.0 * static_cast<double>(counts[type]) / static_cast<double>(n ? n : 1));
        out += buf;
    }
    return out;
}

} // namespace quorvel::test
