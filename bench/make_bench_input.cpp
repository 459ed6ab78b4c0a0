// qv-bench-make: recordings for the benchmarks (see BenchRecordings.h).
//   qv-bench-make busy|sparse OUT.raw SIZE_MB
//   qv-bench-make repeat SAMPLE.raw OUT.raw SIZE_MB
#include "BenchRecordings.h"

#include <cstdlib>

int main(int argc, char** argv) {
    const std::string kind = argc > 1 ? argv[1] : "";
    const bool repeat = kind == "repeat";
    if (!((kind == "busy" || kind == "sparse") && argc == 4) && !(repeat && argc == 5)) {
        std::fprintf(stderr, "usage: qv-bench-make busy|sparse OUT.raw SIZE_MB\n"
                             "       qv-bench-make repeat SAMPLE.raw OUT.raw SIZE_MB\n");
        return 2;
    }
    const uint64_t bytes = std::strtoull(argv[argc - 1], nullptr, 10) << 20;
    try {
        if (repeat)
            quorvel::bench::makeRepeatedRecording(argv[2], argv[3], bytes);
        else
            quorvel::bench::makeGeneratedRecording(kind, argv[2], bytes);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "qv-bench-make: error: %s\n", e.what());
        return 1;
    }
    return 0;
}
