#include "quorvel/ApsFileReader.h"
#include "quorvel/DvsApsFusionProccessor.h"
#include "quorvel/DvsFileReader.h"
#include "quorvel/FusionRecordingWriter.h"

#include "SyntheticStream.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

using namespace quorvel;
using namespace quorvel::test;

namespace {

struct Written {
    std::vector<Event2D> events;
    std::vector<uint64_t> frameTimes;
    CalibratorParameters calibration;
};

// 320x240 events for 0.5 s from 1 000 000 us, APS frames 400x300 about every 33 ms from
// 1 012 345 us (the APS sensor starts a little after the event stream, as on a real camera).
Written writeFusion(const std::string& base) {
    Written w;
    StreamParams p;
    p.width = 320;
    p.height = 240;
    p.startUs = 1'000'000;
    p.durationUs = 500'000;
    p.denseRate = 200e3;
    p.sparseRate = 20e3;
    p.periodUs = 100'000;
    std::vector<EventTriggerIn> triggers;
    generateAll(p, w.events, triggers);

    w.calibration.affine = {1.25, 0.01, 4.5, -0.01, 1.25, 2.25};
    w.calibration.dvsWidth = 320;
    w.calibration.dvsHeight = 240;
    w.calibration.apsWidth = 400;
    w.calibration.apsHeight = 300;
    FusionRecordingWriter::Options o;
    o.raw.width = 320;
    o.raw.height = 240;
    o.raw.serial = "TARNIX01";
    o.calibration = w.calibration;
    FusionRecordingWriter rec;
    EXPECT_TRUE(rec.open(base + ".raw", o)) << rec.lastError();
    size_t next = 0;
    uint64_t frameTs = 1'012'345;
    int k = 0;
    // Events and frames interleaved by time, the way a camera delivers them.
    while (next < w.events.size() || frameTs < 1'500'000) {
        const size_t upto = std::min(w.events.size(), next + 5000);
        if (next < upto) {
            EXPECT_TRUE(rec.writeEvents(w.events.data() + next, w.events.data() + upto));
            next = upto;
        }
        while (frameTs < 1'500'000 && (next == w.events.size() || frameTs <= w.events[next - 1].timestamp)) {
            ApsFrame f(400, 300, frameTs, static_cast<uint64_t>(k));
            for (uint64_t i = 0; i < f.getDataSize(); ++i)
                f.data()[i] = static_cast<unsigned char>((i / 3 % 400 + k * 7) & 0xFF);
            EXPECT_TRUE(rec.writeFrame(f)) << rec.lastError();
            w.frameTimes.push_back(frameTs);
            frameTs += 33'333 + (k % 2) * 200;
            ++k;
        }
    }
    EXPECT_FALSE(std::filesystem::exists(base + ".mp4")) << "visible before close";
    EXPECT_TRUE(rec.close()) << rec.lastError();
    return w;
}

class FusionRecording : public ::testing::Test {
protected:
    void SetUp() override { setenv("XDG_CACHE_HOME", dir.path.c_str(), 1); }
    TempDir dir;
};

} // namespace

TEST_F(FusionRecording, ReadsBackWithFrameTimesOffsetAndCalibration) {
    const std::string base = dir.file("fusion");
    const Written w = writeFusion(base);

    // Events.
    auto dvs = DvsFileReader::createFileReader(base + ".raw");
    ASSERT_TRUE(dvs) << DvsFileReader::lastCreateError();
    auto all = dvs->getEventsInRange(0, UINT64_MAX / 2);
    ASSERT_TRUE(all);
    EXPECT_EQ(*all, w.events);

    // Frames: times on the DVS clock through the stored offset.
    auto aps = ApsFileReader::createFileReader(base + ".mp4");
    ASSERT_TRUE(aps) << ApsFileReader::lastCreateError();
    EXPECT_EQ(aps->getWidth(), 400);
    EXPECT_EQ(aps->getHeight(), 300);
    EXPECT_EQ(aps->getApsTimeOffset(), w.frameTimes.front());
    EXPECT_EQ(aps->getFrameCount(), w.frameTimes.size());
    ApsFrame f;
    for (uint64_t t : w.frameTimes) {
        ASSERT_TRUE(aps->readFrame(f));
        EXPECT_EQ(f.getTimestamp() + aps->getApsTimeOffset(), t);
    }
    EXPECT_FALSE(aps->readFrame(f));

    // Calibration.
    CalibratorParameters cal;
    ASSERT_TRUE(jsonFileToParam(base + ".json", cal));
    EXPECT_EQ(cal, w.calibration);
}

