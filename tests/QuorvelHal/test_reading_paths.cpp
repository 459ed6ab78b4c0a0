// A sensor-shaped EVT 3.0 recording (two TIME_LOW words in a row now and then, the first ahead of
// the second) read along every path of the engine: decoding, the index scan in one pass and in
// two halves, decoding from each index entry, and cuts whose ends fall on such time words. All of
// them must give the times a reader written from the format description gives.
#include "quorvel/raw/RawCut.h"
#include "quorvel/raw/RawFile.h"
#include "quorvel/raw/RawIndex.h"

#include "Evt3Reference.h"
#include "SensorWords.h"
#include "SyntheticStream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstring>

using namespace quorvel;
using namespace quorvel::test;

namespace {

constexpr uint32_t kW = 1280, kH = 720;

struct SensorFile {
    TempDir dir;
    std::string path = dir.file("sensor.raw");
    std::string payload;
    Evt3Reading expect;
    SensorFile() {
        SensorWordMix mix = busySensorMix();
        mix.triggerPeriodUs = 700;
        mix.doubleLowShare = 0.05;
        // Starts shortly before the 24-bit clock wraps.
        payload = generateSensorEvt3(mix, (uint64_t{1} << 24) - 40'000, 6u << 20, 11);
        writeFile(path, "% evt 3.0\n% format EVT3;height=720;width=1280\n% end\n" + payload);
        expect = referenceDecodeEvt3(payload, kW, kH, true);
    }
};

std::vector<Event2D> decodeFrom(const std::shared_ptr<RawFile>& f, uint64_t offset, const DecoderState& state,
                                std::vector<EventTriggerIn>* triggers = nullptr) {
    RawStreamCursor cur(f, 100'000);
    cur.seek(offset, state);
    std::vector<Event2D> all, buf(4096);
    std::vector<EventTriggerIn> tr;
    while (!cur.atEnd()) {
        const size_t n = cur.next(buf.data(), buf.size(), tr);
        all.insert(all.end(), buf.begin(), buf.begin() + static_cast<ptrdiff_t>(n));
    }
    if (triggers)
        *triggers = tr;
    return all;
}

} // namespace

TEST(ReadingPaths, EveryPathGivesTheTimesTheWordsSay) {
    const SensorFile sf;
    ASSERT_GT(sf.expect.events.size(), 1'000'000u);
    ASSERT_GT(sf.expect.events.back().timestamp, uint64_t{1} << 24);
    ASSERT_EQ(referenceDecodeEvt3(sf.payload, kW, kH, false).events, sf.expect.events);
    std::string err;
    auto f = RawFile::open(sf.path, err);
    ASSERT_TRUE(f) << err;

    std::vector<EventTriggerIn> tr;
    EXPECT_TRUE(decodeFrom(f, f->payloadBegin(), RawStreamCursor(f).decoder().initialState(), &tr) == sf.expect.events);
    EXPECT_EQ(tr, sf.expect.triggers);

    std::atomic<bool> cancel{false};
    RawIndex one, two;
    one.parallel = false;
    two.parallelMinBytes = 0;
    ASSERT_TRUE(one.build(f, cancel));
    ASSERT_TRUE(two.build(f, cancel));
    EXPECT_TRUE(two.builtInTwoHalves);
    for (const RawIndex* idx : {&one, &two}) {
        const DecodeStats& s = idx->totals.stats;
        EXPECT_EQ(s.events, sf.expect.events.size());
        EXPECT_EQ(s.firstEventTs, sf.expect.events.front().timestamp);
        EXPECT_EQ(s.lastEventTs, sf.expect.events.back().timestamp);
        EXPECT_EQ(s.timeBackwards + s.timeJumps + s.invalidEvents, 0u);
        EXPECT_EQ(idx->triggers, sf.expect.triggers);
    }
    ASSERT_EQ(two.entries.size(), one.entries.size());
    ASSERT_GT(one.entries.size(), 40u);
    // Decoding from any entry gives the rest of the recording, and no event or trigger before an
    // entry is later than its time.
    for (size_t i = 0; i < one.entries.size(); i += 7) {
        const RawIndexEntry& e = two.entries[i];
        SCOPED_TRACE("entry " + std::to_string(i));
        EXPECT_EQ(e.timeUs, one.entries[i].timeUs);
        EXPECT_TRUE(e.state == one.entries[i].state);
        const std::vector<Event2D> rest = decodeFrom(f, e.offset, e.state);
        ASSERT_EQ(rest.size(), sf.expect.events.size() - e.eventsBefore);
        EXPECT_TRUE(std::equal(rest.begin(), rest.end(), sf.expect.events.begin() + static_cast<ptrdiff_t>(e.eventsBefore)));
        if (e.eventsBefore) {
            EXPECT_LE(sf.expect.events[e.eventsBefore - 1].timestamp, e.timeUs);
        }
    }

    // Cuts whose ends are the times of events right after a double TIME_LOW (the generator's
    // events all lie inside the sensor, so counting event words finds their index).
    std::vector<size_t> doubleLowTimes; // index of the first event after each double TIME_LOW
    size_t events = 0;
    for (size_t i = 0; i + 1 < sf.payload.size(); i += 2) {
        uint16_t w;
        std::memcpy(&w, sf.payload.data() + i, 2);
        const unsigned type = w >> 12;
        events += type == 0x2 ? 1 : type == 0x4 ? std::popcount(w & 0xFFFu) : type == 0x5 ? std::popcount(w & 0xFFu) : 0;
        if (type == 0x6 && i >= 2 && (static_cast<uint8_t>(sf.payload[i - 1]) >> 4) == 0x6)
            doubleLowTimes.push_back(events);
    }
    ASSERT_EQ(events, sf.expect.events.size());
    const auto timeOfEvent = [&](size_t k) { return sf.expect.events[std::min(k, sf.expect.events.size() - 1)].timestamp; };
    const std::pair<uint64_t, uint64_t> ranges[] = {
        {timeOfEvent(doubleLowTimes[3]), timeOfEvent(doubleLowTimes[300])},
        {timeOfEvent(doubleLowTimes[50]) - 1, timeOfEvent(doubleLowTimes[51]) + 1},
        {timeOfEvent(doubleLowTimes[120]), timeOfEvent(doubleLowTimes[120])},
    };
    for (const auto& [a, b] : ranges) {
        SCOPED_TRACE(std::to_string(a) + ".." + std::to_string(b));
        const std::string out = sf.dir.file("cut.raw");
        RawCutResult res;
        ASSERT_TRUE(cutRawFile(f, two.entries, a, b, out, std::chrono::system_clock::now(), 0, res, err)) << err;
        Evt3Reading want;
        for (const auto& e : sf.expect.events)
            if (e.timestamp >= a && e.timestamp <= b)
                want.events.push_back(e);
        for (const auto& t : sf.expect.triggers)
            if (t.timestamp >= a && t.timestamp <= b)
                want.triggers.push_back(t);
        RawHeader h;
        ASSERT_TRUE(readRawHeader(out, h, err)) << err;
        const std::string cutPayload = readFileBytes(out).substr(h.payloadOffset);
        EXPECT_EQ(evt3WriterRuleBroken(cutPayload, kW), "");
        const Evt3Reading got = referenceDecodeEvt3(cutPayload, kW, kH, false, h.timeBaseUs);
        EXPECT_EQ(got.events.size(), want.events.size());
        EXPECT_TRUE(got.events == want.events);
        EXPECT_EQ(got.triggers, want.triggers);
        EXPECT_EQ(res.events, want.events.size());
        auto cf = RawFile::open(out, err);
        ASSERT_TRUE(cf) << err;
        EXPECT_TRUE(decodeFrom(cf, cf->payloadBegin(), RawStreamCursor(cf).decoder().initialState()) == want.events);
    }
}
