// Ethernet cameras end to end: real quorvel-camd processes on 127.0.0.x addresses, found by
// discovery, opened through the manager, streamed, reconfigured, moved to a new address and
// killed. Every address used here is loopback; discovery goes only to the listed addresses.

#include "CamdProcess.h"
#include "quorvel/DvsCameraManager.h"
#include "quorvel/NetUtils.h"
#include "quorvel/net/NetProtocol.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

using namespace quorvel;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

/// A camera daemon of this build on a loopback address.
class Daemon : public quorvel::test::CamdProcess {
public:
    Daemon(const std::string& ip, uint16_t port, std::vector<std::string> args)
        : CamdProcess(QV_CAMD_PATH, ip, port, std::move(args)) {}
};

void setTargets(const std::string& list) {
    ::setenv("QUORVEL_DISCOVERY_ADDRS", list.c_str(), 1);
    ::unsetenv("QUORVEL_DISCOVERY_BROADCAST");
    ::setenv("QUORVEL_VIRTUAL_CAMERAS", "0", 1);
}

std::vector<CameraDescription> network(DvsCameraManager& m) {
    std::vector<CameraDescription> out;
    for (auto& d : m.getCameraDescs())
        if (d.interfaceType == CAMERA_INTERFACE_ETHERNET)
            out.push_back(d);
    return out;
}

/// Discovers until `serials` are all listed or 5 s pass (daemons need a moment to bind).
std::vector<CameraDescription> waitFor(DvsCameraManager& m, const std::vector<std::string>& serials) {
    std::vector<CameraDescription> found;
    for (const auto deadline = Clock::now() + 5s; Clock::now() < deadline; std::this_thread::sleep_for(50ms)) {
        found = network(m);
        size_t hits = 0;
        for (auto& s : serials)
            for (auto& d : found)
                hits += d.serial == s;
        if (hits == serials.size())
            break;
    }
    return found;
}

const CameraDescription* bySerial(const std::vector<CameraDescription>& list, const std::string& serial) {
    for (auto& d : list)
        if (d.serial == serial)
            return &d;
    return nullptr;
}

/// Points the manager at the daemon, waits for it to announce `serial`, and opens that camera.
std::shared_ptr<DvsCamera> discoverAndOpen(DvsCameraManager& m, const Daemon& d, const std::string& serial) {
    setTargets(d.target());
    EXPECT_EQ(waitFor(m, {serial}).size(), 1u);
    auto cam = m.openCamera(serial);
    EXPECT_TRUE(cam) << DvsCameraManager::lastError();
    return cam;
}

template <typename F>
bool eventually(F&& f, std::chrono::milliseconds limit) {
    for (const auto deadline = Clock::now() + limit; Clock::now() < deadline; std::this_thread::sleep_for(10ms))
        if (f())
            return true;
    return f();
}

/// Every statistics report of a camera, kept for the test thread.
struct StatsLog {
    std::mutex mu;
    std::vector<QvStatisticInfo> all;
    explicit StatsLog(DvsCamera& cam) {
        cam.setStatisticInfoCallback([this](QvStatisticInfo s) {
            std::lock_guard l(mu);
            all.push_back(s);
        });
    }
};

sockaddr_in loopback(const std::string& ip, uint16_t port) {
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(port);
    a.sin_addr.s_addr = htonl(*parseIPv4(ip));
    return a;
}

/// A raw control connection, for what the manager never does on purpose (a second controller).
Json rawRequest(const std::string& ip, uint16_t port, const Json& msg) {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in a = loopback(ip, port);
    Json reply;
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&a), sizeof a) == 0) {
        const auto bytes = net::encodeControl(msg);
        ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        net::ControlReader reader;
        uint8_t buf[65536];
        for (int i = 0; i < 40 && !reader.next(reply); ++i) {
            pollfd p{fd, POLLIN, 0};
            if (::poll(&p, 1, 100) == 1) {
                const ssize_t n = ::recv(fd, buf, sizeof buf, 0);
                if (n <= 0 || !reader.feed(buf, static_cast<size_t>(n)))
                    break;
            }
        }
    }
    ::close(fd);
    return reply;
}

} // namespace

