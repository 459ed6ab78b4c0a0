#include "quorvel/net/NetProtocol.h"

#include "quorvel/NetUtils.h"
#include "quorvel/raw/EventDecoder.h"
#include "quorvel/raw/EventEncoder.h"
#include "quorvel/raw/RawHeader.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace quorvel::net {

namespace {

inline void put16(uint8_t* p, uint16_t v) { std::memcpy(p, &v, 2); }
inline void put32(uint8_t* p, uint32_t v) { std::memcpy(p, &v, 4); }
inline void put64(uint8_t* p, uint64_t v) { std::memcpy(p, &v, 8); }
inline uint16_t get16(const uint8_t* p) { uint16_t v; std::memcpy(&v, p, 2); return v; }
inline uint32_t get32(const uint8_t* p) { uint32_t v; std::memcpy(&v, p, 4); return v; }
inline uint64_t get64(const uint8_t* p) { uint64_t v; std::memcpy(&v, p, 8); return v; }

// Texts from a peer may hold invalid UTF-8; dumping must never throw because of it.
std::string dumpJson(const Json& j) { return j.dump(-1, ' ', false, Json::error_handler_t::replace); }

uint32_t fnv1a(const uint8_t* p, size_t n) {
    uint32_t h = 2166136261u;
    for (size_t i = 0; i < n; ++i)
        h = (h ^ p[i]) * 16777619u;
    return h;
}

// nlohmann's parser keeps its own stack, but printing and comparing recurse: refuse deep nesting
// before parsing at all.
bool depthWithin(const uint8_t* p, size_t n, int maxDepth) {
    int depth = 0;
    bool inString = false, escaped = false;
    for (size_t i = 0; i < n; ++i) {
        const uint8_t c = p[i];
        if (inString) {
            if (escaped)
                escaped = false;
            else if (c == '\\')
                escaped = true;
            else if (c == '"')
                inString = false;
            continue;
        }
        if (c == '"')
            inString = true;
        else if (c == '[' || c == '{') {
            if (++depth > maxDepth)
                return false;
        } else if (c == ']' || c == '}')
            --depth;
    }
    return true;
}

bool parseObject(const uint8_t* data, size_t size, Json& out, std::string& error) {
    if (!depthWithin(data, size, kMaxJsonDepth)) {
        error = "JSON nested deeper than " + std::to_string(kMaxJsonDepth) + " levels";
        return false;
    }
    Json j = Json::parse(data, data + size, nullptr, false);
    if (j.is_discarded()) {
        error = "malformed JSON";
        return false;
    }
    if (!j.is_object()) {
        error = "JSON body is not an object";
        return false;
    }
    out = std::move(j);
    return true;
}

std::vector<uint8_t> datagram(DatagramType type, uint32_t requestId, const Json& body) {
    const std::string text = dumpJson(body);
    std::vector<uint8_t> out(kDatagramHeaderSize + text.size());
    put32(out.data(), kDatagramMagic);
    out[4] = kProtocolVersion;
    out[5] = static_cast<uint8_t>(type);
    put16(out.data() + 6, 0);
    put32(out.data() + 8, requestId);
    std::memcpy(out.data() + kDatagramHeaderSize, text.data(), text.size());
    return out;
}

constexpr size_t kMaxText = 64;

bool getText(const Json& msg, const char* key, std::string& out, std::string& error, bool required = true) {
    auto it = msg.find(key);
    if (it == msg.end()) {
        if (!required)
            return true;
        error = std::string("missing field '") + key + "'";
        return false;
    }
    if (!it->is_string()) {
        error = std::string("field '") + key + "' is not a string";
        return false;
    }
    out = it->get<std::string>();
    if (out.size() > kMaxText) {
        error = std::string("field '") + key + "' is longer than " + std::to_string(kMaxText) + " bytes";
        return false;
    }
    return true;
}

bool getUnsigned(const Json& msg, const char* key, uint64_t max, uint64_t& out, std::string& error) {
    auto it = msg.find(key);
    if (it == msg.end()) {
        error = std::string("missing field '") + key + "'";
        return false;
    }
    if (!it->is_number_unsigned() || it->get<uint64_t>() > max) {
        error = std::string("field '") + key + "' is not an integer in 0.." + std::to_string(max);
        return false;
    }
    out = it->get<uint64_t>();
    return true;
}

bool getAddress(const Json& msg, const char* key, std::string& out, std::string& error) {
    if (!getText(msg, key, out, error))
        return false;
    if (!parseIPv4(out)) {
        error = std::string("field '") + key + "' is not an IPv4 address";
        return false;
    }
    return true;
}

bool getFlag(const Json& msg, const char* key, bool& out, std::string& error) {
    auto it = msg.find(key);
    if (it == msg.end() || !it->is_boolean()) {
        error = std::string("field '") + key + "' is missing or not a boolean";
        return false;
    }
    out = it->get<bool>();
    return true;
}

} // namespace

