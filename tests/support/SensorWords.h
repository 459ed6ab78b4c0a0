#pragma once
// EVT 3.0 payloads shaped like what real sensors send, built word by word (not through the SDK's
// encoder): a TIME_HIGH every 16 us (mostly repeating the same value), a TIME_LOW for each
// microsecond that has events, sometimes two TIME_LOW words in a row (the first a few
// microseconds ahead, as sensors do), ADDR_Y per row, mostly single ADDR_X events, and now and
// then a sparse vector group (VECT_BASE_X, VECT_12, VECT_12, VECT_8).
//
// The two presets are calibrated to the word mixes measured on real recordings:
// - busy (a 1280x720 street scene): ADDR_X 63.9 %, ADDR_Y 19.3 %, VECT_12 6.9 %, VECT_BASE_X
//   3.4 %, VECT_8 3.4 %, TIME_LOW 2.9 %, TIME_HIGH 0.2 %; 1.41 words per event;
// - sparse (the pedestrians sample): ADDR_X 27 %, ADDR_Y 27 %, TIME_LOW 30 %, TIME_HIGH 15 %.

#include <cstdint>
#include <string>

namespace quorvel::test {

struct SensorWordMix {
    uint32_t width = 1280;
    uint32_t height = 720;
    double eventsPerUs = 24.0;        ///< mean events per microsecond
    double eventsPerRow = 3.9;        ///< mean events per ADDR_Y (before a microsecond runs out)
    double vectorGroupsPerRow = 0.17; ///< vector groups per row (each about two events)
    double doubleLowShare = 0.01;     ///< share of TIME_LOW words preceded by one a few us ahead
    uint64_t triggerPeriodUs = 0;     ///< 0 = no triggers
};

SensorWordMix busySensorMix();
SensorWordMix sparseSensorMix();

/// About `bytes` of payload starting at `startUs` (a whole number of words, first a TIME_HIGH).
/// `nextUs` (optional) receives where a continuation of the stream starts.
std::string generateSensorEvt3(const SensorWordMix& mix, uint64_t startUs, size_t bytes, uint32_t seed = 1,
                               uint64_t* nextUs = nullptr);

} // namespace quorvel::test
