#pragma once
// A small, fully known recording for playback tests: one event per millisecond, each on its own
// pixel of a 64 x 48 sensor, polarity alternating, plus a rising and a falling trigger edge.

#include "quorvel/Event2D.h"
#include "quorvel/raw/RawFileWriter.h"

#include <string>
#include <vector>

namespace qvtest {

struct TestRecording {
    static constexpr uint64_t kStart = 10'000;
    static constexpr int kEvents = 1000;
    static constexpr uint64_t kEnd = kStart + (kEvents - 1) * 1000;
    static constexpr uint64_t kRisingAt = 100'000;
    static constexpr uint64_t kFallingAt = 300'000;

    static quorvel::Event2D event(int k) {
        return quorvel::Event2D(uint16_t(k % 64), uint16_t((k / 64) % 48), uint8_t(k % 2), kStart + uint64_t(k) * 1000);
    }

    /// Writes the recording; false (with the writer's message in `error`) on failure.
    static bool write(const std::string& path, std::string* error = nullptr) {
        quorvel::RawFileWriter writer;
        quorvel::RawFileWriter::Options o;
        o.width = 64;
        o.height = 48;
        o.serial = "TEST0001";
        std::vector<quorvel::Event2D> events;
        for (int k = 0; k < kEvents; ++k)
            events.push_back(event(k));
        const std::vector<quorvel::EventTriggerIn> triggers{quorvel::EventTriggerIn(0, 1, kRisingAt),
                                                            quorvel::EventTriggerIn(0, 0, kFallingAt)};
        const bool ok = writer.open(path, o) && writer.write(events, triggers) && writer.close();
        if (!ok && error)
            *error = writer.lastError();
        return ok;
    }
};

} // namespace qvtest