TEST(NetCameras, SeveralDaemonsAreDiscoveredWithTheirIdentitiesAndAddresses) {
    Daemon a("127.0.0.31", 47131, {"--serial", "NET-A1", "--firmware", "QV640_V2.2.0"});
    Daemon b("127.0.0.32", 47132, {"--serial", "NET-B1", "--fusion", "--firmware", "Tarnix_V1.7.1", "--serial", "NET-B2"});
    // .33 has nobody: discovery must not wait for it.
    setTargets(a.target() + "," + b.target() + ",127.0.0.33:47133");
    DvsCameraManager m;
    auto found = waitFor(m, {"NET-A1", "NET-B1", "NET-B2"});
    ASSERT_EQ(found.size(), 3u);
    const auto* da = bySerial(found, "NET-A1");
    const auto* db = bySerial(found, "NET-B1");
    const auto* db2 = bySerial(found, "NET-B2");
    ASSERT_TRUE(da && db && db2);
    EXPECT_EQ(da->ip, "127.0.0.31");
    EXPECT_EQ(db->ip, "127.0.0.32");
    EXPECT_EQ(db2->ip, "127.0.0.32");
    EXPECT_EQ(da->localIp, "127.0.0.1");
    EXPECT_EQ(da->mask, "255.0.0.0");
    EXPECT_EQ(da->gateway, "0.0.0.0");
    EXPECT_EQ(da->firmware, "QV640_V2.2.0");
    EXPECT_EQ(db->firmware, "Tarnix_V1.7.1");
    EXPECT_EQ(db->product, "Tarnix");
    EXPECT_NE(db2->product, "Tarnix");
    EXPECT_EQ(da->width, 640);
    EXPECT_EQ(db->width, 1280);
    EXPECT_NE(da->mac, db->mac);
    EXPECT_EQ(da->mac.size(), 17u);
    // The application's same-subnet check passes for these descriptions.
    EXPECT_EQ(stringToIP(da->ip) & stringToIP(da->mask), stringToIP(da->localIp) & stringToIP(da->mask));

    // Discovery of live daemons answers well within a second.
    const auto t0 = Clock::now();
    EXPECT_EQ(network(m).size(), 3u);
    EXPECT_LT(Clock::now() - t0, 1s);

    // A fusion network camera opens as one and reports the daemon's firmware.
    auto fusion = m.openFusionCamera("NET-B1");
    ASSERT_TRUE(fusion) << DvsCameraManager::lastError();
    EXPECT_EQ(fusion->getFirmwareVersion(), "Tarnix_V1.7.1");
    EXPECT_TRUE(fusion->getTool(TOOL_APS));
    EXPECT_FALSE(m.openFusionCamera("NET-A1"));
}

