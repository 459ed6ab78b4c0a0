// The virtual fusion camera's APS stream and fusion recording, through the public camera API.
#include "quorvel/ApsFileReader.h"
#include "quorvel/DvsCameraManager.h"
#include "quorvel/DvsFileReader.h"
#include "quorvel/FusionCamera.h"

#include "SyntheticStream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <mutex>
#include <thread>

using namespace quorvel;
using namespace quorvel::test;
using namespace std::chrono_literals;

namespace {

struct Seen {
    std::mutex m;
    std::vector<uint64_t> times;
    std::vector<double> brightness;
    uint64_t lastEventUs = 0;
    bool frameAheadOfEvents = false;
};

double meanGrey(const ApsFrame& f) {
    uint64_t sum = 0;
    for (uint64_t i = 0; i < f.getDataSize(); i += 3 * 97)
        sum += f.data()[i];
    return static_cast<double>(sum) / static_cast<double>((f.getDataSize() + 3 * 97 - 1) / (3 * 97));
}

// Waits until `pred` holds (checked under the seen mutex) or `timeout` passes; the camera runs in
// real time, and a slow or busy machine (or a sanitizer build) needs longer.
template <typename Pred>
bool waitUntil(Seen& seen, Pred pred, std::chrono::milliseconds timeout = 20s) {
    const auto end = std::chrono::steady_clock::now() + timeout;
    while (std::chrono::steady_clock::now() < end) {
        {
            std::lock_guard l(seen.m);
            if (pred())
                return true;
        }
        std::this_thread::sleep_for(20ms);
    }
    return false;
}

std::shared_ptr<FusionCamera> openFusion() {
    DvsCameraManager m;
    for (const auto& d : m.getCameraDescs())
        if (d.product == "Tarnix")
            return m.openFusionCamera(d.serial);
    return nullptr;
}

} // namespace

