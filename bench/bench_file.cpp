// File-level speed on large recordings shaped like users' data: index build, first frame of a
// never-seen file, 33 ms range reads anywhere once indexed, a 5 s cut, and opening an indexed
// file.
//
// The recordings are EVT 3.0 generated word by word to the word mix measured on a busy street
// recording (about 22 M events/s, 2.85 bytes per event): a QV_BENCH_GB (default 4) GB one and a
// 1 GB one, plus the shared pedestrians sample repeated to 1 GB when the samples are there (see
// BenchRecordings.h). Files go to QV_BENCH_DIR (default: a new folder under /tmp) and are deleted
// at the end unless QV_BENCH_KEEP is set.
#include "quorvel/DvsFileReader.h"
#include "quorvel/raw/RawFile.h"
#include "quorvel/raw/RawIndex.h"

#include "BenchRecordings.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>

using namespace quorvel;
using namespace quorvel::test;
namespace fs = std::filesystem;

namespace {

struct BenchFiles {
    std::string dir, big, oneGb, sparse;
    bool ownDir = false;
};
BenchFiles g;

double seconds(std::chrono::steady_clock::time_point t0) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

void removeIndexes(const std::string& path) {
    std::string err;
    if (auto f = RawFile::open(path, err)) {
        std::error_code ec;
        fs::remove(RawIndex::cachePath(*f), ec);
    }
}

void makeFiles() {
    const char* d = std::getenv("QV_BENCH_DIR");
    if (d && *d) {
        g.dir = d;
        fs::create_directories(g.dir);
    } else {
        std::string tmpl = "/tmp/qv-bench-XXXXXX";
        g.dir = ::mkdtemp(tmpl.data());
        g.ownDir = true;
    }
    const double gb = std::getenv("QV_BENCH_GB") ? std::atof(std::getenv("QV_BENCH_GB")) : 4.0;
    g.big = g.dir + "/busy_big.raw";
    g.oneGb = g.dir + "/busy_1gb.raw";
    const auto t0 = std::chrono::steady_clock::now();
    if (!fs::exists(g.big))
        bench::makeGeneratedRecording("busy", g.big, static_cast<uint64_t>(gb * (1u << 30)));
    if (!fs::exists(g.oneGb))
        bench::makeGeneratedRecording("busy", g.oneGb, uint64_t{1} << 30);
    const std::string samples = samplesDir();
    if (!samples.empty()) {
        g.sparse = g.dir + "/pedestrians_1gb.raw";
        if (!fs::exists(g.sparse))
            bench::makeRepeatedRecording(samples + "/evt3_test_pedestrians.raw", g.sparse, uint64_t{1} << 30);
    } else {
        std::fprintf(stderr, "qv-bench-file: samples not found (QUORVEL_SAMPLES_DIR): the pedestrians row is skipped\n");
    }
    std::fprintf(stderr, "inputs ready in %.1f s\n", seconds(t0));
    for (const auto& f : {g.big, g.oneGb, g.sparse})
        if (!f.empty())
            removeIndexes(f);
    // Read them once so that the page cache holds them, as for a file just recorded or played.
    std::vector<char> buf(8 << 20);
    for (const auto& f : {g.big, g.oneGb, g.sparse}) {
        std::ifstream in(f, std::ios::binary);
        while (in.read(buf.data(), static_cast<std::streamsize>(buf.size())) || in.gcount() > 0) {
        }
    }
}

void indexBench(benchmark::State& state, const std::string& path) {
    if (path.empty()) {
        state.SkipWithError("input not available");
        return;
    }
    std::string err;
    auto f = RawFile::open(path, err);
    RawIndex idx;
    std::atomic<bool> cancel{false};
    for (auto _ : state)
        idx.build(f, cancel);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * f->fileSize()));
    state.counters["events"] = static_cast<double>(idx.totals.stats.events);
    state.counters["index_MB"] = static_cast<double>(idx.entries.size() * sizeof(RawIndexEntry)) / 1e6;
    state.counters["file_GB"] = static_cast<double>(f->fileSize()) / 1e9;
    state.counters["two_halves"] = idx.builtInTwoHalves ? 1 : 0;
}

void BM_IndexBuild(benchmark::State& state) { indexBench(state, g.big); }
void BM_IndexBuildPedestrians(benchmark::State& state) { indexBench(state, g.sparse); }

