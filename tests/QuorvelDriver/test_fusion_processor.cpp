#include "quorvel/DvsApsFusionProccessor.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using namespace quorvel;

namespace {

struct Delivery {
    uint64_t frameTs = 0;
    uint64_t frameSeq = 0;
    std::vector<Event2D> events;
};

// A processor whose every delivery is recorded.
struct Sink {
    DvsApsFusionProccessor p;
    std::vector<Delivery> got;
    explicit Sink(const DvsApsFusionProccessor::Options& o = {}) : p(o) {
        p.addFusionDataCallback([this](ApsFrame& f, Event2D* b, Event2D* e) {
            got.push_back({f.getTimestamp(), f.getSequence(), std::vector<Event2D>(b, e)});
        });
    }
};

ApsFrame frameAt(uint64_t ts, uint64_t seq = 0) { return ApsFrame(8, 4, ts, seq); }

// One event every `step` microseconds in [from, to).
std::vector<Event2D> eventsEvery(uint64_t from, uint64_t to, uint64_t step) {
    std::vector<Event2D> ev;
    for (uint64_t t = from; t < to; t += step)
        ev.emplace_back(uint16_t(t % 640), uint16_t(t % 480), uint8_t(t % 2), t);
    return ev;
}

void feed(DvsApsFusionProccessor& p, const std::vector<Event2D>& ev, size_t batch) {
    for (size_t i = 0; i < ev.size(); i += batch)
        p.addDvsData(ev.data() + i, ev.data() + std::min(ev.size(), i + batch));
}

void expectWindow(const Delivery& d, uint64_t from, uint64_t to) {
    ASSERT_FALSE(d.events.empty());
    EXPECT_GE(d.events.front().timestamp, from);
    EXPECT_LT(d.events.back().timestamp, to);
    // No gap: the first event at or after `from` and the last before `to` (events every 100 us).
    EXPECT_LT(d.events.front().timestamp - from, 100u);
    EXPECT_LE(to - d.events.back().timestamp, 100u);
    for (size_t i = 1; i < d.events.size(); ++i)
        ASSERT_EQ(d.events[i].timestamp, d.events[i - 1].timestamp + 100);
}

} // namespace

