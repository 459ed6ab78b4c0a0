#include "net/CameraDaemon.h"

#include "camera/CameraCore.h"
#include "camera/CameraRegistry.h"
#include "camera/EventSource.h"
#include "net/Socket.h"
#include "net/ToolWire.h"
#include "quorvel/Logger.h"
#include "quorvel/NetUtils.h"
#include "quorvel/net/NetProtocol.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <strings.h>
#include <deque>
#include <map>
#include <mutex>
#include <random>
#include <thread>

namespace quorvel::net {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using detail::CameraCore;
using detail::ParameterTool;

namespace {
constexpr auto kHeartbeatPeriod = 200ms;
constexpr auto kControllerTimeout = 3s;
/// A request, once begun, must be complete within this; a host sends each in one write.
constexpr auto kFrameDeadline = 1s;
/// A connection holding no camera must send a complete request at least this often.
constexpr auto kIdleTimeout = 2s;
/// A new connection is safe from being pushed out for this long, time enough for its first request.
constexpr auto kEvictionGrace = 100ms;
constexpr size_t kPacketEvents = 65536; // ~130 KB packets: small enough to interleave, large enough to be cheap
constexpr size_t kMaxConnections = 32;
constexpr size_t kMaxOutBuffer = 4u << 20;

// A macro, so that each line carries the place it was logged from.
#define logLine(level, text) Logger::Instance().log_(level, __FILE__, __LINE__, text)

/// The outgoing event stream of one camera: packets are encoded on the camera's streaming thread
/// and written by a sender thread of its own through a bounded queue.
class StreamOut {
public:
    StreamOut(Socket sock, uint16_t w, uint16_t h, size_t capBytes, const CameraCore& core)
        : m_sock(std::move(sock)), m_enc(w, h), m_cap(capBytes), m_core(core) {
        m_thread = std::thread([this] { sendLoop(); });
    }
    ~StreamOut() {
        {
            std::lock_guard l(m_mutex);
            m_stop = true;
        }
        m_cv.notify_all();
        m_thread.join();
    }
    void begin(uint32_t streamId) {
        std::lock_guard l(m_mutex);
        m_streamId = streamId;
        m_seq = 0;
        m_eventIndex = 0;
        m_cameraLostSent = 0;
    }
    void events(const Event2D* b, const Event2D* e) {
        while (b != e) {
            const Event2D* m = b + std::min<size_t>(static_cast<size_t>(e - b), kPacketEvents);
            emit(b, m, nullptr, nullptr);
            b = m;
        }
    }
    void trigger(const EventTriggerIn& t) { emit(nullptr, nullptr, &t, &t + 1); }
    uint32_t streamId() const { return m_streamId.load(); }
    uint64_t producedPackets() const { return m_seq.load(); }
    uint64_t producedEvents() const { return m_eventIndex.load(); }
    uint64_t droppedPackets() const { return m_dropped.load(); }
    bool broken() const { return m_broken.load(); }

private:
    void emit(const Event2D* b, const Event2D* e, const EventTriggerIn* tb, const EventTriggerIn* te) {
        std::vector<uint8_t> buf;
        {
            std::lock_guard l(m_mutex);
            if (!m_spare.empty()) {
                buf = std::move(m_spare.back());
                m_spare.pop_back();
            }
        }
        buf.clear();
        // What the sensor lost since the last packet (its readout fell behind) is skipped in the
        // event index and named in this packet, so the host counts it as the camera's loss.
        const uint64_t cameraLost = m_core.cameraLostEvents();
        const uint64_t newlyLost = std::min<uint64_t>(cameraLost - m_cameraLostSent, UINT32_MAX);
        m_cameraLostSent += newlyLost;
        PacketHeader h;
        h.streamId = m_streamId;
        h.seq = m_seq.load();
        h.firstEventIndex = m_eventIndex.load() + newlyLost;
        h.cameraLost = static_cast<uint32_t>(newlyLost);
        m_enc.encode(h, b, e, tb, te, buf);
        {
            std::lock_guard l(m_mutex);
            // The sequence number and event index advance even for a dropped packet: the host
            // sees the gap and counts it.
            m_seq.fetch_add(1);
            m_eventIndex.fetch_add(newlyLost + static_cast<uint64_t>(e - b));
            if (m_queuedBytes + buf.size() > m_cap && !m_queue.empty()) {
                m_dropped.fetch_add(1);
                if (m_spare.size() < 8)
                    m_spare.push_back(std::move(buf));
                return;
            }
            m_queuedBytes += buf.size();
            m_queue.push_back(std::move(buf));
        }
        m_cv.notify_one();
    }

