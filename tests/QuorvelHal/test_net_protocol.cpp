// Wire formats of Ethernet cameras: what each parser accepts, what it refuses and why, and the
// loss accounting that rests on sequence numbers.

#include "quorvel/NetUtils.h"
#include "quorvel/net/NetProtocol.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace quorvel;
using namespace quorvel::net;

namespace {

std::vector<uint8_t> rawDatagram(uint8_t type, const std::string& body, uint32_t magic = kDatagramMagic, uint8_t version = 1) {
    std::vector<uint8_t> d(kDatagramHeaderSize + body.size());
    std::memcpy(d.data(), &magic, 4);
    d[4] = version;
    d[5] = type;
    std::memcpy(d.data() + kDatagramHeaderSize, body.data(), body.size());
    return d;
}

bool parses(const std::vector<uint8_t>& d, std::string& error) {
    Datagram out;
    error.clear();
    return parseDatagram(d.data(), d.size(), out, error);
}

CameraAnnouncement sampleAnnouncement() {
    return {"NET-1", "Quorvel", "Tarnix", "Tarnix_V1.7.2", "02:51:aa:bb:cc:dd", "127.0.0.5", "255.0.0.0", "0.0.0.0",
            47001, 1280, 720, true, 1, 2};
}

} // namespace

TEST(NetDatagram, RejectsMalformedInputWithAReason) {
    std::string err;
    auto good = encodeAnnounce(1, sampleAnnouncement());
    const std::pair<std::vector<uint8_t>, const char*> bad[] = {
        {{good.begin(), good.begin() + 11}, "shorter"},
        {rawDatagram(1, "{}", 0x12345678), "magic"},
        {rawDatagram(1, "{}", kDatagramMagic, 2), "version"},
        {rawDatagram(9, "{}"), "type"},
        {rawDatagram(1, std::string(kMaxDatagram, ' ')), "exceeds"},
        {rawDatagram(1, "[1,2]"), ""},
        {rawDatagram(1, "{\"a\":"), "malformed"},
        {rawDatagram(1, std::string(40, '[') + std::string(40, ']')), "nested"},
    };
    for (const auto& [bytes, why] : bad) {
        EXPECT_FALSE(parses(bytes, err)) << why;
        EXPECT_NE(err.find(why), std::string::npos) << why << ": " << err;
    }

    // Field checks of an announcement: each broken field is named.
    auto withField = [](const char* key, const std::string& json) {
        const auto b = encodeAnnounce(1, sampleAnnouncement());
        std::string body(b.begin() + kDatagramHeaderSize, b.end());
        Json j = Json::parse(body);
        j[key] = Json::parse(json);
        return rawDatagram(2, j.dump());
    };
    EXPECT_FALSE(parses(withField("ip", "\"127.0.0.256\""), err));
    EXPECT_NE(err.find("'ip'"), std::string::npos);
    EXPECT_FALSE(parses(withField("port", "0"), err));
    EXPECT_FALSE(parses(withField("port", "70000"), err));
    EXPECT_FALSE(parses(withField("width", "-1"), err));
    EXPECT_FALSE(parses(withField("busy", "1"), err));
    EXPECT_FALSE(parses(withField("index", "2"), err)); // not below count
    EXPECT_FALSE(parses(withField("serial", "\"\""), err));
    EXPECT_FALSE(parses(withField("product", "\"" + std::string(65, 'x') + "\""), err));
    EXPECT_NE(err.find("longer"), std::string::npos);
    EXPECT_FALSE(parses(rawDatagram(3, R"({"serial":"A","mac":"","ip":"1.2.3","mask":"255.0.0.0","gateway":"0.0.0.0"})"), err));
    EXPECT_FALSE(parses(rawDatagram(4, R"({"serial":"A"})"), err));
}

