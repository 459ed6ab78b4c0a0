#pragma once
// A camera tool with any parameter layout, for panel tests that need layouts no camera has. It
// accepts every value and reports no current values.

#include "quorvel/CameraTool.h"

#include <map>
#include <string>
#include <vector>

namespace quorvel::test {

/// A tool with any parameter layout; it accepts every value in range.
class StandInTool : public CameraTool {
public:
    struct Param {
        ParameterType type;
        float min = 0, max = 0, def = 0;
        std::vector<std::string> options = {};
    };
    std::map<std::string, Param> params;
    ToolType getToolType() const override { return TOOL_ANTI_FLICKER; }
    ToolInfo getToolInfo() const override { return {}; }
    void getAllParamsInfo(std::map<std::string, BasicParameterInfo>& infos) override {
        infos.clear();
        for (const auto& [n, p] : params)
            infos[n] = {n, "about " + n, p.type};
    }
    bool has(const std::string& n, ParameterType t) const { return params.count(n) && params.at(n).type == t; }
    bool getEnumParamInfo(std::string n, EnumParameterInfo& i) override {
        return has(n, ParameterType::Enum) && (i.options = params[n].options, true);
    }
    bool getBoolParamInfo(std::string n, BoolParameterInfo& i) override {
        return has(n, ParameterType::Bool) && (i.default_value = params[n].def != 0, true);
    }
    bool getFloatParamInfo(std::string n, FloatParameterInfo& i) override {
        return has(n, ParameterType::Float) && (i = {params[n].min, params[n].max, params[n].def, "x"}, true);
    }
    bool getIntParamInfo(std::string n, IntParameterInfo& i) override {
        const Param& p = params[n];
        return has(n, ParameterType::Int) && (i = {int(p.min), int(p.max), int(p.def), "Hz"}, true);
    }
    bool getEnumParam(std::string, std::string&) override { return false; }
    bool getBoolParam(std::string, bool&) override { return false; }
    bool getFloatParam(std::string, float&) override { return false; }
    bool getIntParam(std::string, int&) override { return false; }
    bool setEnumParam(std::string, const std::string&) override { return true; }
    bool setBoolParam(std::string, bool) override { return true; }
    bool setFloatParam(std::string, const float&) override { return true; }
    bool setIntParam(std::string, const int&) override { return true; }
};

} // namespace quorvel::test
