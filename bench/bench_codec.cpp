// Codec speed on realistic in-memory streams: decoding EVT 3.0, EVT 2.0 and EVT 2.1 into reused
// Event2D batches, counting (the index build), and encoding EVT 3.0.
//
// The stream alternates dense (16 M events/s) and quiet (4 M events/s) periods with row segments
// (vectors) and scattered events, and carries triggers, like a sensor watching motion.
#include "quorvel/raw/EventDecoder.h"
#include "quorvel/raw/EventEncoder.h"

#include "SyntheticStream.h"

#include <benchmark/benchmark.h>

using namespace quorvel;
using namespace quorvel::test;

namespace {

struct Data {
    std::vector<Event2D> events;
    std::vector<EventTriggerIn> triggers;
    std::string evt3, evt2, evt21;
    Data() {
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

const Data& data() {
    static const Data d;
    return d;
}

void decodeBench(benchmark::State& state, RawEncoding enc, const std::string& bytes) {
    RawHeader h;
    h.encoding = enc;
    h.width = 1280;
    h.height = 720;
    auto dec = EventDecoder::create(h);
    std::vector<Event2D> batch(1 << 16);
    std::vector<EventTriggerIn> tr;
    uint64_t events = 0;
    for (auto _ : state) {
        dec->reset();
        const uint8_t* p = reinterpret_cast<const uint8_t*>(bytes.data());
        size_t left = bytes.size();
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
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
    state.counters["bytes_per_event"] = static_cast<double>(bytes.size()) / static_cast<double>(data().events.size());
}

void BM_DecodeEvt3(benchmark::State& s) { decodeBench(s, RawEncoding::Evt3, data().evt3); }
void BM_DecodeEvt2(benchmark::State& s) { decodeBench(s, RawEncoding::Evt2, data().evt2); }
void BM_DecodeEvt21(benchmark::State& s) { decodeBench(s, RawEncoding::Evt21, data().evt21); }

void BM_CountEvt3(benchmark::State& state) {
    RawHeader h;
    h.encoding = RawEncoding::Evt3;
    h.width = 1280;
    h.height = 720;
    auto dec = EventDecoder::create(h);
    std::vector<EventTriggerIn> tr;
    const std::string& b = data().evt3;
    for (auto _ : state) {
        dec->reset();
        dec->count(reinterpret_cast<const uint8_t*>(b.data()), b.size(), tr);
        tr.clear();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * b.size()));
}

void BM_EncodeEvt3(benchmark::State& state) {
    const Data& d = data();
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

BENCHMARK(BM_DecodeEvt3)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_DecodeEvt2)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_DecodeEvt21)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_CountEvt3)->Unit(benchmark::kMillisecond)->MinTime(1.0);
BENCHMARK(BM_EncodeEvt3)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK_MAIN();
