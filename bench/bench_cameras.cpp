// Virtual camera throughput: the simulated sensor on busy scenes, the stress source, and
// recording the stress source to disk with the count of events lost (must be 0).
//
// Run on an otherwise quiet machine; the camera table script prints the load average it saw.

#include "quorvel/DvsFileReader.h"
#include "quorvel/VirtualCameras.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <sys/resource.h>
#include <unistd.h>

// Private headers: the benchmark measures the sensor and the stress source without a camera.
#include "camera/EventSource.h"
#include "sim/SimulatedSensor.h"

using namespace quorvel;

namespace {

void sensor(benchmark::State& state, const char* scene, uint16_t w, uint16_t h) {
    detail::SensorConfig c;
    c.width = w;
    c.height = h;
    detail::scenePreset(scene, w, h, c.scene);
    detail::SimulatedSensor s(c);
    std::vector<Event2D> out;
    out.reserve(1u << 22);
    uint64_t events = 0, sensorUs = 0;
    for (auto _ : state) {
        s.generate(10000, out);
        events += out.size();
        sensorUs += 10000;
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(static_cast<int64_t>(events));
    state.counters["scene_Mev_per_s"] = events / (sensorUs * 1e-6) / 1e6; // what the scene emits
    state.counters["realtime_x"] = benchmark::Counter(static_cast<double>(sensorUs) * 1e-6, benchmark::Counter::kIsRate);
}

void BM_SensorBusy640(benchmark::State& s) { sensor(s, "busy", 640, 480); }
void BM_SensorBusy1280(benchmark::State& s) { sensor(s, "busy", 1280, 720); }
void BM_SensorDefault640(benchmark::State& s) { sensor(s, "default", 640, 480); }
void BM_SensorDefault1280(benchmark::State& s) { sensor(s, "default", 1280, 720); }

void BM_StressSource(benchmark::State& state) {
    auto src = detail::makeStressSource(1280, 720, 1000000000, 1);
    src->restart(0);
    std::vector<Event2D> ev;
    std::vector<EventTriggerIn> tr;
    uint64_t n = 0;
    for (auto _ : state) {
        ev.clear();
        tr.clear();
        src->next(1000, ev, tr);
        n += ev.size();
        benchmark::DoNotOptimize(ev.data());
    }
    state.SetItemsProcessed(static_cast<int64_t>(n));
}

/// A stress camera at 100 M events/s of sensor time, not paced, recorded to a file: how fast the
/// whole path (produce, filter, hand to the recorder, encode, write) runs, and that the file holds
/// every event produced. Three seconds of sensor time per recording, so that the start of a new
/// camera and recorder (their buffers' first use) weighs as little as in a real recording.
void BM_RecordStress(benchmark::State& state) {
    const char* dirEnv = std::getenv("QV_BENCH_DIR");
    const std::string dir = dirEnv ? dirEnv : "/tmp";
    const std::string path = dir + "/qv-bench-record-" + std::to_string(::getpid()) + ".raw";
    uint64_t produced = 0, written = 0, inFile = 0, bytes = 0;
    double cpuSeconds = 0;
    auto processCpu = [] {
        rusage u{};
        getrusage(RUSAGE_SELF, &u);
        return u.ru_utime.tv_sec + u.ru_stime.tv_sec + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) * 1e-6;
    };
    for (auto _ : state) {
        SimulatedCameraOptions o;
        o.width = 1280;
        o.height = 720;
        o.scene = "stress";
        o.stressEventsPerSecond = 100000000;
        o.realtime = false;
        o.durationUs = 3000000; // 300 M events
        std::string err;
        state.PauseTiming(); // building the stress template is not part of recording
        auto cam = createSimulatedCamera(o, err);
        state.ResumeTiming();
        const double cpu0 = processCpu();
        cam->startRecording(path);
        cam->start();
        while (cam->isStreaming())
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        cam->stop();
        if (!cam->stopRecording())
            state.SkipWithError(cam->lastError().c_str());
        state.PauseTiming();
        cpuSeconds += processCpu() - cpu0;
        produced += 300000000;
        written += cam->lastRecordingEventCount();
        if (auto r = DvsFileReader::createFileReader(path)) {
            DvsFileStats st;
            if (r->waitForIndex() && r->getFileStats(st))
                inFile += st.events;
        }
        FILE* f = std::fopen(path.c_str(), "rb");
        if (f) {
            std::fseek(f, 0, SEEK_END);
            bytes += static_cast<uint64_t>(std::ftell(f));
            std::fclose(f);
        }
        std::remove(path.c_str());
        state.ResumeTiming();
    }
    state.SetItemsProcessed(static_cast<int64_t>(produced));
    state.counters["lost"] = static_cast<double>(produced - inFile);
    // Events per second of CPU time of both threads (producer and writer) together: what the
    // path costs, whatever else the machine is doing.
    state.counters["Mev_per_cpu_s"] = cpuSeconds > 0 ? produced / cpuSeconds / 1e6 : 0;
    state.counters["written"] = static_cast<double>(written);
    state.counters["bytes_per_event"] = produced ? static_cast<double>(bytes) / produced : 0;
}

} // namespace

BENCHMARK(BM_SensorBusy640)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_SensorBusy1280)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_SensorDefault640)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_SensorDefault1280)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_StressSource)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_RecordStress)->Unit(benchmark::kMillisecond)->Iterations(2)->UseRealTime();

BENCHMARK_MAIN();