TEST(NetCameras, OpenStreamChangeParametersAndRefuseASecondController) {
    Daemon d("127.0.0.35", 47135, {"--serial", "NET-S1", "--scene", "busy"});
    DvsCameraManager m;
    auto cam = discoverAndOpen(m, d, "NET-S1");
    ASSERT_TRUE(cam);
    EXPECT_EQ(cam->getDescription().interfaceType, CAMERA_INTERFACE_ETHERNET);
    EXPECT_EQ(cam->getWidth(), 640);
    EXPECT_EQ(m.openCamera("NET-S1")->core(), cam->core()); // opening again gives the same camera

    // While this host holds the camera, another controller is refused.
    const Json refused = rawRequest("127.0.0.35", 47135, {{"op", "open"}, {"id", 7}, {"serial", "NET-S1"}});
    EXPECT_EQ(refused.value("ok", true), false);
    EXPECT_NE(refused.value("error", std::string()).find("already controlled"), std::string::npos);

    // Tools come over the control channel; a change is applied by the daemon and a bad value is
    // refused there without touching the mirror.
    auto erc = cam->getTool(TOOL_EVENT_RATE_CONTROL);
    ASSERT_TRUE(erc);
    std::map<std::string, BasicParameterInfo> params;
    erc->getAllParamsInfo(params);
    ASSERT_FALSE(params.empty());
    auto roi = cam->getTool(TOOL_ROI);
    ASSERT_TRUE(roi);

    std::atomic<uint64_t> seen{0};
    StatsLog stats(*cam);
    const int cb = cam->addEventsCallback([&](const Event2D* b, const Event2D* e) {
        for (const Event2D* p = b; p != e; ++p)
            ASSERT_TRUE(p->x < 640 && p->y < 480);
        seen += static_cast<uint64_t>(e - b);
    });
    ASSERT_EQ(cam->start(), 0) << cam->lastError();
    ASSERT_TRUE(eventually([&] { return seen > 1000; }, 5s));
    std::vector<Event2D> pulled;
    ASSERT_TRUE(eventually([&] { return cam->getEvents(pulled) && !pulled.empty(); }, 3s));
    for (size_t i = 1; i < pulled.size(); ++i)
        ASSERT_LE(pulled[i - 1].timestamp, pulled[i].timestamp);
    ASSERT_TRUE(eventually([&] { std::lock_guard l(stats.mu); return !stats.all.empty(); }, 3s));
    {
        std::lock_guard l(stats.mu);
        const QvStatisticInfo& last = stats.all.back();
        EXPECT_GT(last.eventRate, 0u);
        EXPECT_GT(last.bandwidth, 0u);
        // Bandwidth is what the EVT 3.0 stream really took: a few bytes per event at most.
        EXPECT_LT(last.bandwidth, last.eventRate * 6 + 65536);
        EXPECT_EQ(last.lostPackets, 0u);
    }

    // A region of interest set over the network limits what arrives.
    const std::string path = ::testing::TempDir() + "/net_roi.json";
    {
        std::ofstream f(path);
        f << R"({"ROI": {"enable": true, "x": 10, "y": 20, "width": 300, "height": 200}})";
    }
    {
        ASSERT_TRUE(cam->loadCameraConfigParams(path)) << cam->lastError();
        bool enabled = false;
        ASSERT_TRUE(roi->getBoolParam("enable", enabled));
        EXPECT_TRUE(enabled);
        // Events already on their way keep arriving for a moment (more so on a loaded machine);
        // then everything is inside the window.
        size_t outside = 0, inside = 0;
        EXPECT_TRUE(eventually([&] {
            if (!cam->getEvents(pulled))
                return false;
            outside = inside = 0;
            for (const Event2D& e : pulled)
                (e.x < 10 || e.x >= 310 || e.y < 20 || e.y >= 220 ? outside : inside)++;
            return outside == 0 && inside > 0;
        }, 8s)) << outside << " events outside the window";
        // x = 400 is within x's own range, but the window would reach past the sensor: only the
        // daemon's whole-tool check can refuse it, and the mirror must keep its value.
        int x = -1;
        EXPECT_FALSE(roi->setIntParam("x", 400));
        ASSERT_TRUE(roi->getIntParam("x", x));
        EXPECT_EQ(x, 10);
    }

    // Export goes to the daemon and reflects what it holds.
    const std::string exported = ::testing::TempDir() + "/net_export.json";
    ASSERT_TRUE(cam->exportCameraConfigParams(exported)) << cam->lastError();
    Json doc;
    ASSERT_TRUE(readJsonFile(exported, doc));
    EXPECT_TRUE(doc.contains("EventRateControl"));
    EXPECT_EQ(doc["ROI"]["x"], 10);

    EXPECT_TRUE(cam->removeEventsCallback(cb));
    EXPECT_TRUE(cam->stop());
    EXPECT_TRUE(cam->isConnected());
    // The stream starts again after a stop.
    seen = 0;
    cam->addEventsCallback([&](const Event2D* b, const Event2D* e) { seen += static_cast<uint64_t>(e - b); });
    ASSERT_EQ(cam->start(), 0);
    EXPECT_TRUE(eventually([&] { return seen > 0; }, 5s));
    cam->stop();

    // Closing the camera frees it for another controller.
    cam.reset();
    Json ok;
    EXPECT_TRUE(eventually([&] {
        ok = rawRequest("127.0.0.35", 47135, {{"op", "open"}, {"id", 8}, {"serial", "NET-S1"}});
        return ok.value("ok", false);
    }, 3s)) << ok.dump();
}