// Open a file never seen before (no index anywhere) and read its first 33 ms frame, while the
// index is being built behind it.
void BM_FirstFrameNeverSeen(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        removeIndexes(g.big);
        state.ResumeTiming();
        DvsFileReader::Options o;
        o.persistIndex = false;
        auto r = DvsFileReader::createFileReader(g.big, o);
        r->prepareFile();
        uint64_t start = 0;
        r->getStartTimestamp(start);
        auto frame = r->getEventsInRange(start, 33'333);
        benchmark::DoNotOptimize(frame);
        state.PauseTiming();
        state.counters["frame_events"] = static_cast<double>(frame ? frame->size() : 0);
        r.reset(); // cancels and joins the index thread
        state.ResumeTiming();
    }
}

// 33 ms windows at random places of the indexed file, as the player's seeks do.
void BM_Range33msIndexed(benchmark::State& state) {
    static std::unique_ptr<DvsFileReader> r;
    if (!r) {
        r = DvsFileReader::createFileReader(g.big);
        r->waitForIndex();
    }
    uint64_t a = 0, b = 0;
    r->getStartTimestamp(a);
    r->getEndTimestamp(b);
    std::mt19937_64 rng(9);
    // The first read after opening grows the reader's buffers; time it apart from the rest.
    const auto w0 = std::chrono::steady_clock::now();
    r->getEventsInRange(a + (b - a) / 3, 33'333);
    state.counters["first_ms"] = seconds(w0) * 1e3;
    std::vector<double> times;
    uint64_t events = 0;
    for (auto _ : state) {
        const uint64_t s = a + rng() % (b - a - 33'333);
        const auto t0 = std::chrono::steady_clock::now();
        auto frame = r->getEventsInRange(s, 33'333);
        times.push_back(seconds(t0) * 1e3);
        if (!frame) {
            state.SkipWithError(("no frame at " + std::to_string(s) + ": " + r->lastError()).c_str());
            break;
        }
        events += frame->size();
    }
    std::sort(times.begin(), times.end());
    state.counters["max_ms"] = times.empty() ? 0 : times.back();
    state.counters["p99_ms"] = times.empty() ? 0 : times[times.size() * 99 / 100];
    state.counters["median_ms"] = times.empty() ? 0 : times[times.size() / 2];
    state.counters["events_per_frame"] = static_cast<double>(events) / static_cast<double>(state.iterations());
}

void BM_Cut5sOf1GB(benchmark::State& state) {
    auto r = DvsFileReader::createFileReader(g.oneGb);
    r->waitForIndex();
    uint64_t a = 0, b = 0;
    r->getStartTimestamp(a);
    r->getEndTimestamp(b);
    const uint64_t from = a + (b - a) / 2;
    const std::string out = g.dir + "/cut.raw";
    for (auto _ : state) {
        if (!r->exportRawRange(from, from + 5'000'000, out))
            state.SkipWithError(r->lastError().c_str());
    }
    state.counters["cut_MB"] = static_cast<double>(fs::file_size(out)) / 1e6;
    fs::remove(out);
}

// What `quorvel info` does on an indexed file: open, load the index, read the counts.
void BM_InfoIndexed(benchmark::State& state) {
    { // make sure a saved index exists
        auto r = DvsFileReader::createFileReader(g.big);
        r->waitForIndex();
    }
    for (auto _ : state) {
        auto r = DvsFileReader::createFileReader(g.big);
        DvsFileStats s;
        r->getFileStats(s);
        benchmark::DoNotOptimize(s);
    }
}

} // namespace

BENCHMARK(BM_IndexBuild)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK(BM_IndexBuildPedestrians)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK(BM_FirstFrameNeverSeen)->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();
BENCHMARK(BM_InfoIndexed)->Unit(benchmark::kMillisecond)->Iterations(10)->UseRealTime();
BENCHMARK(BM_Range33msIndexed)->Unit(benchmark::kMillisecond)->Iterations(200)->UseRealTime();
BENCHMARK(BM_Cut5sOf1GB)->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    try {
        makeFiles();
    } catch (const std::exception& e) {
        std::fprintf(stderr, "qv-bench-file: cannot make the inputs: %s\n", e.what());
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    if (!std::getenv("QV_BENCH_KEEP")) {
        std::error_code ec;
        for (const auto& f : {g.big, g.oneGb, g.sparse}) {
            if (f.empty())
                continue;
            removeIndexes(f);
            fs::remove(f, ec);
        }
        if (g.ownDir)
            fs::remove_all(g.dir, ec);
    }
    return 0;
}