// ---------------------------------------------------------------- datagrams

std::vector<uint8_t> encodeDiscover(uint32_t requestId) {
    return datagram(DatagramType::Discover, requestId, Json::object());
}

std::vector<uint8_t> encodeAnnounce(uint32_t requestId, const CameraAnnouncement& a) {
    Json j = {{"serial", a.serial},     {"manufacturer", a.manufacturer}, {"product", a.product},
              {"firmware", a.firmware}, {"mac", a.mac},                   {"ip", a.ip},
              {"mask", a.mask},         {"gateway", a.gateway},           {"port", a.port},
              {"width", a.width},       {"height", a.height},             {"busy", a.busy},
              {"index", a.index},       {"count", a.count}};
    return datagram(DatagramType::Announce, requestId, j);
}

std::vector<uint8_t> encodeForceIp(uint32_t requestId, const ForceIpRequest& r) {
    Json j = {{"serial", r.serial},
              {"mac", r.mac},
              {"ip", ipToString(r.ip)},
              {"mask", ipToString(r.mask)},
              {"gateway", ipToString(r.gateway)}};
    return datagram(DatagramType::ForceIp, requestId, j);
}

std::vector<uint8_t> encodeForceIpAck(uint32_t requestId, const ForceIpAck& a) {
    Json j = {{"ok", a.ok}, {"serial", a.serial}, {"error", a.error.substr(0, 200)}, {"ip", a.ip}};
    return datagram(DatagramType::ForceIpAck, requestId, j);
}

bool parseDatagram(const uint8_t* data, size_t size, Datagram& out, std::string& error) {
    if (size < kDatagramHeaderSize) {
        error = "datagram of " + std::to_string(size) + " bytes is shorter than its header";
        return false;
    }
    if (size > kMaxDatagram) {
        error = "datagram of " + std::to_string(size) + " bytes exceeds " + std::to_string(kMaxDatagram);
        return false;
    }
    if (get32(data) != kDatagramMagic) {
        error = "not a camera datagram (bad magic)";
        return false;
    }
    if (data[4] != kProtocolVersion) {
        error = "unsupported protocol version " + std::to_string(data[4]);
        return false;
    }
    const uint8_t type = data[5];
    if (type < 1 || type > 4) {
        error = "unknown datagram type " + std::to_string(type);
        return false;
    }
    Datagram d;
    d.type = static_cast<DatagramType>(type);
    d.requestId = get32(data + 8);
    Json body;
    if (!parseObject(data + kDatagramHeaderSize, size - kDatagramHeaderSize, body, error)) {
        error = "datagram body: " + error;
        return false;
    }
    std::string e;
    bool ok = true;
    switch (d.type) {
    case DatagramType::Discover:
        break;
    case DatagramType::Announce: {
        CameraAnnouncement& a = d.announce;
        uint64_t port = 0, w = 0, h = 0, index = 0, count = 0;
        ok = getText(body, "serial", a.serial, e) && getText(body, "manufacturer", a.manufacturer, e) &&
             getText(body, "product", a.product, e) && getText(body, "firmware", a.firmware, e) &&
             getText(body, "mac", a.mac, e) && getAddress(body, "ip", a.ip, e) && getAddress(body, "mask", a.mask, e) &&
             getAddress(body, "gateway", a.gateway, e) && getUnsigned(body, "port", 65535, port, e) &&
             getUnsigned(body, "width", 65535, w, e) && getUnsigned(body, "height", 65535, h, e) &&
             getFlag(body, "busy", a.busy, e) && getUnsigned(body, "index", 255, index, e) &&
             getUnsigned(body, "count", 256, count, e);
        if (ok && a.serial.empty()) {
            e = "empty serial";
            ok = false;
        }
        if (ok && (port == 0 || index >= count)) {
            e = port == 0 ? "port 0" : "camera index beyond the camera count";
            ok = false;
        }
        a.port = static_cast<uint16_t>(port);
        a.width = static_cast<uint16_t>(w);
        a.height = static_cast<uint16_t>(h);
        a.index = static_cast<uint32_t>(index);
        a.count = static_cast<uint32_t>(count);
        break;
    }
    case DatagramType::ForceIp: {
        std::string ip, mask, gw;
        ok = getText(body, "serial", d.forceIp.serial, e) && getText(body, "mac", d.forceIp.mac, e) &&
             getAddress(body, "ip", ip, e) && getAddress(body, "mask", mask, e) && getAddress(body, "gateway", gw, e);
        if (ok) {
            d.forceIp.ip = *parseIPv4(ip);
            d.forceIp.mask = *parseIPv4(mask);
            d.forceIp.gateway = *parseIPv4(gw);
        }
        break;
    }
    case DatagramType::ForceIpAck:
        ok = getFlag(body, "ok", d.ack.ok, e) && getText(body, "serial", d.ack.serial, e) &&
             getText(body, "ip", d.ack.ip, e, false);
        if (ok) {
            auto it = body.find("error");
            if (it != body.end() && it->is_string())
                d.ack.error = it->get<std::string>().substr(0, 200);
        }
        break;
    }
    if (!ok) {
        error = "datagram body: " + e;
        return false;
    }
    out = std::move(d);
    return true;
}