TEST(NetCameras, ForceIpMovesTheCameraToTheNewAddressOnly) {
    Daemon d("127.0.0.41", 47141, {"--serial", "NET-F1"});
    setTargets(d.target() + ",127.0.0.42:47141");
    DvsCameraManager m;
    auto found = waitFor(m, {"NET-F1"});
    ASSERT_EQ(found.size(), 1u);
    const CameraDescription desc = found[0];

    // Refused configurations change nothing.
    EXPECT_FALSE(DvsCameraManager::ethCameraForceIP(desc, stringToIP("127.0.0.42"), stringToIP("255.0.255.0"), 0));
    EXPECT_FALSE(DvsCameraManager::lastError().empty());
    EXPECT_FALSE(DvsCameraManager::ethCameraForceIP(desc, stringToIP("127.255.255.255"), stringToIP("255.0.0.0"), 0));
    CameraDescription wrongMac = desc;
    wrongMac.mac = "02:00:00:00:00:01";
    EXPECT_FALSE(DvsCameraManager::ethCameraForceIP(wrongMac, stringToIP("127.0.0.42"), stringToIP("255.0.0.0"), 0));
    EXPECT_NE(DvsCameraManager::lastError().find("does not match"), std::string::npos) << DvsCameraManager::lastError();
    CameraDescription usb = desc;
    usb.interfaceType = CAMERA_INTERFACE_USB;
    EXPECT_FALSE(DvsCameraManager::ethCameraForceIP(usb, stringToIP("127.0.0.42"), stringToIP("255.0.0.0"), 0));
    ASSERT_EQ(network(m).at(0).ip, "127.0.0.41");

    // While a host holds the camera its address stays.
    {
        auto cam = m.openCamera("NET-F1");
        ASSERT_TRUE(cam);
        EXPECT_FALSE(DvsCameraManager::ethCameraForceIP(desc, stringToIP("127.0.0.42"), stringToIP("255.0.0.0"), 0));
    }

    bool moved = false;
    for (int i = 0; i < 20 && !moved; ++i) { // the daemon frees the camera when the host's link closes
        moved = DvsCameraManager::ethCameraForceIP(desc, stringToIP("127.0.0.42"), stringToIP("255.255.0.0"),
                                                   stringToIP("127.0.0.1"));
        if (!moved)
            std::this_thread::sleep_for(100ms);
    }
    ASSERT_TRUE(moved) << DvsCameraManager::lastError();
    found = network(m);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].ip, "127.0.0.42");
    EXPECT_EQ(found[0].mask, "255.255.0.0");
    EXPECT_EQ(found[0].gateway, "127.0.0.1");

    // Only the new address answers, and the camera opens and streams there.
    setTargets("127.0.0.41:47141");
    EXPECT_TRUE(network(m).empty());
    setTargets("127.0.0.42:47141");
    ASSERT_EQ(network(m).size(), 1u);
    auto cam = m.openCamera("NET-F1");
    ASSERT_TRUE(cam) << DvsCameraManager::lastError();
    std::atomic<uint64_t> seen{0};
    cam->addEventsCallback([&](const Event2D* b, const Event2D* e) { seen += static_cast<uint64_t>(e - b); });
    ASSERT_EQ(cam->start(), 0);
    EXPECT_TRUE(eventually([&] { return seen > 0; }, 5s));
}