TEST(FusionProcessor, EachFrameGetsTheEventsUntilTheNextFrame) {
    Sink sink;
    DvsApsFusionProccessor& p = sink.p;
    // Frames at irregular times; events every 100 us in batches of 37 that straddle the frame
    // times; frames added after the events of their time, like a camera with readout latency.
    const std::vector<uint64_t> frames = {1'000, 34'300, 67'700, 101'000};
    const auto ev = eventsEvery(0, 150'000, 100);
    size_t next = 0;
    for (size_t i = 0; i < ev.size(); i += 37) {
        p.addDvsData(ev.data() + i, ev.data() + std::min(ev.size(), i + 37));
        while (next < frames.size() && ev[i].timestamp >= frames[next] + 5'000) {
            p.addApsData(frameAt(frames[next], next));
            ++next;
        }
        p.fusionData();
    }
    ASSERT_EQ(sink.got.size(), 3u); // the last frame's window is still open
    for (size_t k = 0; k < 3; ++k) {
        SCOPED_TRACE(k);
        EXPECT_EQ(sink.got[k].frameTs, frames[k]);
        EXPECT_EQ(sink.got[k].frameSeq, k);
        expectWindow(sink.got[k], frames[k], frames[k + 1]);
    }
    // Events exactly on a frame time open that frame's window.
    EXPECT_EQ(sink.got[1].events.front().timestamp, 34'300u);
    EXPECT_EQ(sink.got[0].events.back().timestamp, 34'200u);
    EXPECT_EQ(p.pendingFrames(), 1u);
    const auto s = p.getStats();
    EXPECT_EQ(s.framesDelivered, 3u);
    EXPECT_EQ(s.eventsWithoutFrame, 10u); // 0 .. 900 come before the first frame
    EXPECT_EQ(s.eventsDelivered, 1000u); // 333 + 334 + 333
}

TEST(FusionProcessor, WaitsForTheNextFrameAndForTheEventsUpToIt) {
    Sink sink;
    DvsApsFusionProccessor& p = sink.p;
    p.addApsData(frameAt(10'000));
    feed(p, eventsEvery(10'000, 40'000, 100), 50);
    EXPECT_EQ(p.fusionData(), 0u); // no next frame yet
    p.addApsData(frameAt(43'000));
    feed(p, eventsEvery(40'000, 43'000, 100), 50);
    EXPECT_EQ(p.fusionData(), 0u); // the events have not reached 43000 yet: more may come
    feed(p, eventsEvery(43'000, 43'100, 100), 50);
    EXPECT_EQ(p.fusionData(), 1u);
    ASSERT_EQ(sink.got.size(), 1u);
    expectWindow(sink.got[0], 10'000, 43'000);
    EXPECT_EQ(p.fusionData(), 0u); // delivered once only
    // A lone frame is closed by its cap once the stream passes it.
    feed(p, eventsEvery(43'100, 243'100, 100), 500);
    EXPECT_EQ(p.fusionData(), 0u); // reached 243000, not past it
    feed(p, eventsEvery(243'100, 243'200, 100), 500);
    EXPECT_EQ(p.fusionData(), 1u);
    expectWindow(sink.got[1], 43'000, 243'000);
}

TEST(FusionProcessor, LateAndOutOfOrderFramesAndLateEvents) {
    Sink sink;
    DvsApsFusionProccessor& p = sink.p;
    p.addApsData(frameAt(0, 0));
    p.addApsData(frameAt(66'000, 2));
    p.addApsData(frameAt(33'000, 1)); // out of order but before its window: put in place
    p.addApsData(frameAt(66'000, 9)); // same time as a pending frame: dropped
    feed(p, eventsEvery(0, 70'000, 100), 1000);
    EXPECT_EQ(p.fusionData(), 2u);
    ASSERT_EQ(sink.got.size(), 2u);
    EXPECT_EQ(sink.got[0].frameSeq, 0u);
    expectWindow(sink.got[0], 0, 33'000);
    EXPECT_EQ(sink.got[1].frameSeq, 1u);
    expectWindow(sink.got[1], 33'000, 66'000);

    p.addApsData(frameAt(50'000, 5)); // inside a delivered window: late
    // Events older than the delivered windows are late; they must not reach the next frame.
    const auto old = eventsEvery(60'000, 66'000, 100);
    p.addDvsData(old.data(), old.data() + old.size());
    p.addApsData(frameAt(99'000, 3));
    feed(p, eventsEvery(70'000, 100'000, 100), 1000);
    EXPECT_EQ(p.fusionData(), 1u);
    ASSERT_EQ(sink.got.size(), 3u);
    EXPECT_EQ(sink.got[2].frameSeq, 2u);
    expectWindow(sink.got[2], 66'000, 99'000);
    const auto s = p.getStats();
    EXPECT_EQ(s.framesLate, 2u);
    EXPECT_EQ(s.eventsLate, old.size());
}

TEST(FusionProcessor, MissingFramesAreCappedAndStalledEventsForceDelivery) {
    DvsApsFusionProccessor::Options o;
    o.maxFrameSpanUs = 50'000;
    o.maxPendingFrames = 3;
    Sink sink(o);
    DvsApsFusionProccessor& p = sink.p;
    // Frames at 0 and 200000 (the ones between were lost): the first frame keeps 50 ms only.
    p.addApsData(frameAt(0));
    p.addApsData(frameAt(200'000));
    feed(p, eventsEvery(0, 210'000, 100), 777);
    EXPECT_EQ(p.fusionData(), 1u);
    expectWindow(sink.got[0], 0, 50'000);
    p.addApsData(frameAt(233'000));
    feed(p, eventsEvery(210'000, 240'000, 100), 777);
    EXPECT_EQ(p.fusionData(), 1u);
    expectWindow(sink.got[1], 200'000, 233'000);
    EXPECT_EQ(p.getStats().eventsWithoutFrame, 1500u); // 50000 .. 199900

    // The DVS stream stalls at 240000 while frames keep coming: once more than three wait, the
    // oldest goes out with the events that did arrive.
    p.addApsData(frameAt(266'000));
    p.addApsData(frameAt(299'000));
    EXPECT_EQ(p.fusionData(), 0u); // 233000, 266000, 299000 wait
    p.addApsData(frameAt(332'000));
    EXPECT_EQ(p.fusionData(), 1u);
    EXPECT_EQ(sink.got[2].frameTs, 233'000u);
    EXPECT_EQ(sink.got[2].events.size(), 70u); // 233000 .. 239900
    EXPECT_EQ(p.getStats().framesForced, 1u);
}

TEST(FusionProcessor, SyncSignalsGiveFramesTheirDvsTime) {
    Sink sink;
    DvsApsFusionProccessor& p = sink.p;
    // Exposure edges at exact times; frame timestamps off by a few milliseconds of jitter.
    p.addSyncSignal(EventTriggerIn(0, 1, 10'000));
    p.addSyncSignal(EventTriggerIn(0, 0, 12'000)); // falling edge: not a frame start
    p.addSyncSignal(EventTriggerIn(0, 1, 43'333));
    p.addSyncSignal(EventTriggerIn(0, 1, 76'666)); // its frame never comes
    p.addSyncSignal(EventTriggerIn(0, 1, 110'000));
    p.addApsData(frameAt(12'500, 0));
    p.addApsData(frameAt(41'000, 1));
    p.addApsData(frameAt(113'000, 2));
    p.addApsData(frameAt(180'000, 3)); // no edge near it: keeps its own time
    feed(p, eventsEvery(0, 200'000, 100), 1000);
    EXPECT_EQ(p.fusionData(), 3u);
    ASSERT_EQ(sink.got.size(), 3u);
    expectWindow(sink.got[0], 10'000, 43'333);
    expectWindow(sink.got[1], 43'333, 110'000); // the missing frame's span stays with frame 1
    expectWindow(sink.got[2], 110'000, 180'000);
    EXPECT_EQ(p.getStats().framesSynced, 3u);
}

TEST(FusionProcessor, BuffersStayBoundedAndClearStartsOver) {
    DvsApsFusionProccessor::Options o;
    o.maxBufferedEvents = 1000;
    Sink sink(o);
    DvsApsFusionProccessor& p = sink.p;
    p.addApsData(frameAt(0));
    feed(p, eventsEvery(0, 150'000, 100), 100); // 1500 events for one open frame
    EXPECT_LE(p.bufferedEvents(), 1000u);
    EXPECT_EQ(p.getStats().eventsOverflow, 500u);

    // No frame at all (APS stopped): only about a frame span of events is kept.
    DvsApsFusionProccessor q;
    feed(q, eventsEvery(0, 2'000'000, 100), 1000);
    EXPECT_LE(q.bufferedEvents(), 2'000u + 1000u);

    p.clear();
    EXPECT_EQ(p.pendingFrames(), 0u);
    EXPECT_EQ(p.bufferedEvents(), 0u);
    // A new stream with an earlier clock: nothing is late after clear().
    p.addApsData(frameAt(5'000));
    p.addApsData(frameAt(20'000));
    feed(p, eventsEvery(5'000, 25'000, 100), 10);
    EXPECT_EQ(p.fusionData(), 1u);
    expectWindow(sink.got.back(), 5'000, 20'000);
}

TEST(FusionProcessor, CallbacksReentryAndThreads) {
    DvsApsFusionProccessor p;
    int first = 0, second = 0;
    p.addFusionDataCallback([&](ApsFrame& f, Event2D*, Event2D*) {
        ++first;
        f.setTimestamp(1); // a callback may change the frame
        p.addApsData(frameAt(1)); // refused: no deadlock, no effect
        throw std::runtime_error("consumer bug");
    });
    p.addFusionDataCallback([&](ApsFrame& f, Event2D*, Event2D*) {
        ++second;
        EXPECT_EQ(f.getTimestamp(), 1u);
    });
    p.addApsData(frameAt(1000));
    p.addApsData(frameAt(2000));
    feed(p, eventsEvery(0, 3000, 100), 5);
    EXPECT_EQ(p.fusionData(), 1u);
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 1);
    EXPECT_EQ(p.pendingFrames(), 1u);
    p.removeFusionDataCallback();
    p.addApsData(frameAt(3000));
    feed(p, eventsEvery(3000, 4000, 100), 5);
    EXPECT_EQ(p.fusionData(), 1u);
    EXPECT_EQ(first, 1);

    // A camera's DVS and APS threads feed while another thread aligns: every event in the frames'
    // windows arrives exactly once, in order. The two producers stay within a few frames of each
    // other, as a camera's streams do.
    DvsApsFusionProccessor live;
    std::vector<Delivery> got;
    live.addFusionDataCallback([&](ApsFrame& f, Event2D* b, Event2D* e) {
        got.push_back({f.getTimestamp(), 0, std::vector<Event2D>(b, e)});
    });
    constexpr uint64_t kFrameUs = 33'333, kEndUs = 1'000'000;
    std::atomic<uint64_t> dvsAt{0}, apsAt{0};
    std::atomic<bool> done{false};
    std::thread dvs([&] {
        const auto ev = eventsEvery(0, kEndUs, 50);
        for (size_t i = 0; i < ev.size(); i += 333) {
            while (ev[i].timestamp > apsAt + 3 * kFrameUs && apsAt + kFrameUs < kEndUs)
                std::this_thread::yield();
            live.addDvsData(ev.data() + i, ev.data() + std::min(ev.size(), i + 333));
            dvsAt = ev[std::min(ev.size(), i + 333) - 1].timestamp;
        }
        dvsAt = kEndUs;
    });
    std::thread aps([&] {
        for (uint64_t t = 0; t < kEndUs; t += kFrameUs) {
            while (dvsAt + kFrameUs < t)
                std::this_thread::yield();
            live.addApsData(frameAt(t));
            apsAt = t;
        }
    });
    std::thread align([&] {
        while (!done)
            live.fusionData();
    });
    dvs.join();
    aps.join();
    done = true;
    align.join();
    live.fusionData();
    ASSERT_EQ(got.size(), 29u); // 30 frames, the last one still open
    auto firstAtOrAfter = [](uint64_t t) { return (t + 49) / 50; }; // index of the first event >= t
    for (size_t k = 0; k < got.size(); ++k) {
        EXPECT_EQ(got[k].frameTs, k * kFrameUs);
        EXPECT_EQ(got[k].events.size(), firstAtOrAfter((k + 1) * kFrameUs) - firstAtOrAfter(k * kFrameUs)) << k;
    }
    EXPECT_EQ(live.getStats().eventsLate, 0u);
}
