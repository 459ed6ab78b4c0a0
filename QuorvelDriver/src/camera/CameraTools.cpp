#include "camera/CameraTools.h"

namespace quorvel::detail {

std::shared_ptr<ParameterTool> makeBiasesTool() {
    // Offsets from the factory tuning. The contrast thresholds grow exponentially with their bias,
    // so the useful range is asymmetric: lowering them far makes the sensor drown in noise.
    return std::make_shared<ParameterTool>(
        TOOL_BIASES, "Pixel front-end biases",
        std::vector<ParamDef>{
            ParamDef::makeInt("bias_diff_on",
                              "ON contrast threshold. Higher values need a larger brightness increase "
                              "for an ON event.",
                              -85, 140, 0, " "),
            ParamDef::makeInt("bias_diff_off",
                              "OFF contrast threshold. Higher values need a larger brightness decrease "
                              "for an OFF event.",
                              -35, 190, 0, " "),
            ParamDef::makeInt("bias_fo",
                              "Photoreceptor bandwidth. Higher values react faster and let more "
                              "background noise through.",
                              -35, 55, 0, " "),
            ParamDef::makeInt("bias_hpf",
                              "High-pass filter. Higher values suppress background activity.", 0, 120, 0,
                              " "),
            ParamDef::makeInt("bias_refr",
                              "Refractory period. Higher values lengthen the dead time after each event.",
                              -20, 235, 0, " "),
        });
}

std::shared_ptr<ParameterTool> makeTriggerInTool() {
    return std::make_shared<ParameterTool>(
        TOOL_TRIGGER_IN, "External trigger inputs",
        std::vector<ParamDef>{
            ParamDef::makeBool("channel_0_enable", "Report edges on trigger input 0 (main).", false),
            ParamDef::makeBool("channel_1_enable", "Report edges on trigger input 1 (auxiliary).", false),
        });
}

std::shared_ptr<ParameterTool> makeAntiFlickerTool() {
    return std::make_shared<ParameterTool>(
        TOOL_ANTI_FLICKER, "Removes events of lights flickering in a frequency band",
        std::vector<ParamDef>{
            ParamDef::makeBool("enable", "Enable the anti-flicker filter.", false),
            ParamDef::makeEnum("mode",
                               "band_stop removes pixels flickering inside the band; band_pass keeps "
                               "only them.",
                               {"band_stop", "band_pass"}, "band_stop"),
            ParamDef::makeInt("low_frequency", "Lower edge of the flicker band.", 50, 520, 50, "Hz"),
            ParamDef::makeInt("high_frequency", "Upper edge of the flicker band.", 50, 520, 520, "Hz"),
            ParamDef::makeFloat("duty_cycle",
                                "Share of each flicker half-period, from its first event, during which "
                                "a flickering pixel's events are filtered.",
                                0.0f, 100.0f, 50.0f, "%"),
        },
        [](const ValueMap& v, std::string& error) {
            if (v.at("low_frequency").i > v.at("high_frequency").i) {
                error = "low_frequency must not exceed high_frequency";
                return false;
            }
            return true;
        });
}

std::shared_ptr<ParameterTool> makeEventTrailFilterTool() {
    return std::make_shared<ParameterTool>(
        TOOL_EVENT_TRAIL_FILTER, "Thins the bursts of events a pixel fires on one edge",
        std::vector<ParamDef>{
            ParamDef::makeBool("enable", "Enable the event trail filter.", false),
            ParamDef::makeEnum("type",
                               "trail keeps the first event of a burst; stc_cut_trail keeps the second "
                               "only; stc_keep_trail drops isolated events and keeps the rest of the "
                               "burst.",
                               {"trail", "stc_cut_trail", "stc_keep_trail"}, "trail"),
            ParamDef::makeInt("threshold", "Events of one pixel closer than this belong to one burst.", 1000,
                              100000, 10000, "us"),
        });
}

std::shared_ptr<ParameterTool> makeEventRateControlTool() {
    return std::make_shared<ParameterTool>(
        TOOL_EVENT_RATE_CONTROL, "Caps the event rate by dropping events evenly",
        std::vector<ParamDef>{
            ParamDef::makeBool("enable", "Enable the event rate controller.", false),
            ParamDef::makeInt("event_rate", "Highest event rate let through.", 10, 200000, 20000, "kev/s"),
        });
}

std::shared_ptr<ParameterTool> makeRoiTool(uint16_t width, uint16_t height) {
    const int w = width, h = height;
    return std::make_shared<ParameterTool>(
        TOOL_ROI, "Region of interest: only events inside the window are sent",
        std::vector<ParamDef>{
            ParamDef::makeBool("enable", "Enable the region of interest.", false),
            ParamDef::makeInt("x", "Left column of the window.", 0, w - 1, 0, "px"),
            ParamDef::makeInt("y", "Top row of the window.", 0, h - 1, 0, "px"),
            ParamDef::makeInt("width", "Width of the window.", 1, w, w, "px"),
            ParamDef::makeInt("height", "Height of the window.", 1, h, h, "px"),
        },
        [w, h](const ValueMap& v, std::string& error) {
            const int x = v.at("x").i, y = v.at("y").i, ww = v.at("width").i, hh = v.at("height").i;
            if (x + ww > w || y + hh > h) {
                error = "ROI window " + std::to_string(ww) + "x" + std::to_string(hh) + " at (" + std::to_string(x) +
                        ", " + std::to_string(y) + ") reaches outside the " + std::to_string(w) + "x" +
                        std::to_string(h) + " sensor";
                return false;
            }
            return true;
        });
}

std::shared_ptr<ParameterTool> makeApsTool() {
    return std::make_shared<ParameterTool>(
        TOOL_APS, "APS image sensor",
        std::vector<ParamDef>{
            ParamDef::makeInt("exposure_us", "Exposure time (ignored while auto exposure is on).", 10, 200000,
                              10000, "us"),
            ParamDef::makeFloat("gain", "Analog gain.", 1.0f, 16.0f, 1.0f, "x"),
            ParamDef::makeInt("frame_rate", "Frames per second.", 1, 120, 30, "fps"),
            ParamDef::makeBool("auto_exposure", "Adjust the exposure to the scene.", true),
        });
}

PipelineSettings readPipelineSettings(const std::vector<std::shared_ptr<ParameterTool>>& tools, uint16_t width,
                                      uint16_t height) {
    PipelineSettings s;
    s.roiWidth = width;
    s.roiHeight = height;
    for (const auto& tool : tools) {
        if (!tool)
            continue;
        const ValueMap v = tool->values();
        switch (tool->getToolType()) {
        case TOOL_BIASES:
            s.biases = {v.at("bias_diff_on").i, v.at("bias_diff_off").i, v.at("bias_fo").i, v.at("bias_hpf").i,
                        v.at("bias_refr").i};
            break;
        case TOOL_TRIGGER_IN:
            s.triggerChannel[0] = v.at("channel_0_enable").b;
            s.triggerChannel[1] = v.at("channel_1_enable").b;
            break;
        case TOOL_ANTI_FLICKER:
            s.antiFlicker = v.at("enable").b;
            s.antiFlickerBandPass = v.at("mode").s == "band_pass";
            s.flickerLowHz = v.at("low_frequency").i;
            s.flickerHighHz = v.at("high_frequency").i;
            s.flickerDutyPercent = v.at("duty_cycle").f;
            break;
        case TOOL_EVENT_TRAIL_FILTER: {
            s.trailFilter = v.at("enable").b;
            const std::string& t = v.at("type").s;
            s.trailMode = t == "stc_cut_trail" ? TrailMode::StcCutTrail
                          : t == "stc_keep_trail" ? TrailMode::StcKeepTrail
                                                  : TrailMode::Trail;
            s.trailThresholdUs = v.at("threshold").i;
            break;
        }
        case TOOL_EVENT_RATE_CONTROL:
            s.rateControl = v.at("enable").b;
            s.rateKevPerS = v.at("event_rate").i;
            break;
        case TOOL_ROI:
            s.roi = v.at("enable").b;
            s.roiX = v.at("x").i;
            s.roiY = v.at("y").i;
            s.roiWidth = v.at("width").i;
            s.roiHeight = v.at("height").i;
            break;
        case TOOL_APS:
            s.apsExposureUs = v.at("exposure_us").i;
            s.apsGain = v.at("gain").f;
            s.apsFrameRate = v.at("frame_rate").i;
            s.apsAutoExposure = v.at("auto_exposure").b;
            break;
        default:
            break;
        }
    }
    return s;
}

} // namespace quorvel::detail
