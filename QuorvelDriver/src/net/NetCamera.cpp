#include "net/NetCamera.h"

#include "camera/CameraRegistry.h"
#include "net/Socket.h"
#include "net/ToolWire.h"
#include "quorvel/Logger.h"
#include "quorvel/NetUtils.h"
#include "quorvel/net/NetProtocol.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <random>
#include <thread>

namespace quorvel::net {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using detail::CameraCore;
using detail::ParameterTool;
using detail::ParamValue;

namespace {

constexpr auto kLinkTimeout = 800ms;
constexpr auto kPingPeriod = 250ms;
constexpr int kRequestTimeoutMs = 3000;
constexpr size_t kMaxTargets = 64;

// A macro, so that each line carries the place it was logged from.
#define logLine(level, text) Logger::Instance().log_(level, __FILE__, __LINE__, text)

uint32_t randomId() {
    static std::mt19937 rng{std::random_device{}()};
    static std::mutex m;
    std::lock_guard l(m);
    return rng();
}

// ------------------------------------------------------------ where discovered cameras are

struct Endpoint {
    CameraDescription desc;
    uint16_t port = kDefaultPort;
};
std::mutex g_endpointMutex;
std::map<std::string, Endpoint> g_endpoints;

void remember(const CameraDescription& d, uint16_t port) {
    std::lock_guard l(g_endpointMutex);
    g_endpoints[d.serial] = {d, port};
}

bool lookup(const std::string& serial, Endpoint& out) {
    std::lock_guard l(g_endpointMutex);
    auto it = g_endpoints.find(serial);
    if (it == g_endpoints.end())
        return false;
    out = it->second;
    return true;
}

// ------------------------------------------------------------ the link to one camera

class RemoteTool;

class NetLink : public detail::RemoteEnd, public std::enable_shared_from_this<NetLink> {
public:
    ~NetLink() override {
        m_stopping = true;
        if (m_thread.joinable())
            m_thread.join();
    }

    bool open(const Endpoint& ep, std::string& error);
    /// Sends a request and waits for its reply; false with the daemon's reason when refused.
    bool request(Json msg, Json& reply, std::string& error);

    std::vector<std::shared_ptr<ParameterTool>> tools() override { return m_tools; }
    bool loadConfig(const Json& doc, std::string& error) override;
    bool exportConfig(Json& doc, std::string& error) override;
    bool linkUp() const override { return m_up.load(); }
    std::string linkError() const override {
        std::lock_guard l(m_mutex);
        return m_downReason;
    }
    void stopStream() override {
        Json reply;
        std::string err;
        if (m_up && !request({{"op", "stop"}}, reply, err))
            logLine(LOG_WARNING, "camera " + m_serial + ": stop refused: " + err);
    }
    uint64_t receivedBytes() const override { return m_receivedBytes.load(std::memory_order_relaxed); }
    void addReceived(uint64_t bytes) { m_receivedBytes.fetch_add(bytes, std::memory_order_relaxed); }

    int streamFd() const { return m_stream.fd(); }
    const std::string& serial() const { return m_serial; }
    /// Heartbeat figures of the stream: what the daemon had produced when it last spoke.
    bool produced(uint32_t streamId, uint64_t& packets, uint64_t& events) const {
        std::lock_guard l(m_mutex);
        if (m_hbStream != streamId)
            return false;
        packets = m_hbPackets;
        events = m_hbEvents;
        return true;
    }
    void markDown(const std::string& why) {
        {
            // The reason is in place before anyone can see the link down.
            std::lock_guard l(m_mutex);
            if (m_up && m_downReason.empty())
                m_downReason = why;
        }
        if (m_up.exchange(false))
            logLine(LOG_WARNING, "camera " + m_serial + ": link lost: " + why);
        m_stream.shutdown();
        m_cv.notify_all();
    }

private:
    void linkLoop();
    bool sendFrame(const Json& msg, std::string& error) {
        const auto bytes = encodeControl(msg);
        std::lock_guard l(m_sendMutex);
        return sendAll(m_ctrl.fd(), bytes.data(), bytes.size(), 1000, error);
    }
    bool readFrameBlocking(Socket& s, ControlReader& reader, Json& msg, std::string& error, bool exact);
    bool connectAndAsk(const Endpoint& ep, Socket& s, ControlReader& reader, const Json& msg, Json& reply, bool exact,
                       std::string& error);

