// Codec speed, one core, on in-memory payloads shaped like what users have:
// - EVT 3.0 generated word by word to the word mixes measured on real recordings: a busy
//   1280x720 street scene (mostly single events, y changing every 3.7 events, sparse vectors) and
//   the sparse pedestrians sample (a time word per event);
// - the shared real EVT 3.0 and EVT 2.0 samples repeated to 64 MB, their time-high words shifted
//   per copy so that time runs on;
// - our writer's own EVT 3.0 stream (dense vectors) and the EVT 2.0 / 2.1 encodings of the same
//   events, for comparison with earlier tables.
// Decoding goes into reused Event2D batches; counting is the index build's core; encoding is the
// recorder's.
#include "quorvel/raw/EventDecoder.h"
#include "quorvel/raw/EventEncoder.h"
#include "quorvel/raw/RawFile.h"

#include "BenchWords.h"
#include "SyntheticStream.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>

using namespace quorvel;
using namespace quorvel::test;

namespace {

constexpr size_t kInputBytes = 64u << 20;

struct Input {
    RawHeader header;
    std::string payload;
    std::string label;
};

RawHeader headerOf(RawEncoding enc, uint32_t w = 1280, uint32_t h = 720) {
    RawHeader hd;
    hd.encoding = enc;
    hd.width = w;
    hd.height = h;
    return hd;
}

// A shared sample's header and payload; false (and a note) when the samples are not there.
bool loadSample(const char* name, RawHeader& header, std::string& payload) {
    const std::string dir = samplesDir();
    std::string err;
    auto f = dir.empty() ? nullptr : RawFile::open(dir + "/" + name, err);
    if (!f) {
        std::fprintf(stderr, "qv-bench-codec: sample %s not found (QUORVEL_SAMPLES_DIR): its rows are skipped\n", name);
        return false;
    }
    header = f->header();
    payload = readFileBytes(f->path()).substr(f->payloadBegin());
    payload.resize(payload.size() / header.wordSize() * header.wordSize());
    return true;
}

struct Synthetic {
    std::vector<Event2D> events;
    std::vector<EventTriggerIn> triggers;
    std::string evt3, evt2, evt21;
    Synthetic() {
        StreamParams p;
        p.durationUs = 2'000'000;
        p.denseRate = 16e6;
        p.sparseRate = 4e6;
        p.periodUs = 100'000;
        p.triggerPeriodUs = 1000;
        generateAll(p, events, triggers);
        auto enc = EventEncoder::create(RawEncoding::Evt3, p.width, p.height);
        enc->begin(0);
        enc->encode(events.data(), events.data() + events.size(), triggers.data(), triggers.data() + triggers.size());
        evt3.assign(reinterpret_cast<const char*>(enc->data()), enc->size());
        evt2 = encodeEvt2(events, triggers);
        evt21 = encodeEvt21(events, triggers, false);
    }
};

const Synthetic& synthetic() {
    static const Synthetic s;
    return s;
}

// The inputs by name, made on first use.
const Input* input(const std::string& name) {
    static std::map<std::string, Input> inputs;
    auto it = inputs.find(name);
    if (it != inputs.end())
        return it->second.payload.empty() ? nullptr : &it->second;
    Input in;
    if (name == "busy") {
        in.header = headerOf(RawEncoding::Evt3);
        in.payload = generateSensorEvt3(busySensorMix(), 1'000'000, kInputBytes, 1);
        in.label = "generated, street mix: " + evt3WordMix(in.payload);
    } else if (name == "sparse") {
        in.header = headerOf(RawEncoding::Evt3);
        in.payload = generateSensorEvt3(sparseSensorMix(), 1'000'000, kInputBytes, 2);
        in.label = "generated, pedestrians mix: " + evt3WordMix(in.payload);
    } else if (name == "evt3-sample") {
        std::string one;
        if (loadSample("evt3_test_pedestrians.raw", in.header, one)) {
            in.payload = repeatEvt3Payload(one, kInputBytes);
            in.label = "evt3_test_pedestrians.raw repeated: " + evt3WordMix(in.payload);
        }
    } else if (name == "evt2-sample") {
        std::string one;
        if (loadSample("evt2_sample.raw", in.header, one)) {
            in.payload = repeatEvt2Payload(one, kInputBytes);
            in.label = "evt2_sample.raw repeated";
        }
    } else if (name == "evt3-writer") {
        in.header = headerOf(RawEncoding::Evt3);
        in.payload = synthetic().evt3;
        in.label = "our writer, dense vectors: " + evt3WordMix(in.payload);
    } else if (name == "evt2-writer") {
        in.header = headerOf(RawEncoding::Evt2);
        in.payload = synthetic().evt2;
    } else if (name == "evt21-writer") {
        in.header = headerOf(RawEncoding::Evt21);
        in.payload = synthetic().evt21;
    }
    auto& stored = inputs[name] = std::move(in);
    return stored.payload.empty() ? nullptr : &stored;
}

void decodeBench(benchmark::State& state, const std::string& name) {
    const Input* in = input(name);
    if (!in) {
        state.SkipWithError("input not available");
        return;
    }
    auto dec = EventDecoder::create(in->header);
    std::vector<Event2D> batch(1 << 16);
    std::vector<EventTriggerIn> tr;
    uint64_t events = 0;
    for (auto _ : state) {
        dec->reset();
        const uint8_t* p = reinterpret_cast<const uint8_t*>(in->payload.data());
        size_t left = in->payload.size();
        while (left) {
            const DecodeResult r = dec->decode(p, left, batch.data(), batch.size(), tr);
            p += r.bytesConsumed;
            left -= r.bytesConsumed;
            events += r.eventsWritten;
            benchmark::DoNotOptimize(batch.data());
            tr.clear();
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(events));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * in->payload.size()));
    state.counters["bytes_per_event"] = static_cast<double>(in->payload.size() * state.iterations()) / static_cast<double>(events);
    state.SetLabel(in->label);
}

