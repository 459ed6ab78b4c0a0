#include "quorvel/raw/RawCut.h"
#include "quorvel/raw/RawFile.h"
#include "quorvel/raw/RawFileWriter.h"
#include "quorvel/raw/RawIndex.h"

#include "Evt3Reference.h"
#include "RawRecording.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>

using namespace quorvel;
using namespace quorvel::test;

namespace {

using Stream = Recorded;

// Crosses two EVT 3.0 time wraps (every 16.777216 s), has a 6 s silence, vectors and triggers.
StreamParams wrapParams() {
    StreamParams p;
    p.width = 640;
    p.height = 480;
    p.startUs = (uint64_t{1} << 24) - 700'000;
    p.durationUs = 36'000'000;
    p.denseRate = 60'000;
    p.sparseRate = 2'000;
    p.periodUs = 900'000;
    p.triggerPeriodUs = 250'000;
    p.gapAtUs = p.startUs + 3'000'000;
    p.gapUs = 6'000'000;
    return p;
}

/// Opens a recording and indexes it in one go.
std::shared_ptr<RawFile> openIndexed(const std::string& path, RawIndex& idx) {
    std::string err;
    auto f = RawFile::open(path, err);
    EXPECT_TRUE(f) << err;
    std::atomic<bool> cancel{false};
    EXPECT_TRUE(f && idx.build(f, cancel));
    return f;
}

Stream readAll(const std::string& path, DecodeStats* stats = nullptr) {
    std::string err;
    auto f = RawFile::open(path, err);
    EXPECT_TRUE(f) << err;
    Stream s;
    if (!f)
        return s;
    RawStreamCursor cur(f, 256 * 1024);
    std::vector<Event2D> buf(30000);
    while (!cur.atEnd()) {
        const size_t n = cur.next(buf.data(), buf.size(), s.triggers);
        s.events.insert(s.events.end(), buf.begin(), buf.begin() + static_cast<ptrdiff_t>(n));
    }
    if (stats)
        *stats = cur.decoder().stats();
    return s;
}

struct Payload {
    std::string bytes;
    RawHeader header;
};

Payload payloadOf(const std::string& path) {
    Payload p;
    std::string err;
    EXPECT_TRUE(readRawHeader(path, p.header, err)) << err;
    p.bytes = readFileBytes(path).substr(p.header.payloadOffset);
    return p;
}

// What another reader makes of an EVT 3.0 file we wrote: the writer's rules hold, and a reader
// written from the format description gets `expect` whichever low part it keeps after a TIME_HIGH.
void expectOtherReadersAgree(const std::string& path, const Stream& expect) {
    const Payload p = payloadOf(path);
    ASSERT_EQ(p.header.encoding, RawEncoding::Evt3);
    EXPECT_EQ(evt3WriterRuleBroken(p.bytes, p.header.width), "");
    for (bool restart : {true, false}) {
        SCOPED_TRACE(restart ? "low part restarts at TIME_HIGH" : "low part kept");
        const Evt3Reading r = referenceDecodeEvt3(p.bytes, p.header.width, p.header.height, restart, p.header.timeBaseUs);
        EXPECT_TRUE(r.events == expect.events);
        EXPECT_EQ(r.triggers, expect.triggers);
    }
}

} // namespace

