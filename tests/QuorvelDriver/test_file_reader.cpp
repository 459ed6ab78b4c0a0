#include "quorvel/DvsCameraManager.h"
#include "quorvel/DvsFileReader.h"
#include "quorvel/raw/RawHeader.h"
#include "quorvel/raw/RawIndex.h"

#include "Evt3Reference.h"
#include "RawRecording.h"
#include "SensorWords.h"
#include "camera/EventSource.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <thread>

using namespace quorvel;
using namespace quorvel::test;

namespace {

Recorded writeRecording(const std::string& path, const StreamParams& p) {
    return writeGenerated(path, p, "SN42");
}

// About a million events a second in dense periods: enough for vectors and many index entries.
StreamParams smallParams(uint64_t durationUs) {
    StreamParams p;
    p.durationUs = durationUs;
    p.denseRate = 1e6;
    p.sparseRate = 20e3;
    return p;
}

std::vector<Event2D> expectedRange(const std::vector<Event2D>& all, uint64_t s, uint64_t e) {
    std::vector<Event2D> r;
    for (const auto& ev : all)
        if (ev.timestamp >= s && ev.timestamp < e)
            r.push_back(ev);
    return r;
}

// Each test gets its own cache folder so no index leaks between runs.
class FileReaderTest : public ::testing::Test {
protected:
    void SetUp() override { setenv("XDG_CACHE_HOME", cache.path.c_str(), 1); }
    void TearDown() override { unsetenv("XDG_CACHE_HOME"); }
    TempDir cache;
    TempDir dir;
};

} // namespace

// (What the header parser refuses, and why, is the header tests' business: the reason passes
// through the same error as here.)
TEST_F(FileReaderTest, RefusesWhatIsNotARecordingAndSaysWhy) {
    EXPECT_FALSE(DvsFileReader::createFileReader(dir.file("missing.raw")));
    EXPECT_NE(DvsFileReader::lastCreateError().find("cannot open"), std::string::npos);
    EXPECT_FALSE(DvsFileReader::createFileReader(dir.path));
}

