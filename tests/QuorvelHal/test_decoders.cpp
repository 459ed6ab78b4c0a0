#include "quorvel/raw/EventDecoder.h"
#include "quorvel/raw/RawFile.h"

#include "Evt3Reference.h"
#include "SensorWords.h"
#include "SyntheticStream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <utility>

using namespace quorvel;
using namespace quorvel::test;

namespace {

RawHeader headerFor(RawEncoding enc, uint32_t w = 1280, uint32_t h = 720) {
    RawHeader hd;
    hd.encoding = enc;
    hd.width = w;
    hd.height = h;
    return hd;
}

std::string words16(std::initializer_list<uint16_t> ws) {
    std::string s;
    for (uint16_t w : ws)
        s.append(reinterpret_cast<const char*>(&w), 2);
    return s;
}

struct Decoded {
    std::vector<Event2D> events;
    std::vector<EventTriggerIn> triggers;
    DecodeStats stats;
};

// Decodes in pieces of random size with a small output buffer, as readers do, so that state
// carried between calls is exercised on every test.
Decoded decodeAll(EventDecoder& d, const std::string& bytes, uint32_t seed = 7) {
    Decoded r;
    std::mt19937 rng(seed);
    std::vector<Event2D> out(40);
    std::string pending;
    size_t pos = 0;
    while (pos < bytes.size()) {
        const size_t piece = std::min<size_t>(bytes.size() - pos, 1 + rng() % 64);
        pending.append(bytes, pos, piece);
        pos += piece;
        size_t used = 0;
        for (;;) {
            const DecodeResult res = d.decode(reinterpret_cast<const uint8_t*>(pending.data()) + used,
                                              pending.size() - used, out.data(), out.size(), r.triggers);
            used += res.bytesConsumed;
            r.events.insert(r.events.end(), out.begin(), out.begin() + static_cast<ptrdiff_t>(res.eventsWritten));
            if (res.bytesConsumed == 0)
                break;
        }
        pending.erase(0, used);
    }
    r.stats = d.stats();
    return r;
}

DecodeStats countAll(const RawHeader& h, const std::string& bytes) {
    auto d = EventDecoder::create(h);
    std::vector<EventTriggerIn> tr;
    d->count(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), tr);
    return d->stats();
}

} // namespace

TEST(Evt3Decoder, TimeWordsVectorsAndRows) {
    const RawHeader h = headerFor(RawEncoding::Evt3, 64, 32);
    auto d = EventDecoder::create(h);
    const std::string s = words16({
        0x2005,         // before the first TIME_HIGH: skipped
        0x8001, 0x6010, // t = 4096 + 16
        0x0003,         // y = 3
        0x2805,         // ON at x=5
        0x3002,         // vector base 2, OFF
        0x5081,         // VECT_8: x=2, x=9
        0x4801,         // VECT_12 at base 10: x=10, x=21
        0x6011,         // t = 4113
        0x0004,         // y = 4
        0x3820,         // base 32 ON
        0x4FFF, 0x4FFF, 0x50FF, // a full 32-pixel triple 32..63
        0xA301,         // trigger id 3 rising at 4113
        0x9123,         // reserved type: skipped and counted
    });
    const Decoded r = decodeAll(*d, s);
    std::vector<Event2D> want = {{5, 3, 1, 4112}, {2, 3, 0, 4112}, {9, 3, 0, 4112}, {10, 3, 0, 4112}, {21, 3, 0, 4112}};
    for (uint16_t x = 32; x < 64; ++x)
        want.emplace_back(x, 4, 1, 4113);
    EXPECT_EQ(r.events, want);
    EXPECT_EQ(r.triggers, std::vector<EventTriggerIn>{EventTriggerIn(3, 1, 4113)});
    EXPECT_EQ(r.stats.reservedWords, 1u);
    EXPECT_EQ(r.stats.invalidEvents, 0u);

    const DecodeStats c = countAll(h, s);
    EXPECT_EQ(c.events, r.events.size());
    EXPECT_EQ(c.onEvents, 33u);
    EXPECT_EQ(c.firstEventTs, 4112u);
    EXPECT_EQ(c.lastEventTs, 4113u);
}