void countBench(benchmark::State& state, const std::string& name) {
    const Input* in = input(name);
    if (!in) {
        state.SkipWithError("input not available");
        return;
    }
    auto dec = EventDecoder::create(in->header);
    std::vector<EventTriggerIn> tr;
    for (auto _ : state) {
        dec->reset();
        dec->count(reinterpret_cast<const uint8_t*>(in->payload.data()), in->payload.size(), tr);
        tr.clear();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * in->payload.size()));
    state.SetItemsProcessed(static_cast<int64_t>(dec->stats().events)); // counts add up over the passes
}

void BM_DecodeEvt3Busy(benchmark::State& s) { decodeBench(s, "busy"); }
void BM_DecodeEvt3Sparse(benchmark::State& s) { decodeBench(s, "sparse"); }
void BM_DecodeEvt3Sample(benchmark::State& s) { decodeBench(s, "evt3-sample"); }
void BM_DecodeEvt2Sample(benchmark::State& s) { decodeBench(s, "evt2-sample"); }
void BM_DecodeEvt3Writer(benchmark::State& s) { decodeBench(s, "evt3-writer"); }
void BM_DecodeEvt2Writer(benchmark::State& s) { decodeBench(s, "evt2-writer"); }
void BM_DecodeEvt21Writer(benchmark::State& s) { decodeBench(s, "evt21-writer"); }
void BM_CountEvt3Busy(benchmark::State& s) { countBench(s, "busy"); }
void BM_CountEvt3Sparse(benchmark::State& s) { countBench(s, "sparse"); }
void BM_CountEvt2Sample(benchmark::State& s) { countBench(s, "evt2-sample"); }

void BM_EncodeEvt3(benchmark::State& state) {
    const Synthetic& d = synthetic();
    auto enc = EventEncoder::create(RawEncoding::Evt3, 1280, 720);
    const size_t batch = 1 << 16;
    for (auto _ : state) {
        enc->begin(0);
        size_t ti = 0;
        for (size_t i = 0; i < d.events.size(); i += batch) {
            const size_t n = std::min(batch, d.events.size() - i);
            const uint64_t until = d.events[i + n - 1].timestamp;
            size_t tj = ti;
            while (tj < d.triggers.size() && d.triggers[tj].timestamp <= until)
                ++tj;
            enc->encode(d.events.data() + i, d.events.data() + i + n, d.triggers.data() + ti, d.triggers.data() + tj);
            ti = tj;
            benchmark::DoNotOptimize(enc->data());
            enc->clearBuffer(); // a writer drains the buffer to disk after each batch
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * d.events.size()));
}

} // namespace

BENCHMARK(BM_DecodeEvt3Busy)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_DecodeEvt3Sparse)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_DecodeEvt3Sample)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_DecodeEvt2Sample)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_DecodeEvt3Writer)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_DecodeEvt2Writer)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_DecodeEvt21Writer)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_CountEvt3Busy)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_CountEvt3Sparse)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_CountEvt2Sample)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_EncodeEvt3)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK_MAIN();