TEST(RawFileWriter, Evt3RoundTripIsExactAcrossWrapsGapsAndTriggers) {
    TempDir dir;
    const std::string path = dir.file("rec.raw");
    const StreamParams p = wrapParams();
    const Stream in = writeGenerated(path, p, "QV-TEST");
    ASSERT_GT(in.events.size(), 200'000u);
    ASSERT_GT(in.events.back().timestamp, uint64_t{2} << 24);
    DecodeStats stats;
    const Stream out = readAll(path, &stats);
    EXPECT_EQ(out.events, in.events);
    EXPECT_EQ(out.triggers, in.triggers);
    EXPECT_EQ(stats.invalidEvents + stats.reservedWords + stats.timeBackwards, 0u);

    expectOtherReadersAgree(path, in);
    // Vectors pay off: fewer words than events.
    EXPECT_LT(payloadOf(path).bytes.size() / 2, in.events.size());
}

TEST(RawFileWriter, LateStartClampingAndGeometry) {
    TempDir dir;
    const std::string path = dir.file("late.raw");
    RawFileWriter w;
    RawFileWriter::Options o = rawOptions(320, 240, "", RawEncoding::Evt3);
    ASSERT_TRUE(w.open(path, o));
    const uint64_t t0 = 5'000'000'000ull; // far past the 24-bit EVT 3.0 clock
    std::vector<Event2D> ev = {{1, 2, 1, t0}, {3, 4, 0, t0 + 10}, {5, 6, 1, t0 + 5} /* goes back */,
                               {400, 1, 1, t0 + 20} /* outside */, {7, 8, 0, t0 + 30}};
    std::vector<EventTriggerIn> tr = {{1, 1, t0 + 10}};
    ASSERT_TRUE(w.write(ev, tr));
    ASSERT_TRUE(w.close());
    EXPECT_EQ(w.clampedCount(), 1u);
    EXPECT_EQ(w.droppedOutOfGeometry(), 1u);
    const Stream out = readAll(path);
    const std::vector<Event2D> expect = {{1, 2, 1, t0}, {3, 4, 0, t0 + 10}, {5, 6, 1, t0 + 10}, {7, 8, 0, t0 + 30}};
    EXPECT_EQ(out.events, expect);
    EXPECT_EQ(out.triggers, tr);

    RawFileWriter bad;
    o.width = 0;
    EXPECT_FALSE(bad.open(dir.file("x.raw"), o));
    EXPECT_NE(bad.lastError().find("geometry"), std::string::npos);
    o.width = 320;
    EXPECT_FALSE(bad.open(dir.file("no/such/dir/x.raw"), o));
    EXPECT_NE(bad.lastError().find("cannot create"), std::string::npos);
}

// A silence costs a few words per 16.8 s wrap, not one per 4096 us; more than a day between
// neighbouring events is no recording's clock and is refused.
TEST(RawFileWriter, SilencesAreCheapAndADayIsRefused) {
    TempDir dir;
    const uint64_t hour = 3'600'000'000ull;
    const Stream quiet{{{1, 1, 1, 5000}, {2, 2, 0, 5000 + hour}, {3, 3, 1, 5000 + 20 * hour}}, {{0, 1, 5000 + 2 * hour}}};
    ASSERT_TRUE(writeRaw(dir.file("quiet.raw"), 64, 64, quiet.events, quiet.triggers));
    EXPECT_LT(payloadOf(dir.file("quiet.raw")).bytes.size(), 20u * 3600 / 16 * 3 * 2);
    EXPECT_TRUE(readAll(dir.file("quiet.raw")).events == quiet.events);
    expectOtherReadersAgree(dir.file("quiet.raw"), quiet);

    RawFileWriter w;
    ASSERT_TRUE(w.open(dir.file("jump.raw"), rawOptions(64, 64, "", RawEncoding::Evt3)));
    const std::vector<Event2D> jump = {{1, 1, 1, 5000}, {2, 2, 0, 5000 + 25 * hour}};
    EXPECT_FALSE(w.write(jump));
    EXPECT_NE(w.lastError().find("more than a day"), std::string::npos) << w.lastError();
    EXPECT_FALSE(w.close());
}

class RawCutTest : public ::testing::TestWithParam<RawEncoding> {};

TEST_P(RawCutTest, CutHoldsExactlyTheRangeAndCopiesTheMiddle) {
    TempDir dir;
    const std::string src = dir.file("src.raw");
    const Stream in = writeGenerated(src, wrapParams(), "QV-TEST", GetParam());
    RawIndex idx;
    auto file = openIndexed(src, idx);
    ASSERT_GT(idx.entries.size(), 3u);
    EXPECT_EQ(idx.totals.stats.events, in.events.size());

    const uint64_t s0 = in.events.front().timestamp, s1 = in.events.back().timestamp;
    const uint64_t wrap = uint64_t{1} << 24;
    const std::pair<uint64_t, uint64_t> ranges[] = {
        {0, UINT64_MAX},                      // everything
        {s0 + 123'457, s0 + 2'600'001},       // across the first wrap
        {wrap * 2 - 1'000'000, wrap * 2 + 3}, // ends just past the second wrap
        {s0 + 3'500'000, s0 + 8'000'000},     // inside the silence
        {s0 + 500'000, s0 + 500'000},         // one microsecond
        {s1 - 10, s1},                        // the very end, inclusive
    };
    for (const auto& [a, b] : ranges) {
        SCOPED_TRACE(std::to_string(a) + ".." + std::to_string(b));
        const std::string out = dir.file("cut.raw");
        std::string err;
        RawCutResult res;
        ASSERT_TRUE(cutRawFile(file, idx.entries, a, b, out, std::chrono::system_clock::now(), s0, res, err)) << err;
        Stream expect;
        for (const auto& e : in.events)
            if (e.timestamp >= a && e.timestamp <= b)
                expect.events.push_back(e);
        for (const auto& t : in.triggers)
            if (t.timestamp >= a && t.timestamp <= b)
                expect.triggers.push_back(t);
        DecodeStats st;
        const Stream got = readAll(out, &st);
        ASSERT_EQ(got.events.size(), expect.events.size());
        EXPECT_TRUE(got.events == expect.events);
        EXPECT_EQ(got.triggers, expect.triggers);
        EXPECT_EQ(res.events, expect.events.size());
        EXPECT_EQ(st.invalidEvents + st.reservedWords + st.timeBackwards, 0u);
        if (expect.events.size() > 20'000) {
            EXPECT_GT(res.copiedBytes, 0u) << "a long range should be copied, not re-encoded";
        }
        if (GetParam() == RawEncoding::Evt3)
            expectOtherReadersAgree(out, expect);
        else
            EXPECT_NE(readFileBytes(out)[payloadOf(out).header.payloadOffset], '%');
        RawHeader h;
        ASSERT_TRUE(readRawHeader(out, h, err)) << err;
        EXPECT_TRUE(h.hasEndLine);
        EXPECT_EQ(h.encoding, GetParam());
        EXPECT_EQ(h.serial(), "QV-TEST");
    }
}

INSTANTIATE_TEST_SUITE_P(Encodings, RawCutTest, ::testing::Values(RawEncoding::Evt3, RawEncoding::Evt2),
                         [](const auto& info) { return std::string(rawEncodingName(info.param)); });

TEST(RawCut, FailureLeavesNoFileUnderTheTargetName) {
    TempDir dir;
    const std::string src = dir.file("src.raw");
    StreamParams p;
    p.durationUs = 100'000;
    writeGenerated(src, p);
    RawIndex idx;
    auto file = openIndexed(src, idx);
    std::string err;
    RawCutResult res;
    EXPECT_FALSE(cutRawFile(file, idx.entries, 50, 10, dir.file("a.raw"), {}, 0, res, err));
    EXPECT_NE(err.find("empty range"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(dir.file("a.raw")));
    EXPECT_FALSE(cutRawFile(file, idx.entries, 0, 50'000, dir.file("missing/a.raw"), {}, 0, res, err));
    EXPECT_FALSE(err.empty());
    // The rename at the end fails (the target is a folder): the temporary file is removed too.
    const std::string target = dir.file("target.raw");
    std::filesystem::create_directory(target);
    writeFile(target + "/keep", "x");
    EXPECT_FALSE(cutRawFile(file, idx.entries, 0, 50'000, target, {}, 0, res, err));
    EXPECT_NE(err.find("rename"), std::string::npos) << err;
    size_t entries = 0;
    for (const auto& e : std::filesystem::directory_iterator(dir.path)) {
        (void)e;
        ++entries;
    }
    EXPECT_EQ(entries, 2u) << "only the source and the folder may remain";
}

class RawIndexSplitTest : public ::testing::TestWithParam<RawEncoding> {};

// A large recording is indexed in two halves at once; the result must be the one scan's, whether
// the second half's guess is taken over or (a burst with no time word at the half) thrown away.
TEST_P(RawIndexSplitTest, TwoHalvesGiveTheIndexOfOneScan) {
    TempDir dir;
    const std::string wraps = dir.file("wraps.raw"), burst = dir.file("burst.raw");
    writeGenerated(wraps, wrapParams(), "", GetParam());
    {
        RawFileWriter w;
        ASSERT_TRUE(w.open(burst, rawOptions(640, 480, "", GetParam())));
        std::vector<Event2D> ev;
        for (uint64_t t = 100; t < 110; ++t) {
            ev.clear();
            for (uint32_t i = 0; i < 100'000; ++i)
                ev.emplace_back(uint16_t(i * 7 % 640), uint16_t(i / 211 % 480), uint8_t(i & 1), t);
            ASSERT_TRUE(w.write(ev, {EventTriggerIn(0, 1, t)}));
        }
        ASSERT_TRUE(w.close());
    }
    for (const auto& [path, splitExpected] : {std::pair{wraps, true}, std::pair{burst, false}}) {
        SCOPED_TRACE(path);
        std::string err;
        auto file = RawFile::open(path, err);
        ASSERT_TRUE(file) << err;
        std::atomic<bool> cancel{false};
        RawIndex one, two;
        one.parallel = false;
        two.parallelMinBytes = 0;
        std::vector<RawIndexEntry> streamed;
        ASSERT_TRUE(one.build(file, cancel));
        ASSERT_TRUE(two.build(file, cancel, [&](const std::vector<RawIndexEntry>& b, uint64_t) {
            streamed.insert(streamed.end(), b.begin(), b.end());
        }));
        EXPECT_EQ(two.builtInTwoHalves, splitExpected);
        ASSERT_GT(one.entries.size(), 6u);
        ASSERT_EQ(two.entries.size(), one.entries.size());
        ASSERT_EQ(streamed.size(), one.entries.size());
        auto same = [](const RawIndexEntry& x, const RawIndexEntry& y) {
            return x.offset == y.offset && x.timeUs == y.timeUs && x.eventsBefore == y.eventsBefore && x.state == y.state;
        };
        // What a reader gets while the index grows is the same again.
        for (size_t i = 0; i < one.entries.size(); ++i) {
            EXPECT_TRUE(same(two.entries[i], one.entries[i])) << "entry " << i << " at " << one.entries[i].offset;
            EXPECT_TRUE(same(streamed[i], one.entries[i])) << "streamed entry " << i << " at " << one.entries[i].offset;
        }
        EXPECT_EQ(two.triggers, one.triggers);
        auto totals = [](const DecodeStats& x) {
            return std::tuple(x.events, x.onEvents, x.triggers, x.invalidEvents, x.reservedWords, x.timeBackwards,
                              x.firstEventTs, x.lastEventTs);
        };
        EXPECT_EQ(totals(two.totals.stats), totals(one.totals.stats));
    }
}

INSTANTIATE_TEST_SUITE_P(Encodings, RawIndexSplitTest, ::testing::Values(RawEncoding::Evt3, RawEncoding::Evt2),
                         [](const auto& info) { return std::string(rawEncodingName(info.param)); });

// Indexes live in the cache folder, belong to one version of one recording, are checked before
// they are trusted, and the folder stays under its size bound.
TEST(RawIndex, CachedForThatRecordingOnlyCheckedAndBounded) {
    TempDir dir, cache;
    setenv("XDG_CACHE_HOME", cache.path.c_str(), 1);
    const std::string src = dir.file("src.raw");
    StreamParams p;
    p.durationUs = 300'000;
    writeGenerated(src, p);
    RawIndex idx;
    auto file = openIndexed(src, idx);
    std::string err;
    const std::string saved = idx.saveFor(*file, err);
    ASSERT_EQ(saved, RawIndex::cachePath(*file)) << err;
    EXPECT_EQ(saved.rfind(cache.path + "/Quorvel/", 0), 0u) << saved;
    RawIndex again;
    ASSERT_TRUE(again.loadFor(*file, false, err)) << err;
    EXPECT_EQ(again.entries.size(), idx.entries.size());
    EXPECT_EQ(again.triggers, idx.triggers);
    EXPECT_EQ(again.totals.stats.events, idx.totals.stats.events);
    EXPECT_EQ(again.totals.stats.lastEventTs, idx.totals.stats.lastEventTs);

    // A damaged index fails its checksum; one whose counts the recording cannot hold is refused
    // even with a checksum that matches.
    const std::string bytes = readFileBytes(saved);
    std::string flipped = bytes;
    flipped[flipped.size() - 100] ^= 0x40;
    writeFile(saved, flipped);
    EXPECT_FALSE(again.load(saved, *file, true, err));
    EXPECT_NE(err.find("checksum"), std::string::npos) << err;
    RawIndex tampered = idx;
    tampered.totals.stats.triggers = 6989586621679009792ull;
    ASSERT_TRUE(tampered.save(saved, *file, err)) << err;
    EXPECT_FALSE(again.load(saved, *file, true, err));
    EXPECT_NE(err.find("beyond what the recording can hold"), std::string::npos) << err;
    tampered = idx;
    std::swap(tampered.entries[2], tampered.entries[3]);
    ASSERT_TRUE(tampered.save(saved, *file, err)) << err;
    EXPECT_FALSE(again.load(saved, *file, false, err));
    writeFile(saved, bytes);
    ASSERT_TRUE(again.loadFor(*file, true, err)) << err;

    // The recording replaced in place (same inode) by another of the same size and time stamp,
    // as `cp -p` of a recording made at another time does.
    struct stat st {};
    ASSERT_EQ(::stat(src.c_str(), &st), 0);
    std::string content = readFileBytes(src);
    const size_t date = content.find("% date ");
    ASSERT_NE(date, std::string::npos);
    content[date + 7] = content[date + 7] == '1' ? '2' : '1';
    writeFile(src, content);
    const struct timespec times[2] = {st.st_atim, st.st_mtim};
    ASSERT_EQ(::utimensat(AT_FDCWD, src.c_str(), times, 0), 0);
    auto replaced = RawFile::open(src, err);
    ASSERT_EQ(replaced->mtimeNs(), file->mtimeNs());
    EXPECT_FALSE(again.loadFor(*replaced, false, err));

    // A changed recording gets an index of its own; the older one of that path is removed.
    writeFile(src, readFileBytes(src) + std::string(64, '\0'));
    auto changed = RawFile::open(src, err);
    EXPECT_FALSE(again.loadFor(*changed, false, err));
    RawIndex idx2;
    openIndexed(src, idx2);
    ASSERT_FALSE(idx2.saveFor(*changed, err).empty()) << err;
    EXPECT_FALSE(std::filesystem::exists(saved));
    EXPECT_TRUE(std::filesystem::exists(RawIndex::cachePath(*changed)));

    // Beyond the size bound the least recently used indexes go first, never the one just saved.
    const std::string other = dir.file("other.raw");
    writeGenerated(other, p);
    RawIndex idx3;
    auto otherFile = openIndexed(other, idx3);
    setenv("QUORVEL_INDEX_CACHE_MB", "0", 1);
    ASSERT_FALSE(idx3.saveFor(*otherFile, err).empty()) << err;
    unsetenv("QUORVEL_INDEX_CACHE_MB");
    EXPECT_TRUE(std::filesystem::exists(RawIndex::cachePath(*otherFile)));
    EXPECT_FALSE(std::filesystem::exists(RawIndex::cachePath(*changed)));

    // A cache folder that cannot be written: nothing is saved anywhere, and it says why.
    setenv("XDG_CACHE_HOME", src.c_str(), 1);
    EXPECT_EQ(idx3.saveFor(*otherFile, err), "");
    EXPECT_FALSE(err.empty());
    unsetenv("XDG_CACHE_HOME");
    size_t beside = 0;
    for (const auto& e : std::filesystem::directory_iterator(dir.path)) {
        (void)e;
        ++beside;
    }
    EXPECT_EQ(beside, 2u) << "nothing but the two recordings in their folder";
}