    void sendLoop() {
        std::unique_lock l(m_mutex);
        while (true) {
            m_cv.wait(l, [&] { return m_stop || !m_queue.empty(); });
            if (m_stop)
                return;
            std::vector<uint8_t> buf = std::move(m_queue.front());
            m_queue.pop_front();
            l.unlock();
            size_t off = 0;
            bool ok = !m_broken;
            while (ok && off < buf.size()) {
                const ssize_t n = ::send(m_sock.fd(), buf.data() + off, buf.size() - off, MSG_NOSIGNAL | MSG_DONTWAIT);
                if (n > 0) {
                    off += static_cast<size_t>(n);
                    continue;
                }
                if (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
                    ok = false;
                    break;
                }
                pollfd p{m_sock.fd(), POLLOUT, 0};
                ::poll(&p, 1, 100);
                if (p.revents & (POLLERR | POLLHUP))
                    ok = false;
                std::lock_guard s(m_mutex);
                if (m_stop)
                    return;
            }
            if (!ok)
                m_broken = true;
            l.lock();
            m_queuedBytes -= buf.size();
            if (m_spare.size() < 8)
                m_spare.push_back(std::move(buf));
        }
    }

    Socket m_sock;
    PacketEncoder m_enc;
    size_t m_cap;
    const CameraCore& m_core;
    uint64_t m_cameraLostSent = 0; ///< streaming thread only
    std::mutex m_mutex;
    std::condition_variable m_cv;
    std::deque<std::vector<uint8_t>> m_queue;
    std::vector<std::vector<uint8_t>> m_spare;
    size_t m_queuedBytes = 0;
    bool m_stop = false;
    std::atomic<bool> m_broken{false};
    std::atomic<uint32_t> m_streamId{0};
    std::atomic<uint64_t> m_seq{0}, m_eventIndex{0}, m_dropped{0};
    std::thread m_thread;
};

} // namespace

std::string macForSerial(const std::string& serial) {
    uint32_t h = 2166136261u;
    for (unsigned char c : serial)
        h = (h ^ c) * 16777619u;
    char buf[32];
    std::snprintf(buf, sizeof buf, "02:51:%02x:%02x:%02x:%02x", (h >> 24) & 0xFF, (h >> 16) & 0xFF, (h >> 8) & 0xFF,
                  h & 0xFF);
    return buf;
}

struct CameraDaemon::Impl {
    struct Cam {
        DaemonCamera cfg;
        CameraDescription desc;
        std::shared_ptr<CameraCore> core;
        int owner = -1;
        uint64_t token = 0;
        std::unique_ptr<StreamOut> out;
        int evCb = -1, trCb = -1;
        uint32_t nextStreamId = 1;
    };
    struct Conn {
        int id = 0;
        Socket sock;
        ControlReader reader;
        std::vector<uint8_t> out;
        Clock::time_point accepted = Clock::now();
        Clock::time_point lastFrame = accepted;    ///< last complete request (or the connect)
        Clock::time_point frameStarted = accepted; ///< first byte of the request not yet complete
        std::string peer;
        Cam* cam = nullptr;
        bool dead = false;
    };

