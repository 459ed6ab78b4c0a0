// Event image rendering: accumulating batches into the count buffers, painting a frame from the
// front buffer, and one played frame of a dense 1280x720 recording (read + accumulate + paint).
//
//   build/bin/qv-bench-render [--benchmark_filter=...]

#include "appsettings.h"
#include "qveventprocessor.h"

#include "SyntheticStream.h"
#include "quorvel/DvsFileReader.h"
#include "quorvel/raw/RawFileWriter.h"

#include "qvthreehandleslider.h"

#include <QApplication>
#include <QImage>

#include <benchmark/benchmark.h>

#include <random>

using quorvel::Event2D;

namespace {

// A realistic batch: moving edges as row runs plus scattered noise over 1280x720.
std::vector<Event2D> makeBatch(size_t n) {
    std::vector<Event2D> events;
    events.reserve(n);
    std::mt19937 rng(7);
    std::uniform_int_distribution<int> x(0, 1279), y(0, 719), run(1, 32), pol(0, 1);
    uint64_t t = 1'000'000;
    while (events.size() < n) {
        const int y0 = y(rng), x0 = x(rng), len = run(rng), p = pol(rng);
        for (int i = 0; i < len && events.size() < n; ++i)
            events.emplace_back(uint16_t(std::min(1279, x0 + i)), uint16_t(y0), uint8_t(p), t);
        t += 1;
    }
    return events;
}

void BM_Accumulate(benchmark::State& state) {
    QvEventProcessor proc;
    proc.resizeImage(1280, 720);
    const std::vector<Event2D> batch = makeBatch(size_t(state.range(0)));
    for (auto _ : state) {
        proc.processEvents(batch.data(), batch.data() + batch.size());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(batch.size()));
}
// 64 K events is a live batch (a millisecond of a busy sensor); 1 M is a played 33 ms frame.
BENCHMARK(BM_Accumulate)->Arg(1 << 16)->Arg(1 << 20)->Unit(benchmark::kMicrosecond);

void BM_PaintFrame(benchmark::State& state) {
    QvEventProcessor proc;
    proc.resizeImage(1280, 720);
    // A busy frame: about a third of the pixels saw events.
    const std::vector<Event2D> batch = makeBatch(600'000);
    proc.processEvents(batch.data(), batch.data() + batch.size());
    proc.publishFrame();
    QImage image(1280, 720, QImage::Format_RGB888);
    for (auto _ : state) {
        proc.paintFrontInto(image);
        benchmark::DoNotOptimize(image.constBits());
    }
    state.counters["frame_ms"] = benchmark::Counter(double(state.iterations()) * 1e-3,
                                                    benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_PaintFrame)->Unit(benchmark::kMillisecond);

// One played frame of a 50 M events/s recording: the file read, accumulation and painting the
// play loop does every 33 ms.
void BM_PlayFrame50Mevs(benchmark::State& state) {
    static quorvel::test::TempDir dir;
    static std::string path;
    if (path.empty()) {
        path = dir.file("dense.raw");
        quorvel::RawFileWriter writer;
        quorvel::RawFileWriter::Options o;
        o.width = 1280;
        o.height = 720;
        o.serial = "BENCH";
        writer.open(path, o);
        quorvel::test::StreamParams p;
        p.durationUs = 1'000'000;
        p.denseRate = 50e6;
        p.sparseRate = 50e6;
        quorvel::test::generateStream(p, 1 << 20, [&](const auto& ev, const auto& tr) { writer.write(ev, tr); });
        writer.close();
    }
    auto reader = quorvel::DvsFileReader::createFileReader(path);
    reader->waitForIndex();
    QvEventProcessor proc;
    proc.resizeImage(1280, 720);
    QImage image(1280, 720, QImage::Format_RGB888);
    uint64_t start = 0, end = 0;
    reader->getStartTimestamp(start);
    reader->getEndTimestamp(end);
    uint64_t t = start;
    uint64_t events = 0;
    for (auto _ : state) {
        auto batch = reader->getEventsInRange(t, 33333);
        proc.processEvents(batch->data(), batch->data() + batch->size());
        proc.publishFrame();
        proc.paintFrontInto(image);
        events += batch->size();
        t += 33333;
        if (t + 33333 > end)
            t = start;
    }
    state.SetItemsProcessed(int64_t(events));
    state.counters["frame_ms"] = benchmark::Counter(double(state.iterations()) * 1e-3,
                                                    benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_PlayFrame50Mevs)->Unit(benchmark::kMillisecond);

} // namespace

// The time slider with a 10,000-bucket overview strip (bursts over a quiet floor, two damaged
// stretches) painted at the play bar's size: /0 every repaint (the strip drawn before), /1 a
// repaint with a new timeline (while a recording is indexed, five times a second).
void BM_PaintTimelineSlider(benchmark::State& state) {
    QvThreeHandleSlider slider(nullptr, Qt::Horizontal, 1);
    slider.resize(1200, 30);
    slider.setMinimum(0);
    slider.setMaximum(600'000'000);
    QvTimeline t;
    t.bucketUs = 60'000;
    t.eventsPerSecond.resize(10'000);
    uint32_t r = 1;
    for (float& v : t.eventsPerSecond) {
        r = r * 1664525u + 1013904223u;
        v = (r >> 28) == 0 ? 40e6f : 2e6f + float(r >> 12) * 0.01f;
    }
    t.badRanges = {{120'000'000, 121'000'000}, {400'000'000, 400'200'000}};
    slider.setTimeline(t);
    QImage image(slider.size(), QImage::Format_ARGB32_Premultiplied);
    const bool renew = state.range(0) != 0;
    for (auto _ : state) {
        if (renew)
            slider.setTimeline(t);
        image.fill(Qt::white);
        slider.render(&image);
        benchmark::DoNotOptimize(image.bits());
    }
}
BENCHMARK(BM_PaintTimelineSlider)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    // The renderer reads its colours from the settings: keep them out of the user's home.
    static quorvel::test::TempDir home;
    qputenv("HOME", home.path.c_str());
    qputenv("XDG_DATA_HOME", (home.path + "/.local/share").c_str());
    qputenv("XDG_CONFIG_HOME", (home.path + "/.config").c_str());
    QApplication app(argc, argv);
    AppSettings::instance()->dvsColorType = "Gray";
    AppSettings::instance()->applyColorScheme();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