bool validateIpConfig(uint32_t ip, uint32_t mask, uint32_t gateway, std::string& error) {
    // A subnet mask is ones then zeros: its complement plus one is a power of two.
    const uint32_t inv = ~mask;
    if (mask == 0 || (inv & (inv + 1)) != 0) {
        error = "subnet mask " + ipToString(mask) + " is not a contiguous mask";
        return false;
    }
    const uint32_t first = ip >> 24;
    if (ip == 0 || first == 0 || first >= 224) {
        error = "address " + ipToString(ip) + " is not a unicast host address";
        return false;
    }
    if (inv != 0 && ((ip & inv) == 0 || (ip & inv) == inv)) {
        error = "address " + ipToString(ip) + " is the network or broadcast address of its subnet";
        return false;
    }
    if (gateway != 0 && ((gateway & mask) != (ip & mask) || gateway == ip)) {
        error = "gateway " + ipToString(gateway) + " is not another host of subnet " + ipToString(ip & mask);
        return false;
    }
    return true;
}

// ---------------------------------------------------------------- control frames

std::vector<uint8_t> encodeControl(const Json& message) {
    const std::string text = dumpJson(message);
    std::vector<uint8_t> out(kControlHeaderSize + text.size());
    put32(out.data(), kControlMagic);
    put32(out.data() + 4, static_cast<uint32_t>(text.size()));
    std::memcpy(out.data() + kControlHeaderSize, text.data(), text.size());
    return out;
}

bool parseControlBody(const uint8_t* data, size_t size, Json& out, std::string& error) {
    if (size > kMaxControlBody) {
        error = "control message of " + std::to_string(size) + " bytes exceeds " + std::to_string(kMaxControlBody);
        return false;
    }
    Json j;
    if (!parseObject(data, size, j, error))
        return false;
    auto it = j.find("op");
    if (it == j.end() || !it->is_string() || it->get<std::string>().empty()) {
        error = "control message without an 'op' text";
        return false;
    }
    out = std::move(j);
    return true;
}

bool ControlReader::feed(const uint8_t* data, size_t size) {
    if (failed())
        return false;
    // Compact before growing: the buffer only ever holds one partial frame plus what arrived.
    if (m_pos > 0 && m_pos == m_buf.size()) {
        m_buf.clear();
        m_pos = 0;
    } else if (m_pos > (64u << 10)) {
        m_buf.erase(m_buf.begin(), m_buf.begin() + static_cast<ptrdiff_t>(m_pos));
        m_pos = 0;
    }
    m_buf.insert(m_buf.end(), data, data + size);
    return parseReady();
}

bool ControlReader::parseReady() {
    while (m_buf.size() - m_pos >= kControlHeaderSize) {
        const uint8_t* p = m_buf.data() + m_pos;
        if (get32(p) != kControlMagic) {
            m_error = "control stream out of step (bad frame magic)";
            return false;
        }
        const uint32_t len = get32(p + 4);
        if (len > kMaxControlBody) {
            m_error = "control message of " + std::to_string(len) + " bytes exceeds " + std::to_string(kMaxControlBody);
            return false;
        }
        if (m_buf.size() - m_pos - kControlHeaderSize < len)
            return true; // wait for the rest; at most one capped body is ever buffered
        Json msg;
        std::string err;
        if (!parseControlBody(p + kControlHeaderSize, len, msg, err)) {
            m_error = err;
            return false;
        }
        m_ready.push_back(std::move(msg));
        m_pos += kControlHeaderSize + len;
    }
    return true;
}

