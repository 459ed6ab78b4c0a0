// The `quorvel` command line, run as a user would run it: the recording commands (info, dump,
// cut, convert, index, export), the camera commands (cameras, record, simulate), and how every
// command fails. Exported videos are read back with the SDK's APS reader (their pixels are checked
// against FFmpeg directly in the driver tests).
#include "quorvel/ApsFileReader.h"
#include "quorvel/DvsFileReader.h"
#include "CliRun.h"
#include "Evt3Reference.h"
#include "RawRecording.h"
#include "ReadBack.h"
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

// 64 x 32 sensor; every 10 ms a 16 x 16 block of ON events at the left, and at 50 ms one block of
// OFF events at the right. Events from 1 000 000 to 1 190 000 us.
void writeBlocks(const std::string& path) {
    std::vector<Event2D> ev;
    for (uint64_t t = 1'000'000; t <= 1'190'000; t += 10'000)
        for (uint16_t y = 8; y < 24; ++y)
            for (uint16_t x = 0; x < 16; ++x) {
                ev.emplace_back(x, y, 1, t);
                if (t == 1'050'000)
                    ev.emplace_back(uint16_t(x + 48), y, 0, t);
            }
    writeRaw(path, 64, 32, ev);
}

const unsigned char* at(const ApsFrame& f, int x, int y) { return f.data() + (y * f.getWidth() + x) * 3; }

std::vector<Event2D> decode(const std::string& path) {
    ReadBack r = readBack(path);
    EXPECT_TRUE(r.opened) << r.error;
    return std::move(r.events);
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

TEST(Cli, ExportWritesTheRangeInTheChosenSchemeAndRate) {
    TempDir dir;
    writeBlocks(dir.file("in.raw"));
    const CliRun r = run("export " + dir.file("in.raw") + " " + dir.file("out.mp4") +
                             " --from-us 1000000 --to-us 1099999 --fps 20 --scheme RedGreen",
                         dir);
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("2 frames, 64x32, 20 fps"), std::string::npos) << r.out;

    auto v = ApsFileReader::createFileReader(dir.file("out.mp4"));
    ASSERT_TRUE(v) << ApsFileReader::lastCreateError();
    EXPECT_EQ(v->getWidth(), 64);
    EXPECT_EQ(v->getHeight(), 32);
    EXPECT_EQ(v->getFrameCount(), 2u);
    ApsFrame f;
    ASSERT_TRUE(v->readFrame(f));
    EXPECT_EQ(f.getTimestamp(), 0u);
    // BGR: ON is red, background grey.
    EXPECT_NEAR(at(f, 8, 16)[2], 255, 12);
    EXPECT_NEAR(at(f, 8, 16)[1], 0, 12);
    EXPECT_NEAR(at(f, 32, 16)[1], 112, 12);
    ASSERT_TRUE(v->readFrame(f));
    EXPECT_EQ(f.getTimestamp(), 50'000u);
    // 50 ms windows: the OFF block at 1 050 000 opens the second frame, in green.
    EXPECT_NEAR(at(f, 56, 16)[1], 255, 12);
    EXPECT_NEAR(at(f, 56, 16)[2], 0, 12);
    EXPECT_FALSE(v->readFrame(f));

    // Without a range the whole recording is exported: 190 ms at 30 fps is 6 frames.
    const CliRun all = run("export " + dir.file("in.raw") + " " + dir.file("all.mp4"), dir);
    ASSERT_EQ(all.code, 0) << all.err;
    EXPECT_NE(all.out.find("6 frames"), std::string::npos) << all.out;
}

TEST(Cli, SimulateFusionRecordingThatTheOtherCommandsRead) {
    TempDir dir;
    const CliRun r = run("simulate --fusion " + dir.file("sim.mp4") + " --duration-s 0.4 --scene bars --width 320 "
                                                                      "--height 240 --start-us 1000000",
                         dir);
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("12 APS frames, 400x300"), std::string::npos) << r.out;
    for (const char* ext : {".raw", ".mp4", ".json"})
        EXPECT_TRUE(std::filesystem::exists(dir.file(std::string("sim") + ext))) << ext;
    const CliRun info = run("info " + dir.file("sim.raw"), dir);
    EXPECT_EQ(info.code, 0) << info.err;
    EXPECT_NE(info.out.find("320x240"), std::string::npos);
}

TEST(Cli, CamerasListsTheVirtualCamerasAsTextAndJson) {
    TempDir dir;
    const CliRun json = run("cameras --json", dir);
    ASSERT_EQ(json.code, 0) << json.err;
    const auto arr = nlohmann::json::parse(json.out);
    ASSERT_EQ(arr.size(), 2u);
    for (const char* key : {"serial", "product", "manufacturer", "interface", "ip", "local_ip", "mask", "gateway", "firmware"})
        EXPECT_TRUE(arr[1].contains(key)) << key;
    EXPECT_EQ(arr[1]["product"], "Tarnix");
    EXPECT_EQ(arr[1]["firmware"], "Tarnix_V1.7.2");
    const CliRun text = run("cameras", dir, "QUORVEL_VIRTUAL_CAMERAS=0");
    EXPECT_EQ(text.code, 0);
    EXPECT_EQ(text.out, "no cameras found\n");
}

TEST(Cli, SimulateIsRepeatableAndAppliesTools) {
    TempDir dir;
    const CliRun a = run("simulate " + dir.file("a.raw") + " --seconds 0.2 --seed 4", dir);
    ASSERT_EQ(a.code, 0) << a.err;
    EXPECT_NE(a.out.find("wrote"), std::string::npos);
    ASSERT_EQ(run("simulate " + dir.file("b.raw") + " --seconds 0.2 --seed 4", dir).code, 0);
    const auto ea = decode(dir.file("a.raw")), eb = decode(dir.file("b.raw"));
    ASSERT_GT(ea.size(), 100000u);
    EXPECT_EQ(ea, eb);
    EXPECT_LT(ea.back().timestamp, 200000u);

    const CliRun roi = run("simulate " + dir.file("roi.raw") +
                                   " --seconds 0.2 --seed 4 --set ROI.width=100 --set roi.height=50 --set roi.enable=true",
                           dir);
    ASSERT_EQ(roi.code, 0) << roi.err;
    const auto er = decode(dir.file("roi.raw"));
    ASSERT_FALSE(er.empty());
    for (const auto& e : er)
        ASSERT_TRUE(e.x < 100 && e.y < 50);

    const CliRun big = run("simulate " + dir.file("hd.raw") + " --seconds 0.05 --geometry 1280x720 --scene stress --rate 20000000", dir);
    ASSERT_EQ(big.code, 0) << big.err;
    EXPECT_EQ(decode(dir.file("hd.raw")).size(), 1000000u);
}

TEST(Cli, RecordWritesTheCameraForTheRequestedTime) {
    TempDir dir;
    const CliRun r = run("record QVSIM-DVS-0001 " + dir.file("rec.raw") + " --seconds 0.5 --set TirggerIn.channel_0_enable=true", dir);
    ASSERT_EQ(r.code, 0) << r.err;
    const auto ev = decode(dir.file("rec.raw"));
    ASSERT_GT(ev.size(), 100000u);
    const double span = static_cast<double>(ev.back().timestamp - ev.front().timestamp);
    EXPECT_GT(span, 0.3e6);
    EXPECT_LT(span, 0.6e6);
}

TEST(Cli, FailuresAreOneLineNonZeroAndLeaveNoFile) {
    TempDir dir;
    const std::string in = dir.file("rec.raw");
    makeRecording(in);
    // A FIFO nobody writes to is refused at once instead of blocking the command forever.
    const std::string fifo = dir.file("pipe.raw");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const std::string out = " " + dir.file("o.raw"), mp4 = " " + dir.file("o.mp4");
    const std::pair<std::string, std::string> bad[] = {
        {"info " + fifo, ""},
        {"dump " + fifo, ""},
        {"cut " + fifo + out + " --from-us 0 --to-us 3", ""},
        {"export " + fifo + mp4 + " --from-us 0 --to-us 3", ""},
        {"info " + dir.file("missing.raw"), ""},
        {"info", ""},
        {"info " + in + " --bogus", ""},
        {"frobnicate x", ""},
        {"dump " + in + " --from-us 12x", ""},
        {"cut " + in + out + " --from-us 9 --to-us 3", ""},
        {"cut " + in + " " + dir.file("no/dir/o.raw") + " --from-us 0 --to-us 3000000", ""},
        {"convert " + in + " " + dir.file("o.txt"), ""},
        {"export " + in + mp4 + " --scheme Purple", "unknown colour scheme"},
        {"export " + in + mp4 + " --fps 0", "--fps"},
        {"export " + in + mp4 + " --fps ten", "--fps"},
        {"export " + in + mp4 + " --from-us 5 --to-us 4", "must not be after"},
        {"export " + in + mp4 + " --from-us x", "--from-us"},
        {"export " + in + mp4 + " --from-us 9000000000 --to-us 9100000000", "after the last event"},
        {"export " + in, "needs IN and OUT"},
        {"export " + dir.file("missing.raw") + mp4, "cannot read"},
        {"export " + in + mp4 + " --bogus 1", "unknown option"},
        {"export " + in + " " + dir.file("nodir/o.mp4"), "cannot create"},
        {"cameras --bogus", ""},
        {"record NOPE" + out + " --seconds 1", ""},
        {"record QVSIM-DVS-0001 /nonexistent/dir/x.raw --seconds 1", ""},
        {"simulate" + out + " --seconds 0", ""},
        {"simulate" + out + " --seconds 1 --scene nope", ""},
        {"simulate" + out + " --seconds 1 --geometry 12", ""},
        {"simulate" + out + " --seconds 1 --set roi.x=700", ""},
        {"simulate" + out + " --seconds 1 --set biases.bias_nope=1", ""},
        {"simulate" + out + " --seconds 1 --set roi", ""},
        {"simulate --fusion " + dir.file("x") + " --scene moon", "unknown scene"},
        {"simulate --fusion " + dir.file("x") + " --duration-s -1", "--duration-s"},
        {"simulate --fusion " + dir.file("x") + " --width 8", "--width"},
        {"simulate --fusion", "exactly one OUT"},
    };
    for (const auto& [args, text] : bad) {
        SCOPED_TRACE(args);
        const CliRun r = run(args, dir, "timeout 20");
        EXPECT_NE(r.code, 0);
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
        EXPECT_EQ(r.err.rfind("quorvel: error: ", 0), 0u) << r.err;
        EXPECT_NE(r.err.find(text), std::string::npos) << r.err;
    }
    for (const char* name : {"o.raw", "o.mp4", "x.raw", "x.mp4"})
        EXPECT_FALSE(std::filesystem::exists(dir.file(name))) << name;
    for (const std::string cmd : {"info", "dump", "cut", "index", "convert", "export"}) {
        const CliRun h = run(cmd + " --help", dir);
        EXPECT_EQ(h.code, 0);
        EXPECT_NE(h.out.find("usage: quorvel " + cmd), std::string::npos);
        EXPECT_NE(h.out.find(cmd == "export" ? "--scheme" : "sensor's own microseconds"), std::string::npos) << cmd;
    }
}
