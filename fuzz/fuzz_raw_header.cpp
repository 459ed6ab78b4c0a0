// Header parsing on arbitrary bytes: never crashes, and an accepted header is self-consistent.
#include "quorvel/raw/RawHeader.h"

#include <cstdlib>
#include <string>

using namespace quorvel;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    const bool whole = data[0] & 1, datHint = data[0] & 2;
    RawHeader h;
    std::string err;
    bool more = false;
    const bool ok = parseRawHeader(data + 1, size - 1, whole, datHint, h, err, &more);
    if (ok) {
        if (h.payloadOffset > size - 1 || h.encoding == RawEncoding::Unknown)
            std::abort();
        if (h.encoding != RawEncoding::Dat && (h.width == 0 || h.height == 0 || h.width > 2048 || h.height > 2048))
            std::abort();
        // What we write for the same geometry parses back to it.
        if (h.encoding != RawEncoding::Dat) {
            const std::string text = makeRawHeaderText(h.encoding, h.width, h.height, h.serial(), h.date(), h.timeBaseUs);
            RawHeader back;
            if (!parseRawHeader(reinterpret_cast<const uint8_t*>(text.data()), text.size(), true, false, back, err) ||
                back.width != h.width || back.height != h.height || back.encoding != h.encoding)
                std::abort();
        }
    } else if (err.empty()) {
        std::abort(); // every refusal says why
    }
    return 0;
}
