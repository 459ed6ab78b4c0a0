// The simulated sensor and the tools' filters, offline and deterministic: every setting a panel
// can change must change the events, in the direction a user expects.

#include "camera/EventPipeline.h"
#include "sim/SimulatedSensor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

using namespace quorvel;
using namespace quorvel::detail;

namespace {

SensorConfig config(const std::string& scene, uint16_t w = 640, uint16_t h = 480, uint64_t seed = 7) {
    SensorConfig c;
    c.width = w;
    c.height = h;
    c.seed = seed;
    EXPECT_TRUE(scenePreset(scene, w, h, c.scene)) << scene;
    return c;
}

std::vector<Event2D> run(SimulatedSensor& s, uint32_t us) {
    std::vector<Event2D> out, all;
    for (uint32_t done = 0; done < us; done += 10000) {
        s.generate(std::min<uint32_t>(10000, us - done), out);
        all.insert(all.end(), out.begin(), out.end());
    }
    return all;
}

std::vector<Event2D> filtered(std::vector<Event2D> ev, const PipelineSettings& s, uint16_t w = 640, uint16_t h = 480) {
    EventPipeline p(w, h);
    p.configure(s);
    std::vector<EventTriggerIn> none;
    // In slices, as a camera feeds it, so per-pixel state carries across calls.
    std::vector<Event2D> out, part;
    size_t i = 0;
    while (i < ev.size()) {
        const uint64_t end = ev[i].timestamp / 2000 * 2000 + 2000;
        size_t j = i;
        while (j < ev.size() && ev[j].timestamp < end)
            ++j;
        part.assign(ev.begin() + static_cast<long>(i), ev.begin() + static_cast<long>(j));
        p.process(part, none);
        out.insert(out.end(), part.begin(), part.end());
        i = j;
    }
    return out;
}

size_t countIn(const std::vector<Event2D>& ev, const FlickerSpec& f) {
    return static_cast<size_t>(std::count_if(ev.begin(), ev.end(), [&](const Event2D& e) {
        return e.x >= f.x && e.x < f.x + f.width && e.y >= f.y && e.y < f.y + f.height;
    }));
}

} // namespace

TEST(SimulatedSensor, StreamIsOrderedInsideTheSensorAndRepeatableBySeed) {
    for (auto [w, h] : {std::pair<uint16_t, uint16_t>{640, 480}, {1280, 720}}) {
        SimulatedSensor a(config("default", w, h)), b(config("default", w, h));
        const auto ea = run(a, 200000), eb = run(b, 200000);
        ASSERT_GT(ea.size(), 100000u) << w;
        EXPECT_EQ(ea, eb);
        EXPECT_TRUE(std::is_sorted(ea.begin(), ea.end(),
                                   [](const Event2D& x, const Event2D& y) { return x.timestamp < y.timestamp; }));
        EXPECT_LT(ea.back().timestamp, 200000u);
        size_t on = 0;
        for (const auto& e : ea) {
            ASSERT_LT(e.x, w);
            ASSERT_LT(e.y, h);
            ASSERT_LE(e.polarity, 1);
            on += e.polarity;
        }
        // Moving bars darken and brighten alike: both polarities are well represented.
        EXPECT_GT(on, ea.size() / 4);
        EXPECT_LT(on, ea.size() * 3 / 4);
        // Timestamps are genuinely microsecond-resolved, not quantised to the 250 µs knots.
        std::map<uint64_t, int> residues;
        for (size_t i = 0; i < ea.size(); i += 97)
            ++residues[ea[i].timestamp % 250];
        EXPECT_GT(residues.size(), 200u);
    }
    SimulatedSensor c(config("default", 640, 480, 8));
    EXPECT_NE(run(c, 200000), run(*std::make_unique<SimulatedSensor>(config("default")), 200000));
}