    std::string m_serial;
    Socket m_ctrl, m_stream;
    ControlReader m_reader;
    std::thread m_thread;
    std::atomic<bool> m_up{false}, m_stopping{false};
    std::mutex m_sendMutex;
    mutable std::mutex m_mutex;
    std::condition_variable m_cv;
    std::map<int64_t, Json> m_replies;
    int64_t m_nextId = 1;
    uint32_t m_hbStream = 0;
    uint64_t m_hbPackets = 0, m_hbEvents = 0;
    std::atomic<uint64_t> m_receivedBytes{0};
    std::string m_downReason;
    std::vector<std::shared_ptr<ParameterTool>> m_tools;
};

class RemoteTool final : public ParameterTool {
public:
    RemoteTool(WireTool w, std::weak_ptr<NetLink> link)
        : ParameterTool(w.type, w.description, w.defs), m_link(std::move(link)) {
        std::string err;
        ParameterTool::apply(w.values, err);
    }
    bool setEnumParam(std::string name, const std::string& v) override {
        return push(name, ParamValue::ofEnum(v)) && ParameterTool::setEnumParam(name, v);
    }
    bool setBoolParam(std::string name, bool v) override {
        return push(name, ParamValue::ofBool(v)) && ParameterTool::setBoolParam(name, v);
    }
    bool setFloatParam(std::string name, const float& v) override {
        return push(name, ParamValue::ofFloat(v)) && ParameterTool::setFloatParam(name, v);
    }
    bool setIntParam(std::string name, const int& v) override {
        return push(name, ParamValue::ofInt(v)) && ParameterTool::setIntParam(name, v);
    }

private:
    // The mirror checks name, type and range first, so the daemon is only asked about changes
    // the mirror can take too; the daemon has the last word (whole-tool checks live there).
    bool push(const std::string& name, const ParamValue& v) {
        std::string err;
        if (!validate({{name, v}}, err))
            return false;
        auto link = m_link.lock();
        if (!link)
            return false;
        Json reply;
        if (!link->request({{"op", "set"}, {"tool", static_cast<int>(getToolType())}, {"name", name}, {"value", valueToJson(v)}},
                           reply, err)) {
            logLine(LOG_WARNING, "camera " + link->serial() + ": " + name + " refused: " + err);
            return false;
        }
        return true;
    }
    std::weak_ptr<NetLink> m_link;
};

bool NetLink::readFrameBlocking(Socket& s, ControlReader& reader, Json& msg, std::string& error, bool exact) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(kRequestTimeoutMs);
    uint8_t buf[4096];
    size_t want = kControlHeaderSize;
    std::vector<uint8_t> exactBuf;
    while (!reader.next(msg)) {
        if (reader.failed()) {
            error = reader.error();
            return false;
        }
        const int left = static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count());
        if (left <= 0) {
            error = "camera did not answer in time";
            return false;
        }
        // On the stream connection not a byte past the reply may be taken: packets follow it.
        size_t room = sizeof buf;
        if (exact) {
            if (exactBuf.size() >= kControlHeaderSize) {
                uint32_t len;
                std::memcpy(&len, exactBuf.data() + 4, 4);
                want = kControlHeaderSize + std::min<size_t>(len, kMaxControlBody);
            }
            room = std::min(room, want - exactBuf.size());
        }
        const long n = recvSome(s.fd(), buf, room, left);
        if (n == 0 || n == -1) {
            error = "connection closed by the camera";
            return false;
        }
        if (n < 0)
            continue;
        if (exact)
            exactBuf.insert(exactBuf.end(), buf, buf + n);
        if (!reader.feed(buf, static_cast<size_t>(n))) {
            error = reader.error();
            return false;
        }
    }
    return true;
}