    DaemonOptions opt;
    std::vector<std::unique_ptr<Cam>> cams;
    std::vector<std::unique_ptr<Conn>> conns;
    Socket udp, listener;
    std::string ip;
    int nextConnId = 1;
    std::atomic<bool> stop{false};
    std::mt19937_64 rng{std::random_device{}()};
    Clock::time_point nextHeartbeat = Clock::now();

    bool setup(std::string& error);
    void loop();
    void onDatagram();
    void onAccept();
    void onReadable(Conn& c);
    void handle(Conn& c, const Json& msg);
    void reply(Conn& c, const Json& msg, Json body);
    void fail(Conn& c, const Json& msg, const std::string& error) { reply(c, msg, {{"ok", false}, {"error", error}}); }
    void release(Cam& cam);
    void flush(Conn& c);
    void heartbeats();
    void expire(Clock::time_point now);
    /// Makes room for one more connection: false when every slot is taken by a camera's
    /// controller or a connection too new to judge.
    bool makeRoom(Clock::time_point now);
    void sayBye(Conn& c, const std::string& reason);
    bool attach(Conn& c, const Json& msg);
    Json describe(const Cam& cam) const;
    CameraAnnouncement announce(const Cam& cam, uint32_t index) const;
};

CameraDaemon::CameraDaemon(DaemonOptions options) : m_impl(std::make_unique<Impl>()) { m_impl->opt = std::move(options); }
CameraDaemon::~CameraDaemon() {
    for (auto& cam : m_impl->cams)
        m_impl->release(*cam);
}
void CameraDaemon::requestStop() { m_impl->stop = true; }

bool CameraDaemon::run() {
    if (!m_impl->setup(m_error))
        return false;
    m_impl->loop();
    return true;
}

static bool isLoopback(uint32_t ip) { return (ip >> 24) == 127; }

bool CameraDaemon::Impl::setup(std::string& error) {
    const auto bindV = parseIPv4(opt.bindIp);
    if (!bindV) {
        error = "--bind: '" + opt.bindIp + "' is not an IPv4 address";
        return false;
    }
    if (!isLoopback(*bindV) && !opt.allowNetwork) {
        error = "--bind " + opt.bindIp + " is not a loopback address (add --allow-network to serve a real network)";
        return false;
    }
    const auto mask = parseIPv4(opt.mask);
    const auto gw = parseIPv4(opt.gateway);
    if (!mask || !gw || !validateIpConfig(*bindV, *mask, *gw, error)) {
        if (error.empty())
            error = "bad subnet mask or gateway";
        return false;
    }
    if (opt.cameras.empty()) {
        error = "no camera to serve (give --serial)";
        return false;
    }
    for (const DaemonCamera& c : opt.cameras) {
        auto cam = std::make_unique<Cam>();
        cam->cfg = c;
        CameraDescription& d = cam->desc;
        d.serial = c.serial;
        d.manufacturer = "Quorvel";
        d.product = c.fusion ? detail::kFusionProduct : "QV640-ETH";
        d.firmware = !c.firmware.empty() ? c.firmware : (c.fusion ? "Tarnix_V1.7.2" : "QV640_V2.1.0");
        d.mac = c.mac.empty() ? macForSerial(c.serial) : c.mac;
        d.interfaceType = CAMERA_INTERFACE_ETHERNET;
        const uint16_t w = c.width ? c.width : (c.fusion ? 1280 : 640);
        const uint16_t h = c.height ? c.height : (c.fusion ? 720 : 480);
        std::unique_ptr<detail::EventSource> src;
        if (c.stressRate > 0) {
            src = detail::makeStressSource(w, h, c.stressRate, 1);
        } else {
            detail::SimSourceOptions so;
            so.scene = c.scene;
            src = detail::makeSimSource(w, h, so, error);
            if (!src)
                return false;
        }
        detail::CameraCoreOptions co;
        co.fusion = c.fusion;
        co.maxQueuedEvents = 0; // nobody reads the local queue; events leave through the stream
        cam->core = std::make_shared<CameraCore>(d, std::move(src), co);
        cam->desc = cam->core->description();
        // Short batches keep the link latency low; packets are cut from them.
        cam->core->setTimeInterval(2000);
        for (auto& other : cams)
            if (other->desc.serial == d.serial) {
                error = "serial '" + d.serial + "' given twice";
                return false;
            }
        cams.push_back(std::move(cam));
    }
    udp = udpBind(opt.bindIp, opt.port, error);
    if (!udp.valid())
        return false;
    listener = tcpListen(opt.bindIp, opt.port, error);
    if (!listener.valid())
        return false;
    setNonBlocking(udp.fd(), true);
    setNonBlocking(listener.fd(), true);
    ip = opt.bindIp;
    for (auto& cam : cams) {
        cam->desc.ip = ip;
        cam->desc.mask = opt.mask;
        cam->desc.gateway = opt.gateway;
    }
    logLine(LOG_INFO, "serving " + std::to_string(cams.size()) + " camera(s) on " + ip + ":" + std::to_string(opt.port));
    return true;
}

CameraAnnouncement CameraDaemon::Impl::announce(const Cam& cam, uint32_t index) const {
    CameraAnnouncement a;
    a.serial = cam.desc.serial;
    a.manufacturer = cam.desc.manufacturer;
    a.product = cam.desc.product;
    a.firmware = cam.desc.firmware;
    a.mac = cam.desc.mac;
    a.ip = cam.desc.ip;
    a.mask = cam.desc.mask;
    a.gateway = cam.desc.gateway;
    a.port = opt.port;
    a.width = cam.desc.width;
    a.height = cam.desc.height;
    a.busy = cam.owner != -1;
    a.index = index;
    a.count = static_cast<uint32_t>(cams.size());
    return a;
}

void CameraDaemon::Impl::loop() {
    std::vector<pollfd> fds;
    while (!stop) {
        fds.clear();
        fds.push_back({udp.fd(), POLLIN, 0});
        fds.push_back({listener.fd(), POLLIN, 0});
        for (auto& c : conns)
            fds.push_back({c->sock.fd(), static_cast<short>(POLLIN | (c->out.empty() ? 0 : POLLOUT)), 0});
        ::poll(fds.data(), fds.size(), 50);
        if (fds[0].revents & POLLIN)
            onDatagram();
        if (fds[1].revents & POLLIN)
            onAccept();
        for (size_t i = 0; i + 2 < fds.size() && i < conns.size(); ++i) {
            Conn& c = *conns[i];
            if (fds[i + 2].revents & (POLLIN | POLLHUP | POLLERR))
                onReadable(c);
            if (!c.dead && !c.out.empty())
                flush(c);
        }
        const auto now = Clock::now();
        if (now >= nextHeartbeat) {
            heartbeats();
            nextHeartbeat = now + kHeartbeatPeriod;
        }
        expire(now);
        for (auto& cam : cams)
            if (cam->out && cam->out->broken() && cam->owner != -1) {
                logLine(LOG_WARNING, "stream of " + cam->desc.serial + " broke; releasing the camera");
                for (auto& c : conns)
                    if (c->id == cam->owner)
                        c->dead = true;
            }
        for (size_t i = 0; i < conns.size();) {
            if (conns[i]->dead) {
                if (conns[i]->cam)
                    release(*conns[i]->cam);
                conns.erase(conns.begin() + static_cast<ptrdiff_t>(i));
            } else {
                ++i;
            }
        }
    }
}

void CameraDaemon::Impl::onDatagram() {
    for (int round = 0; round < 64; ++round) {
        uint8_t buf[kMaxDatagram + 1];
        sockaddr_in from{};
        socklen_t len = sizeof from;
        const ssize_t n = ::recvfrom(udp.fd(), buf, sizeof buf, 0, reinterpret_cast<sockaddr*>(&from), &len);
        if (n < 0)
            return;
        Datagram d;
        std::string err;
        if (!parseDatagram(buf, static_cast<size_t>(n), d, err)) {
            logLine(LOG_DEBUG, "ignored datagram from " + addressText(from) + ": " + err);
            continue;
        }
        auto sendTo = [&](const std::vector<uint8_t>& bytes, int fd) {
            ::sendto(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&from), sizeof from);
        };
        if (d.type == DatagramType::Discover) {
            for (uint32_t i = 0; i < cams.size(); ++i)
                sendTo(encodeAnnounce(d.requestId, announce(*cams[i], i)), udp.fd());
            continue;
        }
        if (d.type != DatagramType::ForceIp)
            continue;
        ForceIpAck ack;
        ack.serial = d.forceIp.serial;
        ack.ip = ip;
        Cam* target = nullptr;
        for (auto& cam : cams)
            if (cam->desc.serial == d.forceIp.serial)
                target = cam.get();
        std::string why;
        if (!target)
            why = "no camera with serial '" + d.forceIp.serial + "' here";
        else if (!d.forceIp.mac.empty() && strcasecmp(d.forceIp.mac.c_str(), target->desc.mac.c_str()) != 0)
            why = "hardware address " + d.forceIp.mac + " does not match camera " + target->desc.serial;
        else if (validateIpConfig(d.forceIp.ip, d.forceIp.mask, d.forceIp.gateway, why) &&
                 !isLoopback(d.forceIp.ip) && !opt.allowNetwork)
            why = "this camera only takes loopback addresses";
        else if (why.empty())
            for (auto& cam : cams)
                if (cam->owner != -1)
                    why = "camera " + cam->desc.serial + " is open by a host; close it before changing the address";
        Socket newUdp, newListener;
        const std::string newIp = ipToString(d.forceIp.ip);
        if (why.empty() && newIp != ip) {
            newUdp = udpBind(newIp, opt.port, why);
            if (newUdp.valid())
                newListener = tcpListen(newIp, opt.port, why);
            if (!newListener.valid() && why.empty())
                why = "cannot listen on " + newIp;
        }
        if (!why.empty()) {
            ack.ok = false;
            ack.error = why;
            sendTo(encodeForceIpAck(d.requestId, ack), udp.fd());
            logLine(LOG_WARNING, "force IP refused: " + why);
            continue;
        }
        ack.ok = true;
        ack.ip = newIp;
        sendTo(encodeForceIpAck(d.requestId, ack), udp.fd());
        if (newUdp.valid()) {
            setNonBlocking(newUdp.fd(), true);
            setNonBlocking(newListener.fd(), true);
            udp = std::move(newUdp);
            listener = std::move(newListener);
            conns.clear(); // only unopened connections can exist here
        }
        ip = newIp;
        for (auto& cam : cams) {
            cam->desc.ip = newIp;
            cam->desc.mask = ipToString(d.forceIp.mask);
            cam->desc.gateway = ipToString(d.forceIp.gateway);
        }
        logLine(LOG_INFO, "address changed to " + newIp + " mask " + ipToString(d.forceIp.mask) + " gateway " +
                              ipToString(d.forceIp.gateway));
        return; // the old socket is gone
    }
}

