// Every tool changed through a camera's CameraTool interface changes what the camera streams.
// Offline simulated cameras (not paced, fixed span of sensor time) make each run deterministic.

#include "quorvel/VirtualCameras.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <mutex>
#include <thread>

using namespace quorvel;

namespace {

struct Run {
    std::vector<Event2D> events;
    std::vector<EventTriggerIn> triggers;
};

/// Streams 300 ms of `scene` after `setup` changed the camera's tools.
Run stream(const std::string& scene, const std::function<void(DvsCamera&)>& setup, uint64_t us = 300000) {
    SimulatedCameraOptions o;
    o.scene = scene;
    o.realtime = false;
    o.durationUs = us;
    o.seed = 11;
    std::string err;
    auto cam = createSimulatedCamera(o, err);
    EXPECT_TRUE(cam) << err;
    Run r;
    if (!cam)
        return r;
    std::mutex mu;
    cam->addEventsCallback([&](const Event2D* b, const Event2D* e) {
        std::lock_guard l(mu);
        r.events.insert(r.events.end(), b, e);
    });
    cam->addTriggerInCallback([&](const EventTriggerIn& t) {
        std::lock_guard l(mu);
        r.triggers.push_back(t);
    });
    setup(*cam);
    EXPECT_EQ(cam->start(), 0);
    while (cam->isStreaming())
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    cam->stop();
    return r;
}

size_t onCount(const Run& r) {
    return static_cast<size_t>(std::count_if(r.events.begin(), r.events.end(), [](const Event2D& e) { return e.polarity == 1; }));
}

} // namespace

TEST(ToolEffects, BiasesChangeTheEventCounts) {
    const auto base = stream("bars", [](DvsCamera&) {});
    const auto highOn = stream("bars", [](DvsCamera& c) { ASSERT_TRUE(c.getTool(TOOL_BIASES)->setIntParam("bias_diff_on", 80)); });
    const auto longRefr = stream("busy", [](DvsCamera& c) { ASSERT_TRUE(c.getTool(TOOL_BIASES)->setIntParam("bias_refr", 200)); }, 100000);
    const auto busy = stream("busy", [](DvsCamera&) {}, 100000);
    EXPECT_LT(onCount(highOn) * 2, onCount(base));
    EXPECT_LT(longRefr.events.size() * 2, busy.events.size());
    const auto quiet = stream("noise", [](DvsCamera& c) { ASSERT_TRUE(c.getTool(TOOL_BIASES)->setIntParam("bias_hpf", 90)); });
    const auto noisy = stream("noise", [](DvsCamera&) {});
    EXPECT_LT(quiet.events.size() * 10, noisy.events.size());
}

// (The ROI's parameters reaching the filter are NetCameras' case: a window set over the network
// is applied by the daemon's camera, which maps tools to filters as every camera does.)
TEST(ToolEffects, RateControlAntiFlickerAndTrailFilterActOnTheStream) {
    const auto base = stream("flicker", [](DvsCamera&) {});
    ASSERT_GT(base.events.size(), 1000000u);

    const auto erc = stream("flicker", [](DvsCamera& c) {
        auto t = c.getTool(TOOL_EVENT_RATE_CONTROL);
        ASSERT_TRUE(t->setIntParam("event_rate", 1000)); // 1 M events/s
        ASSERT_TRUE(t->setBoolParam("enable", true));
    });
    EXPECT_LE(erc.events.size(), 300u * 1000);
    EXPECT_GT(erc.events.size(), 300u * 1000 * 7 / 10); // quiet phases of the flicker stay under the cap

    const auto afk = stream("flicker", [](DvsCamera& c) {
        auto t = c.getTool(TOOL_ANTI_FLICKER);
        ASSERT_TRUE(t->setIntParam("high_frequency", 150));
        ASSERT_TRUE(t->setBoolParam("enable", true));
    });
    EXPECT_LT(afk.events.size() * 4, base.events.size());

    const auto trail = stream("flicker", [](DvsCamera& c) {
        auto t = c.getTool(TOOL_EVENT_TRAIL_FILTER);
        ASSERT_TRUE(t->setIntParam("threshold", 4000));
        ASSERT_TRUE(t->setBoolParam("enable", true));
    });
    EXPECT_LT(trail.events.size() * 3, base.events.size());
    EXPECT_GT(trail.events.size(), 0u);
}

TEST(ToolEffects, TriggerChannelEnablesGateTheEdges) {
    const auto both = stream("static", [](DvsCamera& c) {
        ASSERT_TRUE(c.getTool(TOOL_TRIGGER_IN)->setBoolParam("channel_0_enable", true));
        ASSERT_TRUE(c.getTool(TOOL_TRIGGER_IN)->setBoolParam("channel_1_enable", true));
    }, 1000000);
    // 10 Hz and 1 Hz square waves: 20 + 2 edges in a second (the edge at 0 included, 1 s excluded).
    EXPECT_EQ(both.triggers.size(), 22u);
    const auto one = stream("static", [](DvsCamera& c) {
        ASSERT_TRUE(c.getTool(TOOL_TRIGGER_IN)->setBoolParam("channel_1_enable", true));
    }, 1000000);
    ASSERT_EQ(one.triggers.size(), 2u);
    EXPECT_EQ(one.triggers[0].id, 1);
    EXPECT_EQ(one.triggers[0].polarity, 1);
    EXPECT_EQ(one.triggers[1].polarity, 0);
    EXPECT_EQ(one.triggers[1].timestamp, 500000u);
}
