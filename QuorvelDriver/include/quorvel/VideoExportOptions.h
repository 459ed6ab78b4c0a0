#pragma once
// What an event video export looks like: the colours of ON, OFF and quiet pixels, the frame rate,
// the encoder trade-off, and a progress callback that can cancel.
//
// Colours are RGB. The default is the "Gray" scheme (ON white, OFF black, background 112 grey),
// which is what DvsFileReader::exportVideoRange(start, end, path) uses.
// Thread rules: plain data; the progress callback runs on the exporting thread.

#include <cstdint>
#include <functional>
#include <string>

namespace quorvel {

struct RgbColor {
    uint8_t r = 0;
    uint8_t g = 0;
    uint8_t b = 0;
    friend bool operator==(const RgbColor&, const RgbColor&) = default;
};

struct VideoExportOptions {
    RgbColor onColor{255, 255, 255};
    RgbColor offColor{0, 0, 0};
    RgbColor backgroundColor{112, 112, 112};
    /// Frames per second; each frame accumulates 1000000 / fps microseconds (33333 at 30).
    int fps = 30;
    /// libx264 preset and quality. "ultrafast" keeps a 20 M events/s recording well ahead of real
    /// time on two cores; event frames are flat colours, so the quality cost is small.
    std::string preset = "ultrafast";
    int crf = 23;
    /// Called with the share done (0 .. 1) about every percent and at the end; returning false
    /// cancels the export (no file is left behind).
    std::function<bool(double)> progress;

    /// The colours of one of the application's schemes: "Gray", "Dark", "RedBlue", "RedGreen",
    /// "Light". False (options unchanged) for any other name.
    bool setScheme(const std::string& name);
};

} // namespace quorvel
