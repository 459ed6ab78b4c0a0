#pragma once
// Simulated cameras made to order, outside the manager's list: for making test recordings
// (`quorvel simulate`), throughput tests and benchmarks.
//
// A simulated camera behaves like the manager's (same tools, streaming, recording). With
// `realtime` off it produces as fast as it can; with `durationUs` set its stream ends after that
// much sensor time (isStreaming() turns false), so a recording of exactly that span can be made
// by starting the recording before start().
//
// Errors: null with `error` set for an unknown scene or a bad geometry.
// Thread rules: as DvsCamera.

#include "quorvel/DvsCamera.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace quorvel {

struct SimulatedCameraOptions {
    uint16_t width = 640;
    uint16_t height = 480;
    /// One of simulatedSceneNames(); "stress" is a fixed-rate generator of `stressEventsPerSecond`.
    std::string scene = "default";
    uint64_t seed = 1;
    float flickerHz = 0; ///< 0 keeps the scene's own flicker frequency
    uint64_t stressEventsPerSecond = 100000000;
    bool realtime = true;
    uint64_t durationUs = 0; ///< 0: endless
    std::string serial = "QVSIM-CUSTOM";
};

std::vector<std::string> simulatedSceneNames();

/// Simulates unplugging one of the manager's virtual cameras (plugged = false): it leaves the
/// camera list, an open handle reports isConnected() false and its stream ends, as with a cable
/// pulled out. Plugging it back lists it again and lets start() work. False for an unknown serial.
bool setVirtualCameraPlugged(const std::string& serial, bool plugged);
std::shared_ptr<DvsCamera> createSimulatedCamera(const SimulatedCameraOptions& options, std::string& error);

} // namespace quorvel
