// `quorvel export`, run as a user would run it; the video is read back with the SDK's APS reader
// (the export's pixels are checked against FFmpeg directly in the driver tests).
#include "quorvel/ApsFileReader.h"
#include "CliRun.h"
#include "RawRecording.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

using namespace quorvel;
using namespace quorvel::test;

namespace {

// 64 x 32 sensor; every 10 ms a 16 x 16 block of ON events at the left, and at 50 ms one block of
// OFF events at the right. Events from 1 000 000 to 1 190 000 us.
void writeRecording(const std::string& path) {
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

} // namespace

TEST(CliExport, WritesTheRangeInTheChosenSchemeAndRate) {
    TempDir dir;
    writeRecording(dir.file("in.raw"));
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

TEST(CliExport, BadArgumentsFailWithOneLineAndNoFile) {
    TempDir dir;
    writeRecording(dir.file("in.raw"));
    const std::string in = dir.file("in.raw"), out = dir.file("out.mp4");
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"export " + in + " " + out + " --scheme Purple", "unknown colour scheme"},
        {"export " + in + " " + out + " --fps 0", "--fps"},
        {"export " + in + " " + out + " --fps ten", "--fps"},
        {"export " + in + " " + out + " --from-us 5 --to-us 4", "must not be after"},
        {"export " + in + " " + out + " --from-us x", "--from-us"},
        {"export " + in + " " + out + " --from-us 9000000 --to-us 9100000", "after the last event"},
        {"export " + in, "needs IN and OUT"},
        {"export " + dir.file("missing.raw") + " " + out, "cannot read"},
        {"export " + in + " " + out + " --bogus 1", "unknown option"},
        {"export " + in + " " + dir.file("nodir/out.mp4"), "cannot create"},
    };
    for (const auto& [args, text] : cases) {
        SCOPED_TRACE(args);
        const CliRun r = run(args, dir);
        EXPECT_EQ(r.code, 1);
        EXPECT_EQ(r.err.rfind("quorvel: error: ", 0), 0u) << r.err;
        EXPECT_NE(r.err.find(text), std::string::npos) << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    }
    EXPECT_FALSE(std::filesystem::exists(out));
    const CliRun help = run("export --help", dir);
    EXPECT_EQ(help.code, 0);
    EXPECT_NE(help.out.find("--scheme"), std::string::npos);
}

TEST(CliSimulate, FusionRecordingThatTheOtherCommandsRead) {
    TempDir dir;
    const CliRun r = run("simulate --fusion " + dir.file("sim.mp4") + " --duration-s 0.4 --scene bars --width 320 "
                                                                      "--height 240 --start-us 1000000",
                         dir);
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("12 APS frames, 400x300"), std::string::npos) << r.out;
    for (const char* ext : {".raw", ".mp4", ".json"})
        EXPECT_TRUE(std::filesystem::exists(dir.file(std::string("sim") + ext))) << ext;
    auto v = ApsFileReader::createFileReader(dir.file("sim.mp4"));
    ASSERT_TRUE(v);
    EXPECT_EQ(v->getApsTimeOffset(), 1'000'000u);
    EXPECT_EQ(v->getFrameCount(), 12u);
    const CliRun info = run("info " + dir.file("sim.raw"), dir);
    EXPECT_EQ(info.code, 0) << info.err;
    EXPECT_NE(info.out.find("320x240"), std::string::npos);

    for (const auto& [args, text] : std::vector<std::pair<std::string, std::string>>{
             {"simulate --fusion " + dir.file("x") + " --scene moon", "unknown scene"},
             {"simulate --fusion " + dir.file("x") + " --duration-s -1", "--duration-s"},
             {"simulate --fusion " + dir.file("x") + " --width 8", "--width"},
             {"simulate --fusion", "exactly one OUT"},
         }) {
        SCOPED_TRACE(args);
        const CliRun bad = run(args, dir);
        EXPECT_EQ(bad.code, 1);
        EXPECT_NE(bad.err.find(text), std::string::npos) << bad.err;
    }
    EXPECT_FALSE(std::filesystem::exists(dir.file("x.raw")));
}
