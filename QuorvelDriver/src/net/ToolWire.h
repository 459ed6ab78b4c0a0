#pragma once
// How camera tools travel over the control connection: each tool's published parameters with
// their ranges and current values (daemon side), and mirror tools rebuilt from that (host side).
//
// Errors: toolsFromJson() refuses a malformed description with a reason, so a hostile daemon
// cannot make the host build tools it cannot handle.
// Thread rules: pure functions.

#include "camera/ParameterTool.h"
#include "quorvel/JsonUtils.h"

#include <memory>
#include <string>
#include <vector>

namespace quorvel::net {

Json toolToJson(detail::ParameterTool& tool);

/// One parameter definition and its current value from a tool description.
struct WireTool {
    ToolType type = TOOL_BIASES;
    std::string description;
    std::vector<detail::ParamDef> defs;
    detail::ValueMap values;
};
bool toolsFromJson(const Json& list, std::vector<WireTool>& out, std::string& error);

/// A parameter value as JSON of the parameter's type, and back (false on a type mismatch).
Json valueToJson(const detail::ParamValue& v);
bool valueFromJson(const Json& j, ParameterType type, detail::ParamValue& out);

} // namespace quorvel::net
