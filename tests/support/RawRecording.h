#pragma once
// Recordings written with the SDK's own writer, for tests that need one on disk to read back.

#include "SyntheticStream.h"
#include "quorvel/raw/RawFileWriter.h"

#include <gtest/gtest.h>

namespace quorvel::test {

struct Recorded {
    std::vector<Event2D> events;
    std::vector<EventTriggerIn> triggers;
};

inline RawFileWriter::Options rawOptions(uint32_t width, uint32_t height, const std::string& serial, RawEncoding enc) {
    RawFileWriter::Options o;
    o.width = width;
    o.height = height;
    o.serial = serial;
    o.encoding = enc;
    return o;
}

/// Writes the events and triggers as one recording; false (a failed expectation) if the writer refuses.
inline bool writeRaw(const std::string& path, uint32_t width, uint32_t height, const std::vector<Event2D>& events,
                     const std::vector<EventTriggerIn>& triggers = {}, const std::string& serial = "") {
    RawFileWriter w;
    const bool ok = w.open(path, rawOptions(width, height, serial, RawEncoding::Evt3)) && w.write(events, triggers) &&
                    w.close();
    EXPECT_TRUE(ok) << w.lastError();
    return ok;
}

/// Writes the stream `p` describes batch by batch, as a camera delivers it, and returns what was written.
inline Recorded writeGenerated(const std::string& path, const StreamParams& p, const std::string& serial = "",
                               RawEncoding enc = RawEncoding::Evt3) {
    Recorded r;
    RawFileWriter w;
    EXPECT_TRUE(w.open(path, rawOptions(p.width, p.height, serial, enc))) << w.lastError();
    generateStream(p, 10000, [&](const std::vector<Event2D>& e, const std::vector<EventTriggerIn>& t) {
        EXPECT_TRUE(w.write(e, t)) << w.lastError();
        r.events.insert(r.events.end(), e.begin(), e.end());
        r.triggers.insert(r.triggers.end(), t.begin(), t.end());
    });
    EXPECT_TRUE(w.close()) << w.lastError();
    return r;
}

} // namespace quorvel::test