TEST_F(FusionRecording, ProcessorPairsTheRecordedStreams) {
    const std::string base = dir.file("fusion");
    const Written w = writeFusion(base);
    auto dvs = DvsFileReader::createFileReader(base + ".raw");
    auto aps = ApsFileReader::createFileReader(base + ".mp4");
    ASSERT_TRUE(dvs && aps);

    // Feed both files in 10 ms steps as a live camera would, frames with their DVS time.
    DvsApsFusionProccessor proc;
    std::vector<std::pair<uint64_t, size_t>> got;
    proc.addFusionDataCallback([&](ApsFrame& fr, Event2D* b, Event2D* e) {
        got.emplace_back(fr.getTimestamp(), static_cast<size_t>(e - b));
    });
    ApsFrame f;
    bool haveFrame = aps->readFrame(f);
    for (uint64_t t = 1'000'000; t < 1'500'000; t += 10'000) {
        auto batch = dvs->getEventsInRange(t, 10'000);
        if (batch && !batch->empty())
            proc.addDvsData(batch->data(), batch->data() + batch->size());
        while (haveFrame && f.getTimestamp() + aps->getApsTimeOffset() < t + 10'000) {
            ApsFrame onDvsClock = f;
            onDvsClock.setTimestamp(f.getTimestamp() + aps->getApsTimeOffset());
            proc.addApsData(std::move(onDvsClock));
            haveFrame = aps->readFrame(f);
        }
        proc.fusionData();
    }
    ASSERT_GE(got.size(), w.frameTimes.size() - 1);
    for (size_t i = 0; i + 1 < w.frameTimes.size() && i < got.size(); ++i) {
        EXPECT_EQ(got[i].first, w.frameTimes[i]);
        const size_t want = static_cast<size_t>(
            std::count_if(w.events.begin(), w.events.end(), [&](const Event2D& e) {
                return e.timestamp >= w.frameTimes[i] && e.timestamp < w.frameTimes[i + 1];
            }));
        EXPECT_EQ(got[i].second, want) << "frame " << i;
    }
}

TEST_F(FusionRecording, AbandonedOrFailedRecordingsLeaveNoFiles) {
    const std::string base = dir.file("rec");
    FusionRecordingWriter::Options o;
    o.raw.width = 64;
    o.raw.height = 48;
    o.calibration.dvsWidth = 64;
    o.calibration.dvsHeight = 48;
    {
        FusionRecordingWriter rec;
        ASSERT_TRUE(rec.open(base, o));
        EXPECT_EQ(rec.mp4Path(), base + ".mp4");
        std::vector<Event2D> ev = {{1, 1, 1, 100}, {2, 2, 0, 200}};
        ASSERT_TRUE(rec.writeEvents(ev));
        ASSERT_TRUE(rec.writeFrame(ApsFrame(64, 48, 150)));
        EXPECT_FALSE(rec.writeFrame(ApsFrame(64, 48, 150))); // same time: refused, recording goes on
        EXPECT_TRUE(rec.isOpen());
        // Destroyed without close().
    }
    for (const auto& e : std::filesystem::directory_iterator(dir.path))
        EXPECT_EQ(e.path().filename().string().rfind("rec", 0), std::string::npos) << e.path();

    // No frame was recorded: close fails and nothing is left either.
    FusionRecordingWriter empty;
    ASSERT_TRUE(empty.open(base + ".json", o));
    std::vector<Event2D> ev = {{1, 1, 1, 100}};
    ASSERT_TRUE(empty.writeEvents(ev));
    EXPECT_FALSE(empty.close());
    EXPECT_FALSE(std::filesystem::exists(base + ".raw"));
    EXPECT_FALSE(std::filesystem::exists(base + ".json"));

    FusionRecordingWriter nowhere;
    EXPECT_FALSE(nowhere.open(dir.file("missing/dir/rec"), o));
    EXPECT_FALSE(nowhere.lastError().empty());
    EXPECT_EQ(FusionRecordingWriter::basePath("/a.b/c.mp4"), "/a.b/c");
    EXPECT_EQ(FusionRecordingWriter::basePath("/a.b/c"), "/a.b/c");
}
