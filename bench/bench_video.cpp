// Video and fusion speed: the APS-to-DVS warp, fusion alignment per frame, APS video reading
// (decode + colour conversion) and MP4 export of events against real time.
//
// The export runs on a generated 1280x720 recording (QV_BENCH_EXPORT_S seconds, default 2) at a
// constant 20 M events/s (the worst case the export must keep up with) and on the usual mix of
// dense (20 M/s) and quiet periods. Files go to a new folder under /tmp, removed at the end
// unless QV_BENCH_KEEP is set.
#include "quorvel/ApsFileReader.h"
#include "quorvel/ApsVideoWriter.h"
#include "quorvel/Calibrator.h"
#include "quorvel/DvsApsFusionProccessor.h"
#include "quorvel/DvsFileReader.h"
#include "quorvel/VideoExporter.h"
#include "quorvel/raw/RawFileWriter.h"

#include "SyntheticStream.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <random>

using namespace quorvel;
using namespace quorvel::test;
namespace fs = std::filesystem;

namespace {

std::string g_dir;

double seconds(std::chrono::steady_clock::time_point t0) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

// A camera-like picture: smooth gradients, a bright disc that moves with `k`, mild sensor noise.
ApsFrame scene(int w, int h, int k, uint64_t ts, std::mt19937& rng) {
    ApsFrame f(w, h, ts, static_cast<uint64_t>(k));
    const double cx = w * (0.3 + 0.4 * std::sin(k * 0.05)), cy = h * 0.5, r2 = (h / 6.0) * (h / 6.0);
    for (int y = 0; y < h; ++y) {
        unsigned char* p = f.data() + static_cast<size_t>(y) * w * 3;
        for (int x = 0; x < w; ++x, p += 3) {
            const double d2 = (x - cx) * (x - cx) + (y - cy) * (y - cy);
            const int base = d2 < r2 ? 220 : 40 + (x * 120) / w + (y * 60) / h;
            const int n = static_cast<int>(rng() % 7) - 3;
            p[0] = static_cast<unsigned char>(std::clamp(base + n - 10, 0, 255));
            p[1] = static_cast<unsigned char>(std::clamp(base + n, 0, 255));
            p[2] = static_cast<unsigned char>(std::clamp(base + n + 10, 0, 255));
        }
    }
    return f;
}

void BM_MapApsToDvs(benchmark::State& state) {
    // 1920x1080 APS onto a 1280x720 DVS: scale only (arg 0) or scale with a small rotation (arg 1).
    std::mt19937 rng(1);
    const ApsFrame aps = scene(1920, 1080, 0, 0, rng);
    CalibratorParameters p;
    p.dvsWidth = 1280;
    p.dvsHeight = 720;
    p.apsWidth = 1920;
    p.apsHeight = 1080;
    if (state.range(0) == 0)
        p.affine = {1.5, 0, 0.25, 0, 1.5, 0.25};
    else
        p.affine = {1.49, 0.026, 3.5, -0.026, 1.49, 20.5};
    Calibrator cal;
    cal.loadCalibrationParam(p);
    ApsFrame out(1280, 720);
    for (auto _ : state) {
        cal.mapApsToDvs(aps, out);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetLabel(state.range(0) == 0 ? "scale" : "scale+rotation");
}
BENCHMARK(BM_MapApsToDvs)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_FusionAlignPerFrame(benchmark::State& state) {
    // 20 M events/s in 1 ms batches, one APS frame every 33333 us; the timed part is fusionData
    // (alignment and hand-over to a callback that only counts).
    DvsApsFusionProccessor proc;
    uint64_t delivered = 0;
    proc.addFusionDataCallback([&](ApsFrame&, Event2D* b, Event2D* e) { delivered += static_cast<uint64_t>(e - b); });
    std::vector<Event2D> batch(20'000);
    std::mt19937 rng(2);
    uint64_t t = 0;
    uint64_t frameTs = 0;
    ApsFrame frame(1280, 720);
    for (auto _ : state) {
        state.PauseTiming();
        for (int ms = 0; ms < 33; ++ms) {
            for (size_t i = 0; i < batch.size(); ++i)
                batch[i] = Event2D(uint16_t(rng() % 1280), uint16_t(rng() % 720), uint8_t(rng() & 1), t + i / 20);
            t += 1000;
            proc.addDvsData(batch.data(), batch.data() + batch.size());
        }
        frame.setTimestamp(frameTs);
        proc.addApsData(frame);
        frameTs += 33'333;
        state.ResumeTiming();
        benchmark::DoNotOptimize(proc.fusionData());
    }
    state.counters["events/frame"] = benchmark::Counter(static_cast<double>(delivered) / state.iterations());
}
BENCHMARK(BM_FusionAlignPerFrame)->Unit(benchmark::kMicrosecond)->Iterations(200);

void BM_ApsRead(benchmark::State& state) {
    const std::string path = g_dir + "/aps.mp4";
    if (!fs::exists(path)) {
        std::mt19937 rng(3);
        ApsVideoWriter w;
        w.open(path);
        for (int k = 0; k < 150; ++k)
            if (!w.writeFrame(scene(1280, 720, k, 1'000'000 + k * 33'333ull, rng)))
                state.SkipWithError(w.lastError().c_str());
        if (!w.close()) {
            state.SkipWithError(w.lastError().c_str());
            return;
        }
    }
    auto r = ApsFileReader::createFileReader(path);
    if (!r) {
        state.SkipWithError(ApsFileReader::lastCreateError().c_str());
        return;
    }
    ApsFrame f;
    uint64_t frames = 0;
    for (auto _ : state) {
        if (!r->readFrame(f)) {
            state.PauseTiming();
            r->rewind();
            state.ResumeTiming();
            r->readFrame(f);
        }
        ++frames;
    }
    state.counters["frames/s"] = benchmark::Counter(static_cast<double>(frames), benchmark::Counter::kIsRate);
    state.counters["Mbit/s"] = benchmark::Counter(static_cast<double>(fs::file_size(path)) * 8 / 5.0 / 1e6);
}
BENCHMARK(BM_ApsRead)->Unit(benchmark::kMillisecond)->MinTime(2.0)->UseRealTime();

std::string makeRecording(const std::string& name, double denseRate, double sparseRate, uint64_t durationUs,
                          uint64_t& events) {
    const std::string path = g_dir + "/" + name;
    StreamParams p;
    p.width = 1280;
    p.height = 720;
    p.durationUs = durationUs;
    p.denseRate = denseRate;
    p.sparseRate = sparseRate;
    p.triggerPeriodUs = 0;
    RawFileWriter w;
    RawFileWriter::Options o;
    o.width = 1280;
    o.height = 720;
    w.open(path, o);
    events = 0;
    generateStream(p, 1 << 16, [&](const std::vector<Event2D>& e, const std::vector<EventTriggerIn>& t) {
        w.write(e, t);
        events += e.size();
    });
    w.close();
    return path;
}

void BM_Export(benchmark::State& state) {
    const double seconds_ = std::getenv("QV_BENCH_EXPORT_S") ? std::atof(std::getenv("QV_BENCH_EXPORT_S")) : 2.0;
    const uint64_t durationUs = static_cast<uint64_t>(seconds_ * 1e6);
    const bool constant = state.range(0) == 0;
    uint64_t events = 0;
    const std::string raw = makeRecording(constant ? "const20M.raw" : "mixed.raw", 20e6, constant ? 20e6 : 0.2e6,
                                          durationUs, events);
    auto reader = DvsFileReader::createFileReader(raw);
    if (!reader || !reader->waitForIndex()) {
        state.SkipWithError("cannot read the generated recording");
        return;
    }
    uint64_t start = 0, end = 0;
    reader->getStartTimestamp(start);
    reader->getEndTimestamp(end);
    double total = 0;
    const std::clock_t cpu0 = std::clock(); // all threads of the process, the encoder's included
    for (auto _ : state) {
        VideoExporter ex;
        const auto t0 = std::chrono::steady_clock::now();
        if (!ex.exportRange(*reader, start, end, g_dir + "/out.mp4"))
            state.SkipWithError(ex.lastError().c_str());
        const double s = seconds(t0);
        total += s;
        state.SetIterationTime(s);
    }
    const double perRun = total / static_cast<double>(state.iterations());
    const double cpuPerRun = static_cast<double>(std::clock() - cpu0) / CLOCKS_PER_SEC / static_cast<double>(state.iterations());
    // What two otherwise idle cores would manage: the process's CPU time spread over both.
    state.counters["cpu_s"] = benchmark::Counter(cpuPerRun);
    state.counters["x_realtime_idle2"] = benchmark::Counter(static_cast<double>(end - start) / 1e6 / (cpuPerRun / 2));
    state.counters["x_realtime"] = benchmark::Counter(static_cast<double>(end - start) / 1e6 / perRun);
    state.counters["Mev/s_in_file"] = benchmark::Counter(static_cast<double>(events) / (static_cast<double>(end - start) / 1e6) / 1e6);
    state.counters["MB_out"] = benchmark::Counter(static_cast<double>(fs::file_size(g_dir + "/out.mp4")) / 1e6);
    state.SetLabel(constant ? "constant 20 M ev/s" : "dense 20 M / quiet 0.2 M ev/s");
    fs::remove(raw);
}
BENCHMARK(BM_Export)->Arg(0)->Arg(1)->UseManualTime()->Iterations(2)->Unit(benchmark::kSecond);

} // namespace

int main(int argc, char** argv) {
    std::string tmpl = "/tmp/qv-bench-video-XXXXXX";
    g_dir = ::mkdtemp(tmpl.data());
    setenv("XDG_CACHE_HOME", g_dir.c_str(), 1);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::error_code ec;
    if (std::getenv("QV_BENCH_KEEP"))
        std::printf("files kept in %s\n", g_dir.c_str());
    else
        fs::remove_all(g_dir, ec);
    return 0;
}