// (A daemon that stops answering without closing the link is the fault tests' paused daemon,
// which ends a recording with "no heartbeat for 800 ms".)
TEST(NetCameras, LossIsCountedAndAKilledDaemonDisconnectsWithinASecond) {
    // A fast stream into a small daemon queue: stalling the reader makes the daemon drop packets.
    Daemon d("127.0.0.45", 47145, {"--serial", "NET-K1", "--stress", "10000000", "--queue-mb", "1"});
    DvsCameraManager m;
    auto cam = discoverAndOpen(m, d, "NET-K1");
    ASSERT_TRUE(cam);
    StatsLog stats(*cam);
    std::atomic<int> batches{0};
    std::atomic<bool> stall{false};
    cam->addEventsCallback([&](const Event2D*, const Event2D*) {
        ++batches;
        if (stall.exchange(false))
            std::this_thread::sleep_for(2000ms);
    });
    ASSERT_EQ(cam->start(), 0);
    ASSERT_TRUE(eventually([&] { return batches > 5; }, 5s));
    // (A loaded machine may already lose a little here; the stall must add to it.)
    const uint64_t before = cam->lostPackets();
    stall = true;
    ASSERT_TRUE(eventually([&] { return cam->lostPackets() > before; }, 8s)) << "no loss after stalling the reader";
    EXPECT_GT(cam->lostEvents(), 0u);
    EXPECT_TRUE(cam->isConnected());
    ASSERT_TRUE(eventually([&] { std::lock_guard l(stats.mu); return !stats.all.empty() && stats.all.back().lostPackets > 0; }, 3s));

    // Killed mid-stream: noticed within a second; the streaming thread drains what arrived, then
    // ends and says why, and its last statistics report carries the loss.
    d.kill(SIGKILL);
    const auto t0 = Clock::now();
    ASSERT_TRUE(eventually([&] { return !cam->isConnected(); }, 2s));
    EXPECT_LT(Clock::now() - t0, 1s);
    ASSERT_TRUE(eventually([&] { return !cam->isStreaming() && !cam->lastError().empty(); }, 2s));
    std::lock_guard l(stats.mu);
    EXPECT_GT(stats.all.back().lostPackets, 0u);
    EXPECT_EQ(stats.all.back().lostPackets, cam->lostPackets());
    EXPECT_NE(cam->start(), 0);
}