// A daemon whose connection slots are all held by connections too new to push out says so and
// closes. That passes within moments (it drops connections that ask nothing), so the request is
// made again on a new connection for a while before the caller is told.
bool NetLink::connectAndAsk(const Endpoint& ep, Socket& s, ControlReader& reader, const Json& msg, Json& reply,
                            bool exact, std::string& error) {
    constexpr auto kBusyPatience = std::chrono::seconds(3);
    const auto giveUp = Clock::now() + kBusyPatience;
    const auto bytes = encodeControl(msg);
    for (int attempt = 1;; ++attempt) {
        s = tcpConnect(ep.desc.ip, ep.port, 2000, error);
        if (!s.valid())
            return false;
        if (exact) {
            // The stream connection takes packets at the full event rate.
            int bufSize = 8 << 20;
            ::setsockopt(s.fd(), SOL_SOCKET, SO_RCVBUF, &bufSize, sizeof bufSize);
        }
        reader = ControlReader();
        if (!sendAll(s.fd(), bytes.data(), bytes.size(), 1000, error) || !readFrameBlocking(s, reader, reply, error, exact))
            return false;
        if (!jsonValueOr<bool>(reply, "busy", false) || Clock::now() >= giveUp)
            return true;
        s = Socket();
        std::this_thread::sleep_for(std::chrono::milliseconds(std::min(50 * attempt, 250)));
    }
}

bool NetLink::open(const Endpoint& ep, std::string& error) {
    m_serial = ep.desc.serial;
    Json reply;
    if (!connectAndAsk(ep, m_ctrl, m_reader, {{"op", "open"}, {"id", 0}, {"serial", ep.desc.serial}}, reply, false, error))
        return false;
    if (!jsonValueOr<bool>(reply, "ok", false)) {
        error = "camera " + m_serial + " refused to open: " + jsonValueOr<std::string>(reply, "error", "no reason given");
        return false;
    }
    int64_t token = 0;
    std::vector<WireTool> wire;
    if (!getInt(reply, "token", token, error) || !reply.contains("tools") || !toolsFromJson(reply["tools"], wire, error)) {
        error = "camera " + m_serial + " sent a malformed open reply: " + error;
        return false;
    }
    for (WireTool& w : wire)
        m_tools.push_back(std::make_shared<RemoteTool>(std::move(w), weak_from_this()));

    ControlReader streamReader;
    if (!connectAndAsk(ep, m_stream, streamReader, {{"op", "attach"}, {"id", 0}, {"token", token}}, reply, true, error))
        return false;
    if (!jsonValueOr<bool>(reply, "ok", false)) {
        error = "camera " + m_serial + " refused the stream: " + jsonValueOr<std::string>(reply, "error", "");
        return false;
    }
    m_up = true;
    m_thread = std::thread([this] { linkLoop(); });
    return true;
}

void NetLink::linkLoop() {
    auto lastHeard = Clock::now();
    auto nextPing = Clock::now();
    uint8_t buf[16384];
    std::string byeReason;
    // Messages that arrived together with the open reply.
    auto drain = [&]() {
        Json msg;
        while (m_reader.next(msg)) {
            lastHeard = Clock::now();
            const std::string op = jsonValueOr<std::string>(msg, "op", "");
            if (op == "bye") {
                // The camera ends the session and says why (e.g. this host went silent).
                byeReason = jsonValueOr<std::string>(msg, "reason", "no reason given").substr(0, 200);
            } else if (op == "hb") {
                std::lock_guard l(m_mutex);
                m_hbStream = jsonValueOr<uint32_t>(msg, "stream", 0);
                m_hbPackets = jsonValueOr<uint64_t>(msg, "packets", 0);
                m_hbEvents = jsonValueOr<uint64_t>(msg, "events", 0);
            } else if (op == "reply" && msg.contains("id") && msg["id"].is_number_integer()) {
                const int64_t id = msg["id"].get<int64_t>();
                std::lock_guard l(m_mutex);
                if (m_replies.size() < 64)
                    m_replies[id] = std::move(msg);
                m_cv.notify_all();
            }
        }
    };
    drain();
    while (!m_stopping && m_up) {
        const auto now = Clock::now();
        if (now >= nextPing) {
            std::string err;
            if (!sendFrame({{"op", "ping"}}, err))
                return markDown(err);
            nextPing = now + kPingPeriod;
        }
        const long n = recvSome(m_ctrl.fd(), buf, sizeof buf, 50);
        if (n == 0 || n == -1)
            return markDown("the camera closed the control connection");
        if (n > 0) {
            if (!m_reader.feed(buf, static_cast<size_t>(n)))
                return markDown(m_reader.error());
            drain();
            if (!byeReason.empty())
                return markDown("the camera ended the session: " + byeReason);
        }
        if (Clock::now() - lastHeard > kLinkTimeout)
            return markDown("no heartbeat for " + std::to_string(kLinkTimeout.count()) + " ms");
    }
}

