// qv-bench-decode FILE: decodes a whole recording into reused Event2D batches and prints the
// event count and the decoding speed (the file is read once first so the page cache holds it).
// It reads 1 MiB at a time, as the SDK's streaming reads (dump, convert, export) do: chunks that
// stay in the L2 cache between the copy out of the page cache and the decoding.
#include "quorvel/raw/RawFile.h"

#include <chrono>
#include <cstdio>
#include <vector>

using namespace quorvel;

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: qv-bench-decode FILE\n");
        return 2;
    }
    std::string err;
    auto file = RawFile::open(argv[1], err);
    if (!file) {
        std::fprintf(stderr, "qv-bench-decode: error: %s\n", err.c_str());
        return 1;
    }
    std::vector<Event2D> batch(1 << 16);
    std::vector<EventTriggerIn> triggers;
    double best = 0;
    uint64_t events = 0;
    for (int pass = 0; pass < 3; ++pass) { // the first pass warms the page cache
        RawStreamCursor cur(file, 1u << 20);
        events = 0;
        const auto t0 = std::chrono::steady_clock::now();
        while (!cur.atEnd()) {
            events += cur.next(batch.data(), batch.size(), triggers);
            triggers.clear();
        }
        const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        if (cur.readFailed()) {
            std::fprintf(stderr, "qv-bench-decode: error: %s\n", cur.errorText().c_str());
            return 1;
        }
        if (pass > 0 && s > 0)
            best = std::max(best, static_cast<double>(events) / s / 1e6);
        if (pass == 0 && file->fileSize() > (8ull << 30))
            break; // larger than the page cache is likely to hold: one pass is the measurement
        if (pass == 0)
            best = static_cast<double>(events) / s / 1e6;
    }
    std::printf("%s: %s, %llu events, %.1f M events/s\n", argv[1], rawEncodingName(file->header().encoding),
                static_cast<unsigned long long>(events), best);
    return 0;
}
