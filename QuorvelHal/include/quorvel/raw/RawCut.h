#pragma once
// Cutting a time range out of a recording into a new `.raw` file.
//
// For EVT 3.0 and EVT 2.0 sources the new file keeps the source encoding and is written at close
// to disk speed: only the few words between the range start and the first TIME_HIGH inside the
// range are decoded and re-encoded; a handful of state words (time, row, vector base) then put a
// decoder into exactly the state the source decoder had there, and the payload from that word up
// to the first word that moves time past the range end is copied unchanged. Other sources (EVT
// 2.1, DAT) are re-encoded into EVT 3.0.
//
// The range is inclusive: events with start <= t <= end, and the triggers in the same range
// (triggers inside the copied payload are kept as recorded). The output is written under a
// temporary name and renamed at the end, so a failed cut never leaves a partial file under the
// target name.
//
// Errors: returns false with a one-line reason (empty range, cannot create or write the output,
// read error).
// Thread rules: uses its own cursor; safe to run while other threads read the same RawFile.

#include "quorvel/raw/RawFile.h"
#include "quorvel/raw/RawIndex.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace quorvel {

struct RawCutResult {
    uint64_t events = 0;       ///< events written (re-encoded and copied)
    uint64_t copiedBytes = 0;  ///< payload bytes copied unchanged
    RawEncoding outputEncoding = RawEncoding::Unknown;
};

/// `entries` is the index of `file` (possibly still growing; at least the payload-start entry).
/// `sourceStart` is the recording's wall-clock start at the time `firstEventTs`; the new header's
/// date is moved to the first event of the range.
bool cutRawFile(const std::shared_ptr<const RawFile>& file, const std::vector<RawIndexEntry>& entries,
                uint64_t startUs, uint64_t endUs, const std::string& outPath,
                std::chrono::system_clock::time_point sourceStart, uint64_t firstEventTs,
                RawCutResult& result, std::string& error);

} // namespace quorvel