// The time is what the last time words say, taken exactly, also when it is lower than before:
// sensors send two TIME_LOW words in a row after a TIME_HIGH and the second is the events' time.
// Only an event below the previous event's time is raised to it, and counted.
TEST(Evt3Decoder, TimeIsWhatTheLastTimeWordsSay) {
    const RawHeader h = headerFor(RawEncoding::Evt3, 64, 32);
    const std::string s = words16({
        0x8001, 0x6010, 0x0003, 0x2005, // event at 0x1010
        0x8002, 0x632B, 0x6320,         // two TIME_LOW in a row: the clock is 0x2320
        0x2006,                         // event at 0x2320
        0x3010, 0x4007, 0x4000, 0x5000, // vector x = 16, 17, 18 at 0x2320
        0xA101,                         // trigger at 0x2320
        0x6310, 0x2007,                 // the clock goes below the last event: raised to 0x2320, counted
        0xA100,                         // a trigger keeps the clock: 0x2310
        0x6330, 0x2008,                 // 0x2330
        0x8003, 0x8002, 0x6340, 0x2009, // TIME_HIGH ahead and back, no event between: 0x2340 as is
    });
    const std::vector<Event2D> want = {{5, 3, 0, 0x1010},  {6, 3, 0, 0x2320}, {16, 3, 0, 0x2320}, {17, 3, 0, 0x2320},
                                       {18, 3, 0, 0x2320}, {7, 3, 0, 0x2320}, {8, 3, 0, 0x2330},  {9, 3, 0, 0x2340}};
    const std::vector<EventTriggerIn> wantTr = {{1, 1, 0x2320}, {1, 0, 0x2310}};
    for (uint32_t seed : {1u, 2u, 3u}) {
        auto d = EventDecoder::create(h);
        const Decoded r = decodeAll(*d, s, seed);
        EXPECT_EQ(r.events, want);
        EXPECT_EQ(r.triggers, wantTr);
        EXPECT_EQ(r.stats.timeBackwards, 1u);
    }
    const DecodeStats c = countAll(h, s);
    EXPECT_EQ(c.events, want.size());
    EXPECT_EQ(c.timeBackwards, 1u);
    EXPECT_EQ(c.firstEventTs, 0x1010u);
    EXPECT_EQ(c.lastEventTs, 0x2340u);
}

TEST(Evt3Decoder, WrapsTimeJumpsAndBadInput) {
    const RawHeader h = headerFor(RawEncoding::Evt3, 100, 10);
    auto d = EventDecoder::create(h);
    std::string s = words16({
        0x8FFE, 0x6FFF, 0x0001, 0x2001, // t = 0xFFE000 + 0xFFF
        0x8FFF, 0x8000, 0x6005, 0x2002, // wrap: 2^24 + 5
        0x6003, 0x2003,                 // below the last event: raised to it
        0x6006,                         // 2^24 + 6
        0x2064, 0x000A, 0x2001,         // x = 100 and y = 10 are outside 100x10
        0x1000, 0x2004,                 // an old exposure word switches CD off...
        0x0002, 0x2005,                 // ...until the next ADDR_Y
        0x3060, 0x4FFF,                 // vector running past the width: 96..99 kept, 100..107 invalid
        0x800A, 0x8002, 0x2006,         // TIME_HIGH back by < 2048: not a wrap
    });
    // More than a day of wraps with no event: a time jump no recording has, reported where it is.
    const size_t jumpWord = s.size() / 2 + 2 * 5149 + 1; // the pair that passes the day
    for (int i = 0; i < 5160; ++i)
        s += words16({0x8800, 0x8000});
    s += words16({0x2007});
    const Decoded r = decodeAll(*d, s, 3);
    const uint64_t wrap = uint64_t{1} << 24;
    ASSERT_EQ(r.events.size(), 4u + 4u + 2u);
    EXPECT_EQ(r.events[0], Event2D(1, 1, 0, 0xFFEFFF));
    EXPECT_EQ(r.events[1], Event2D(2, 1, 0, wrap + 5));
    EXPECT_EQ(r.events[2], Event2D(3, 1, 0, wrap + 5));
    EXPECT_EQ(r.events[3], Event2D(5, 2, 0, wrap + 6));
    EXPECT_EQ(r.events[4], Event2D(96, 2, 0, wrap + 6));
    EXPECT_EQ(r.events[8], Event2D(6, 2, 0, wrap + 0x2000));
    EXPECT_EQ(r.events[9], Event2D(7, 2, 0, wrap * 5161));
    EXPECT_EQ(r.stats.invalidEvents, 2u + 8u);
    EXPECT_EQ(r.stats.timeBackwards, 1u);
    EXPECT_EQ(r.stats.timeJumps, 1u);
    EXPECT_EQ(r.stats.firstTimeJumpOffset, jumpWord * 2);
    const DecodeStats c = countAll(h, s);
    EXPECT_EQ(c.timeJumps, 1u);
    EXPECT_EQ(c.firstTimeJumpOffset, jumpWord * 2);
}

