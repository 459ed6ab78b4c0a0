// A stream connection's bytes: packet headers, EVT 3.0 payloads and sequence numbers as a hostile
// daemon could send them, through the same steps the host's reader takes. With the first byte odd
// each header is rewritten with a valid magic and checksum first, so the fuzzer gets past the
// header into the payload decoder instead of stopping at the checksum.
#include "quorvel/net/NetProtocol.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* input, size_t size) {
    if (size < 1)
        return 0;
    const bool repair = input[0] & 1;
    std::vector<uint8_t> data(input + 1, input + size);
    size = data.size();
    quorvel::net::PacketDecoder dec(640, 480);
    quorvel::net::SequenceTracker tracker;
    tracker.reset(0);
    std::vector<quorvel::Event2D> events;
    std::vector<quorvel::EventTriggerIn> triggers;
    size_t off = 0;
    while (size - off >= quorvel::net::kPacketHeaderSize) {
        uint8_t* p = data.data() + off;
        if (repair) {
            quorvel::net::PacketHeader r;
            std::memcpy(&r.streamId, p + 8, 4);
            std::memcpy(&r.eventCount, p + 12, 4);
            std::memcpy(&r.seq, p + 16, 8);
            std::memcpy(&r.firstEventIndex, p + 24, 8);
            std::memcpy(&r.timeBase, p + 32, 8);
            std::memcpy(&r.triggerCount, p + 40, 4);
            std::memcpy(&r.payloadBytes, p + 44, 4);
            r.streamId = 0;
            r.timeBase &= ~((uint64_t{1} << 24) - 1);
            r.payloadBytes = static_cast<uint32_t>(std::min<size_t>(r.payloadBytes, size - off - quorvel::net::kPacketHeaderSize)) & ~1u;
            r.eventCount %= (r.payloadBytes * 6 + 1);
            r.triggerCount %= (r.payloadBytes / 2 + 1);
            quorvel::net::writePacketHeader(r, p);
        }
        quorvel::net::PacketHeader h;
        std::string err;
        if (!quorvel::net::parsePacketHeader(p, size - off, h, err))
            break;
        if (size - off - quorvel::net::kPacketHeaderSize < h.payloadBytes)
            break;
        if (tracker.onPacket(h, err) == quorvel::net::SequenceTracker::Verdict::Invalid)
            break;
        const size_t before = events.size();
        if (!dec.decode(h, p + quorvel::net::kPacketHeaderSize, events, triggers, err)) {
            if (events.size() != before || err.empty())
                __builtin_trap(); // a refused packet leaves nothing behind and says why
            break;
        }
        for (size_t i = before; i < events.size(); ++i)
            if (events[i].x >= 640 || events[i].y >= 480 || (i > 0 && events[i].timestamp < events[i - 1].timestamp))
                __builtin_trap();
        off += quorvel::net::kPacketHeaderSize + h.payloadBytes;
    }
    return 0;
}