bool NetLink::request(Json msg, Json& reply, std::string& error) {
    int64_t id;
    {
        std::lock_guard l(m_mutex);
        id = m_nextId++;
    }
    msg["id"] = id;
    if (!m_up) {
        error = "camera " + m_serial + " is not connected";
        return false;
    }
    if (!sendFrame(msg, error))
        return false;
    std::unique_lock l(m_mutex);
    const bool got = m_cv.wait_for(l, std::chrono::milliseconds(kRequestTimeoutMs),
                                   [&] { return m_replies.count(id) > 0 || !m_up; });
    if (!got || !m_replies.count(id)) {
        error = got ? "camera " + m_serial + " is not connected" : "camera " + m_serial + " did not answer in time";
        return false;
    }
    reply = std::move(m_replies[id]);
    m_replies.erase(id);
    if (!jsonValueOr<bool>(reply, "ok", false)) {
        error = jsonValueOr<std::string>(reply, "error", "refused without a reason");
        return false;
    }
    return true;
}

bool NetLink::loadConfig(const Json& doc, std::string& error) {
    Json reply;
    if (!request({{"op", "loadConfig"}, {"config", doc}}, reply, error))
        return false;
    Json config;
    if (!reply.contains("config") || !reply["config"].is_object()) {
        error = "camera sent no configuration back";
        return false;
    }
    // Bring the mirrors up to what the camera now has.
    for (auto& t : m_tools) {
        auto it = reply["config"].find(toolSectionKey(t->getToolType()));
        detail::ValueMap ch;
        std::string err;
        if (it != reply["config"].end() && t->changesFromJson(*it, ch, err))
            t->ParameterTool::apply(ch, err);
    }
    return true;
}

bool NetLink::exportConfig(Json& doc, std::string& error) {
    Json reply;
    if (!request({{"op", "exportConfig"}}, reply, error))
        return false;
    if (!reply.contains("config") || !reply["config"].is_object()) {
        error = "camera sent no configuration";
        return false;
    }
    doc = reply["config"];
    return true;
}

// ------------------------------------------------------------ the stream as an event source

class NetSource final : public detail::EventSource {
public:
    NetSource(std::shared_ptr<NetLink> link, uint16_t w, uint16_t h)
        : m_link(std::move(link)), m_w(w), m_h(h), m_decoder(w, h), m_buf(kMaxPacketPayload * 2 + kPacketHeaderSize) {}

    uint16_t width() const override { return m_w; }
    uint16_t height() const override { return m_h; }
    uint64_t now() const override { return m_now; }
    std::string lastError() const override { return m_error; }
    void setLossLog(detail::LossLog* log) override { m_loss = log; }

    bool restart(uint64_t) override {
        Json reply;
        std::string err;
        if (!m_link->request({{"op", "start"}}, reply, err)) {
            m_error = "camera " + m_link->serial() + " cannot start: " + err;
            return false;
        }
        // Losses count per stream, like the statistics: a new start begins at zero (the core
        // resets its log).
        m_tracker = SequenceTracker{};
        m_tracker.reset(jsonValueOr<uint32_t>(reply, "stream", 0));
        return true;
    }

    bool next(uint32_t, std::vector<Event2D>& ev, std::vector<EventTriggerIn>& tr) override {
        const size_t evFrom = ev.size(), trFrom = tr.size();
        for (int round = 0; round < 4; ++round) {
            if (!parseBuffered(ev, tr))
                return fail(m_error);
            if (ev.size() != evFrom || tr.size() != trFrom || (round > 0 && m_len == 0))
                return true;
            const long n = recvSome(m_link->streamFd(), m_buf.data() + m_len, m_buf.size() - m_len, 5);
            if (n == 0 || n == -1)
                return fail("the stream connection closed");
            if (n == -2) {
                if (!m_link->linkUp())
                    return fail("the link to the camera is down");
                return true;
            }
            m_len += static_cast<size_t>(n);
        }
        return true;
    }

private:
    bool fail(const std::string& why) {
        // Whatever the daemon said it had produced but never arrived is lost with the link.
        uint64_t packets = 0, events = 0;
        if (m_link->produced(m_tracker.streamId(), packets, events)) {
            const uint64_t p0 = m_tracker.lostPackets(), e0 = m_tracker.lostEvents();
            m_tracker.settle(packets, events);
            logLoss(LossPlace::Network, m_tracker.lostEvents() - e0, m_tracker.lostPackets() - p0, m_lastUs);
        }
        // A link that went down first (no heartbeat, the camera ended the session) is the reason
        // the stream ended, not the stream socket it shut.
        m_error = m_link->linkUp() ? why : m_link->linkError();
        m_link->markDown(m_error);
        return false;
    }

