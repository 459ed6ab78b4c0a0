#pragma once
// The kinds of camera tools (groups of adjustable sensor settings) and the record that lists the
// tools a camera has.
//
// The numeric values are fixed: applications request tools by these numbers and configuration
// files name each tool by its section key (toolSectionKey). "TirggerIn" is spelled that way on
// purpose: configuration files in the field carry it.
//
// Thread rules: plain values and pure functions.

#include <cstdint>
#include <string>

namespace quorvel {

enum ToolType : int32_t {
    TOOL_BIASES = 0,
    TOOL_TRIGGER_IN = 1,
    TOOL_TRIGGER_OUT = 2, ///< reserved; no virtual camera has it
    TOOL_ANTI_FLICKER = 3,
    TOOL_EVENT_TRAIL_FILTER = 4,
    TOOL_EVENT_RATE_CONTROL = 5,
    TOOL_ROI = 6,
    TOOL_APS = 7, ///< APS sensor of a fusion camera
};

/// One tool a camera has (DvsCamera::getAllToolsInfo). The type comes first; the texts are for
/// people.
struct ToolInfo {
    ToolType type = TOOL_BIASES;
    std::string name;
    std::string description;
};

/// Section key of a tool in camera configuration files ("Biases", "TirggerIn", "AntiFlicker",
/// "EventTrailFilter", "EventRateControl", "ROI", "APS"); "" for a tool that has none.
inline const char* toolSectionKey(ToolType type) {
    switch (type) {
    case TOOL_BIASES: return "Biases";
    case TOOL_TRIGGER_IN: return "TirggerIn";
    case TOOL_ANTI_FLICKER: return "AntiFlicker";
    case TOOL_EVENT_TRAIL_FILTER: return "EventTrailFilter";
    case TOOL_EVENT_RATE_CONTROL: return "EventRateControl";
    case TOOL_ROI: return "ROI";
    case TOOL_APS: return "APS";
    default: return "";
    }
}

/// Human-readable tool name ("Biases", "Trigger In", ...).
inline const char* toolDisplayName(ToolType type) {
    switch (type) {
    case TOOL_BIASES: return "Biases";
    case TOOL_TRIGGER_IN: return "Trigger In";
    case TOOL_TRIGGER_OUT: return "Trigger Out";
    case TOOL_ANTI_FLICKER: return "Anti Flicker";
    case TOOL_EVENT_TRAIL_FILTER: return "Event Trail Filter";
    case TOOL_EVENT_RATE_CONTROL: return "Event Rate Control";
    case TOOL_ROI: return "ROI";
    case TOOL_APS: return "APS";
    default: return "";
    }
}

} // namespace quorvel
