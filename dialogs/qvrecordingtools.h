#pragma once
// The work behind the Tools menu's "Recording Information" and "Convert Recording": what a
// recording holds (as `quorvel info` prints it) with its event rate over the whole recording, and
// the rewriting of a recording as EVT 3.0. SDK calls only (reader, index, writer); no Qt, so the
// dialogs run them on threads of their own.
//
// Both report progress (0 .. 1) through an atomic the caller polls, and stop soon after `cancel`
// becomes true.
//
// Errors: false with a one-line reason in `error`; a cancelled call gives false and kCancelled.
// A conversion that fails or is cancelled leaves no output file behind: the writer works on a
// temporary name beside the target and renames it into place only when everything is written.
// Thread rules: reentrant; each call opens its own reader.

#include "quorvel/DvsFileReader.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace QvRecordingTools {

inline constexpr const char* kCancelled = "cancelled";

struct Summary {
    std::string format; ///< "EVT2", "EVT21", "EVT3" or "DAT"
    uint32_t width = 0;
    uint32_t height = 0;
    std::string serial;
    std::string date;
    uint64_t fileBytes = 0;
    quorvel::DvsFileStats stats;
    /// Mean event rate in events per second of each of `bins` equal spans of [first, last] event
    /// time; empty without events or when all events share one time.
    std::vector<double> rate;
    uint64_t binUs = 0; ///< length of one span
};

/// Fills `out` for the recording at `path`. Waits for the seek index (building it for a
/// recording never seen before; `progress` follows it), then takes the event rate over the
/// recording in at most `bins` spans from the index.
bool inspect(const std::string& path, Summary& out, std::atomic<double>& progress, const std::atomic<bool>& cancel,
             std::string& error, size_t bins = 240);

/// Rewrites the recording `in` (EVT 2.0, 2.1, 3.0 or DAT) as an EVT 3.0 `.raw` file `out` with
/// the same events, triggers, geometry, serial and start date. A DAT file without geometry gets
/// the smallest one that holds its events. `out` must not be `in`.
bool convertToEvt3(const std::string& in, const std::string& out, std::atomic<double>& progress,
                   const std::atomic<bool>& cancel, std::string& error);

} // namespace QvRecordingTools