    void logLoss(LossPlace place, uint64_t events, uint64_t packets, uint64_t nextUs) {
        if (m_loss && (events || packets))
            m_loss->add(place, m_lastUs, std::max(m_lastUs, nextUs), events, packets);
    }

    bool parseBuffered(std::vector<Event2D>& ev, std::vector<EventTriggerIn>& tr) {
        size_t off = 0;
        while (m_len - off >= kPacketHeaderSize) {
            PacketHeader h;
            if (!parsePacketHeader(m_buf.data() + off, m_len - off, h, m_error))
                return false;
            if (m_len - off - kPacketHeaderSize < h.payloadBytes)
                break;
            std::string err;
            const uint64_t packets0 = m_tracker.lostPackets(), events0 = m_tracker.lostEvents(),
                           camera0 = m_tracker.cameraLostEvents();
            const auto verdict = m_tracker.onPacket(h, err);
            if (verdict == SequenceTracker::Verdict::Invalid) {
                m_error = err;
                return false;
            }
            if (verdict == SequenceTracker::Verdict::Accept) {
                const size_t at = ev.size();
                if (!m_decoder.decode(h, m_buf.data() + off + kPacketHeaderSize, ev, tr, m_error))
                    return false;
                m_link->addReceived(h.payloadBytes);
                // A gap lies between the last event before it and the first of this packet.
                const uint64_t firstUs = ev.size() > at ? ev[at].timestamp : m_lastUs;
                logLoss(LossPlace::Camera, m_tracker.cameraLostEvents() - camera0, 0, firstUs);
                logLoss(LossPlace::Network, m_tracker.lostEvents() - events0, m_tracker.lostPackets() - packets0,
                        firstUs);
                if (ev.size() > at)
                    m_lastUs = ev.back().timestamp;
            }
            off += kPacketHeaderSize + h.payloadBytes;
        }
        if (off > 0) {
            std::memmove(m_buf.data(), m_buf.data() + off, m_len - off);
            m_len -= off;
        }
        if (!ev.empty())
            m_now = std::max(m_now, ev.back().timestamp);
        return true;
    }

    std::shared_ptr<NetLink> m_link;
    uint16_t m_w, m_h;
    PacketDecoder m_decoder;
    SequenceTracker m_tracker;
    detail::LossLog* m_loss = nullptr;
    uint64_t m_lastUs = 0; ///< time of the last event received
    std::vector<uint8_t> m_buf;
    size_t m_len = 0;
    uint64_t m_now = 0;
    std::string m_error;
};

std::mutex g_openMutex;
std::map<std::string, std::weak_ptr<CameraCore>> g_open;

} // namespace

// ------------------------------------------------------------ discovery

std::vector<DiscoveryTarget> parseDiscoveryList(const std::string& text, std::vector<std::string>& warnings) {
    std::vector<DiscoveryTarget> out;
    size_t pos = 0;
    while (pos < text.size()) {
        size_t end = text.find_first_of(", ;", pos);
        if (end == std::string::npos)
            end = text.size();
        const std::string item = text.substr(pos, end - pos);
        pos = end + 1;
        if (item.empty())
            continue;
        DiscoveryTarget t;
        t.port = kDefaultPort;
        const size_t colon = item.find(':');
        t.ip = item.substr(0, colon);
        bool ok = parseIPv4(t.ip).has_value();
        if (ok && colon != std::string::npos) {
            const std::string p = item.substr(colon + 1);
            char* e = nullptr;
            const unsigned long v = p.empty() ? 0 : std::strtoul(p.c_str(), &e, 10);
            ok = !p.empty() && *e == 0 && v > 0 && v <= 65535 && p.size() <= 5;
            t.port = static_cast<uint16_t>(v);
        }
        if (!ok) {
            warnings.push_back("QUORVEL_DISCOVERY_ADDRS: ignoring '" + item + "' (expected IPv4[:port])");
            continue;
        }
        if (out.size() >= kMaxTargets) {
            warnings.push_back("QUORVEL_DISCOVERY_ADDRS: more than " + std::to_string(kMaxTargets) + " addresses; the rest are ignored");
            break;
        }
        out.push_back(t);
    }
    return out;
}

