#pragma once
// The synthetic world the simulated sensor looks at, in log intensity: a static textured
// background, bars sliding across the whole sensor (vertical bars move sideways, horizontal bars
// up or down), a disk of rotating sectors, a patch lit by a flickering light, and the sensor's
// background activity. Presets scale with the sensor geometry.

#include <cstdint>
#include <string>
#include <vector>

namespace quorvel::detail {

struct BarSpec {
    bool vertical = true;     ///< a vertical bar spans all rows and moves along x
    float speedPxPerS = 300;  ///< signed
    float widthPx = 40;
    float contrast = 1.0f;    ///< log-intensity step of the bar against the background
    float edgePx = 3;         ///< width of the blurred edge ramp
    float phasePx = 0;        ///< position at t = 0
};

struct RotorSpec {
    bool enabled = false;
    float cx = 0, cy = 0, radius = 0;
    int sectors = 8;          ///< dark/bright pairs
    float revPerS = 1.0f;     ///< signed
    float contrast = 1.0f;
    float sharpness = 6.0f;   ///< larger = sharper sector edges
};

struct FlickerSpec {
    bool enabled = false;
    int x = 0, y = 0, width = 0, height = 0;
    float frequencyHz = 100.0f;
    float amplitude = 0.5f;   ///< log-intensity amplitude of the sinusoidal light
};

struct SceneSpec {
    std::vector<BarSpec> bars;
    RotorSpec rotor;
    FlickerSpec flicker;
    /// Background activity per pixel at the factory biases.
    float backgroundRateHz = 0.1f;
    /// Square-wave frequencies of the two trigger-input signals.
    double triggerHz[2] = {10.0, 1.0};
};

/// The named presets: "default", "busy", "bars", "rotor", "flicker", "noise", "static".
/// Returns false for an unknown name.
bool scenePreset(const std::string& name, uint16_t width, uint16_t height, SceneSpec& out);
std::vector<std::string> scenePresetNames();

} // namespace quorvel::detail
