// The `quorvel` command line, run as a user would run it.
#include "quorvel/DvsFileReader.h"
#include "CliRun.h"
#include "Evt3Reference.h"
#include "RawRecording.h"
#include "SensorWords.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <sys/stat.h>

using namespace quorvel;
using namespace quorvel::test;

namespace {

Recorded makeRecording(const std::string& path) {
    StreamParams p;
    p.width = 640;
    p.height = 480;
    p.startUs = (uint64_t{1} << 24) - 300'000; // crosses an EVT 3.0 time wrap
    p.durationUs = 600'000;
    p.denseRate = 500e3;
    p.sparseRate = 10e3;
    p.periodUs = 100'000;
    return writeGenerated(path, p, "CLI-1");
}

std::string lines(const std::vector<Event2D>& evs, uint64_t from, uint64_t to) {
    std::ostringstream s;
    for (const auto& e : evs)
        if (e.timestamp >= from && e.timestamp < to)
            s << e.timestamp << ',' << e.x << ',' << e.y << ',' << int(e.polarity) << '\n';
    return s.str();
}

} // namespace

TEST(Cli, InfoReportsTheRecording) {
    TempDir dir;
    const Recorded rec = makeRecording(dir.file("rec.raw"));
    const CliRun r = run("info " + dir.file("rec.raw") + " --json", dir);
    ASSERT_EQ(r.code, 0) << r.err;
    const auto j = nlohmann::json::parse(r.out);
    EXPECT_EQ(j["format"], "EVT3");
    EXPECT_EQ(j["width"], 640);
    EXPECT_EQ(j["height"], 480);
    EXPECT_EQ(j["serial"], "CLI-1");
    EXPECT_EQ(j["date"].get<std::string>().size(), 19u);
    EXPECT_EQ(j["first_ts"], rec.events.front().timestamp);
    EXPECT_EQ(j["last_ts"], rec.events.back().timestamp);
    EXPECT_EQ(j["events"], rec.events.size());
    EXPECT_EQ(j["on_events"], std::count_if(rec.events.begin(), rec.events.end(), [](const Event2D& e) { return e.polarity; }));
    EXPECT_EQ(j["triggers"], rec.triggers.size());
    EXPECT_EQ(j["errors"], 0);
    const CliRun text = run("info " + dir.file("rec.raw"), dir);
    ASSERT_EQ(text.code, 0);
    EXPECT_NE(text.out.find("geometry:    640x480"), std::string::npos) << text.out;
    EXPECT_TRUE(text.err.empty()) << "no progress output when stderr is not a terminal";
}

