// One decoder on arbitrary payloads (the encoding is fixed at build time). Checks what readers
// rely on: events inside the geometry, non-decreasing times, the same results when decoding in
// pieces with a small output buffer, and counting agreeing with decoding. Only the first 16 KiB
// of an input are used, so that each run costs what a small input costs whatever the fuzzer
// grows (thousands of runs a second).
#include "quorvel/raw/EventDecoder.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

using namespace quorvel;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 4)
        return 0;
    RawHeader h;
    h.encoding = RawEncoding::QV_FUZZ_ENCODING;
    h.width = 1 + data[0] * 8u;
    h.height = 1 + data[1] * 8u;
    h.evt21Legacy = data[2] & 1;
    h.timeBaseUs = (data[2] & 2) ? (uint64_t{data[3]} << 24) : 0;
    const size_t piece = 1 + data[3] % 37;
    data += 4;
    size = std::min<size_t>(size - 4, 16u << 10);

    auto whole = EventDecoder::create(h);
    std::vector<Event2D> all(4096);
    std::vector<EventTriggerIn> tr;
    size_t n = 0, used = 0;
    while (used < size) {
        if (all.size() - n < 64)
            all.resize(all.size() * 2);
        const DecodeResult r = whole->decode(data + used, size - used, all.data() + n, all.size() - n, tr);
        if (r.bytesConsumed == 0)
            break;
        used += r.bytesConsumed;
        n += r.eventsWritten;
    }
    for (size_t i = 0; i < n; ++i) {
        if (all[i].x >= h.width || all[i].y >= h.height || all[i].polarity > 1)
            std::abort();
        if (i && all[i].timestamp < all[i - 1].timestamp)
            std::abort();
    }

    auto pieces = EventDecoder::create(h);
    std::vector<Event2D> out(48);
    std::vector<EventTriggerIn> tr2;
    std::vector<uint8_t> pending;
    size_t m = 0, pos = 0;
    while (pos < size) {
        const size_t take = std::min(piece, size - pos);
        pending.insert(pending.end(), data + pos, data + pos + take);
        pos += take;
        size_t off = 0;
        for (;;) {
            const DecodeResult r = pieces->decode(pending.data() + off, pending.size() - off, out.data(), out.size(), tr2);
            for (size_t i = 0; i < r.eventsWritten; ++i)
                if (m + i >= n || !(out[i] == all[m + i]))
                    std::abort();
            m += r.eventsWritten;
            off += r.bytesConsumed;
            if (r.bytesConsumed == 0)
                break;
        }
        pending.erase(pending.begin(), pending.begin() + static_cast<long>(off));
    }
    if (m != n || tr2 != tr || !(pieces->state() == whole->state()))
        std::abort();

    auto counter = EventDecoder::create(h);
    std::vector<EventTriggerIn> tr3;
    counter->count(data, size, tr3);
    if (counter->stats().events != n || tr3 != tr || counter->stats().invalidEvents != whole->stats().invalidEvents ||
        !(counter->state() == whole->state()))
        std::abort();
    if (n && (counter->stats().firstEventTs != all[0].timestamp || counter->stats().lastEventTs != all[n - 1].timestamp))
        std::abort();
    return 0;
}
