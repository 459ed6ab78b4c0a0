// quorvel cameras / record / simulate, run as a user would run them.

#include "CliRun.h"
#include "ReadBack.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace quorvel;
using namespace quorvel::test;

namespace {

std::vector<Event2D> decode(const std::string& path) {
    ReadBack r = readBack(path);
    EXPECT_TRUE(r.opened) << r.error;
    return std::move(r.events);
}

} // namespace

TEST(CameraCli, CamerasListsTheVirtualCamerasAsTextAndJson) {
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
    EXPECT_EQ(run("cameras --bogus", dir).code, 1);
}

TEST(CameraCli, SimulateIsRepeatableAndAppliesTools) {
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

    for (const std::string bad : {"--seconds 0", "--seconds 1 --scene nope", "--seconds 1 --geometry 12", "--seconds 1 --set roi.x=700",
                                  "--seconds 1 --set biases.bias_nope=1", "--seconds 1 --set roi"}) {
        const CliRun r = run("simulate " + dir.file("bad.raw") + " " + bad, dir);
        EXPECT_EQ(r.code, 1) << bad;
        EXPECT_NE(r.err.find("error:"), std::string::npos) << bad;
    }
}

TEST(CameraCli, RecordWritesTheCameraForTheRequestedTime) {
    TempDir dir;
    const CliRun r = run("record QVSIM-DVS-0001 " + dir.file("rec.raw") + " --seconds 0.5 --set TirggerIn.channel_0_enable=true", dir);
    ASSERT_EQ(r.code, 0) << r.err;
    const auto ev = decode(dir.file("rec.raw"));
    ASSERT_GT(ev.size(), 100000u);
    const double span = static_cast<double>(ev.back().timestamp - ev.front().timestamp);
    EXPECT_GT(span, 0.3e6);
    EXPECT_LT(span, 0.6e6);
    EXPECT_EQ(run("record NOPE " + dir.file("x.raw") + " --seconds 1", dir).code, 1);
    EXPECT_EQ(run("record QVSIM-DVS-0001 /nonexistent/dir/x.raw --seconds 1", dir).code, 1);
}
