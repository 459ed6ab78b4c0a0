#include "sim/Scene.h"

namespace quorvel::detail {

std::vector<std::string> scenePresetNames() {
    return {"default", "busy", "bars", "rotor", "flicker", "noise", "static"};
}

bool scenePreset(const std::string& name, uint16_t width, uint16_t height, SceneSpec& s) {
    const float W = width, H = height;
    // Speeds are given for a 640-wide sensor and scale with it, so both geometries show the same
    // motion per frame and a comparable event rate per pixel.
    const float k = W / 640.0f;
    s = SceneSpec{};
    auto rotor = [&](float revPerS) {
        s.rotor.enabled = true;
        s.rotor.cx = 0.72f * W;
        s.rotor.cy = 0.34f * H;
        s.rotor.radius = 0.2f * H;
        s.rotor.sectors = 8;
        s.rotor.revPerS = revPerS;
        s.rotor.contrast = 1.0f;
    };
    auto flicker = [&](float hz) {
        s.flicker.enabled = true;
        s.flicker.x = static_cast<int>(0.1f * W);
        s.flicker.y = static_cast<int>(0.66f * H);
        s.flicker.width = static_cast<int>(0.08f * W);
        s.flicker.height = static_cast<int>(0.08f * W);
        s.flicker.frequencyHz = hz;
        s.flicker.amplitude = 0.5f;
    };
    if (name == "default") {
        // The scene a viewer opens first: calm enough that a live camera costs a fraction of a
        // core at either geometry (speeds are not scaled up for the larger sensor).
        s.bars = {{true, 160, 60 * k, 1.0f, 3, 0}, {true, -110, 30 * k, -0.8f, 3, 0.45f * W},
                  {false, 70, 40 * k, 0.7f, 4, 0}};
        rotor(0.5f);
        flicker(100.0f);
        s.flicker.width = s.flicker.height = static_cast<int>(0.05f * W); // a small lamp
    } else if (name == "busy") {
        // A crowded, fast scene: many high-contrast bars in both directions plus the rotor and the
        // flickering light, around 40 M events/s on a 640x480 sensor.
        s.bars = {{true, 1500 * k, 50 * k, 1.2f, 3, 0},         {true, -1300 * k, 40 * k, -1.1f, 3, 0.3f * W},
                  {true, 1700 * k, 30 * k, 1.0f, 2, 0.6f * W},  {true, -1600 * k, 60 * k, 1.3f, 3, 0.8f * W},
                  {false, 900 * k, 40 * k, 1.0f, 3, 0},         {false, -1100 * k, 30 * k, -1.0f, 3, 0.5f * H}};
        rotor(3.0f);
        flicker(120.0f);
        s.backgroundRateHz = 0.5f;
    } else if (name == "bars") {
        s.bars = {{true, 200 * k, 60 * k, 1.0f, 3, 0}, {false, 120 * k, 50 * k, 0.8f, 3, 0}};
    } else if (name == "rotor") {
        rotor(1.0f);
    } else if (name == "flicker") {
        flicker(100.0f);
        s.flicker.x = static_cast<int>(0.25f * W);
        s.flicker.y = static_cast<int>(0.25f * H);
        s.flicker.width = static_cast<int>(0.25f * W);
        s.flicker.height = static_cast<int>(0.25f * H);
        s.bars = {{true, 150 * k, 40 * k, 1.0f, 3, 0}};
    } else if (name == "noise") {
        s.backgroundRateHz = 5.0f;
    } else if (name == "static") {
        // Nothing moves: only background activity.
    } else {
        return false;
    }
    return true;
}

} // namespace quorvel::detail