// The player's contract: exact half-open windows anywhere, in any order, with or without an index.
TEST_F(FileReaderTest, RangeReadsAreExactWithAndWithoutIndex) {
    const std::string path = dir.file("rec.raw");
    StreamParams p;
    p.width = 640;
    p.height = 480;
    p.durationUs = 3'000'000;
    p.denseRate = 1e6;
    p.sparseRate = 20e3;
    p.periodUs = 300'000;
    p.gapAtUs = 1'500'000;
    p.gapUs = 400'000;
    const Recorded rec = writeRecording(path, p);
    const uint64_t first = rec.events.front().timestamp, last = rec.events.back().timestamp;

    for (bool indexed : {false, true}) {
        SCOPED_TRACE(indexed ? "indexed" : "no index");
        DvsFileReader::Options o;
        o.backgroundIndex = indexed;
        o.persistIndex = false;
        auto r = DvsFileReader::createFileReader(path, o);
        ASSERT_TRUE(r) << DvsFileReader::lastCreateError();
        ASSERT_TRUE(r->prepareFile());
        if (indexed)
            ASSERT_TRUE(r->waitForIndex());
        else
            EXPECT_FALSE(r->isIndexReady());
        uint64_t start = 0;
        ASSERT_TRUE(r->getStartTimestamp(start));
        EXPECT_EQ(start, first);

        std::mt19937_64 rng(indexed ? 1 : 2);
        for (int i = 0; i < 60; ++i) {
            const uint64_t s = first - 1000 + rng() % (last - first + 2000);
            const uint64_t d = 1 + rng() % 80'000;
            auto got = r->getEventsInRange(s, d);
            ASSERT_TRUE(got) << s << " " << r->lastError();
            ASSERT_EQ(*got, expectedRange(rec.events, s, s + d)) << "window " << s << "+" << d;
        }
        // Player-like: overlapping frames moving forward, then one inside the silence.
        for (uint64_t cur = first; cur < first + 500'000; cur += 30'303) {
            auto got = r->getEventsInRange(cur, 33'333);
            ASSERT_TRUE(got);
            ASSERT_EQ(*got, expectedRange(rec.events, cur, cur + 33'333));
        }
        auto quiet = r->getEventsInRange(1'600'000, 50'000);
        ASSERT_TRUE(quiet) << "a quiet span inside the file is empty, not the end";
        EXPECT_TRUE(quiet->empty());
        // The last event is included by a window ending one past it; beyond it there is nothing.
        auto tail = r->getEventsInRange(last, 1);
        ASSERT_TRUE(tail);
        EXPECT_EQ(tail->back(), rec.events.back());
        EXPECT_FALSE(r->getEventsInRange(last + 1, 1000));
    }
}

// Pulled streams: the same half-open ranges whatever the request size (below, at and above the
// size decoded in place), ending exactly, and usable after the reader is gone.
TEST_F(FileReaderTest, EventStreamsGiveTheRangeInAnyRequestSize) {
    const std::string path = dir.file("rec.raw");
    const Recorded rec = writeRecording(path, smallParams(1'500'000));
    DvsFileReader::Options o;
    o.persistIndex = false;
    auto r = DvsFileReader::createFileReader(path, o);
    ASSERT_TRUE(r);
    ASSERT_TRUE(r->waitForIndex());
    const size_t direct = r->openEventStream(0, 1)->directCapacity();
    ASSERT_GT(direct, 1u);
    std::mt19937_64 rng(7);
    for (size_t request : {size_t{1}, direct - 1, direct, size_t{1000}, size_t{1} << 22}) {
        // Ends on event times, where an off-by-one would show.
        const size_t i = rng() % rec.events.size(), j = std::min(rec.events.size() - 1, i + 1 + rng() % 400'000);
        const uint64_t s = rec.events[i].timestamp, e = rec.events[j].timestamp;
        SCOPED_TRACE(std::to_string(request) + " at a time, [" + std::to_string(s) + ", " + std::to_string(e) + ")");
        auto stream = r->openEventStream(s, e);
        std::vector<Event2D> got, buf(request);
        while (!stream->atEnd()) {
            const size_t n = stream->read(buf.data(), request);
            ASSERT_TRUE(n == request || stream->atEnd()) << "a short read before the end";
            got.insert(got.end(), buf.begin(), buf.begin() + static_cast<std::ptrdiff_t>(n));
        }
        EXPECT_FALSE(stream->failed());
        const auto expected = expectedRange(rec.events, s, e);
        ASSERT_EQ(got, expected);
        EXPECT_GE(r->maxEventsInRange(s, e), expected.size());
    }
    EXPECT_EQ(r->maxEventsInRange(0, UINT64_MAX), rec.events.size()) << "exact for the whole recording";
    DvsFileReader::Options noIndex = o;
    noIndex.backgroundIndex = false;
    EXPECT_GE(DvsFileReader::createFileReader(path, noIndex)->maxEventsInRange(0, UINT64_MAX), rec.events.size());
    auto whole = r->openEventStream(0, UINT64_MAX);
    r.reset();
    std::vector<Event2D> all(rec.events.size() + 10);
    EXPECT_EQ(whole->read(all.data(), all.size()), rec.events.size());
    all.resize(rec.events.size());
    EXPECT_EQ(all, rec.events);
    EXPECT_TRUE(whole->atEnd());
}

TEST_F(FileReaderTest, SeekAndStepThroughTheWholeFile) {
    const std::string path = dir.file("rec.raw");
    StreamParams p = smallParams(1'000'000);
    const Recorded rec = writeRecording(path, p);
    auto r = DvsFileReader::createFileReader(path);
    ASSERT_TRUE(r);
    uint64_t end = 0;
    ASSERT_TRUE(r->getEndTimestamp(end));
    EXPECT_EQ(end, rec.events.back().timestamp);

    // getNTimeEvents starts at the first event and the frames add up to the whole recording.
    std::vector<Event2D> all;
    for (auto b = r->getNTimeEvents(7'777); b; b = r->getNTimeEvents(7'777))
        all.insert(all.end(), b->begin(), b->end());
    EXPECT_EQ(all, rec.events);

    const uint64_t mid = rec.events[rec.events.size() / 2].timestamp;
    ASSERT_TRUE(r->seekTime(mid));
    auto b = r->getNTimeEvents(10'000);
    ASSERT_TRUE(b);
    EXPECT_EQ(*b, expectedRange(rec.events, mid, mid + 10'000));
    ASSERT_TRUE(r->seekTime(0)); // before the first event is fine
    EXPECT_FALSE(r->seekTime(end + 1));
    EXPECT_FALSE(r->lastError().empty());
    b = r->getNTimeEvents(rec.events.front().timestamp + 1);
    ASSERT_TRUE(b) << "a failed seek leaves the position where it was";
    EXPECT_EQ(b->front(), rec.events.front());
}

TEST_F(FileReaderTest, InfoTriggersAndCountsComeFromTheIndex) {
    const std::string path = dir.file("rec.raw");
    StreamParams p = smallParams(500'000);
    const Recorded rec = writeRecording(path, p);
    auto r = DvsFileReader::createFileReader(path);
    ASSERT_TRUE(r);
    EXPECT_EQ(r->formatName(), "EVT3");
    EXPECT_EQ(r->getWidth(), 1280);
    EXPECT_EQ(r->serialNumber(), "SN42");
    EXPECT_EQ(r->getTriggerList(), rec.triggers);
    DvsFileStats s;
    ASSERT_TRUE(r->getFileStats(s));
    EXPECT_EQ(s.events, rec.events.size());
    EXPECT_EQ(s.onEvents, static_cast<uint64_t>(std::count_if(rec.events.begin(), rec.events.end(),
                                                              [](const Event2D& e) { return e.polarity; })));
    EXPECT_EQ(s.triggers, rec.triggers.size());
    EXPECT_EQ(s.errors(), 0u);
    DvsFileInfo info;
    ASSERT_TRUE(r->getFileInfo(info));
    EXPECT_EQ(info.firstTimestamp, rec.events.front().timestamp);
    EXPECT_NE(info.text.find("EVT3 1280x720"), std::string::npos);
    EXPECT_NE(info.startTime.time_since_epoch().count(), 0);
    // A recording without trigger records makes getTriggerList throw, as the player expects.
    p.triggerPeriodUs = 0;
    writeRecording(dir.file("quiet.raw"), p);
    auto q = DvsFileReader::createFileReader(dir.file("quiet.raw"));
    EXPECT_THROW(q->getTriggerList(), std::runtime_error);
}

// Opening, indexing, reading and cutting a recording leave nothing in its folder: the index is
// in the cache folder, or in memory only when that cannot be written.
TEST_F(FileReaderTest, NothingAppearsBesideTheRecording) {
    const std::string path = dir.file("rec.raw");
    const Recorded rec = writeRecording(path, smallParams(300'000));
    TempDir out;
    const auto folderHoldsOnlyTheRecording = [&] {
        std::vector<std::string> names;
        for (const auto& e : std::filesystem::directory_iterator(dir.path))
            names.push_back(e.path().filename().string());
        EXPECT_EQ(names, std::vector<std::string>{"rec.raw"});
    };
    for (bool cacheWritable : {true, false}) {
        SCOPED_TRACE(cacheWritable ? "cache folder" : "cache folder not writable");
        if (!cacheWritable)
            setenv("XDG_CACHE_HOME", path.c_str(), 1); // a file: no folder can be made under it
        for (int open = 0; open < 2; ++open) {
            DvsFileReader::Options o;
            o.backgroundIndex = false; // ready at once only when found in the cache
            auto r = DvsFileReader::createFileReader(path, o);
            ASSERT_TRUE(r);
            EXPECT_EQ(r->isIndexReady(), cacheWritable && open == 1) << "a saved index is found again";
            DvsFileStats s;
            ASSERT_TRUE(r->getFileStats(s));
            EXPECT_EQ(s.events, rec.events.size());
            EXPECT_EQ(r->getTriggerList(), rec.triggers);
            auto frame = r->getEventsInRange(rec.events[100].timestamp, 33'333);
            ASSERT_TRUE(frame);
            EXPECT_TRUE(r->exportRawRange(rec.events[100].timestamp, rec.events[5000].timestamp, out.file("cut.raw")));
            if (cacheWritable)
                EXPECT_EQ(r->indexPath().rfind(cache.path + "/Quorvel/", 0), 0u) << r->indexPath();
            else
                EXPECT_EQ(r->indexPath(), "");
        }
        folderHoldsOnlyTheRecording();
    }
}

TEST_F(FileReaderTest, DamagedRecordingsDecodeWhatTheyCanAndReportErrors) {
    const std::string path = dir.file("rec.raw");
    StreamParams p = smallParams(200'000);
    p.width = 320;
    p.height = 240;
    const Recorded rec = writeRecording(path, p);
    std::string bytes = readFileBytes(path);
    RawHeader h;
    std::string err;
    ASSERT_TRUE(readRawHeader(path, h, err));
    // Truncate in the middle of a word and overwrite a stretch with noise.
    bytes.resize(bytes.size() - 3001);
    std::mt19937 rng(5);
    for (size_t i = bytes.size() / 2; i < bytes.size() / 2 + 4000; ++i)
        bytes[i] = static_cast<char>(rng());
    writeFile(dir.file("bad.raw"), bytes);
    auto r = DvsFileReader::createFileReader(dir.file("bad.raw"));
    ASSERT_TRUE(r);
    DvsFileStats s;
    ASSERT_TRUE(r->getFileStats(s));
    EXPECT_EQ(s.trailingBytes, 1u);
    EXPECT_GT(s.errors(), 0u);
    EXPECT_GT(s.events, rec.events.size() / 3);
    uint64_t a = 0, b = 0;
    ASSERT_TRUE(r->getStartTimestamp(a));
    ASSERT_TRUE(r->getEndTimestamp(b));
    auto all = r->getEventsInRange(a, b - a + 1);
    ASSERT_TRUE(all);
    EXPECT_EQ(all->size(), s.events);
    EXPECT_EQ(all->front(), rec.events.front());
    for (const auto& e : *all)
        ASSERT_TRUE(e.x < 320 && e.y < 240);
}

// The player cuts on a job thread while the index is still being built; reads go on meanwhile.
TEST_F(FileReaderTest, CutOnAnotherThreadWhileReadingAndIndexing) {
    const std::string path = dir.file("rec.raw");
    StreamParams p = smallParams(2'000'000);
    const Recorded rec = writeRecording(path, p);
    auto r = DvsFileReader::createFileReader(path);
    const uint64_t first = rec.events.front().timestamp;
    bool cutOk = false;
    std::thread job([&] { cutOk = r->exportRawRange(first + 300'000, first + 1'300'000, dir.file("cut.raw")); });
    for (uint64_t t = first; t < first + 1'500'000; t += 50'000) {
        auto got = r->getEventsInRange(t, 60'000);
        ASSERT_TRUE(got);
        ASSERT_EQ(*got, expectedRange(rec.events, t, t + 60'000));
    }
    job.join();
    ASSERT_TRUE(cutOk) << r->lastError();
    auto c = DvsFileReader::createFileReader(dir.file("cut.raw"));
    ASSERT_TRUE(c);
    auto all = c->getEventsInRange(0, UINT64_MAX);
    ASSERT_TRUE(all);
    EXPECT_EQ(*all, expectedRange(rec.events, first + 300'000, first + 1'300'001));
    // The local time of an event is the same in the cut as in the source (to the second).
    DvsFileInfo src, cut;
    r->getFileInfo(src);
    c->getFileInfo(cut);
    const auto diff = std::chrono::duration_cast<std::chrono::seconds>(cut.localTimeAt(all->front().timestamp) -
                                                                      src.localTimeAt(all->front().timestamp));
    EXPECT_LE(std::abs(diff.count()), 1);
    EXPECT_FALSE(r->exportRawRange(first + 2, first + 1, dir.file("bad.raw")));
    EXPECT_FALSE(std::filesystem::exists(dir.file("bad.raw")));
}

TEST(FileReaderSamples, TimesAndDatesOfTheRealRecordings) {
    const std::string dir = samplesDir();
    if (dir.empty())
        GTEST_SKIP() << "sample recordings not found (set QUORVEL_SAMPLES_DIR or put them in ../shared/samples)";
    TempDir cache; // the samples folder is read-only: the index goes to the cache folder
    setenv("XDG_CACHE_HOME", cache.path.c_str(), 1);
    struct X {
        const char* file;
        uint64_t first, last, events;
    } xs[] = {{"evt2_sample.raw", 1317888, 1367888, 539481},
              {"evt3_test_pedestrians.raw", 5840504, 5885714, 5000},
              {"ncars_sample.dat", 0, 99937, 4407}};
    for (const auto& x : xs) {
        SCOPED_TRACE(x.file);
        auto r = DvsFileReader::createFileReader(dir + "/" + x.file);
        ASSERT_TRUE(r) << DvsFileReader::lastCreateError();
        uint64_t a = 0, b = 0;
        ASSERT_TRUE(r->getStartTimestamp(a));
        ASSERT_TRUE(r->getEndTimestamp(b));
        EXPECT_EQ(a, x.first);
        EXPECT_EQ(b, x.last);
        auto all = r->getEventsInRange(a, b - a + 1);
        ASSERT_TRUE(all);
        EXPECT_EQ(all->size(), x.events);
        EXPECT_EQ(r->indexPath().rfind(cache.path, 0), 0u);
    }
    unsetenv("XDG_CACHE_HOME");
}

// A sensor-shaped recording (two TIME_LOW words in a row now and then, the first ahead): range
// reads with and without the index, seeks and a replay camera all give the times the words
// say, as a reader written from the format description does.
TEST_F(FileReaderTest, EveryReadingPathGivesTheTimesTheWordsSay) {
    SensorWordMix mix = busySensorMix();
    mix.doubleLowShare = 0.05;
    const std::string payload = generateSensorEvt3(mix, (uint64_t{1} << 24) - 20'000, 3u << 20, 5);
    const std::string path = dir.file("sensor.raw");
    writeFile(path, "% evt 3.0\n% format EVT3;height=720;width=1280\n% end\n" + payload);
    const std::vector<Event2D> expect = referenceDecodeEvt3(payload, 1280, 720, true).events;
    const uint64_t first = expect.front().timestamp, last = expect.back().timestamp;
    for (bool indexed : {false, true}) {
        SCOPED_TRACE(indexed ? "indexed" : "no index");
        DvsFileReader::Options o;
        o.backgroundIndex = indexed;
        auto r = DvsFileReader::createFileReader(path, o);
        ASSERT_TRUE(r);
        if (indexed) {
            ASSERT_TRUE(r->waitForIndex());
        }
        std::mt19937_64 rng(3);
        for (int i = 0; i < 40; ++i) {
            const uint64_t s = first + rng() % (last - first), d = 1 + rng() % 5000;
            auto got = r->getEventsInRange(s, d);
            ASSERT_TRUE(got);
            ASSERT_TRUE(*got == expectedRange(expect, s, s + d)) << s << "+" << d;
        }
        const uint64_t mid = expect[expect.size() / 2].timestamp;
        ASSERT_TRUE(r->seekTime(mid));
        auto b = r->getNTimeEvents(3000);
        ASSERT_TRUE(b);
        EXPECT_TRUE(*b == expectedRange(expect, mid, mid + 3000));
    }
    auto r = DvsFileReader::createFileReader(path);
    DvsFileStats st;
    ASSERT_TRUE(r->getFileStats(st));
    EXPECT_EQ(st.events, expect.size());
    EXPECT_EQ(st.timeBackwards, 0u);

    // A replay camera streams the same events.
    std::string err;
    auto replay = detail::makeReplaySource(path, err);
    ASSERT_TRUE(replay) << err;
    std::vector<Event2D> streamed;
    std::vector<EventTriggerIn> tr;
    while (streamed.size() < expect.size())
        ASSERT_TRUE(replay->next(10'000, streamed, tr)) << replay->lastError();
    streamed.resize(expect.size());
    EXPECT_TRUE(streamed == expect);
}

// What the recorder writes keeps the writer's rules, and a reader written from the format
// description gets our reader's events from it whichever low part it keeps after a TIME_HIGH.
TEST_F(FileReaderTest, WhatTheRecorderWritesOtherReadersReadTheSame) {
    unsetenv("QUORVEL_VIRTUAL_CAMERAS");
    DvsCameraManager manager;
    auto cam = manager.openCamera("QVSIM-DVS-0001");
    ASSERT_TRUE(cam);
    ASSERT_TRUE(cam->getTool(TOOL_TRIGGER_IN)->setBoolParam("channel_0_enable", true));
    ASSERT_EQ(cam->start(), 0);
    const std::string path = dir.file("rec.raw");
    ASSERT_TRUE(cam->startRecording(path)) << cam->lastError();
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    ASSERT_TRUE(cam->stopRecording()) << cam->lastError();
    cam->stop();
    cam->getTool(TOOL_TRIGGER_IN)->setBoolParam("channel_0_enable", false);

    auto r = DvsFileReader::createFileReader(path);
    ASSERT_TRUE(r);
    auto ours = r->getEventsInRange(0, UINT64_MAX);
    ASSERT_TRUE(ours);
    ASSERT_GT(ours->size(), 10'000u);
    RawHeader h;
    std::string err;
    ASSERT_TRUE(readRawHeader(path, h, err)) << err;
    const std::string payload = readFileBytes(path).substr(h.payloadOffset);
    EXPECT_EQ(evt3WriterRuleBroken(payload, h.width), "");
    for (bool restart : {true, false}) {
        const Evt3Reading other = referenceDecodeEvt3(payload, h.width, h.height, restart, h.timeBaseUs);
        EXPECT_TRUE(other.events == *ours) << (restart ? "low part restarts" : "low part kept");
    }
}