std::vector<CameraDescription> discoverNetworkCameras() {
    const char* list = std::getenv("QUORVEL_DISCOVERY_ADDRS");
    const char* bc = std::getenv("QUORVEL_DISCOVERY_BROADCAST");
    std::vector<std::string> warnings;
    auto targets = parseDiscoveryList(list ? list : "", warnings);
    for (const auto& w : warnings)
        logLine(LOG_WARNING, w);
    const bool broadcast = bc && std::string(bc) == "1";
    if (targets.empty() && !broadcast)
        return {};
    return discoverNetworkCameras(targets, broadcast);
}

std::vector<CameraDescription> discoverNetworkCameras(const std::vector<DiscoveryTarget>& targets, bool broadcast) {
    struct Probe {
        Socket sock;
        std::string ip;
        uint16_t port = 0;
        uint32_t expected = 0, got = 0;
        bool done = false, isBroadcast = false;
    };
    std::vector<Probe> probes;
    const uint32_t requestId = randomId();
    const auto request = encodeDiscover(requestId);
    for (const DiscoveryTarget& t : targets) {
        sockaddr_in a{};
        std::string err;
        if (!makeAddress(t.ip, t.port, a, err))
            continue;
        Probe p;
        p.sock = Socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        // A connected socket only hears that address and learns at once when nobody listens there.
        if (!p.sock.valid() || ::connect(p.sock.fd(), reinterpret_cast<sockaddr*>(&a), sizeof a) != 0 ||
            ::send(p.sock.fd(), request.data(), request.size(), 0) < 0)
            continue;
        p.ip = t.ip;
        p.port = t.port;
        probes.push_back(std::move(p));
    }
    if (broadcast) {
        Probe p;
        p.sock = Socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        const int one = 1;
        sockaddr_in a{};
        std::string err;
        makeAddress("255.255.255.255", kDefaultPort, a, err);
        if (p.sock.valid() && ::setsockopt(p.sock.fd(), SOL_SOCKET, SO_BROADCAST, &one, sizeof one) == 0 &&
            ::sendto(p.sock.fd(), request.data(), request.size(), 0, reinterpret_cast<sockaddr*>(&a), sizeof a) >= 0) {
            p.isBroadcast = true;
            probes.push_back(std::move(p));
        }
    }
    std::vector<CameraDescription> found;
    std::map<std::string, size_t> bySerial;
    const auto deadline = Clock::now() + kDiscoveryWindow;
    while (true) {
        bool pending = false;
        for (auto& p : probes)
            pending |= !p.done;
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (!pending || left <= 0)
            break;
        std::vector<pollfd> fds;
        for (auto& p : probes)
            fds.push_back({p.sock.fd(), POLLIN, 0});
        ::poll(fds.data(), fds.size(), static_cast<int>(left));
        for (size_t i = 0; i < probes.size(); ++i) {
            Probe& p = probes[i];
            for (int round = 0; round < 300 && !p.done; ++round) {
                uint8_t buf[kMaxDatagram + 1];
                sockaddr_in from{};
                socklen_t len = sizeof from;
                const ssize_t n = ::recvfrom(p.sock.fd(), buf, sizeof buf, 0, reinterpret_cast<sockaddr*>(&from), &len);
                if (n < 0) {
                    if (errno == ECONNREFUSED)
                        p.done = true; // nobody at that address
                    break;
                }
                Datagram d;
                std::string err;
                if (!parseDatagram(buf, static_cast<size_t>(n), d, err) || d.type != DatagramType::Announce ||
                    d.requestId != requestId) {
                    if (!err.empty())
                        logLine(LOG_DEBUG, "discovery: ignored datagram from " + addressText(from) + ": " + err);
                    continue;
                }
                const CameraAnnouncement& a = d.announce;
                if (!p.isBroadcast) {
                    p.expected = a.count;
                    if (++p.got >= p.expected)
                        p.done = true;
                }
                CameraDescription desc;
                desc.serial = a.serial;
                desc.manufacturer = a.manufacturer;
                desc.product = a.product;
                desc.firmware = a.firmware;
                desc.mac = a.mac;
                desc.interfaceType = CAMERA_INTERFACE_ETHERNET;
                desc.ip = a.ip;
                desc.mask = a.mask;
                desc.gateway = a.gateway;
                desc.width = a.width;
                desc.height = a.height;
                desc.localIp = localAddressFor(a.ip, a.port);
                // The camera's own address is what it announces; a reply from elsewhere is only
                // believed for the port it came from.
                const uint16_t port = p.isBroadcast ? ntohs(from.sin_port) : p.port;
                remember(desc, port);
                if (auto it = bySerial.find(desc.serial); it != bySerial.end()) {
                    found[it->second] = desc;
                } else {
                    bySerial[desc.serial] = found.size();
                    found.push_back(desc);
                }
            }
        }
    }
    return found;
}

