#include "quorvel/JsonUtils.h"
#include "quorvel/NetUtils.h"
#include "quorvel/TimeUtils.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

using namespace quorvel;
namespace fs = std::filesystem;

TEST(NetUtils, ParsesOnlyWellFormedAddresses) {
    EXPECT_EQ(parseIPv4("192.168.1.10"), 0xC0A8010Au);
    EXPECT_EQ(parseIPv4(" 10.0.0.1\n"), 0x0A000001u);
    EXPECT_EQ(parseIPv4("255.255.255.255"), 0xFFFFFFFFu);
    EXPECT_EQ(static_cast<uint32_t>(stringToIP("255.255.255.0")), 0xFFFFFF00u);
    for (const char* bad : {"", "1.2.3", "1.2.3.4.5", "256.1.1.1", "1..2.3", "1.2.3.", "-1.2.3.4",
                            "a.b.c.d", "1.2.3.4x", "1 .2.3.4", "0001.2.3.4"})
        EXPECT_FALSE(parseIPv4(bad).has_value()) << bad;
    EXPECT_EQ(stringToIP("nonsense"), 0);
    EXPECT_EQ(ipToString(0xC0A8010Au), "192.168.1.10");
}

TEST(TimeUtils, HeaderDatesRoundTripInLocalTime) {
    setenv("TZ", "Asia/Shanghai", 1);
    tzset();
    std::chrono::system_clock::time_point tp;
    ASSERT_TRUE(parseLocalDateTime("2024-03-05 14:07:09", tp));
    EXPECT_EQ(formatLocalDateTime(tp), "2024-03-05 14:07:09");
    EXPECT_EQ(std::chrono::system_clock::to_time_t(tp), 1709618829); // 06:07:09 UTC
    EXPECT_EQ(timePointToString(tp + std::chrono::microseconds(123999)), "2024-03-05 14:07:09.123");
    for (const char* bad : {"", "2024-03-05", "2024-13-01 00:00:00", "2024-03-05 25:00:00", "yesterday",
                            "2024-03-05 14:07:09x", "4040-09-14 09:03:25"})
        EXPECT_FALSE(parseLocalDateTime(bad, tp)) << bad;
    unsetenv("TZ");
    tzset();
}

TEST(JsonUtils, ReadWriteAndFailures) {
    const fs::path dir = fs::temp_directory_path() / ("qv_json_" + std::to_string(::getpid()));
    fs::create_directories(dir);
    const std::string file = (dir / "cfg.json").string();

    Json doc = {{"Biases", {{"bias_diff_on", 12}}}, {"ROI", {{"enable", false}}}};
    std::string err;
    ASSERT_TRUE(writeJsonFile(file, doc, &err)) << err;
    Json back;
    ASSERT_TRUE(readJsonFile(file, back, &err)) << err;
    EXPECT_EQ(back, doc);
    EXPECT_EQ(jsonValueOr(back["Biases"], "bias_diff_on", 0), 12);
    EXPECT_EQ(jsonValueOr(back["Biases"], "missing", 5), 5);
    EXPECT_EQ(jsonValueOr<std::string>(back["Biases"], "bias_diff_on", "x"), "x"); // wrong type
    EXPECT_FALSE(jsonValueOr(back["ROI"], "enable", true));

    std::ofstream(dir / "bad.json") << "{\"a\": [1, 2";
    EXPECT_FALSE(readJsonFile((dir / "bad.json").string(), back, &err));
    EXPECT_NE(err.find("bad.json"), std::string::npos);
    EXPECT_FALSE(readJsonFile((dir / "none.json").string(), back, &err));

    // A folder that cannot be written leaves no stray temporary and reports the failure.
    EXPECT_FALSE(writeJsonFile((dir / "no_such_dir" / "x.json").string(), doc, &err));
    fs::remove_all(dir);
}
