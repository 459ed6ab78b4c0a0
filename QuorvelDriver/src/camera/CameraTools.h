#pragma once
// The virtual cameras' tools (parameter lists, ranges, defaults) and the settings record the
// streaming thread builds from them.
//
// Parameter names and sections are what configuration files carry; keep them stable.

#include "camera/ParameterTool.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace quorvel::detail {

/// Trail filter modes, in the order of the "type" options.
enum class TrailMode { Trail = 0, StcCutTrail = 1, StcKeepTrail = 2 };

/// Bias values as set by the user (offsets from the factory tuning, in the sensor's DAC steps).
struct BiasSettings {
    int diffOn = 0;
    int diffOff = 0;
    int fo = 0;
    int hpf = 0;
    int refr = 0;
    friend bool operator==(const BiasSettings&, const BiasSettings&) = default;
};

/// Everything downstream of the pixel array that the tools control.
struct PipelineSettings {
    BiasSettings biases;
    bool triggerChannel[2] = {false, false};

    bool antiFlicker = false;
    bool antiFlickerBandPass = false;
    int flickerLowHz = 50;
    int flickerHighHz = 520;
    float flickerDutyPercent = 50.0f;

    bool trailFilter = false;
    TrailMode trailMode = TrailMode::Trail;
    int trailThresholdUs = 10000;

    bool rateControl = false;
    int rateKevPerS = 20000;

    bool roi = false;
    int roiX = 0, roiY = 0, roiWidth = 0, roiHeight = 0;

    // APS tool of fusion cameras (kept for the APS stream).
    int apsExposureUs = 10000;
    float apsGain = 1.0f;
    int apsFrameRate = 30;
    bool apsAutoExposure = true;
};

std::shared_ptr<ParameterTool> makeBiasesTool();
std::shared_ptr<ParameterTool> makeTriggerInTool();
std::shared_ptr<ParameterTool> makeAntiFlickerTool();
std::shared_ptr<ParameterTool> makeEventTrailFilterTool();
std::shared_ptr<ParameterTool> makeEventRateControlTool();
std::shared_ptr<ParameterTool> makeRoiTool(uint16_t width, uint16_t height);
std::shared_ptr<ParameterTool> makeApsTool();

/// Reads the tools that exist (null entries are skipped) into one settings record.
PipelineSettings readPipelineSettings(const std::vector<std::shared_ptr<ParameterTool>>& tools, uint16_t width,
                                      uint16_t height);

} // namespace quorvel::detail