bool isNetworkCamera(const std::string& serial, CameraDescription* desc) {
    Endpoint ep;
    if (!lookup(serial, ep))
        return false;
    if (desc)
        *desc = ep.desc;
    return true;
}

std::shared_ptr<CameraCore> openNetworkCamera(const std::string& serial, std::string& error) {
    std::lock_guard lock(g_openMutex);
    if (auto it = g_open.find(serial); it != g_open.end())
        if (auto core = it->second.lock())
            return core;
    Endpoint ep;
    if (!lookup(serial, ep)) {
        discoverNetworkCameras();
        if (!lookup(serial, ep)) {
            error = "no camera with serial '" + serial + "'";
            return nullptr;
        }
    }
    auto link = std::make_shared<NetLink>();
    std::string err;
    if (!link->open(ep, err)) {
        error = "cannot open network camera " + serial + " at " + ep.desc.ip + ":" + std::to_string(ep.port) + ": " + err;
        return nullptr;
    }
    auto source = std::make_unique<NetSource>(link, ep.desc.width, ep.desc.height);
    detail::CameraCoreOptions options;
    options.realtime = false; // the daemon paces the stream
    options.fusion = ep.desc.product == detail::kFusionProduct;
    options.remote = link;
    auto core = std::make_shared<CameraCore>(ep.desc, std::move(source), options);
    g_open[serial] = core;
    return core;
}

bool forceIp(const CameraDescription& desc, uint32_t ip, uint32_t mask, uint32_t gateway, std::string& error) {
    Endpoint ep;
    if (!lookup(desc.serial, ep)) {
        ep.desc = desc;
        ep.port = kDefaultPort;
    }
    if (!validateIpConfig(ip, mask, gateway, error))
        return false;
    sockaddr_in a{};
    if (!makeAddress(ep.desc.ip, ep.port, a, error))
        return false;
    Socket s(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!s.valid() || ::connect(s.fd(), reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
        error = std::string("cannot reach ") + addressText(a) + ": " + std::strerror(errno);
        return false;
    }
    ForceIpRequest r;
    r.serial = desc.serial;
    r.mac = desc.mac.empty() ? ep.desc.mac : desc.mac;
    r.ip = ip;
    r.mask = mask;
    r.gateway = gateway;
    const uint32_t requestId = randomId();
    const auto bytes = encodeForceIp(requestId, r);
    for (int attempt = 0; attempt < 3; ++attempt) {
        if (::send(s.fd(), bytes.data(), bytes.size(), 0) < 0 && errno == ECONNREFUSED) {
            error = "no camera answers at " + addressText(a);
            return false;
        }
        const auto deadline = Clock::now() + 300ms;
        while (Clock::now() < deadline) {
            uint8_t buf[kMaxDatagram + 1];
            const long n = recvSome(s.fd(), buf, sizeof buf, 50);
            if (n == -1 && errno == ECONNREFUSED) {
                error = "no camera answers at " + addressText(a);
                return false;
            }
            if (n <= 0)
                continue;
            Datagram d;
            std::string err;
            if (!parseDatagram(buf, static_cast<size_t>(n), d, err) || d.type != DatagramType::ForceIpAck ||
                d.requestId != requestId)
                continue;
            if (!d.ack.ok) {
                error = "camera " + desc.serial + " refused the address: " + d.ack.error;
                return false;
            }
            ep.desc.ip = ipToString(ip);
            ep.desc.mask = ipToString(mask);
            ep.desc.gateway = ipToString(gateway);
            ep.desc.localIp = localAddressFor(ep.desc.ip, ep.port);
            remember(ep.desc, ep.port);
            return true;
        }
    }
    error = "camera " + desc.serial + " did not answer at " + addressText(a);
    return false;
}

} // namespace quorvel::net
