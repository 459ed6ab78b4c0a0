// Discovery and force-IP datagrams as a hostile network sends them.
#include "quorvel/net/NetProtocol.h"

#include <cstddef>
#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    quorvel::net::Datagram d;
    std::string error;
    if (quorvel::net::parseDatagram(data, size, d, error)) {
        // Whatever parses must encode again and parse to the same kind.
        std::vector<uint8_t> again;
        if (d.type == quorvel::net::DatagramType::Announce)
            again = quorvel::net::encodeAnnounce(d.requestId, d.announce);
        else if (d.type == quorvel::net::DatagramType::ForceIpAck)
            again = quorvel::net::encodeForceIpAck(d.requestId, d.ack);
        quorvel::net::Datagram d2;
        if (!again.empty() && again.size() <= quorvel::net::kMaxDatagram &&
            !quorvel::net::parseDatagram(again.data(), again.size(), d2, error))
            __builtin_trap();
    } else if (error.empty()) {
        __builtin_trap(); // a refusal always says why
    }
    return 0;
}
