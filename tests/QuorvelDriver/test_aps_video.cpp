#include "quorvel/ApsFileReader.h"
#include "quorvel/ApsVideoWriter.h"

#include "SyntheticStream.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace quorvel;
using namespace quorvel::test;

namespace {

// 600 bytes a row: not a multiple of any vector size, so a converter that overshoots the last row
// shows under the address sanitizer.
constexpr int kW = 200;
constexpr int kH = 96;
constexpr uint64_t kDvsStart = 5'000'000;

// Irregular capture times, as a real sensor delivers them: nominal 30 fps with jitter and one
// dropped frame.
std::vector<uint64_t> captureTimes(int n) {
    std::vector<uint64_t> t;
    uint64_t ts = kDvsStart;
    for (int i = 0; i < n; ++i) {
        t.push_back(ts);
        ts += 33'333 + (i % 3) * 517 + (i == 20 ? 33'333 : 0);
    }
    return t;
}

// Frame i is a flat colour that identifies it (blue = 8*i, green 200 - 4*i, red 60) so a decoded
// frame can be matched to the frame that was written.
ApsFrame makeFrame(int i, uint64_t ts) {
    ApsFrame f(kW, kH, ts, static_cast<uint64_t>(i));
    for (int p = 0; p < kW * kH; ++p) {
        f.data()[p * 3 + 0] = static_cast<unsigned char>(8 * i % 256);
        f.data()[p * 3 + 1] = static_cast<unsigned char>(200 - 4 * i);
        f.data()[p * 3 + 2] = 60;
    }
    return f;
}

int colourIndex(const ApsFrame& f) {
    const unsigned char* c = f.data() + ((kH / 2) * kW + kW / 2) * 3;
    return (c[0] + 4) / 8;
}

void writeVideo(const std::string& path, const std::vector<uint64_t>& times) {
    ApsVideoWriter w;
    ASSERT_TRUE(w.open(path));
    for (size_t i = 0; i < times.size(); ++i)
        ASSERT_TRUE(w.writeFrame(makeFrame(static_cast<int>(i), times[i]))) << w.lastError();
    ASSERT_TRUE(w.close()) << w.lastError();
    EXPECT_EQ(w.framesWritten(), times.size());
}

} // namespace

TEST(ApsVideo, FramesTimesOffsetAndPixelsReadBack) {
    TempDir dir;
    const auto times = captureTimes(31);
    writeVideo(dir.file("rec.mp4"), times);

    auto r = ApsFileReader::createFileReader(dir.file("rec.mp4"));
    ASSERT_TRUE(r) << ApsFileReader::lastCreateError();
    EXPECT_EQ(r->getWidth(), kW);
    EXPECT_EQ(r->getHeight(), kH);
    EXPECT_TRUE(r->hasApsTimeOffset());
    EXPECT_EQ(r->getApsTimeOffset(), kDvsStart);
    EXPECT_EQ(r->getFrameCount(), times.size());
    EXPECT_EQ(r->getLastTimestamp(), times.back() - kDvsStart);

    ApsFrame f;
    for (size_t i = 0; i < times.size(); ++i) {
        ASSERT_TRUE(r->readFrame(f)) << "frame " << i << ": " << r->lastError();
        EXPECT_EQ(f.getTimestamp() + r->getApsTimeOffset(), times[i]) << "frame " << i;
        EXPECT_EQ(f.getSequence(), i);
        ASSERT_EQ(f.getWidth(), kW);
        const unsigned char* c = f.data() + ((kH / 2) * kW + kW / 2) * 3;
        EXPECT_NEAR(c[0], 8 * i % 256, 4) << "frame " << i;
        EXPECT_NEAR(c[1], 200 - 4 * i, 4);
        EXPECT_NEAR(c[2], 60, 4);
    }
    EXPECT_FALSE(r->readFrame(f));
    // After the end, rewinding starts over with the first frame.
    ASSERT_TRUE(r->rewind());
    ASSERT_TRUE(r->readFrame(f));
    EXPECT_EQ(f.getTimestamp(), 0u);
    EXPECT_EQ(colourIndex(f), 0);
}

