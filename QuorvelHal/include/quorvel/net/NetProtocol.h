#pragma once
// Wire formats of Ethernet cameras, shared by the camera daemon and the host: discovery and
// force-IP datagrams (UDP), framed control messages (TCP) and event stream packets (TCP).
//
// - Datagram: 12-byte header (magic "QVD1", version, type, request id) and a JSON object body;
//   at most kMaxDatagram bytes so it never fragments.
// - Control frame: magic "QVC1", body length (u32 LE), JSON object body of at most
//   kMaxControlBody bytes, nested at most kMaxJsonDepth deep. Every message has a string "op".
// - Stream packet: 56-byte header (magic "QVS1", stream id, sequence number, index of its first
//   event in the stream, EVT 3.0 time base, counts, payload size, events the camera lost just
//   before it, header checksum) and an EVT 3.0 payload that decodes on its own, so a receiver can
//   resume right after a lost packet.
//
// Sequence numbers and event indices let the host count exactly what was lost: the daemon numbers
// every packet it produces, including those it drops when the host reads too slowly, and counts
// in the event index what its sensor produced but could not read out (its FIFO overflowed); the
// packet after such a gap says how many of the skipped events were the camera's, so the host
// tells the two apart. A camera loss announced by a packet that is itself lost counts as network
// loss: the total stays exact.
//
// Errors: every parser rejects malformed input with a one-line reason and never throws; sizes are
// checked before anything is allocated, so a hostile peer cannot make a reader allocate more than
// the caps below.
// Thread rules: pure functions and plain objects used by one thread at a time.

#include "quorvel/Event2D.h"
#include "quorvel/JsonUtils.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace quorvel {
class EventDecoder;
class EventEncoder;
}