TEST(NetDatagram, IpConfigurationChecks) {
    auto ok = [](const char* ip, const char* mask, const char* gw) {
        std::string e;
        return validateIpConfig(*parseIPv4(ip), *parseIPv4(mask), *parseIPv4(gw), e);
    };
    EXPECT_TRUE(ok("192.168.1.10", "255.255.255.0", "192.168.1.1"));
    EXPECT_TRUE(ok("127.0.0.42", "255.0.0.0", "0.0.0.0"));
    EXPECT_TRUE(ok("10.0.0.5", "255.255.255.255", "0.0.0.0"));
    EXPECT_FALSE(ok("192.168.1.10", "255.0.255.0", "0.0.0.0"));     // holes in the mask
    EXPECT_FALSE(ok("192.168.1.10", "0.0.0.0", "0.0.0.0"));         // no mask
    EXPECT_FALSE(ok("192.168.1.0", "255.255.255.0", "0.0.0.0"));    // network address
    EXPECT_FALSE(ok("192.168.1.255", "255.255.255.0", "0.0.0.0"));  // broadcast address
    EXPECT_FALSE(ok("224.0.0.1", "255.0.0.0", "0.0.0.0"));          // multicast
    EXPECT_FALSE(ok("0.1.2.3", "255.0.0.0", "0.0.0.0"));
    EXPECT_FALSE(ok("192.168.1.10", "255.255.255.0", "192.168.2.1")); // gateway elsewhere
    EXPECT_FALSE(ok("192.168.1.10", "255.255.255.0", "192.168.1.10")); // gateway is itself
}

TEST(NetControl, ReassemblesFramesFromAnyChunkingAndRefusesBadStreams) {
    std::vector<uint8_t> stream;
    for (int i = 0; i < 3; ++i) {
        const auto f = encodeControl({{"op", "set"}, {"id", i}, {"text", std::string(100 * i, 'x')}});
        stream.insert(stream.end(), f.begin(), f.end());
    }
    for (size_t chunk : {size_t{1}, size_t{7}, stream.size()}) {
        ControlReader r;
        std::vector<int> ids;
        for (size_t off = 0; off < stream.size(); off += chunk) {
            ASSERT_TRUE(r.feed(stream.data() + off, std::min(chunk, stream.size() - off))) << r.error();
            Json m;
            while (r.next(m))
                ids.push_back(m["id"].get<int>());
        }
        EXPECT_EQ(ids, (std::vector<int>{0, 1, 2})) << "chunk " << chunk;
        EXPECT_EQ(r.buffered(), 0u);
    }

    auto refuse = [](std::vector<uint8_t> bytes, const char* why) {
        ControlReader r;
        EXPECT_FALSE(r.feed(bytes.data(), bytes.size()));
        EXPECT_NE(r.error().find(why), std::string::npos) << r.error();
        EXPECT_FALSE(r.feed(bytes.data(), bytes.size())); // stays failed
    };
    auto frame = [](const std::string& body, uint32_t len) {
        std::vector<uint8_t> f(kControlHeaderSize + body.size());
        const uint32_t magic = kControlMagic;
        std::memcpy(f.data(), &magic, 4);
        std::memcpy(f.data() + 4, &len, 4);
        std::memcpy(f.data() + 8, body.data(), body.size());
        return f;
    };
    // A huge announced length is refused from the header alone, before any body is buffered.
    refuse(frame("", 0xFFFFFFF0u), "exceeds");
    refuse(frame("{}", 2), "'op'");
    refuse(frame("{\"op\":5}", 8), "'op'");
    refuse(frame("nope", 4), "malformed");
    const std::string deep = "{\"op\":\"x\",\"a\":" + std::string(100, '[') + std::string(100, ']') + "}";
    refuse(frame(deep, static_cast<uint32_t>(deep.size())), "nested");
    auto bad = encodeControl({{"op", "x"}});
    bad[0] ^= 0xFF;
    refuse(bad, "magic");
    // Brackets inside strings are text, not nesting.
    ControlReader r;
    const auto quoted = encodeControl({{"op", "x"}, {"t", std::string(100, '[') + "\"\\"}});
    EXPECT_TRUE(r.feed(quoted.data(), quoted.size())) << r.error();
}

namespace {

struct Decoded {
    std::vector<Event2D> events;
    std::vector<EventTriggerIn> triggers;
};

std::vector<Event2D> sampleEvents(uint64_t t0, size_t n) {
    std::vector<Event2D> ev;
    for (size_t i = 0; i < n; ++i)
        ev.emplace_back(static_cast<uint16_t>((i * 37) % 640), static_cast<uint16_t>((i * 11) % 480), static_cast<uint8_t>(i & 1),
                        t0 + i * 3);
    return ev;
}

} // namespace

