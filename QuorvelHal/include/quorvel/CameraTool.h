#pragma once
// One group of a camera's adjustable settings (biases, anti-flicker, region of interest, ...),
// published as a list of named, typed parameters so that user interfaces and configuration files
// never hard-code them.
//
// Getters return false for a name the tool does not have or whose type differs. Setters return
// false and change nothing when the name or type is wrong, the value is outside the published
// range, or the tool refuses the combination (for example a region of interest reaching outside
// the sensor); a value that was accepted acts on the event stream from the next few milliseconds
// of sensor time on.
//
// Thread rules: every operation is thread-safe; tools may be changed from a user-interface thread
// while the camera streams on its own thread.

#include "quorvel/ParameterInfo.h"
#include "quorvel/ToolType.h"

#include <map>
#include <string>

namespace quorvel {

class CameraTool {
public:
    virtual ~CameraTool() = default;

    virtual ToolType getToolType() const = 0;
    virtual ToolInfo getToolInfo() const = 0;

    /// Replaces `infos` by the tool's parameters keyed by name.
    virtual void getAllParamsInfo(std::map<std::string, BasicParameterInfo>& infos) = 0;

    virtual bool getEnumParamInfo(std::string name, EnumParameterInfo& info) = 0;
    virtual bool getBoolParamInfo(std::string name, BoolParameterInfo& info) = 0;
    virtual bool getFloatParamInfo(std::string name, FloatParameterInfo& info) = 0;
    virtual bool getIntParamInfo(std::string name, IntParameterInfo& info) = 0;

    virtual bool getEnumParam(std::string name, std::string& value) = 0;
    virtual bool getBoolParam(std::string name, bool& value) = 0;
    virtual bool getFloatParam(std::string name, float& value) = 0;
    virtual bool getIntParam(std::string name, int& value) = 0;

    virtual bool setEnumParam(std::string name, const std::string& value) = 0;
    virtual bool setBoolParam(std::string name, bool value) = 0;
    virtual bool setFloatParam(std::string name, const float& value) = 0;
    virtual bool setIntParam(std::string name, const int& value) = 0;
};

} // namespace quorvel