namespace {

/// Plays a hostile camera on 127.0.0.50: announces itself properly, then answers the host's
/// "open" with whatever bytes the test gives.
class HostileCamera {
public:
    explicit HostileCamera(std::vector<uint8_t> openReply) : m_reply(std::move(openReply)) {
        const sockaddr_in a = loopback("127.0.0.50", 47150);
        m_udp = ::socket(AF_INET, SOCK_DGRAM, 0);
        m_tcp = ::socket(AF_INET, SOCK_STREAM, 0);
        const int one = 1;
        ::setsockopt(m_tcp, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
        m_ok = ::bind(m_udp, reinterpret_cast<const sockaddr*>(&a), sizeof a) == 0 &&
               ::bind(m_tcp, reinterpret_cast<const sockaddr*>(&a), sizeof a) == 0 && ::listen(m_tcp, 4) == 0;
        m_thread = std::thread([this] { serve(); });
    }
    ~HostileCamera() {
        m_stop = true;
        m_thread.join();
        ::close(m_udp);
        ::close(m_tcp);
    }
    bool ok() const { return m_ok; }

private:
    void serve() {
        for (int round = 0; round < 200 && !m_stop; ++round) { // at most ~10 s
            pollfd fds[2] = {{m_udp, POLLIN, 0}, {m_tcp, POLLIN, 0}};
            if (::poll(fds, 2, 50) <= 0)
                continue;
            if (fds[0].revents & POLLIN) {
                uint8_t buf[2048];
                sockaddr_in from{};
                socklen_t len = sizeof from;
                const ssize_t n = ::recvfrom(m_udp, buf, sizeof buf, 0, reinterpret_cast<sockaddr*>(&from), &len);
                net::Datagram d;
                std::string err;
                if (n > 0 && net::parseDatagram(buf, static_cast<size_t>(n), d, err)) {
                    const net::CameraAnnouncement a{"EVIL-1", "x", "x", "x", "02:00:00:00:00:66", "127.0.0.50",
                                                    "255.0.0.0", "0.0.0.0", 47150, 640, 480};
                    const auto bytes = net::encodeAnnounce(d.requestId, a);
                    ::sendto(m_udp, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&from), len);
                }
            }
            if (fds[1].revents & POLLIN) {
                const int c = ::accept(m_tcp, nullptr, nullptr);
                uint8_t buf[4096];
                pollfd p{c, POLLIN, 0};
                if (::poll(&p, 1, 1000) == 1 && ::recv(c, buf, sizeof buf, 0) > 0)
                    ::send(c, m_reply.data(), m_reply.size(), MSG_NOSIGNAL);
                std::this_thread::sleep_for(100ms);
                ::close(c);
            }
        }
    }
    std::vector<uint8_t> m_reply;
    int m_udp = -1, m_tcp = -1;
    bool m_ok = false;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

std::vector<uint8_t> frameOf(const std::string& body, uint32_t len) {
    std::vector<uint8_t> f(8 + body.size());
    const uint32_t magic = net::kControlMagic;
    std::memcpy(f.data(), &magic, 4);
    std::memcpy(f.data() + 4, &len, 4);
    std::memcpy(f.data() + 8, body.data(), body.size());
    return f;
}

} // namespace

TEST(NetCameras, AHostileCameraCannotCrashTheHostOrMakeItAllocate) {
    setTargets("127.0.0.50:47150");
    const std::vector<std::pair<std::vector<uint8_t>, const char*>> replies = {
        {net::encodeControl({{"op", "reply"}, {"id", 0}, {"ok", "yes"}}), "refused"},
        {net::encodeControl({{"op", "reply"}, {"id", 0}, {"ok", true}, {"token", 1}, {"tools", {{{"type", 99}}}}}),
         "malformed"},
        {net::encodeControl({{"op", "reply"}, {"id", 0}, {"ok", true}, {"token", "x"}, {"tools", Json::array()}}), "token"},
        {frameOf("", 0x7FFFFFFF), "exceeds"},
        {frameOf("{\"op\":", 6), "malformed"},
        {std::vector<uint8_t>(64, 0xEE), "magic"},
        {{}, "closed"},
    };
    for (const auto& [reply, why] : replies) {
        HostileCamera evil(reply);
        ASSERT_TRUE(evil.ok());
        DvsCameraManager m;
        ASSERT_EQ(waitFor(m, {"EVIL-1"}).size(), 1u);
        EXPECT_FALSE(m.openCamera("EVIL-1"));
        EXPECT_NE(DvsCameraManager::lastError().find(why), std::string::npos) << DvsCameraManager::lastError();
    }
}

TEST(NetCameras, TheDaemonSurvivesHostileControllersAndDatagrams) {
    Daemon d("127.0.0.37", 47137, {"--serial", "NET-H1"});
    setTargets(d.target());
    DvsCameraManager m;
    ASSERT_EQ(waitFor(m, {"NET-H1"}).size(), 1u);
    auto sendRaw = [](const std::vector<uint8_t>& bytes, int type) {
        const int fd = ::socket(AF_INET, type, 0);
        const sockaddr_in a = loopback("127.0.0.37", 47137);
        if (::connect(fd, reinterpret_cast<const sockaddr*>(&a), sizeof a) == 0)
            ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        std::this_thread::sleep_for(50ms);
        ::close(fd);
    };
    const std::string deep = "{\"op\":\"open\",\"a\":" + std::string(5000, '[') + "}";
    sendRaw(std::vector<uint8_t>(1000, 0xAB), SOCK_STREAM);
    sendRaw(frameOf("", 0x7FFFFFFF), SOCK_STREAM);
    sendRaw(frameOf(deep, static_cast<uint32_t>(deep.size())), SOCK_STREAM);
    sendRaw(frameOf("{\"op\":\"set\",\"tool\":\"x\"}", 23), SOCK_STREAM);
    sendRaw(std::vector<uint8_t>(1400, 0x51), SOCK_DGRAM);
    sendRaw(net::encodeForceIp(1, {"NET-H1", "", 0, 0, 0}), SOCK_DGRAM);
    // Unknown serials and operations before opening are answered, not fatal.
    EXPECT_NE(rawRequest("127.0.0.37", 47137, {{"op", "open"}, {"id", 1}, {"serial", "NOPE"}}).value("error", std::string()),
              "");
    EXPECT_EQ(rawRequest("127.0.0.37", 47137, {{"op", "start"}, {"id", 2}}).value("ok", true), false);

    ASSERT_EQ(network(m).size(), 1u);
    auto cam = m.openCamera("NET-H1");
    ASSERT_TRUE(cam) << DvsCameraManager::lastError();
    EXPECT_EQ(cam->start(), 0);
}
