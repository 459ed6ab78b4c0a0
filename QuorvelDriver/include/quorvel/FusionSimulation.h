#pragma once
// Recordings from the simulated sensor without a camera: `<base>.raw`, and for a fusion recording
// also `<base>.mp4` and `<base>.json`, as the virtual fusion camera's recorder writes them.
//
// The APS frames show the same synthetic scene the event sensor sees, so moving edges in the
// frames and in the events coincide once the frame is warped with the recorded calibration. The
// APS sensor is apsScale times finer than the event sensor and offset by (apsShiftX, apsShiftY)
// APS pixels: the calibration is the affine (apsScale, 0, apsShiftX, 0, apsScale, apsShiftY) from
// DVS to APS pixels, and each APS pixel samples the scene's log intensity at the DVS position the
// inverse mapping gives (bilinear), shown as grey levels.
//
// Frames are taken at startUs and every 1000000 / apsFps microseconds after, each stamped with
// its capture time on the DVS clock; the events of [T_i, T_{i+1}) are those after frame i.
//
// Errors: false with a message (unknown scene, bad geometry, files that cannot be written). No
// file is left under the target names on failure.
// Thread rules: runs on the calling thread.

#include "quorvel/CalibratorParameters.h"

#include <cstdint>
#include <functional>
#include <string>

namespace quorvel {

struct FusionSimulationOptions {
    uint16_t width = 640;
    uint16_t height = 480;
    std::string scene = "default";
    uint64_t seed = 1;
    uint64_t startUs = 0;
    uint64_t durationUs = 2'000'000;
    bool fusion = true;  ///< false: only `<base>.raw`
    double apsFps = 30.0;
    double apsScale = 1.25;
    double apsShiftX = 6.0;
    double apsShiftY = -4.0;
    std::string serial = "TARNIX-SIM";
    /// Share done, 0 .. 1; returning false cancels (no files are left).
    std::function<bool(double)> progress;
};

struct FusionSimulationResult {
    uint64_t events = 0;
    uint64_t frames = 0;
    int apsWidth = 0;
    int apsHeight = 0;
    CalibratorParameters calibration;
};

bool simulateRecording(const std::string& base, const FusionSimulationOptions& options,
                       FusionSimulationResult& result, std::string& error);

} // namespace quorvel