TEST(NetPacket, EachPacketDecodesOnItsOwnAcrossClockWraps) {
    PacketEncoder enc(640, 480);
    // The second packet starts past a 2^24 µs wrap: its own time base must carry it.
    const auto a = sampleEvents(1000, 5000);
    const auto b = sampleEvents((uint64_t{1} << 24) * 3 + 123, 4000);
    const std::vector<EventTriggerIn> tr = {EventTriggerIn(0, 1, (uint64_t{1} << 24) * 3 + 200)};
    std::vector<uint8_t> bytes;
    PacketHeader h;
    h.streamId = 4;
    enc.encode(h, a.data(), a.data() + a.size(), nullptr, nullptr, bytes);
    const size_t firstSize = bytes.size();
    h.seq = 1;
    h.firstEventIndex = a.size();
    enc.encode(h, b.data(), b.data() + b.size(), tr.data(), tr.data() + 1, bytes);

    // Decode only the second packet, as after losing the first.
    PacketHeader got;
    std::string err;
    ASSERT_TRUE(parsePacketHeader(bytes.data() + firstSize, bytes.size() - firstSize, got, err)) << err;
    EXPECT_EQ(got.seq, 1u);
    EXPECT_EQ(got.eventCount, 4000u);
    EXPECT_EQ(got.triggerCount, 1u);
    PacketDecoder dec(640, 480);
    Decoded out;
    ASSERT_TRUE(dec.decode(got, bytes.data() + firstSize + kPacketHeaderSize, out.events, out.triggers, err)) << err;
    ASSERT_EQ(out.events.size(), b.size());
    for (size_t i = 0; i < b.size(); ++i)
        ASSERT_TRUE(out.events[i].x == b[i].x && out.events[i].y == b[i].y && out.events[i].timestamp == b[i].timestamp) << i;
    ASSERT_EQ(out.triggers.size(), 1u);
    EXPECT_EQ(out.triggers[0].timestamp, tr[0].timestamp);
}

TEST(NetPacket, RefusesHeadersAndPayloadsThatDisagree) {
    PacketEncoder enc(640, 480);
    const auto ev = sampleEvents(50, 100);
    std::vector<uint8_t> bytes;
    enc.encode(PacketHeader{}, ev.data(), ev.data() + ev.size(), nullptr, nullptr, bytes);
    PacketHeader h;
    std::string err;
    ASSERT_TRUE(parsePacketHeader(bytes.data(), bytes.size(), h, err));
    EXPECT_FALSE(parsePacketHeader(bytes.data(), kPacketHeaderSize - 1, h, err));

    auto corrupt = [&](size_t at, uint8_t x) {
        auto c = bytes;
        c[at] ^= x;
        PacketHeader ch;
        std::string e;
        const bool ok = parsePacketHeader(c.data(), c.size(), ch, e);
        return ok ? std::string() : e;
    };
    EXPECT_NE(corrupt(0, 1).find("magic"), std::string::npos);
    EXPECT_NE(corrupt(16, 1).find("checksum"), std::string::npos);
    EXPECT_NE(corrupt(4, 1).find("version"), std::string::npos);

    // Header fields rewritten with a valid checksum: the sizes must still be possible.
    auto rewritten = [&](auto change) {
        PacketHeader x = h;
        change(x);
        std::vector<uint8_t> c(kPacketHeaderSize);
        writePacketHeader(x, c.data());
        PacketHeader out;
        std::string e;
        return parsePacketHeader(c.data(), c.size(), out, e) ? std::string() : e;
    };
    EXPECT_NE(rewritten([](PacketHeader& x) { x.payloadBytes = kMaxPacketPayload + 2; }).find("exceeds"), std::string::npos);
    EXPECT_NE(rewritten([](PacketHeader& x) { x.payloadBytes = 3; }).find("odd"), std::string::npos);
    EXPECT_NE(rewritten([](PacketHeader& x) { x.eventCount = x.payloadBytes * 6 + 1; }).find("counts"), std::string::npos);
    // Even a payload that could hold them may not announce more events than a receiver buffers.
    EXPECT_NE(rewritten([](PacketHeader& x) { x.payloadBytes = 1u << 20; x.eventCount = kMaxPacketEvents + 1; }).find("counts"),
              std::string::npos);
    EXPECT_NE(rewritten([](PacketHeader& x) { x.timeBase = 5; }).find("time base"), std::string::npos);

    // A header that promises other counts than the payload holds.
    PacketDecoder dec(640, 480);
    std::vector<Event2D> out;
    std::vector<EventTriggerIn> tr;
    PacketHeader wrong = h;
    wrong.eventCount = 99;
    EXPECT_FALSE(dec.decode(wrong, bytes.data() + kPacketHeaderSize, out, tr, err));
    EXPECT_TRUE(out.empty());
    wrong.eventCount = 101;
    EXPECT_FALSE(dec.decode(wrong, bytes.data() + kPacketHeaderSize, out, tr, err));
    // Events beyond a smaller sensor are refused, not passed on.
    PacketDecoder small(100, 100);
    EXPECT_FALSE(small.decode(h, bytes.data() + kPacketHeaderSize, out, tr, err));
    EXPECT_NE(err.find("outside"), std::string::npos);
    EXPECT_TRUE(dec.decode(h, bytes.data() + kPacketHeaderSize, out, tr, err)) << err;
    EXPECT_EQ(out.size(), 100u);
}

