#include "quorvel/ApsFileReader.h"
#include "quorvel/Calibrator.h"
#include "quorvel/DvsFileReader.h"
#include "quorvel/FusionSimulation.h"

#include "SyntheticStream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>

using namespace quorvel;
using namespace quorvel::test;

namespace {

class FusionSimulation : public ::testing::Test {
protected:
    void SetUp() override { setenv("XDG_CACHE_HOME", dir.path.c_str(), 1); }
    TempDir dir;
};

} // namespace

TEST_F(FusionSimulation, WritesThreeFilesThatReadBack) {
    FusionSimulationOptions o;
    o.width = 320;
    o.height = 240;
    o.scene = "bars";
    o.startUs = 5'000'000;
    o.durationUs = 500'000;
    FusionSimulationResult r;
    std::string err;
    ASSERT_TRUE(simulateRecording(dir.file("sim"), o, r, err)) << err;
    EXPECT_EQ(r.frames, 15u); // 0 .. 466667 us at 30 fps
    EXPECT_GT(r.events, 1000u);
    EXPECT_EQ(r.apsWidth, 400);
    EXPECT_EQ(r.apsHeight, 300);

    // Frames at 30 fps on the event clock through the stored offset.
    auto aps = ApsFileReader::createFileReader(dir.file("sim.mp4"));
    ASSERT_TRUE(aps);
    EXPECT_EQ(aps->getApsTimeOffset(), 5'000'000u);
    EXPECT_EQ(aps->getLastTimestamp(), 466'667u);
    CalibratorParameters cal;
    ASSERT_TRUE(jsonFileToParam(dir.file("sim.json"), cal));
    EXPECT_EQ(cal, r.calibration);

    // Events only.
    o.fusion = false;
    ASSERT_TRUE(simulateRecording(dir.file("dvs.raw"), o, r, err)) << err;
    EXPECT_TRUE(std::filesystem::exists(dir.file("dvs.raw")));
    EXPECT_FALSE(std::filesystem::exists(dir.file("dvs.mp4")));

    // Bad requests and cancellation leave nothing.
    o.fusion = true;
    o.scene = "nope";
    EXPECT_FALSE(simulateRecording(dir.file("bad"), o, r, err));
    EXPECT_NE(err.find("unknown scene"), std::string::npos);
    o.scene = "bars";
    o.progress = [](double p) { return p < 0.3; };
    EXPECT_FALSE(simulateRecording(dir.file("cancel"), o, r, err));
    for (const auto& e : std::filesystem::directory_iterator(dir.path)) {
        const std::string name = e.path().filename().string();
        EXPECT_TRUE(name.rfind("bad", 0) == std::string::npos && name.rfind("cancel", 0) == std::string::npos) << name;
    }
}

TEST_F(FusionSimulation, EdgesInFramesAndEventsCoincideAfterCalibration) {
    FusionSimulationOptions o;
    o.width = 320;
    o.height = 240;
    o.scene = "bars"; // one vertical bar moving along x, one horizontal bar along y
    o.durationUs = 700'000;
    FusionSimulationResult r;
    std::string err;
    ASSERT_TRUE(simulateRecording(dir.file("sim"), o, r, err)) << err;
    auto aps = ApsFileReader::createFileReader(dir.file("sim.mp4"));
    auto dvs = DvsFileReader::createFileReader(dir.file("sim.raw"));
    ASSERT_TRUE(aps && dvs);
    Calibrator cal;
    CalibratorParameters p;
    ASSERT_TRUE(jsonFileToParam(dir.file("sim.json"), p));
    ASSERT_TRUE(cal.loadCalibrationParam(p));

    int checked = 0;
    for (int k : {6, 12, 18}) {
        SCOPED_TRACE(k);
        ApsFrame f;
        const uint64_t t = static_cast<uint64_t>(std::llround(k * 1e6 / 30.0));
        ASSERT_TRUE(aps->readFrameAt(t, f));
        ASSERT_EQ(f.getTimestamp(), t);
        ASSERT_TRUE(cal.mapApsToDvs(f));
        ASSERT_EQ(f.getWidth(), 320);
        // Horizontal gradient per column, summed over the rows (the vertical bar's edges).
        std::vector<double> grad(320, 0.0);
        for (int y = 0; y < 240; ++y)
            for (int x = 0; x + 1 < 320; ++x)
                grad[x] += std::abs(int(f.data()[(y * 320 + x + 1) * 3]) - int(f.data()[(y * 320 + x) * 3]));
        // The calibration leaves the last DVS columns without APS source (black): keep the
        // border out of the comparison, and compare against a typical column.
        std::vector<double> interior(grad.begin() + 2, grad.begin() + 300);
        std::nth_element(interior.begin(), interior.begin() + interior.size() / 2, interior.end());
        const double typical = interior[interior.size() / 2];
        // Events within 2 ms of the frame, counted per column.
        auto ev = dvs->getEventsInRange(t - std::min<uint64_t>(t, 2000), 4000);
        ASSERT_TRUE(ev);
        std::vector<int> perCol(320, 0);
        for (const auto& e : *ev)
            ++perCol[e.x];
        // Columns crowded with events (whole columns firing at once): the vertical bar's edges.
        int edges = 0;
        for (int x = 0; x < 300; ++x) {
            if (perCol[x] < 120) // a horizontal edge adds at most a few events to a column
                continue;
            ++edges;
            double near = 0;
            for (int d = -2; d <= 2; ++d)
                if (x + d >= 0 && x + d < 319)
                    near = std::max(near, grad[x + d]);
            EXPECT_GE(near, 4 * typical) << "events at column " << x << " but no edge in the frame there";
        }
        checked += edges;
    }
    EXPECT_GT(checked, 0) << "no edge seen: the scene or the thresholds changed";
}
