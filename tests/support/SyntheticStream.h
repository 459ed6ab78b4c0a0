#pragma once
// Deterministic synthetic event streams for tests and benchmarks: what a sensor produces (row
// segments that become vectors, scattered single events, dense and quiet periods, trigger edges),
// plus small encoders for the formats our SDK only reads (EVT 2.0, EVT 2.1, DAT), written
// independently of the SDK's codecs so that tests compare two implementations.

#include "quorvel/Event2D.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace quorvel::test {

struct StreamParams {
    uint32_t width = 1280;
    uint32_t height = 720;
    uint64_t startUs = 1000;
    uint64_t durationUs = 2'000'000;
    double denseRate = 20e6;      ///< events per second in dense periods
    double sparseRate = 0.2e6;    ///< events per second in quiet periods
    uint64_t periodUs = 200'000;  ///< dense and quiet periods alternate with this length
    double rowShare = 0.7;        ///< share of events that come as row segments (vectors)
    uint64_t triggerPeriodUs = 10'000; ///< 0 = no triggers
    uint64_t gapAtUs = 0;         ///< if set, no events in [gapAtUs, gapAtUs + gapUs)
    uint64_t gapUs = 0;
    uint32_t seed = 1;
};

/// Calls `sink` with batches of about `batchEvents` events (and the triggers of the same span).
void generateStream(const StreamParams& p, size_t batchEvents,
                    const std::function<void(const std::vector<Event2D>&, const std::vector<EventTriggerIn>&)>& sink);

/// The whole stream in memory (for tests; keep it small).
void generateAll(const StreamParams& p, std::vector<Event2D>& events, std::vector<EventTriggerIn>& triggers);

/// Independent encoders; return the payload only (no header).
std::string encodeEvt2(const std::vector<Event2D>& ev, const std::vector<EventTriggerIn>& tr);
std::string encodeEvt21(const std::vector<Event2D>& ev, const std::vector<EventTriggerIn>& tr, bool legacy);
std::string encodeDat(const std::vector<Event2D>& ev);

/// Writes bytes to a file (tests build their inputs on disk).
void writeFile(const std::string& path, const std::string& bytes);
std::string readFileBytes(const std::string& path);

/// A fresh temporary folder, removed by the destructor.
struct TempDir {
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    std::string path;
    std::string file(const std::string& name) const { return path + "/" + name; }
};

/// Where the third-party sample recordings are, or "" when absent.
std::string samplesDir();

} // namespace quorvel::test