void CameraDaemon::Impl::expire(Clock::time_point now) {
    // Slots go back as soon as a connection shows it is not a working host: a request dripping in
    // byte by byte, a connection that never asks anything, a controller gone silent.
    for (auto& c : conns) {
        if (c->dead || !c->sock.valid())
            continue;
        if (c->reader.buffered() > 0 && now - c->frameStarted > kFrameDeadline) {
            logLine(LOG_WARNING, "dropping connection " + c->peer + ": a request took longer than " +
                                     std::to_string(std::chrono::milliseconds(kFrameDeadline).count()) + " ms");
            c->dead = true;
        } else if (c->cam && now - c->lastFrame > kControllerTimeout) {
            logLine(LOG_WARNING, "controller " + c->peer + " went silent; releasing its camera");
            sayBye(*c, "no request from this host for " +
                           std::to_string(std::chrono::milliseconds(kControllerTimeout).count()) +
                           " ms; the camera was released");
            c->dead = true;
        } else if (!c->cam && now - c->lastFrame > kIdleTimeout) {
            logLine(LOG_DEBUG, "dropping idle connection " + c->peer);
            c->dead = true;
        }
    }
}

bool CameraDaemon::Impl::makeRoom(Clock::time_point now) {
    size_t live = 0;
    Conn* victim = nullptr;
    for (auto& c : conns) {
        if (c->dead)
            continue;
        ++live;
        // A controller is never pushed out; of the others the one that asked least recently goes.
        if (!c->cam && now - c->accepted >= kEvictionGrace && (!victim || c->lastFrame < victim->lastFrame))
            victim = c.get();
    }
    if (live < kMaxConnections)
        return true;
    if (!victim)
        return false;
    logLine(LOG_DEBUG, "connection " + victim->peer + " makes room for a new one");
    victim->dead = true;
    return true;
}