namespace quorvel::net {

inline constexpr uint16_t kDefaultPort = 47000;
inline constexpr size_t kMaxDatagram = 1400;
inline constexpr size_t kDatagramHeaderSize = 12;
inline constexpr size_t kControlHeaderSize = 8;
inline constexpr size_t kMaxControlBody = 1u << 20;
inline constexpr int kMaxJsonDepth = 32;
inline constexpr size_t kPacketHeaderSize = 56;
inline constexpr uint32_t kMaxPacketPayload = 4u << 20;
/// EVT 3.0 words are 2 bytes and one VECT_12 word carries at most 12 events.
inline constexpr uint32_t kMaxEventsPerPayloadByte = 6;
/// Events one packet may announce: what a receiver allocates for a packet stays below 16 MiB.
inline constexpr uint32_t kMaxPacketEvents = 1u << 20;

inline constexpr uint32_t kDatagramMagic = 0x31445651; // "QVD1"
inline constexpr uint32_t kControlMagic = 0x31435651;  // "QVC1"
inline constexpr uint32_t kPacketMagic = 0x31535651;   // "QVS1"
inline constexpr uint8_t kProtocolVersion = 1;

// ---------------------------------------------------------------- datagrams

enum class DatagramType : uint8_t {
    Discover = 1,   ///< host -> camera: who is there?
    Announce = 2,   ///< camera -> host: one per camera served at that address
    ForceIp = 3,    ///< host -> camera: take this address
    ForceIpAck = 4, ///< camera -> host: done or refused (with the reason)
};

/// What a camera tells about itself in an Announce.
struct CameraAnnouncement {
    std::string serial, manufacturer, product, firmware, mac;
    std::string ip, mask, gateway;
    uint16_t port = kDefaultPort;
    uint16_t width = 0, height = 0;
    bool busy = false;  ///< a controller holds it
    uint32_t index = 0; ///< position among the cameras of that daemon
    uint32_t count = 1; ///< how many cameras that daemon serves
};

struct ForceIpRequest {
    std::string serial, mac;
    uint32_t ip = 0, mask = 0, gateway = 0; ///< first octet in the high byte
};

struct ForceIpAck {
    bool ok = false;
    std::string serial, error;
    std::string ip; ///< the address now in use
};

struct Datagram {
    DatagramType type = DatagramType::Discover;
    uint32_t requestId = 0;
    CameraAnnouncement announce; ///< type Announce
    ForceIpRequest forceIp;      ///< type ForceIp
    ForceIpAck ack;              ///< type ForceIpAck
};

std::vector<uint8_t> encodeDiscover(uint32_t requestId);
std::vector<uint8_t> encodeAnnounce(uint32_t requestId, const CameraAnnouncement& a);
std::vector<uint8_t> encodeForceIp(uint32_t requestId, const ForceIpRequest& r);
std::vector<uint8_t> encodeForceIpAck(uint32_t requestId, const ForceIpAck& a);
bool parseDatagram(const uint8_t* data, size_t size, Datagram& out, std::string& error);

/// Checks a new address triple the way a camera must before taking it: a contiguous non-empty
/// mask, a unicast address whose host part is neither all zeros nor all ones, and a gateway that
/// is 0 or inside the subnet.
bool validateIpConfig(uint32_t ip, uint32_t mask, uint32_t gateway, std::string& error);

// ---------------------------------------------------------------- control frames

/// Frames a JSON object as a control message.
std::vector<uint8_t> encodeControl(const Json& message);

/// Reassembles control messages from a byte stream of any chunking.
class ControlReader {
public:
    /// Appends received bytes. False (with error()) once the stream is malformed; the connection
    /// must then be closed, since no later byte can be trusted to start a frame.
    bool feed(const uint8_t* data, size_t size);
    /// Takes the next complete message; false when none is complete yet.
    bool next(Json& message);
    const std::string& error() const { return m_error; }
    bool failed() const { return !m_error.empty(); }
    size_t buffered() const { return m_buf.size() - m_pos; }

private:
    bool parseReady();
    std::vector<uint8_t> m_buf;
    size_t m_pos = 0;
    std::vector<Json> m_ready;
    size_t m_readyPos = 0;
    std::string m_error;
};

/// Parses one control body: a JSON object with a string "op", no deeper than kMaxJsonDepth.
bool parseControlBody(const uint8_t* data, size_t size, Json& out, std::string& error);

/// Typed field access for control messages; each sets `error` naming the field when it is missing
/// or of another type.
bool getString(const Json& msg, const char* key, std::string& out, std::string& error);
bool getInt(const Json& msg, const char* key, int64_t& out, std::string& error);

// ---------------------------------------------------------------- stream packets

struct PacketHeader {
    uint32_t streamId = 0;        ///< new for every start of the stream
    uint64_t seq = 0;             ///< 0, 1, 2, ... within one stream
    uint64_t firstEventIndex = 0; ///< events the stream produced before this packet
    uint64_t timeBase = 0;        ///< EVT 3.0 time base of the payload (whole 2^24 µs wraps)
    uint32_t eventCount = 0;
    uint32_t triggerCount = 0;
    uint32_t payloadBytes = 0;
    /// Of the events skipped in the index just before this packet, those the camera itself lost.
    uint32_t cameraLost = 0;
};

void writePacketHeader(const PacketHeader& h, uint8_t* out);
/// Checks magic, version, checksum and sizes (payload within the cap, counts possible for it).
bool parsePacketHeader(const uint8_t* data, size_t size, PacketHeader& out, std::string& error);

/// Encodes events (and trigger edges) into whole packets; each packet decodes on its own.
class PacketEncoder {
public:
    PacketEncoder(uint16_t width, uint16_t height);
    ~PacketEncoder();
    /// Appends one packet (header + payload) for the events to `out`.
    void encode(const PacketHeader& base, const Event2D* b, const Event2D* e, const EventTriggerIn* tb,
                const EventTriggerIn* te, std::vector<uint8_t>& out);

private:
    std::unique_ptr<EventEncoder> m_enc;
};

/// Decodes packet payloads, checking that they hold what their header announces.
class PacketDecoder {
public:
    PacketDecoder(uint16_t width, uint16_t height);
    ~PacketDecoder();
    /// Appends the packet's events and triggers. False with a reason when the payload is not
    /// what the header says (other counts, events outside the sensor, time going backwards).
    bool decode(const PacketHeader& h, const uint8_t* payload, std::vector<Event2D>& events,
                std::vector<EventTriggerIn>& triggers, std::string& error);

private:
    std::unique_ptr<EventDecoder> m_dec;
    uint64_t m_floor = 0;
    // Decoding goes to uninitialised scratch and is appended with one copy: growing the output
    // vector instead would zero every event first.
    struct FreeDeleter {
        void operator()(Event2D* p) const;
    };
    std::unique_ptr<Event2D, FreeDeleter> m_scratch;
    size_t m_scratchCap = 0;
};

/// Follows sequence numbers and event indices of one stream and counts what never arrived.
class SequenceTracker {
public:
    void reset(uint32_t streamId);
    enum class Verdict { Accept, Stale, Invalid };
    /// Stale: a packet of an earlier stream (skip it). Invalid: a number going backwards within
    /// the stream, or events skipped without a packet skipped or the camera saying it lost them,
    /// which a correct sender never produces.
    Verdict onPacket(const PacketHeader& h, std::string& error);
    /// Packets and events announced elsewhere (a heartbeat) as produced, but never received.
    void settle(uint64_t producedPackets, uint64_t producedEvents);
    /// Lost on the way: packets, and the events in them.
    uint64_t lostPackets() const { return m_lostPackets; }
    uint64_t lostEvents() const { return m_lostEvents; }
    /// Lost in the camera, as its packets said.
    uint64_t cameraLostEvents() const { return m_cameraLost; }
    uint64_t receivedPackets() const { return m_received; }
    uint64_t nextSeq() const { return m_nextSeq; }
    uint64_t nextEventIndex() const { return m_nextEvent; }
    uint32_t streamId() const { return m_streamId; }

private:
    uint32_t m_streamId = 0;
    uint64_t m_nextSeq = 0, m_nextEvent = 0;
    uint64_t m_lostPackets = 0, m_lostEvents = 0, m_received = 0, m_cameraLost = 0;
};

} // namespace quorvel::net