bool ControlReader::next(Json& message) {
    if (m_readyPos >= m_ready.size()) {
        m_ready.clear();
        m_readyPos = 0;
        return false;
    }
    message = std::move(m_ready[m_readyPos++]);
    return true;
}

bool getString(const Json& msg, const char* key, std::string& out, std::string& error) {
    auto it = msg.find(key);
    if (it == msg.end() || !it->is_string()) {
        error = std::string("field '") + key + "' is missing or not a string";
        return false;
    }
    out = it->get<std::string>();
    return true;
}

bool getInt(const Json& msg, const char* key, int64_t& out, std::string& error) {
    auto it = msg.find(key);
    if (it == msg.end() || !it->is_number_integer() ||
        (it->is_number_unsigned() && it->get<uint64_t>() > static_cast<uint64_t>(std::numeric_limits<int64_t>::max()))) {
        error = std::string("field '") + key + "' is missing or not an integer";
        return false;
    }
    out = it->get<int64_t>();
    return true;
}

// ---------------------------------------------------------------- stream packets

void writePacketHeader(const PacketHeader& h, uint8_t* p) {
    put32(p, kPacketMagic);
    p[4] = kProtocolVersion;
    p[5] = 1; // kind: events
    put16(p + 6, static_cast<uint16_t>(kPacketHeaderSize));
    put32(p + 8, h.streamId);
    put32(p + 12, h.eventCount);
    put64(p + 16, h.seq);
    put64(p + 24, h.firstEventIndex);
    put64(p + 32, h.timeBase);
    put32(p + 40, h.triggerCount);
    put32(p + 44, h.payloadBytes);
    put32(p + 48, h.cameraLost);
    put32(p + 52, fnv1a(p, 52));
}

bool parsePacketHeader(const uint8_t* p, size_t size, PacketHeader& out, std::string& error) {
    if (size < kPacketHeaderSize) {
        error = "stream packet header truncated";
        return false;
    }
    if (get32(p) != kPacketMagic) {
        error = "stream out of step (bad packet magic)";
        return false;
    }
    if (p[4] != kProtocolVersion || p[5] != 1 || get16(p + 6) != kPacketHeaderSize) {
        error = "unsupported stream packet version or kind";
        return false;
    }
    if (get32(p + 52) != fnv1a(p, 52)) {
        error = "stream packet header checksum mismatch";
        return false;
    }
    PacketHeader h;
    h.streamId = get32(p + 8);
    h.eventCount = get32(p + 12);
    h.seq = get64(p + 16);
    h.firstEventIndex = get64(p + 24);
    h.timeBase = get64(p + 32);
    h.triggerCount = get32(p + 40);
    h.payloadBytes = get32(p + 44);
    h.cameraLost = get32(p + 48);
    if (h.payloadBytes > kMaxPacketPayload || h.payloadBytes % 2 != 0) {
        error = "stream packet payload of " + std::to_string(h.payloadBytes) + " bytes is odd or exceeds " +
                std::to_string(kMaxPacketPayload);
        return false;
    }
    if (h.eventCount > kMaxPacketEvents ||
        static_cast<uint64_t>(h.eventCount) > uint64_t{h.payloadBytes} * kMaxEventsPerPayloadByte ||
        h.triggerCount > h.payloadBytes / 2) {
        error = "stream packet counts cannot fit its payload";
        return false;
    }
    if ((h.timeBase & ((uint64_t{1} << 24) - 1)) != 0) {
        error = "stream packet time base is not a whole EVT 3.0 wrap";
        return false;
    }
    out = h;
    return true;
}

PacketEncoder::PacketEncoder(uint16_t width, uint16_t height)
    : m_enc(EventEncoder::create(RawEncoding::Evt3, width, height)) {}
PacketEncoder::~PacketEncoder() = default;

void PacketEncoder::encode(const PacketHeader& base, const Event2D* b, const Event2D* e, const EventTriggerIn* tb,
                           const EventTriggerIn* te, std::vector<uint8_t>& out) {
    uint64_t first = UINT64_MAX;
    if (b != e)
        first = b->timestamp;
    if (tb != te)
        first = std::min<uint64_t>(first, tb->timestamp);
    if (first == UINT64_MAX)
        first = 0;
    // A fresh encoder state per packet: the receiver can decode any packet without its
    // predecessors, which is what makes a lost packet cost only its own events.
    PacketHeader h = base;
    h.timeBase = m_enc->timeBaseFor(first);
    m_enc->begin(h.timeBase);
    m_enc->encode(b, e, tb, te);
    h.eventCount = static_cast<uint32_t>(e - b);
    h.triggerCount = static_cast<uint32_t>(te - tb);
    h.payloadBytes = static_cast<uint32_t>(m_enc->size());
    const size_t at = out.size();
    out.resize(at + kPacketHeaderSize + m_enc->size());
    writePacketHeader(h, out.data() + at);
    std::memcpy(out.data() + at + kPacketHeaderSize, m_enc->data(), m_enc->size());
}