TEST(Evt2Decoder, EventsTriggersAndTheLongWrap) {
    const RawHeader h = headerFor(RawEncoding::Evt2, 640, 480);
    std::vector<Event2D> ev = {{10, 20, 1, 1000}, {639, 479, 0, 1000}, {5, 6, 1, 1063}, {7, 8, 0, 5000}};
    std::vector<EventTriggerIn> tr = {{2, 1, 999}, {2, 0, 4000}};
    std::string s = encodeEvt2(ev, tr);
    // A TIME_HIGH far below the previous one is the 2^34 µs wrap.
    const uint32_t highWords[] = {0x8FFFFFFFu, 0x00000000u, 0x80000001u, 0x10000000u | (3u << 11) | 4u};
    for (uint32_t w : highWords)
        s.append(reinterpret_cast<const char*>(&w), 4);
    auto d = EventDecoder::create(h);
    const Decoded r = decodeAll(*d, std::string("\x01\x00\x00\x00", 4) + s); // an event before any TIME_HIGH
    ASSERT_EQ(r.events.size(), 6u);
    EXPECT_TRUE(std::equal(ev.begin(), ev.end(), r.events.begin()));
    EXPECT_EQ(r.events[4], Event2D(0, 0, 0, (uint64_t{0x0FFFFFFF} << 6)));
    EXPECT_EQ(r.events[5], Event2D(3, 4, 1, (uint64_t{1} << 34) + 64));
    EXPECT_EQ(r.triggers, tr);
    EXPECT_EQ(countAll(h, s).onEvents, 3u);
}

TEST(Evt21Decoder, BothByteOrdersDecodeTheSameStream) {
    StreamParams p;
    p.width = 640;
    p.height = 480;
    p.durationUs = 30000;
    std::vector<Event2D> ev;
    std::vector<EventTriggerIn> tr;
    generateAll(p, ev, tr);
    for (bool legacy : {false, true}) {
        RawHeader h = headerFor(RawEncoding::Evt21, 640, 480);
        h.evt21Legacy = legacy;
        auto d = EventDecoder::create(h);
        const std::string s = encodeEvt21(ev, tr, legacy);
        const Decoded r = decodeAll(*d, s);
        EXPECT_EQ(r.events, ev) << "legacy=" << legacy;
        EXPECT_EQ(r.triggers, tr);
        EXPECT_EQ(countAll(h, s).events, ev.size());
    }
}

TEST(DatDecoder, RecordsAndUnknownGeometry) {
    std::vector<Event2D> ev = {{6, 18, 1, 0}, {53, 60, 0, 10}, {9000, 9000, 1, 4000000000u}};
    const std::string s = encodeDat(ev) + "\x01\x02"; // a trailing partial record is ignored
    auto d = EventDecoder::create(headerFor(RawEncoding::Dat, 0, 0));
    EXPECT_EQ(decodeAll(*d, s).events, ev);
    auto small = EventDecoder::create(headerFor(RawEncoding::Dat, 54, 61));
    const Decoded r = decodeAll(*small, s);
    EXPECT_EQ(r.events.size(), 2u);
    EXPECT_EQ(r.stats.invalidEvents, 1u);
}