TEST(Cli, DumpCutAndConvertKeepTheEvents) {
    TempDir dir;
    const std::string src = dir.file("rec.raw");
    const Recorded rec = makeRecording(src);
    const uint64_t a = rec.events.front().timestamp + 123'456;

    CliRun r = run("dump " + src + " --from-us " + std::to_string(a) + " --duration-us 20000", dir);
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.out, lines(rec.events, a, a + 20'000));
    r = run("dump " + src, dir);
    EXPECT_EQ(r.out, lines(rec.events, 0, UINT64_MAX));

    r = run("cut " + src + " " + dir.file("cut.raw") + " --from-us " + std::to_string(a) + " --to-us " +
                std::to_string(a + 250'000),
            dir);
    ASSERT_EQ(r.code, 0) << r.err;
    r = run("dump " + dir.file("cut.raw"), dir);
    EXPECT_EQ(r.out, lines(rec.events, a, a + 250'001));

    // EVT 2.0 in, EVT 3.0 and CSV out.
    const std::string evt2 = dir.file("old.raw");
    writeFile(evt2, "% evt 2.0\n% system_ID 21\n" + encodeEvt2(rec.events, rec.triggers));
    r = run("convert " + evt2 + " " + dir.file("new.raw"), dir);
    ASSERT_EQ(r.code, 0) << r.err;
    auto reader = DvsFileReader::createFileReader(dir.file("new.raw"));
    ASSERT_TRUE(reader);
    EXPECT_EQ(reader->formatName(), "EVT3");
    EXPECT_EQ(reader->getTriggerList(), rec.triggers);
    auto all = reader->getEventsInRange(0, UINT64_MAX);
    ASSERT_TRUE(all);
    EXPECT_TRUE(*all == rec.events);
    r = run("convert " + evt2 + " " + dir.file("new.csv"), dir);
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(readFileBytes(dir.file("new.csv")), "t,x,y,p\n" + lines(rec.events, 0, UINT64_MAX));

    // The index is kept in the cache folder (runCli gives each test its own), never beside.
    TempDir folder;
    const std::string fresh = folder.file("fresh.raw");
    std::filesystem::copy_file(src, fresh);
    r = run("index " + fresh, dir);
    ASSERT_EQ(r.code, 0);
    EXPECT_EQ(r.out.rfind("index built: " + dir.file("cache") + "/Quorvel/", 0), 0u) << r.out;
    EXPECT_NE(r.out.find("-fresh.raw.qvidx"), std::string::npos) << r.out;
    r = run("index " + fresh, dir);
    EXPECT_EQ(r.out.rfind("index up to date: " + dir.file("cache") + "/Quorvel/", 0), 0u) << r.out;
    r = run("index " + fresh, dir, "XDG_CACHE_HOME=" + src);
    EXPECT_EQ(r.out.rfind("index built: kept in memory only, the cache folder " + src + "/Quorvel cannot be written", 0), 0u)
        << r.out;
    r = run("info " + fresh, dir);
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path), std::filesystem::directory_iterator()), 1);
}

// Sensor-shaped words (two TIME_LOW in a row, the first ahead): dump and convert print the times
// the words say, as a reader written from the format description does.
TEST(Cli, DumpAndConvertGiveTheTimesTheWordsSay) {
    TempDir dir;
    SensorWordMix mix = busySensorMix();
    mix.doubleLowShare = 0.05;
    const std::string payload = generateSensorEvt3(mix, 9'000'000, 1u << 20, 8);
    const std::string src = dir.file("sensor.raw");
    writeFile(src, "% evt 3.0\n% format EVT3;height=720;width=1280\n% end\n" + payload);
    const std::vector<Event2D> expect = referenceDecodeEvt3(payload, 1280, 720, true).events;
    CliRun r = run("dump " + src, dir);
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_TRUE(r.out == lines(expect, 0, UINT64_MAX));
    r = run("convert " + src + " " + dir.file("out.csv"), dir);
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_TRUE(readFileBytes(dir.file("out.csv")) == "t,x,y,p\n" + lines(expect, 0, UINT64_MAX));
    r = run("convert " + src + " " + dir.file("out.raw"), dir);
    ASSERT_EQ(r.code, 0) << r.err;
    r = run("dump " + dir.file("out.raw"), dir);
    EXPECT_TRUE(r.out == lines(expect, 0, UINT64_MAX));
    r = run("info " + src, dir);
    EXPECT_EQ(r.out.find("stepped back"), std::string::npos) << r.out;
}

// A random body claims a span of years: every command does what the data calls for, not what the
// clock claims (dump and convert follow the events; a silence costs the EVT 3.0 writer a few words
// per 16.8 s wrap; a video of more than a day is refused), and a torn last word is reported.
TEST(Cli, HostileFilesCostWhatTheirDataCosts) {
    TempDir dir;
    std::mt19937 rng(4);
    std::string body(4u << 20, '\0');
    for (auto& c : body)
        c = static_cast<char>(rng());
    const std::string src = dir.file("random.raw");
    writeFile(src, "% evt 2.0\n% format EVT2;height=480;width=640\n% end\n" + body + "x");
    CliRun r = run("info " + src + " --json", dir, "timeout 60");
    ASSERT_EQ(r.code, 0) << r.err;
    const auto j = nlohmann::json::parse(r.out);
    ASSERT_GT(j["duration_us"].get<uint64_t>(), 1e12) << "the clock claims years";
    ASSERT_GT(j["errors"].get<uint64_t>(), 0u);
    EXPECT_NE(run("info " + src, dir).out.find("truncated last word"), std::string::npos);

    r = run("dump " + src + " > " + dir.file("dump.txt"), dir, "timeout 60");
    ASSERT_EQ(r.code, 0) << r.err;
    const auto lines = std::count(std::istreambuf_iterator<char>(*std::make_unique<std::ifstream>(dir.file("dump.txt"))),
                                  std::istreambuf_iterator<char>(), '\n');
    EXPECT_EQ(lines, j["events"].get<int64_t>());
    r = run("cut " + src + " " + dir.file("cut.raw") + " --from-us 0 --to-us 18446744073709551615", dir, "timeout 60");
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_LT(std::filesystem::file_size(dir.file("cut.raw")), body.size() + 4096);
    r = run("convert " + src + " " + dir.file("conv.raw"), dir, "timeout 60");
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_LT(std::filesystem::file_size(dir.file("conv.raw")), 16 * body.size());
    r = run("export " + src + " " + dir.file("v.mp4") + " --from-us 0 --to-us 18446744073709551615", dir, "timeout 60");
    EXPECT_NE(r.code, 0);
    EXPECT_NE(r.err.find("24 hours"), std::string::npos) << r.err;
    EXPECT_FALSE(std::filesystem::exists(dir.file("v.mp4")));
}

TEST(Cli, FailuresAreOneLineAndNonZero) {
    TempDir dir;
    makeRecording(dir.file("rec.raw"));
    // A FIFO nobody writes to is refused at once instead of blocking the command forever.
    const std::string fifo = dir.file("pipe.raw");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const std::string bad[] = {
        "info " + fifo,
        "dump " + fifo,
        "cut " + fifo + " " + dir.file("o.raw") + " --from-us 0 --to-us 3",
        "export " + fifo + " " + dir.file("o.mp4") + " --from-us 0 --to-us 3",
        "info " + dir.file("missing.raw"),
        "info",
        "frobnicate x",
        "dump " + dir.file("rec.raw") + " --from-us 12x",
        "cut " + dir.file("rec.raw") + " " + dir.file("o.raw") + " --from-us 9 --to-us 3",
        "cut " + dir.file("rec.raw") + " " + dir.file("no/dir/o.raw") + " --from-us 0 --to-us 3000000",
        "convert " + dir.file("rec.raw") + " " + dir.file("o.txt"),
        "info " + dir.file("rec.raw") + " --bogus",
    };
    for (const auto& args : bad) {
        const CliRun r = run(args, dir, "timeout 20");
        EXPECT_NE(r.code, 0) << args;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << args << ": " << r.err;
        EXPECT_EQ(r.err.rfind("quorvel: error: ", 0), 0u) << r.err;
    }
    EXPECT_FALSE(std::filesystem::exists(dir.file("o.raw")));
    for (const char* cmd : {"info", "dump", "cut", "index", "convert"}) {
        const CliRun h = run(std::string(cmd) + " --help", dir);
        EXPECT_EQ(h.code, 0);
        EXPECT_NE(h.out.find("usage: quorvel " + std::string(cmd)), std::string::npos);
        EXPECT_NE(h.out.find("sensor's own microseconds"), std::string::npos);
    }
}