TEST(NetSequence, CountsGapsSkipsStaleStreamsAndRefusesGoingBack) {
    SequenceTracker t;
    t.reset(2);
    std::string err;
    auto packet = [](uint32_t stream, uint64_t seq, uint64_t first, uint32_t n) {
        PacketHeader h;
        h.streamId = stream;
        h.seq = seq;
        h.firstEventIndex = first;
        h.eventCount = n;
        return h;
    };
    using V = SequenceTracker::Verdict;
    EXPECT_EQ(t.onPacket(packet(2, 0, 0, 10), err), V::Accept);
    EXPECT_EQ(t.onPacket(packet(1, 7, 70, 10), err), V::Stale); // from before the restart
    EXPECT_EQ(t.onPacket(packet(2, 1, 10, 10), err), V::Accept);
    EXPECT_EQ(t.lostPackets(), 0u);
    EXPECT_EQ(t.onPacket(packet(2, 4, 45, 5), err), V::Accept); // packets 2 and 3 (35 events) lost
    EXPECT_EQ(t.lostPackets(), 2u);
    EXPECT_EQ(t.lostEvents(), 25u);
    EXPECT_EQ(t.onPacket(packet(2, 4, 50, 5), err), V::Invalid); // repeated number
    EXPECT_EQ(t.onPacket(packet(2, 5, 49, 5), err), V::Invalid); // event index going back
    EXPECT_EQ(t.onPacket(packet(2, 5, 60, 5), err), V::Invalid); // events skipped, no packet skipped
    // Events the camera itself lost are skipped in the index and named by the next packet: the
    // camera's share, never network loss; more than it names is still invalid without a packet gap.
    PacketHeader overflow = packet(2, 5, 1050, 5);
    overflow.cameraLost = 1000;
    EXPECT_EQ(t.onPacket(overflow, err), V::Accept) << err;
    EXPECT_EQ(t.cameraLostEvents(), 1000u);
    EXPECT_EQ(t.lostEvents(), 25u);
    overflow = packet(2, 6, 1100, 5);
    overflow.cameraLost = 10;
    EXPECT_EQ(t.onPacket(overflow, err), V::Invalid);
    // A camera loss announced after lost packets: both shares counted.
    overflow = packet(2, 8, 1200, 5);
    overflow.cameraLost = 50;
    EXPECT_EQ(t.onPacket(overflow, err), V::Accept) << err;
    EXPECT_EQ(t.cameraLostEvents(), 1050u);
    EXPECT_EQ(t.lostEvents(), 25u + 95u);
    EXPECT_EQ(t.lostPackets(), 4u);
    // The field crosses the wire.
    std::vector<uint8_t> wire(kPacketHeaderSize);
    overflow.payloadBytes = 64;
    writePacketHeader(overflow, wire.data());
    PacketHeader back;
    ASSERT_TRUE(parsePacketHeader(wire.data(), wire.size(), back, err)) << err;
    EXPECT_EQ(back.cameraLost, 50u);
    // A heartbeat that announced more than arrived settles the difference once.
    t.settle(12, 1400);
    EXPECT_EQ(t.lostPackets(), 7u);
    EXPECT_EQ(t.lostEvents(), 120u + 195u);
    t.settle(12, 1400);
    EXPECT_EQ(t.lostPackets(), 7u);
    t.settle(3, 10); // older than what arrived: nothing lost
    EXPECT_EQ(t.lostPackets(), 7u);
}