void CameraDaemon::Impl::sayBye(Conn& c, const std::string& reason) {
    // Best effort, without waiting: the connection is closed right after.
    const auto bytes = encodeControl({{"op", "bye"}, {"reason", reason}});
    flush(c);
    if (c.out.empty())
        ::send(c.sock.fd(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

void CameraDaemon::Impl::onAccept() {
    while (true) {
        sockaddr_in from{};
        socklen_t len = sizeof from;
        const int fd = ::accept4(listener.fd(), reinterpret_cast<sockaddr*>(&from), &len, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (fd < 0)
            return;
        Socket s(fd);
        const auto now = Clock::now();
        if (!makeRoom(now)) {
            // Told, not just closed: the host can say why it cannot connect.
            size_t live = 0;
            for (auto& c : conns)
                live += !c->dead;
            const std::string why = "camera busy: " + std::to_string(live) + " connections";
            const auto bytes = encodeControl({{"op", "reply"}, {"ok", false}, {"busy", true}, {"error", why}});
            ::send(s.fd(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
            logLine(LOG_WARNING, "refused " + addressText(from) + ": " + why);
            continue; // closes it
        }
        auto c = std::make_unique<Conn>();
        c->id = nextConnId++;
        c->sock = std::move(s);
        c->peer = addressText(from);
        conns.push_back(std::move(c));
    }
}

void CameraDaemon::Impl::onReadable(Conn& c) {
    uint8_t buf[65536];
    for (int round = 0; round < 16 && !c.dead; ++round) {
        const ssize_t n = ::recv(c.sock.fd(), buf, sizeof buf, MSG_DONTWAIT);
        if (n == 0 || (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)) {
            c.dead = true;
            return;
        }
        if (n < 0)
            return;
        const auto now = Clock::now();
        const bool fresh = c.reader.buffered() == 0;
        if (!c.reader.feed(buf, static_cast<size_t>(n))) {
            logLine(LOG_WARNING, "dropping connection " + c.peer + ": " + c.reader.error());
            c.dead = true;
            return;
        }
        Json msg;
        bool complete = false;
        while (!c.dead && c.reader.next(msg)) {
            complete = true;
            c.lastFrame = now;
            handle(c, msg);
            if (!c.sock.valid())
                return; // became a stream connection
        }
        // The deadline runs from the first byte of a request; only a finished request resets it.
        if (c.reader.buffered() > 0 && (fresh || complete))
            c.frameStarted = now;
    }
}

void CameraDaemon::Impl::reply(Conn& c, const Json& msg, Json body) {
    body["op"] = "reply";
    if (auto it = msg.find("id"); it != msg.end() && it->is_number_integer())
        body["id"] = *it;
    const auto bytes = encodeControl(body);
    if (c.out.size() + bytes.size() > kMaxOutBuffer) {
        logLine(LOG_WARNING, "controller " + c.peer + " does not read its replies; dropping it");
        c.dead = true;
        return;
    }
    c.out.insert(c.out.end(), bytes.begin(), bytes.end());
}

void CameraDaemon::Impl::flush(Conn& c) {
    while (!c.out.empty()) {
        const ssize_t n = ::send(c.sock.fd(), c.out.data(), c.out.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n > 0) {
            c.out.erase(c.out.begin(), c.out.begin() + n);
            continue;
        }
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR))
            return;
        c.dead = true;
        return;
    }
}

void CameraDaemon::Impl::heartbeats() {
    for (auto& c : conns) {
        if (c->dead || !c->cam)
            continue;
        Json hb = {{"op", "hb"}, {"streaming", c->cam->core->streaming()}};
        if (c->cam->out) {
            hb["stream"] = c->cam->out->streamId();
            hb["packets"] = c->cam->out->producedPackets();
            hb["events"] = c->cam->out->producedEvents();
            hb["dropped"] = c->cam->out->droppedPackets();
        }
        const auto bytes = encodeControl(hb);
        if (c->out.size() + bytes.size() <= kMaxOutBuffer)
            c->out.insert(c->out.end(), bytes.begin(), bytes.end());
        flush(*c);
    }
}

void CameraDaemon::Impl::release(Cam& cam) {
    cam.core->stop();
    if (cam.evCb >= 0)
        cam.core->removeEventsCallback(cam.evCb);
    if (cam.trCb >= 0)
        cam.core->removeTriggerCallback(cam.trCb);
    cam.evCb = cam.trCb = -1;
    cam.out.reset();
    if (cam.owner != -1)
        logLine(LOG_INFO, "camera " + cam.desc.serial + " released");
    cam.owner = -1;
    cam.token = 0;
    for (auto& c : conns)
        if (c->cam == &cam)
            c->cam = nullptr;
}

Json CameraDaemon::Impl::describe(const Cam& cam) const {
    const CameraDescription& d = cam.desc;
    return {{"serial", d.serial},   {"manufacturer", d.manufacturer}, {"product", d.product},
            {"firmware", d.firmware}, {"mac", d.mac},                 {"width", d.width},
            {"height", d.height}};
}

bool CameraDaemon::Impl::attach(Conn& c, const Json& msg) {
    int64_t token = 0;
    std::string err;
    if (!getInt(msg, "token", token, err)) {
        fail(c, msg, err);
        return false;
    }
    for (auto& cam : cams) {
        if (cam->owner == -1 || static_cast<int64_t>(cam->token) != token)
            continue;
        if (cam->out) {
            fail(c, msg, "camera " + cam->desc.serial + " already has a stream connection");
            return false;
        }
        // The reply must be the last control frame on this connection: packets follow it.
        Json ok = {{"op", "reply"}, {"ok", true}};
        if (msg.contains("id"))
            ok["id"] = msg["id"];
        const auto bytes = encodeControl(ok);
        std::string sendErr;
        if (!c.out.empty() || !sendAll(c.sock.fd(), bytes.data(), bytes.size(), 1000, sendErr)) {
            c.dead = true;
            return false;
        }
        int bufSize = 4 << 20;
        ::setsockopt(c.sock.fd(), SOL_SOCKET, SO_SNDBUF, &bufSize, sizeof bufSize);
        cam->out = std::make_unique<StreamOut>(std::move(c.sock), cam->desc.width, cam->desc.height, opt.sendQueueBytes,
                                               *cam->core);
        StreamOut* out = cam->out.get();
        cam->evCb = cam->core->addEventsCallback([out](const Event2D* b, const Event2D* e) { out->events(b, e); });
        cam->trCb = cam->core->addTriggerCallback([out](const EventTriggerIn& t) { out->trigger(t); });
        c.dead = true; // the control side of this connection is done; its socket lives on in the stream
        return true;
    }
    fail(c, msg, "unknown stream token");
    return false;
}

void CameraDaemon::Impl::handle(Conn& c, const Json& msg) {
    const std::string op = msg["op"].get<std::string>();
    std::string err;
    if (op == "ping")
        return;
    if (op == "attach") {
        attach(c, msg);
        return;
    }
    if (op == "open") {
        std::string serial;
        if (!getString(msg, "serial", serial, err))
            return fail(c, msg, err);
        if (c.cam)
            return fail(c, msg, "this connection already holds camera " + c.cam->desc.serial);
        for (auto& cam : cams) {
            if (cam->desc.serial != serial)
                continue;
            if (cam->owner != -1) {
                std::string holder;
                for (auto& o : conns)
                    if (o->id == cam->owner)
                        holder = o->peer;
                return fail(c, msg, "camera " + serial + " is already controlled by " + holder);
            }
            cam->owner = c.id;
            cam->token = rng() & 0x7FFFFFFFFFFFFFFFull;
            c.cam = cam.get();
            Json tools = Json::array();
            for (const ToolInfo& ti : cam->core->toolsInfo())
                tools.push_back(toolToJson(*cam->core->tool(ti.type)));
            logLine(LOG_INFO, "camera " + serial + " opened by " + c.peer);
            return reply(c, msg, {{"ok", true}, {"token", cam->token}, {"camera", describe(*cam)}, {"tools", tools}});
        }
        return fail(c, msg, "no camera with serial '" + serial + "' here");
    }
    if (!c.cam)
        return fail(c, msg, "open a camera first");
    Cam& cam = *c.cam;
    if (op == "close") {
        release(cam);
        return reply(c, msg, {{"ok", true}});
    }
    if (op == "start") {
        if (!cam.out)
            return fail(c, msg, "no stream connection attached");
        if (cam.core->streaming())
            return reply(c, msg, {{"ok", true}, {"stream", cam.out->streamId()}});
        const uint32_t id = cam.nextStreamId++;
        cam.out->begin(id);
        const int rc = cam.core->start();
        if (rc != 0)
            return fail(c, msg, "cannot start: " + cam.core->lastError());
        return reply(c, msg, {{"ok", true}, {"stream", id}});
    }
    if (op == "stop") {
        cam.core->stop();
        return reply(c, msg, {{"ok", true}});
    }
    if (op == "set") {
        int64_t type = 0;
        std::string name;
        if (!getInt(msg, "tool", type, err) || !getString(msg, "name", name, err) || !msg.contains("value"))
            return fail(c, msg, err.empty() ? "missing field 'value'" : err);
        auto tool = (type >= TOOL_BIASES && type <= TOOL_APS) ? cam.core->tool(static_cast<ToolType>(type)) : nullptr;
        if (!tool)
            return fail(c, msg, "camera has no tool " + std::to_string(type));
        std::map<std::string, BasicParameterInfo> infos;
        tool->getAllParamsInfo(infos);
        auto it = infos.find(name);
        detail::ParamValue v;
        if (it == infos.end() || !valueFromJson(msg["value"], it->second.type, v))
            return fail(c, msg, "no parameter '" + name + "' of that type in tool " + toolDisplayName(static_cast<ToolType>(type)));
        detail::ValueMap ch{{name, v}};
        if (!tool->apply(ch, err))
            return fail(c, msg, err);
        return reply(c, msg, {{"ok", true}});
    }
    if (op == "loadConfig" || op == "exportConfig") {
        if (op == "loadConfig") {
            if (!msg.contains("config") || !msg["config"].is_object())
                return fail(c, msg, "field 'config' is missing or not an object");
            if (!cam.core->applyConfig(msg["config"], err))
                return fail(c, msg, err);
        }
        Json config = Json::object();
        for (const ToolInfo& ti : cam.core->toolsInfo())
            config[toolSectionKey(ti.type)] = cam.core->tool(ti.type)->toJson();
        return reply(c, msg, {{"ok", true}, {"config", config}});
    }
    fail(c, msg, "unknown operation '" + op.substr(0, 40) + "'");
}

} // namespace quorvel::net
