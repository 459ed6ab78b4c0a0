#include "quorvel/raw/RawHeader.h"

#include <gtest/gtest.h>

#include <string>

using namespace quorvel;

namespace {
bool parse(const std::string& text, RawHeader& h, std::string& err, bool datHint = false) {
    return parseRawHeader(reinterpret_cast<const uint8_t*>(text.data()), text.size(), true, datHint, h, err);
}
} // namespace

TEST(RawHeader, PrecedenceFormatOverGeometryOverSystemId) {
    RawHeader h;
    std::string err;
    const std::string head = "% evt 2.0\n% system_ID 21\n% geometry 320x240\n% format EVT3;height=720;width=1280\n% end\n";
    ASSERT_TRUE(parse(head + "XY", h, err)) << err;
    EXPECT_EQ(h.encoding, RawEncoding::Evt3);
    EXPECT_EQ(h.width, 1280u);
    EXPECT_EQ(h.height, 720u);
    EXPECT_TRUE(h.hasEndLine);
    EXPECT_EQ(h.payloadOffset, head.size());

    ASSERT_TRUE(parse("% evt 3.0\n% system_ID 21\n% geometry 320x240\n", h, err)) << err;
    EXPECT_EQ(h.encoding, RawEncoding::Evt3);
    EXPECT_EQ(h.width, 320u);

    // Old files: only the camera family.
    ASSERT_TRUE(parse("% Date 2020-09-14 09:03:25\n% system_ID 48\n% evt 3.0\n\x00\x80", h, err)) << err;
    EXPECT_EQ(h.encoding, RawEncoding::Evt3);
    EXPECT_EQ(h.width, 1280u);
    EXPECT_EQ(h.height, 720u);
    EXPECT_EQ(h.date(), "2020-09-14 09:03:25");
    EXPECT_FALSE(h.hasEndLine);
    ASSERT_TRUE(parse("% system_ID 40\n", h, err)) << err;
    EXPECT_EQ(h.encoding, RawEncoding::Evt3);
    EXPECT_EQ(h.width, 640u);
    ASSERT_TRUE(parse("% system_ID 26\n", h, err)) << err; // 0x1A
    EXPECT_EQ(h.encoding, RawEncoding::Evt2);
    EXPECT_EQ(h.height, 720u);
}

TEST(RawHeader, LinesValuesAndDuplicates) {
    RawHeader h;
    std::string err;
    const std::string head = "% format EVT2;width=640;height=480\r\n% serial_number  ab   cd \r\n"
                             "% date 2021-01-01 10:00:00\n% Date 2022-02-02 11:11:11\n% serial_number final one\n";
    ASSERT_TRUE(parse(head + "%payload", h, err)) << err;
    EXPECT_EQ(h.serial(), "final one");
    EXPECT_EQ(h.date(), "2022-02-02 11:11:11"); // the later key wins, whatever its spelling
    EXPECT_EQ(h.encoding, RawEncoding::Evt2);
    EXPECT_EQ(h.payloadOffset, head.size()); // "%p" is not "% ": the payload starts there
}

TEST(RawHeader, Evt21ByteOrderRules) {
    RawHeader h;
    std::string err;
    ASSERT_TRUE(parse("% format EVT21;width=640;height=480;endianness=legacy\n% end\n", h, err));
    EXPECT_TRUE(h.evt21Legacy);
    ASSERT_TRUE(parse("% format EVT21;width=640;height=480\n% endianness little\n% system_ID 30\n% end\n", h, err));
    EXPECT_FALSE(h.evt21Legacy); // the key beats the camera family
    ASSERT_TRUE(parse("% evt 2.1\n% geometry 640x480\n% system_ID 30\n% end\n", h, err));
    EXPECT_TRUE(h.evt21Legacy); // old camera
    ASSERT_TRUE(parse("% evt 2.1\n% geometry 640x480\n% system_ID 60\n% end\n", h, err));
    EXPECT_FALSE(h.evt21Legacy);
}

TEST(RawHeader, RefusesWhatCannotBeDecodedWithAReason) {
    RawHeader h;
    std::string err;
    const std::pair<std::string, const char*> bad[] = {
        {"", "empty"}, {"\x01\x02\x03\x04", "not a recording"}, {"% evt 3.0\n% end\n", "geometry"},
        {"% geometry 640x480\n% end\n", "encoding"}, {"% format EVT9;width=1;height=1\n", "EVT9"},
        {"% evt 3.0\n% geometry 0x480\n", ""}, {"% evt 3.0\n% geometry 4096x4096\n", ""},
        {"% evt 3.0\n% geometry 640by480\n", ""},
        // Bytes of the file that are not printable come back as escapes, never raw.
        {"% format EV\x1b[2J\xff" "21;width=1;height=1\n", "'EV\\x1B[2J\\xFF21'"}};
    for (const auto& [text, why] : bad) {
        EXPECT_FALSE(parse(text, h, err)) << text;
        EXPECT_NE(err.find(why), std::string::npos) << text << ": " << err;
    }
    // A header cut short in a prefix asks for more bytes instead of guessing.
    bool more = false;
    const std::string partial = "% evt 3.0\n% geometry 64";
    EXPECT_FALSE(parseRawHeader(reinterpret_cast<const uint8_t*>(partial.data()), partial.size(), false, false, h, err, &more));
    EXPECT_TRUE(more);
}

TEST(RawHeader, DatFiles) {
    RawHeader h;
    std::string err;
    const std::string dat = std::string("% Data file containing Event2d events.\n% Version 2\n% end\n") + '\0' + '\x08';
    ASSERT_TRUE(parse(dat, h, err)) << err;
    EXPECT_EQ(h.encoding, RawEncoding::Dat);
    EXPECT_EQ(h.payloadOffset, dat.size());
    EXPECT_EQ(h.width, 0u); // unknown geometry is allowed for DAT
    ASSERT_TRUE(parse(std::string("% Width 304\n% Height 240\n") + '\0' + '\x08', h, err, true)) << err;
    EXPECT_EQ(h.width, 304u);
    EXPECT_FALSE(parse(std::string("% Version 2\n") + '\0' + '\x10', h, err));
    EXPECT_NE(err.find("size"), std::string::npos);
}

TEST(RawHeader, WrittenHeaderReadsBack) {
    const std::string text = makeRawHeaderText(RawEncoding::Evt3, 640, 480, "SN 1", "2024-05-06 07:08:09", 33554432);
    RawHeader h;
    std::string err;
    ASSERT_TRUE(parse(text, h, err)) << err;
    EXPECT_EQ(h.encoding, RawEncoding::Evt3);
    EXPECT_EQ(h.width, 640u);
    EXPECT_EQ(h.serial(), "SN 1");
    EXPECT_EQ(h.timeBaseUs, 33554432u);
    EXPECT_TRUE(h.hasEndLine);
    for (const char* key : {"evt", "format", "geometry", "date", "serial_number", "camera_integrator_name", "plugin_name"})
        EXPECT_TRUE(h.has(key)) << key;
    EXPECT_EQ(text.substr(text.size() - 6), "% end\n");
}