TEST(SimulatedSensor, ContrastThresholdBiasesChangeTheirPolarityCounts) {
    // One bright bar sweeping the sensor several times: each pass makes ON events on its leading
    // edge and OFF events on its trailing edge.
    auto counts = [](const BiasSettings& b) {
        SensorConfig c = config("static");
        c.scene.backgroundRateHz = 0;
        c.scene.bars = {{true, 2000, 60, 1.0f, 3, 0}};
        SimulatedSensor s(c);
        s.setBiases(b);
        s.reset(0);
        std::pair<size_t, size_t> onOff{0, 0};
        for (const auto& e : run(s, 1000000))
            (e.polarity ? onOff.first : onOff.second)++;
        return onOff;
    };
    const auto base = counts({});
    const auto highOn = counts({60, 0, 0, 0, 0});
    const auto lowOff = counts({0, -30, 0, 0, 0});
    ASSERT_GT(base.first, 100000u);
    // A higher ON threshold (e times larger) costs most ON events; OFF events change far less.
    EXPECT_LT(highOn.first * 2, base.first);
    EXPECT_NEAR(static_cast<double>(highOn.second), static_cast<double>(base.second), base.second * 0.3);
    EXPECT_GT(lowOff.second, base.second * 3 / 2);
    EXPECT_NEAR(static_cast<double>(lowOff.first), static_cast<double>(base.first), base.first * 0.3);
}

TEST(SimulatedSensor, BackgroundActivityFollowsBandwidthAndHighPassBiases) {
    auto noise = [](int fo, int hpf) {
        SimulatedSensor s(config("static"));
        s.setBiases({0, 0, fo, hpf, 0});
        s.reset(0);
        return run(s, 1000000).size();
    };
    const size_t base = noise(0, 0);
    // 640 x 480 pixels at 0.1 Hz: about 30700 events a second.
    EXPECT_NEAR(static_cast<double>(base), 30720.0, 30720.0 * 0.05);
    EXPECT_GT(noise(40, 0), base * 4);
    EXPECT_LT(noise(0, 60), base / 5);
}

TEST(SimulatedSensor, FlickerFollowsItsFrequencyAndTriggersAreSquareWaves) {
    SensorConfig c = config("flicker");
    c.scene.bars.clear();
    c.scene.backgroundRateHz = 0;
    SimulatedSensor s(c);
    const auto ev = run(s, 200000);
    // One pixel under the light: ON bursts repeat at the light's period (10 ms at 100 Hz).
    const FlickerSpec& f = c.scene.flicker;
    const uint16_t px = static_cast<uint16_t>(f.x + 3), py = static_cast<uint16_t>(f.y + 3);
    std::vector<uint64_t> onStarts;
    int lastPol = -1;
    for (const auto& e : ev)
        if (e.x == px && e.y == py) {
            if (e.polarity == 1 && lastPol != 1)
                onStarts.push_back(e.timestamp);
            lastPol = e.polarity;
        }
    ASSERT_GT(onStarts.size(), 10u);
    for (size_t i = 2; i < onStarts.size(); ++i)
        EXPECT_NEAR(static_cast<double>(onStarts[i] - onStarts[i - 1]), 10000.0, 300.0);
    EXPECT_EQ(countIn(ev, f), ev.size());

    std::vector<EventTriggerIn> tr;
    s.triggers(0, 1000000, tr);
    // Channel 0 at 10 Hz and channel 1 at 1 Hz: 20 + 2 edges a second, alternating polarity.
    ASSERT_EQ(tr.size(), 22u);
    std::vector<int> pol0;
    for (const auto& t : tr)
        if (t.id == 0)
            pol0.push_back(t.polarity);
    EXPECT_EQ(pol0.size(), 20u);
    for (size_t i = 0; i < pol0.size(); ++i)
        EXPECT_EQ(pol0[i], i % 2 == 0 ? 1 : 0);
}

TEST(EventFilters, RoiKeepsExactlyTheWindow) {
    SimulatedSensor s(config("default"));
    const auto ev = run(s, 100000);
    PipelineSettings p;
    p.roi = true;
    p.roiX = 100;
    p.roiY = 50;
    p.roiWidth = 200;
    p.roiHeight = 120;
    const auto out = filtered(ev, p);
    std::vector<Event2D> expected;
    for (const auto& e : ev)
        if (e.x >= 100 && e.x < 300 && e.y >= 50 && e.y < 170)
            expected.push_back(e);
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(out, expected);
}