PacketDecoder::PacketDecoder(uint16_t width, uint16_t height) {
    RawHeader rh;
    rh.encoding = RawEncoding::Evt3;
    rh.width = width;
    rh.height = height;
    m_dec = EventDecoder::create(rh);
}
PacketDecoder::~PacketDecoder() = default;
void PacketDecoder::FreeDeleter::operator()(Event2D* p) const { std::free(p); }

bool PacketDecoder::decode(const PacketHeader& h, const uint8_t* payload, std::vector<Event2D>& events,
                           std::vector<EventTriggerIn>& triggers, std::string& error) {
    DecoderState s = m_dec->initialState();
    s.timeBase = h.timeBase;
    s.rawTime = h.timeBase;
    s.floor = std::max(m_floor, h.timeBase);
    m_dec->state() = s;
    const DecodeStats before = m_dec->stats();
    const size_t trAt = triggers.size();
    // The header's count was checked against its cap, so this allocation is bounded.
    const size_t cap = size_t{h.eventCount} + m_dec->maxEventsPerWord();
    if (cap > m_scratchCap) {
        void* p = std::malloc(cap * sizeof(Event2D));
        if (!p) {
            error = "out of memory for a stream packet";
            return false;
        }
        m_scratch.reset(static_cast<Event2D*>(p));
        m_scratchCap = cap;
    }
    const DecodeResult r = m_dec->decode(payload, h.payloadBytes, m_scratch.get(), cap, triggers);
    const DecodeStats& after = m_dec->stats();
    std::string why;
    if (after.invalidEvents != before.invalidEvents)
        why = "payload has events outside the sensor";
    else if (after.timeBackwards != before.timeBackwards)
        why = "payload time goes backwards";
    else if (r.bytesConsumed != h.payloadBytes)
        why = "payload holds more events than announced";
    else if (r.eventsWritten != h.eventCount || triggers.size() - trAt != h.triggerCount)
        why = "payload decodes to " + std::to_string(r.eventsWritten) + " events and " +
              std::to_string(triggers.size() - trAt) + " triggers, header says " + std::to_string(h.eventCount) +
              " and " + std::to_string(h.triggerCount);
    if (!why.empty()) {
        triggers.resize(trAt);
        error = "stream packet " + std::to_string(h.seq) + ": " + why;
        return false;
    }
    events.insert(events.end(), m_scratch.get(), m_scratch.get() + r.eventsWritten);
    if (r.eventsWritten)
        m_floor = events.back().timestamp;
    return true;
}

void SequenceTracker::reset(uint32_t streamId) {
    m_streamId = streamId;
    m_nextSeq = m_nextEvent = 0;
}

SequenceTracker::Verdict SequenceTracker::onPacket(const PacketHeader& h, std::string& error) {
    if (h.streamId != m_streamId)
        return Verdict::Stale;
    if (h.seq < m_nextSeq || h.firstEventIndex < m_nextEvent) {
        error = "stream packet " + std::to_string(h.seq) + " goes back (expected " + std::to_string(m_nextSeq) + ")";
        return Verdict::Invalid;
    }
    const uint64_t skipped = h.firstEventIndex - m_nextEvent;
    const uint64_t camera = std::min<uint64_t>(skipped, h.cameraLost);
    if (skipped > camera && h.seq == m_nextSeq) {
        error = "stream packet " + std::to_string(h.seq) + " skips events without skipping packets";
        return Verdict::Invalid;
    }
    m_lostPackets += h.seq - m_nextSeq;
    m_lostEvents += skipped - camera;
    m_cameraLost += camera;
    m_nextSeq = h.seq + 1;
    m_nextEvent = h.firstEventIndex + h.eventCount;
    ++m_received;
    return Verdict::Accept;
}

void SequenceTracker::settle(uint64_t producedPackets, uint64_t producedEvents) {
    if (producedPackets > m_nextSeq) {
        m_lostPackets += producedPackets - m_nextSeq;
        m_nextSeq = producedPackets;
    }
    if (producedEvents > m_nextEvent) {
        m_lostEvents += producedEvents - m_nextEvent;
        m_nextEvent = producedEvents;
    }
}

} // namespace quorvel::net
