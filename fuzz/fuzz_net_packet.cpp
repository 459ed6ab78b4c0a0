// A stream connection's bytes: packet headers, EVT 3.0 payloads and sequence numbers as a hostile
// daemon could send them, through the same steps the host's reader takes.
#include "quorvel/net/NetProtocol.h"

#include <cstddef>
#include <cstdint>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    quorvel::net::PacketDecoder dec(640, 480);
    quorvel::net::SequenceTracker tracker;
    tracker.reset(0);
    std::vector<quorvel::Event2D> events;
    std::vector<quorvel::EventTriggerIn> triggers;
    size_t off = 0;
    while (size - off >= quorvel::net::kPacketHeaderSize) {
        quorvel::net::PacketHeader h;
        std::string err;
        if (!quorvel::net::parsePacketHeader(data + off, size - off, h, err))
            break;
        if (size - off - quorvel::net::kPacketHeaderSize < h.payloadBytes)
            break;
        if (tracker.onPacket(h, err) == quorvel::net::SequenceTracker::Verdict::Invalid)
            break;
        const size_t before = events.size();
        if (!dec.decode(h, data + off + quorvel::net::kPacketHeaderSize, events, triggers, err)) {
            if (events.size() != before)
                __builtin_trap(); // a refused packet leaves nothing behind
            break;
        }
        for (size_t i = before; i < events.size(); ++i)
            if (events[i].x >= 640 || events[i].y >= 480 || (i > 0 && events[i].timestamp < events[i - 1].timestamp))
                __builtin_trap();
        off += quorvel::net::kPacketHeaderSize + h.payloadBytes;
    }
    return 0;
}