TEST(Decoders, GarbageNeverCrashesAndCountMatchesDecode) {
    std::mt19937 rng(42);
    for (RawEncoding enc : {RawEncoding::Evt2, RawEncoding::Evt21, RawEncoding::Evt3, RawEncoding::Dat}) {
        for (int round = 0; round < 20; ++round) {
            std::string s(1000 + rng() % 5000, '\0');
            for (auto& c : s)
                c = static_cast<char>(rng());
            const RawHeader h = headerFor(enc, 320, 240);
            auto d = EventDecoder::create(h);
            const Decoded r = decodeAll(*d, s, static_cast<uint32_t>(round));
            for (const auto& e : r.events) {
                ASSERT_LT(e.x, 320);
                ASSERT_LT(e.y, 240);
            }
            ASSERT_TRUE(std::is_sorted(r.events.begin(), r.events.end(),
                                       [](const Event2D& a, const Event2D& b) { return a.timestamp < b.timestamp; }));
            const DecodeStats c = countAll(h, s);
            EXPECT_EQ(c.events, r.events.size());
            EXPECT_EQ(c.invalidEvents, r.stats.invalidEvents);
            EXPECT_EQ(c.onEvents, static_cast<uint64_t>(std::count_if(r.events.begin(), r.events.end(),
                                                                      [](const Event2D& e) { return e.polarity; })));
        }
    }
}

