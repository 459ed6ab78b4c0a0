#pragma once
// Where a camera's events come from: the simulated sensor, the stress generator, or a recording
// replayed as a live camera. A camera owns one source and pulls it slice by slice from its
// streaming thread.
//
// Thread rules: one thread at a time.

#include "camera/CameraTools.h"
#include "quorvel/Event2D.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quorvel::detail {

class LossLog;

class EventSource {
public:
    virtual ~EventSource() = default;

    virtual uint16_t width() const = 0;
    virtual uint16_t height() const = 0;
    /// Prepares a new stream. `hintUs` is the camera's running clock (µs since it was opened),
    /// which sensors continue from; a replay starts again from its first event.
    virtual bool restart(uint64_t hintUs) = 0;
    /// Appends the events and triggers of the next `durationUs` µs of sensor time to the
    /// vectors, both non-decreasing (and not before what the vectors already hold from earlier
    /// slices). False when the source cannot go on (lastError() says why).
    virtual bool next(uint32_t durationUs, std::vector<Event2D>& events, std::vector<EventTriggerIn>& triggers) = 0;
    /// Sensor time at which the next slice starts.
    virtual uint64_t now() const = 0;
    /// Jumps the sensor clock forward to `tUs` without producing the span in between (what a
    /// sensor whose readout overflows does). False when the source cannot skip (a replay).
    virtual bool skipTo(uint64_t /*tUs*/) { return false; }
    /// How many events the source emits in [fromUs, toUs) when that is known without producing
    /// them (a fixed-rate source); what a skip loses.
    virtual std::optional<uint64_t> eventsBetween(uint64_t /*fromUs*/, uint64_t /*toUs*/) const { return std::nullopt; }
    /// Where a source that learns of losses itself (a network camera) reports them. Called once,
    /// before the first restart(); the log outlives the source.
    virtual void setLossLog(LossLog* /*log*/) {}
    /// Whether the pixel array has biases (a replay does not).
    virtual bool hasBiases() const { return false; }
    virtual void setBiases(const BiasSettings&) {}
    virtual std::string lastError() const { return {}; }
};

struct SimSourceOptions {
    std::string scene = "default";
    uint64_t seed = 1;
    float flickerHz = 0; ///< 0 keeps the scene's own frequency
};

/// Simulated sensor of the given geometry; null (with `error`) for an unknown scene.
std::unique_ptr<EventSource> makeSimSource(uint16_t width, uint16_t height, const SimSourceOptions& options,
                                           std::string& error);
/// Fixed-rate generator for throughput tests: `eventsPerSecond` events of realistic positions
/// (taken from a busy simulated scene) with evenly spaced timestamps.
std::unique_ptr<EventSource> makeStressSource(uint16_t width, uint16_t height, uint64_t eventsPerSecond, uint64_t seed);
/// A `.raw` recording played in a loop; null (with `error`) when it cannot be read.
std::unique_ptr<EventSource> makeReplaySource(const std::string& path, std::string& error);

} // namespace quorvel::detail