TEST(FusionCameraAps, FramesFollowTheEventClockAndTheApsTool) {
    unsetenv("QUORVEL_VIRTUAL_CAMERAS");
    Seen seen; // outlives the camera, whose threads call into it until it closes
    auto cam = openFusion();
    ASSERT_TRUE(cam);
    cam->addEventsCallback([&](const Event2D*, const Event2D* e) {
        std::lock_guard l(seen.m);
        seen.lastEventUs = std::max(seen.lastEventUs, (e - 1)->timestamp);
    });
    const int id = cam->addApsFrameCallback([&](const ApsFrame& f) {
        std::lock_guard l(seen.m);
        EXPECT_EQ(f.getWidth(), cam->getCalibrationParam().apsWidth);
        if (f.getTimestamp() > seen.lastEventUs)
            seen.frameAheadOfEvents = true;
        seen.times.push_back(f.getTimestamp());
        seen.brightness.push_back(meanGrey(f));
    });
    ASSERT_GE(id, 0);

    ASSERT_EQ(cam->start(STREAM_DVS), 0);
    std::this_thread::sleep_for(200ms);
    EXPECT_FALSE(cam->isApsStreaming());
    {
        std::lock_guard l(seen.m);
        EXPECT_TRUE(seen.times.empty()) << "frames without the APS stream";
    }
    ASSERT_EQ(cam->start(STREAM_FUSION), 0);
    EXPECT_TRUE(cam->isApsStreaming());
    ASSERT_TRUE(waitUntil(seen, [&] { return seen.times.size() >= 8; }));
    {
        std::lock_guard l(seen.m);
        for (size_t i = 1; i < seen.times.size(); ++i)
            EXPECT_EQ(seen.times[i] - seen.times[i - 1], 33'333u) << i;
        EXPECT_FALSE(seen.frameAheadOfEvents) << "a frame was taken before the events reached its time";
    }
    ApsFrame latest;
    ASSERT_TRUE(cam->getApsFrame(latest));
    EXPECT_EQ(latest.getWidth(), cam->getCalibrationParam().apsWidth);
    EXPECT_EQ(latest.getHeight(), cam->getCalibrationParam().apsHeight);

    // The tool acts on the frames: 10 fps, then a long manual exposure brightens them.
    auto aps = cam->getTool(TOOL_APS);
    ASSERT_TRUE(aps);
    size_t mark;
    double before;
    {
        std::lock_guard l(seen.m);
        mark = seen.times.size();
        before = seen.brightness.back();
    }
    ASSERT_TRUE(aps->setIntParam("frame_rate", 10));
    ASSERT_TRUE(aps->setBoolParam("auto_exposure", false));
    ASSERT_TRUE(aps->setIntParam("exposure_us", 30000));
    ASSERT_TRUE(waitUntil(seen, [&] { return seen.times.size() >= mark + 4; }));
    {
        std::lock_guard l(seen.m);
        const size_t n = seen.times.size();
        EXPECT_EQ(seen.times[n - 1] - seen.times[n - 2], 100'000u);
        EXPECT_GT(seen.brightness.back(), before + 20);
    }

    // Stopping the APS stream leaves the events running.
    EXPECT_TRUE(cam->stop(STREAM_APS));
    EXPECT_FALSE(cam->isApsStreaming());
    EXPECT_TRUE(cam->isStreaming());
    EXPECT_TRUE(cam->stop(STREAM_FUSION));
    EXPECT_TRUE(cam->removeApsFrameCallback(id));
    aps->setIntParam("frame_rate", 30);
    aps->setBoolParam("auto_exposure", true);
}

TEST(FusionCameraAps, RecordsAFusionRecording) {
    unsetenv("QUORVEL_VIRTUAL_CAMERAS");
    TempDir dir;
    setenv("XDG_CACHE_HOME", dir.path.c_str(), 1);
    Seen seen;
    auto cam = openFusion();
    ASSERT_TRUE(cam);
    cam->addApsFrameCallback([&](const ApsFrame& f) {
        std::lock_guard l(seen.m);
        seen.times.push_back(f.getTimestamp());
    });
    cam->addEventsCallback([&](const Event2D*, const Event2D* e) {
        std::lock_guard l(seen.m);
        seen.lastEventUs = std::max(seen.lastEventUs, (e - 1)->timestamp);
    });
    ASSERT_EQ(cam->start(STREAM_FUSION), 0);
    ASSERT_TRUE(waitUntil(seen, [&] { return !seen.times.empty(); }));
    ASSERT_TRUE(cam->startRecording(dir.file("rec.raw"))) << cam->lastError();
    EXPECT_FALSE(std::filesystem::exists(dir.file("rec.mp4")));
    uint64_t startedAt;
    {
        std::lock_guard l(seen.m);
        startedAt = seen.lastEventUs;
    }
    // Twelve frames taken after the recording started (the APS thread may run a little behind).
    ASSERT_TRUE(waitUntil(seen, [&] {
        return std::count_if(seen.times.begin(), seen.times.end(), [&](uint64_t t) { return t > startedAt; }) >= 12;
    }));
    ASSERT_TRUE(cam->stopRecording()) << cam->lastError();
    cam->stop(STREAM_FUSION);

    auto dvs = DvsFileReader::createFileReader(dir.file("rec.raw"));
    auto aps = ApsFileReader::createFileReader(dir.file("rec.mp4"));
    ASSERT_TRUE(dvs) << DvsFileReader::lastCreateError();
    ASSERT_TRUE(aps) << ApsFileReader::lastCreateError();
    uint64_t first = 0, last = 0;
    ASSERT_TRUE(dvs->getStartTimestamp(first) && dvs->getEndTimestamp(last));
    EXPECT_GE(aps->getFrameCount(), 10u);
    // The frames lie inside the recorded event stream, on its clock.
    EXPECT_GE(aps->getApsTimeOffset() + 40'000, first);
    EXPECT_LE(aps->getApsTimeOffset() + aps->getLastTimestamp(), last + 40'000);
    ApsFrame f;
    ASSERT_TRUE(aps->readFrame(f));
    ASSERT_TRUE(aps->readFrame(f));
    EXPECT_EQ(f.getTimestamp(), 33'333u);
    CalibratorParameters cal;
    ASSERT_TRUE(jsonFileToParam(dir.file("rec.json"), cal));
    EXPECT_EQ(cal, cam->getCalibrationParam());

    // Without the APS stream a recording is events only.
    ASSERT_EQ(cam->start(STREAM_DVS), 0);
    ASSERT_TRUE(cam->startRecording(dir.file("events.raw")));
    std::this_thread::sleep_for(100ms);
    ASSERT_TRUE(cam->stopRecording());
    cam->stop(STREAM_DVS);
    EXPECT_TRUE(std::filesystem::exists(dir.file("events.raw")));
    EXPECT_FALSE(std::filesystem::exists(dir.file("events.mp4")));
}
