#pragma once
// The one CameraTool implementation behind every virtual camera tool: a table of parameter
// definitions plus current values, with range checks, an optional whole-tool check (used by the
// region of interest to refuse windows outside the sensor), all-or-nothing bulk updates for
// configuration files, and a change counter the streaming thread polls.
//
// Thread rules: all members are thread-safe (one mutex per tool).

#include "quorvel/CameraTool.h"
#include "quorvel/JsonUtils.h"

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace quorvel::detail {

struct ParamValue {
    ParameterType type = ParameterType::Int;
    int32_t i = 0;
    float f = 0.0f;
    bool b = false;
    std::string s;

    static ParamValue ofInt(int32_t v) { ParamValue p; p.type = ParameterType::Int; p.i = v; return p; }
    static ParamValue ofFloat(float v) { ParamValue p; p.type = ParameterType::Float; p.f = v; return p; }
    static ParamValue ofBool(bool v) { ParamValue p; p.type = ParameterType::Bool; p.b = v; return p; }
    static ParamValue ofEnum(std::string v) { ParamValue p; p.type = ParameterType::Enum; p.s = std::move(v); return p; }
    Json toJson() const;
    friend bool operator==(const ParamValue&, const ParamValue&) = default;
};

using ValueMap = std::map<std::string, ParamValue>;

struct ParamDef {
    BasicParameterInfo basic;
    IntParameterInfo intInfo;
    FloatParameterInfo floatInfo;
    BoolParameterInfo boolInfo;
    EnumParameterInfo enumInfo;

    static ParamDef makeInt(std::string name, std::string description, int32_t min, int32_t max, int32_t def,
                            std::string unit);
    static ParamDef makeFloat(std::string name, std::string description, float min, float max, float def,
                              std::string unit);
    static ParamDef makeBool(std::string name, std::string description, bool def);
    static ParamDef makeEnum(std::string name, std::string description, std::vector<std::string> options,
                             std::string def);
    ParamValue defaultValue() const;
};

class ParameterTool : public CameraTool {
public:
    /// Whole-tool check run on the values a change would produce; sets `error` when it refuses.
    using Validator = std::function<bool(const ValueMap& proposed, std::string& error)>;

    ParameterTool(ToolType type, std::string description, std::vector<ParamDef> defs, Validator validator = {});

    ToolType getToolType() const override { return m_type; }
    ToolInfo getToolInfo() const override;
    void getAllParamsInfo(std::map<std::string, BasicParameterInfo>& infos) override;
    bool getEnumParamInfo(std::string name, EnumParameterInfo& info) override;
    bool getBoolParamInfo(std::string name, BoolParameterInfo& info) override;
    bool getFloatParamInfo(std::string name, FloatParameterInfo& info) override;
    bool getIntParamInfo(std::string name, IntParameterInfo& info) override;
    bool getEnumParam(std::string name, std::string& value) override;
    bool getBoolParam(std::string name, bool& value) override;
    bool getFloatParam(std::string name, float& value) override;
    bool getIntParam(std::string name, int& value) override;
    bool setEnumParam(std::string name, const std::string& value) override;
    bool setBoolParam(std::string name, bool value) override;
    bool setFloatParam(std::string name, const float& value) override;
    bool setIntParam(std::string name, const int& value) override;

    /// Current values of every parameter.
    ValueMap values() const;
    /// Checks that applying `changes` would be accepted (names, types, ranges, whole-tool check).
    bool validate(const ValueMap& changes, std::string& error) const;
    /// Applies all of `changes` or none of them.
    bool apply(const ValueMap& changes, std::string& error);
    /// Back to the published defaults.
    void resetDefaults();

    /// Parses a configuration-file section into changes for this tool. Unknown keys are ignored
    /// (files from other firmware carry extra ones); a known key of the wrong JSON type or an
    /// unknown enum option is an error. Integer parameters accept integral numbers only.
    bool changesFromJson(const Json& section, ValueMap& changes, std::string& error) const;
    Json toJson() const;

    /// Incremented by every accepted change; the streaming thread re-reads values when it moves.
    uint64_t generation() const { return m_generation.load(std::memory_order_acquire); }

private:
    bool setValue(const std::string& name, const ParamValue& value);
    const ParamDef* find(const std::string& name) const;
    bool checkOne(const ParamDef& def, const ParamValue& v, std::string& error) const;
    /// Puts `changes` over `proposed` after checking each, then the whole-tool check.
    bool merge(ValueMap& proposed, const ValueMap& changes, std::string& error) const;

    ToolType m_type;
    std::string m_description;
    std::vector<ParamDef> m_defs;
    Validator m_validator;
    mutable std::mutex m_mutex;
    ValueMap m_values;
    std::atomic<uint64_t> m_generation{0};
};

} // namespace quorvel::detail