TEST(EventFilters, RateControllerCapsEveryMillisecondEvenly) {
    SimulatedSensor s(config("busy"));
    const auto ev = run(s, 100000);
    PipelineSettings p;
    p.rateControl = true;
    p.rateKevPerS = 5000; // 5 M events/s: 5000 per millisecond
    const auto out = filtered(ev, p);
    ASSERT_GT(ev.size(), out.size() * 3);
    std::map<uint64_t, size_t> perMs;
    for (const auto& e : out)
        ++perMs[e.timestamp / 1000];
    for (const auto& [ms, n] : perMs)
        EXPECT_LE(n, 5000u) << ms;
    EXPECT_GT(out.size(), 100u * 5000 * 95 / 100);
    // Kept evenly: the left and right halves of the sensor lose the same share.
    auto left = [](const std::vector<Event2D>& v) {
        return static_cast<double>(std::count_if(v.begin(), v.end(), [](const Event2D& e) { return e.x < 320; }));
    };
    EXPECT_NEAR(left(out) / out.size(), left(ev) / ev.size(), 0.02);
    // A cap above the scene's rate lets everything through.
    p.rateKevPerS = 200000;
    EXPECT_EQ(filtered(ev, p).size(), ev.size());
}

TEST(EventFilters, AntiFlickerRemovesTheBandAndOnlyTheBand) {
    SimulatedSensor s(config("flicker"));
    const auto ev = run(s, 300000);
    const FlickerSpec f = s.scene().flicker; // 100 Hz light
    const size_t inside = countIn(ev, f), outside = ev.size() - inside;
    ASSERT_GT(inside, 100000u);
    PipelineSettings p;
    p.antiFlicker = true;
    p.flickerLowHz = 50;
    p.flickerHighHz = 200;
    const auto stopped = filtered(ev, p);
    const size_t stoppedInside = countIn(stopped, f);
    EXPECT_LT(stoppedInside, inside / 10) << inside << " -> " << stoppedInside;
    // The moving bar's events elsewhere survive.
    EXPECT_GT(stopped.size() - stoppedInside, outside * 95 / 100);
    // A band that misses 100 Hz removes (almost) nothing.
    p.flickerLowHz = 300;
    p.flickerHighHz = 520;
    EXPECT_GT(filtered(ev, p).size(), ev.size() * 98 / 100);
    // Band pass keeps the flicker and drops the rest.
    p.flickerLowHz = 50;
    p.flickerHighHz = 200;
    p.antiFlickerBandPass = true;
    const auto passed = filtered(ev, p);
    EXPECT_GT(countIn(passed, f), inside * 85 / 100);
    EXPECT_LT(passed.size() - countIn(passed, f), outside / 20);
    // A shorter duty cycle filters less of each burst.
    p.antiFlickerBandPass = false;
    p.flickerDutyPercent = 10.0f;
    const size_t shortDuty = countIn(filtered(ev, p), f);
    EXPECT_GT(shortDuty, stoppedInside * 3);
    EXPECT_LT(shortDuty, inside);
}

TEST(EventFilters, TrailFilterThinsBurstsAndStcDropsIsolatedNoise) {
    SensorConfig c = config("bars");
    c.scene.backgroundRateHz = 0.5f;
    SimulatedSensor s(c);
    const auto ev = run(s, 300000);
    PipelineSettings p;
    p.trailFilter = true;
    p.trailThresholdUs = 20000;
    p.trailMode = TrailMode::Trail;
    const auto trail = filtered(ev, p);
    // An edge makes each pixel fire a burst of about contrast / threshold = 4-5 events; the trail
    // filter keeps one per burst.
    EXPECT_LT(trail.size(), ev.size() / 2);
    // No pixel keeps two events of one polarity within the threshold.
    std::map<uint32_t, Event2D> last;
    for (const auto& e : trail) {
        const uint32_t key = e.y * 640u + e.x;
        auto it = last.find(key);
        if (it != last.end() && it->second.polarity == e.polarity) {
            ASSERT_GE(e.timestamp - it->second.timestamp, 20000u);
        }
        last[key] = e;
    }
    // STC keeps bursts but not lone noise events: static pixels far from any bar lose everything.
    p.trailMode = TrailMode::StcKeepTrail;
    const auto stc = filtered(ev, p);
    auto noiseOnly = [](const std::vector<Event2D>& v) {
        // Both bars enter from the top-left corner and travel less than 100 px in 300 ms: the
        // lower right quarter sees only noise.
        return std::count_if(v.begin(), v.end(), [](const Event2D& e) { return e.x > 400 && e.y > 200; });
    };
    ASSERT_GT(noiseOnly(ev), 50);
    EXPECT_LT(noiseOnly(stc), noiseOnly(ev) / 10);
    EXPECT_GT(stc.size(), trail.size());
    p.trailMode = TrailMode::StcCutTrail;
    EXPECT_LT(filtered(ev, p).size(), stc.size());
}
