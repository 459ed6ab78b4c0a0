// The control connection's byte stream, split at a fuzzer-chosen point, as a hostile peer sends it.
#include "quorvel/net/NetProtocol.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1)
        return 0;
    const size_t split = data[0] % (size);
    quorvel::net::ControlReader reader;
    quorvel::Json msg;
    bool ok = reader.feed(data + 1, split > 0 ? split - 1 : 0);
    while (ok && reader.next(msg)) {
        std::string s, err;
        int64_t n = 0;
        quorvel::net::getString(msg, "op", s, err);
        quorvel::net::getInt(msg, "id", n, err);
        (void)quorvel::net::encodeControl(msg);
    }
    if (ok)
        ok = reader.feed(data + split, size - split);
    while (ok && reader.next(msg))
        (void)quorvel::net::encodeControl(msg);
    if (!ok && reader.error().empty())
        __builtin_trap();
    // Never more than one capped frame is held.
    if (reader.buffered() > quorvel::net::kMaxControlBody + quorvel::net::kControlHeaderSize + size)
        __builtin_trap();
    return 0;
}