// Sensor-shaped stretches mixed with every kind of odd word (clock steps back, rows and columns
// outside the sensor, CD switched off, dense and sparse vectors, vectors past the width, time-high
// repeats, changes and wraps, triggers, reserved words): decoding in large batches (where whole
// runs of words go through the vector path) and in small pieces, and counting, all agree with a
// reader written from the format description, whose times are raised to the previous event's.
TEST(Evt3Decoder, EveryPathAgreesWithAReferenceOnMixedStreams) {
    const uint32_t W = 640, H = 480;
    std::mt19937 rng(77);
    std::string s;
    const auto put = [&](uint32_t w) {
        const uint16_t v = static_cast<uint16_t>(w);
        s.append(reinterpret_cast<const char*>(&v), 2);
    };
    uint32_t high = 5;
    SensorWordMix mix = busySensorMix();
    mix.width = W;
    mix.height = H;
    for (int part = 0; part < 60; ++part) {
        if (part % 2 == 0) {
            s += generateSensorEvt3(mix, (uint64_t{high} << 12) + rng() % 4096, 2000 + rng() % 6000, part);
            high = static_cast<uint32_t>(((uint64_t{high} << 12) + 20000) >> 12) & 0xFFF;
            continue;
        }
        for (int i = 0; i < 400; ++i) {
            const uint32_t r = rng() % 100;
            if (r < 35)
                put(0x2000 | (rng() % 2) << 11 | rng() % (W + 8));
            else if (r < 50)
                put(0x0000 | rng() % (H + 3));
            else if (r < 60)
                put(0x6000 | rng() % 4096);
            else if (r < 66) {
                const uint32_t d = rng() % 20;
                high = d < 14 ? high : d < 18 ? (high + 1) & 0xFFF : rng() % 4096;
                put(0x8000 | high);
            } else if (r < 78) {
                const bool dense = rng() % 3 == 0;
                uint32_t mask = 0;
                for (int b = 0; b < (dense ? 20 : 1 + static_cast<int>(rng() % 4)); ++b)
                    mask |= 1u << (rng() % 32);
                put(0x3000 | (rng() % 2) << 11 | rng() % (W + 40));
                put(0x4000 | (mask & 0xFFF));
                if (rng() % 10) {
                    put(0x4000 | ((mask >> 12) & 0xFFF));
                    put(0x5000 | (mask >> 24));
                }
            } else if (r < 82) {
                put((rng() % 2 ? 0x4000 : 0x5000) | rng() % 4096);
            } else if (r < 86) {
                put(0xA000 | (rng() % 16) << 8 | rng() % 2);
            } else if (r < 88) {
                put(0x1000 | rng() % 4096);
            } else {
                static const uint32_t odd[] = {0x7000, 0x9000, 0xB000, 0xC000, 0xD000, 0xE000, 0xF000};
                put(odd[rng() % 7] | rng() % 4096);
            }
        }
    }
    const RawHeader h = headerFor(RawEncoding::Evt3, W, H);
    Evt3Reading want = referenceDecodeEvt3(s, W, H, true);
    uint64_t raised = 0;
    for (size_t i = 1; i < want.events.size(); ++i)
        if (want.events[i].timestamp < want.events[i - 1].timestamp) {
            want.events[i].timestamp = want.events[i - 1].timestamp;
            ++raised;
        }
    ASSERT_GT(raised, 100u);
    ASSERT_GT(want.events.size(), 50'000u);

    auto whole = EventDecoder::create(h);
    Decoded big;
    std::vector<Event2D> out(1 << 14);
    for (size_t used = 0; used < s.size();) {
        const DecodeResult r = whole->decode(reinterpret_cast<const uint8_t*>(s.data()) + used, s.size() - used,
                                             out.data(), out.size(), big.triggers);
        big.events.insert(big.events.end(), out.begin(), out.begin() + static_cast<ptrdiff_t>(r.eventsWritten));
        used += r.bytesConsumed;
    }
    auto pieces = EventDecoder::create(h);
    const Decoded small = decodeAll(*pieces, s, 9);
    const DecodeStats c = countAll(h, s);
    EXPECT_TRUE(big.events == want.events);
    EXPECT_TRUE(small.events == want.events);
    EXPECT_EQ(big.triggers, want.triggers);
    EXPECT_EQ(small.triggers, want.triggers);
    for (const DecodeStats* st : {&std::as_const(whole->stats()), &small.stats, &c}) {
        EXPECT_EQ(st->timeBackwards, raised);
        EXPECT_EQ(st->invalidEvents, small.stats.invalidEvents);
        EXPECT_EQ(st->reservedWords, small.stats.reservedWords);
    }
    EXPECT_EQ(c.events, want.events.size());
    EXPECT_EQ(c.onEvents, static_cast<uint64_t>(std::count_if(want.events.begin(), want.events.end(),
                                                             [](const Event2D& e) { return e.polarity; })));
    EXPECT_EQ(c.lastEventTs, want.events.back().timestamp);
    EXPECT_TRUE(whole->state() == pieces->state());
}

// The real recordings of other people's cameras decode to the values published with them.
TEST(Samples, DecodeToTheirPublishedValues) {
    const std::string dir = samplesDir();
    if (dir.empty())
        GTEST_SKIP() << "sample recordings not found (set QUORVEL_SAMPLES_DIR or put them in ../shared/samples)";
    struct Expect {
        const char* file;
        RawEncoding enc;
        uint32_t w, h;
        uint64_t events, on;
        Event2D first, last;
        uint16_t maxX, maxY;
    };
    const Expect expects[] = {
        {"evt2_sample.raw", RawEncoding::Evt2, 640, 480, 539481, 367855, {237, 121, 1, 1317888}, {210, 142, 1, 1367888}, 599, 475},
        {"evt3_test_pedestrians.raw", RawEncoding::Evt3, 1280, 720, 5000, 2894, {707, 297, 0, 5840504}, {598, 260, 0, 5885714}, 1279, 698},
        {"ncars_sample.dat", RawEncoding::Dat, 0, 0, 4407, 1671, {6, 18, 1, 0}, {48, 47, 1, 99937}, 53, 60},
    };
    for (const auto& x : expects) {
        SCOPED_TRACE(x.file);
        std::string err;
        auto f = RawFile::open(dir + "/" + x.file, err);
        ASSERT_TRUE(f) << err;
        EXPECT_EQ(f->header().encoding, x.enc);
        EXPECT_EQ(f->header().width, x.w);
        EXPECT_EQ(f->header().height, x.h);
        RawStreamCursor cur(f, 64 * 1024);
        std::vector<Event2D> all, buf(5000);
        std::vector<EventTriggerIn> tr;
        while (!cur.atEnd()) {
            const size_t n = cur.next(buf.data(), buf.size(), tr);
            all.insert(all.end(), buf.begin(), buf.begin() + static_cast<ptrdiff_t>(n));
        }
        ASSERT_EQ(all.size(), x.events);
        EXPECT_EQ(all.front(), x.first);
        EXPECT_EQ(all.back(), x.last);
        EXPECT_EQ(static_cast<uint64_t>(std::count_if(all.begin(), all.end(), [](const Event2D& e) { return e.polarity == 1; })), x.on);
        uint16_t mx = 0, my = 0;
        for (const auto& e : all) {
            mx = std::max(mx, e.x);
            my = std::max(my, e.y);
        }
        EXPECT_EQ(mx, x.maxX);
        EXPECT_EQ(my, x.maxY);
        EXPECT_EQ(cur.decoder().stats().invalidEvents, 0u);
        EXPECT_EQ(cur.decoder().stats().timeBackwards, 0u);
    }
}