TEST(ApsVideo, SeekLandsOnTheFrameShownAtThatTime) {
    TempDir dir;
    const auto times = captureTimes(70); // beyond two keyframe intervals
    writeVideo(dir.file("rec.mp4"), times);
    auto r = ApsFileReader::createFileReader(dir.file("rec.mp4"));
    ASSERT_TRUE(r);

    // The frame shown at t is the last one captured at or before t.
    auto shownAt = [&](uint64_t relUs) {
        size_t k = 0;
        for (size_t i = 0; i < times.size(); ++i)
            if (times[i] - kDvsStart <= relUs)
                k = i;
        return k;
    };
    const std::vector<uint64_t> targets = {
        times[45] - kDvsStart,      // exactly on a frame
        times[45] - kDvsStart - 1,  // just before it
        times[12] - kDvsStart + 10, // just after, backwards jump
        times[30] - kDvsStart,      // on a keyframe
        times[29] - kDvsStart + 1,  // just after the frame before a keyframe
        times[21] - kDvsStart + 40'000, // inside the dropped-frame gap
        0,
        times.back() - kDvsStart + 1'000'000, // after the end: the last frame
        times[69] - kDvsStart,
    };
    ApsFrame f;
    for (uint64_t t : targets) {
        SCOPED_TRACE(t);
        const size_t k = shownAt(t);
        ASSERT_TRUE(r->readFrameAt(t, f)) << r->lastError();
        EXPECT_EQ(f.getTimestamp(), times[k] - kDvsStart);
        EXPECT_EQ(colourIndex(f), static_cast<int>(k) % 32);
        // Reading on continues in order from there.
        if (k + 1 < times.size()) {
            ASSERT_TRUE(r->readFrame(f));
            EXPECT_EQ(f.getTimestamp(), times[k + 1] - kDvsStart);
        } else {
            EXPECT_FALSE(r->readFrame(f));
        }
    }
}

TEST(ApsVideo, WriterRefusesBadFramesAndLeavesNoPartialFile) {
    TempDir dir;
    const std::string path = dir.file("rec.mp4");
    {
        ApsVideoWriter w;
        ASSERT_TRUE(w.open(path));
        ASSERT_TRUE(w.writeFrame(makeFrame(0, 1000)));
        EXPECT_FALSE(w.writeFrame(makeFrame(1, 1000))); // same time
        EXPECT_FALSE(w.writeFrame(makeFrame(1, 999)));  // earlier
        EXPECT_FALSE(w.lastError().empty());
        EXPECT_FALSE(w.writeFrame(ApsFrame(kW + 2, kH, 2000))); // other geometry
        ASSERT_TRUE(w.writeFrame(makeFrame(1, 2000)));          // still usable
        EXPECT_FALSE(std::filesystem::exists(path)) << "visible before close";
        // Destroyed without close: nothing remains, not even the temporary file.
    }
    EXPECT_TRUE(std::filesystem::is_empty(dir.path));

    ApsVideoWriter odd;
    ASSERT_TRUE(odd.open(path));
    EXPECT_FALSE(odd.writeFrame(ApsFrame(kW + 1, kH, 1000)));
    EXPECT_NE(odd.lastError().find("even"), std::string::npos);
    EXPECT_FALSE(odd.close());
    EXPECT_TRUE(std::filesystem::is_empty(dir.path));

    ApsVideoWriter none;
    EXPECT_FALSE(none.open(dir.file("no/such/folder/rec.mp4")) && none.writeFrame(makeFrame(0, 1)) && none.close());
    EXPECT_TRUE(std::filesystem::is_empty(dir.path));
}

TEST(ApsVideo, BrokenFilesGiveANullReaderWithAReason) {
    TempDir dir;
    EXPECT_FALSE(ApsFileReader::createFileReader(dir.file("missing.mp4")));
    EXPECT_NE(ApsFileReader::lastCreateError().find("missing.mp4"), std::string::npos);

    writeFile(dir.file("garbage.mp4"), std::string(5000, '\x17'));
    EXPECT_FALSE(ApsFileReader::createFileReader(dir.file("garbage.mp4")));
    EXPECT_FALSE(ApsFileReader::lastCreateError().empty());

    writeFile(dir.file("empty.mp4"), "");
    EXPECT_FALSE(ApsFileReader::createFileReader(dir.file("empty.mp4")));

    // A recording cut short (the index at the end of an MP4 is lost) and one with its middle
    // overwritten: refused or read without crashing, never anything worse.
    writeVideo(dir.file("good.mp4"), captureTimes(40));
    const std::string bytes = readFileBytes(dir.file("good.mp4"));
    writeFile(dir.file("short.mp4"), bytes.substr(0, bytes.size() / 2));
    EXPECT_FALSE(ApsFileReader::createFileReader(dir.file("short.mp4")));
    std::string damaged = bytes;
    for (size_t i = bytes.size() / 4; i < bytes.size() / 2; ++i)
        damaged[i] = static_cast<char>(i * 131);
    writeFile(dir.file("damaged.mp4"), damaged);
    if (auto r = ApsFileReader::createFileReader(dir.file("damaged.mp4"))) {
        ApsFrame f;
        int n = 0;
        while (n < 100 && r->readFrame(f))
            ++n;
        EXPECT_LE(n, 40);
        r->seekTime(700'000);
        r->readFrame(f);
    }
}
