#pragma once
// Benchmark inputs shaped like users' data, beside the generators of tests/support:
// - real recordings' payloads repeated with their time words shifted per copy;
// - the word mix of a payload, printed beside every benchmark row.

#include "SensorWords.h"

#include <cstdint>
#include <string>

namespace quorvel::test {

/// The payload of a real EVT 3.0 (or EVT 2.0) recording repeated up to about `bytes`, its time-high
/// words shifted in each copy so that time runs on as in one long recording. To continue in
/// pieces, pass the number of copies made so far as `firstCopy`; `copies` receives the new total.
std::string repeatEvt3Payload(const std::string& payload, size_t bytes, uint32_t firstCopy = 0, uint32_t* copies = nullptr);
std::string repeatEvt2Payload(const std::string& payload, size_t bytes, uint32_t firstCopy = 0, uint32_t* copies = nullptr);

/// Percentages of each EVT 3.0 word type in a payload, as "ADDR_X 63.9 %, ..." (for reports).
std::string evt3WordMix(const std::string& payload);

} // namespace quorvel::test
