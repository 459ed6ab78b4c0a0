#include "camera/ParameterTool.h"

#include <cmath>

namespace quorvel::detail {

Json ParamValue::toJson() const {
    switch (type) {
    case ParameterType::Int: return Json(i);
    case ParameterType::Float: return Json(f);
    case ParameterType::Bool: return Json(b);
    default: return Json(s);
    }
}

ParamDef ParamDef::makeInt(std::string name, std::string description, int32_t min, int32_t max, int32_t def,
                           std::string unit) {
    ParamDef d;
    d.basic = {std::move(name), std::move(description), ParameterType::Int};
    d.intInfo = {min, max, def, std::move(unit)};
    return d;
}

ParamDef ParamDef::makeFloat(std::string name, std::string description, float min, float max, float def,
                             std::string unit) {
    ParamDef d;
    d.basic = {std::move(name), std::move(description), ParameterType::Float};
    d.floatInfo = {min, max, def, std::move(unit)};
    return d;
}

ParamDef ParamDef::makeBool(std::string name, std::string description, bool def) {
    ParamDef d;
    d.basic = {std::move(name), std::move(description), ParameterType::Bool};
    d.boolInfo.default_value = def;
    return d;
}

ParamDef ParamDef::makeEnum(std::string name, std::string description, std::vector<std::string> options,
                            std::string def) {
    ParamDef d;
    d.basic = {std::move(name), std::move(description), ParameterType::Enum};
    d.enumInfo.options = std::move(options);
    d.enumInfo.default_value = std::move(def);
    return d;
}

ParamValue ParamDef::defaultValue() const {
    switch (basic.type) {
    case ParameterType::Int: return ParamValue::ofInt(intInfo.default_value);
    case ParameterType::Float: return ParamValue::ofFloat(floatInfo.default_value);
    case ParameterType::Bool: return ParamValue::ofBool(boolInfo.default_value);
    default: return ParamValue::ofEnum(enumInfo.default_value);
    }
}

ParameterTool::ParameterTool(ToolType type, std::string description, std::vector<ParamDef> defs,
                             Validator validator)
    : m_type(type), m_description(std::move(description)), m_defs(std::move(defs)),
      m_validator(std::move(validator)) {
    for (const auto& d : m_defs)
        m_values[d.basic.name] = d.defaultValue();
}

ToolInfo ParameterTool::getToolInfo() const {
    return ToolInfo{m_type, toolDisplayName(m_type), m_description};
}

const ParamDef* ParameterTool::find(const std::string& name) const {
    for (const auto& d : m_defs)
        if (d.basic.name == name)
            return &d;
    return nullptr;
}

void ParameterTool::getAllParamsInfo(std::map<std::string, BasicParameterInfo>& infos) {
    infos.clear();
    for (const auto& d : m_defs)
        infos[d.basic.name] = d.basic;
}

namespace {
// The four typed look-ups differ only in the type they expect and the record they copy.
template <typename Info>
bool copyInfo(const ParamDef* d, ParameterType type, Info ParamDef::*member, Info& out) {
    if (!d || d->basic.type != type)
        return false;
    out = d->*member;
    return true;
}
} // namespace

bool ParameterTool::getEnumParamInfo(std::string name, EnumParameterInfo& info) {
    return copyInfo(find(name), ParameterType::Enum, &ParamDef::enumInfo, info);
}

bool ParameterTool::getBoolParamInfo(std::string name, BoolParameterInfo& info) {
    return copyInfo(find(name), ParameterType::Bool, &ParamDef::boolInfo, info);
}

bool ParameterTool::getFloatParamInfo(std::string name, FloatParameterInfo& info) {
    return copyInfo(find(name), ParameterType::Float, &ParamDef::floatInfo, info);
}

bool ParameterTool::getIntParamInfo(std::string name, IntParameterInfo& info) {
    return copyInfo(find(name), ParameterType::Int, &ParamDef::intInfo, info);
}

namespace {
template <typename F>
bool readValue(std::mutex& m, const ValueMap& values, const std::string& name, ParameterType type, F&& take) {
    std::lock_guard lock(m);
    auto it = values.find(name);
    if (it == values.end() || it->second.type != type)
        return false;
    take(it->second);
    return true;
}
} // namespace

bool ParameterTool::getEnumParam(std::string name, std::string& value) {
    return readValue(m_mutex, m_values, name, ParameterType::Enum, [&](const ParamValue& v) { value = v.s; });
}
bool ParameterTool::getBoolParam(std::string name, bool& value) {
    return readValue(m_mutex, m_values, name, ParameterType::Bool, [&](const ParamValue& v) { value = v.b; });
}
bool ParameterTool::getFloatParam(std::string name, float& value) {
    return readValue(m_mutex, m_values, name, ParameterType::Float, [&](const ParamValue& v) { value = v.f; });
}
bool ParameterTool::getIntParam(std::string name, int& value) {
    return readValue(m_mutex, m_values, name, ParameterType::Int, [&](const ParamValue& v) { value = v.i; });
}

bool ParameterTool::setEnumParam(std::string name, const std::string& value) {
    return setValue(name, ParamValue::ofEnum(value));
}
bool ParameterTool::setBoolParam(std::string name, bool value) { return setValue(name, ParamValue::ofBool(value)); }
bool ParameterTool::setFloatParam(std::string name, const float& value) {
    return setValue(name, ParamValue::ofFloat(value));
}
bool ParameterTool::setIntParam(std::string name, const int& value) {
    return setValue(name, ParamValue::ofInt(value));
}

bool ParameterTool::setValue(const std::string& name, const ParamValue& value) {
    std::string error;
    return apply(ValueMap{{name, value}}, error);
}

bool ParameterTool::checkOne(const ParamDef& def, const ParamValue& v, std::string& error) const {
    const std::string& name = def.basic.name;
    if (v.type != def.basic.type) {
        error = "parameter '" + name + "' has another type";
        return false;
    }
    switch (v.type) {
    case ParameterType::Int:
        if (v.i < def.intInfo.min || v.i > def.intInfo.max) {
            error = "parameter '" + name + "' = " + std::to_string(v.i) + " is outside " +
                    std::to_string(def.intInfo.min) + " .. " + std::to_string(def.intInfo.max);
            return false;
        }
        return true;
    case ParameterType::Float:
        if (!std::isfinite(v.f) || v.f < def.floatInfo.min || v.f > def.floatInfo.max) {
            error = "parameter '" + name + "' = " + std::to_string(v.f) + " is outside " +
                    std::to_string(def.floatInfo.min) + " .. " + std::to_string(def.floatInfo.max);
            return false;
        }
        return true;
    case ParameterType::Enum:
        for (const auto& o : def.enumInfo.options)
            if (o == v.s)
                return true;
        error = "parameter '" + name + "' has no option '" + v.s + "'";
        return false;
    default:
        return true;
    }
}

bool ParameterTool::merge(ValueMap& proposed, const ValueMap& changes, std::string& error) const {
    for (const auto& [name, v] : changes) {
        const ParamDef* d = find(name);
        if (!d) {
            error = std::string(toolDisplayName(m_type)) + " has no parameter '" + name + "'";
            return false;
        }
        if (!checkOne(*d, v, error))
            return false;
        proposed[name] = v;
    }
    return !m_validator || m_validator(proposed, error);
}

bool ParameterTool::validate(const ValueMap& changes, std::string& error) const {
    ValueMap proposed;
    {
        std::lock_guard lock(m_mutex);
        proposed = m_values;
    }
    return merge(proposed, changes, error);
}

bool ParameterTool::apply(const ValueMap& changes, std::string& error) {
    std::lock_guard lock(m_mutex);
    ValueMap proposed = m_values;
    if (!merge(proposed, changes, error))
        return false;
    if (proposed != m_values) {
        m_values = std::move(proposed);
        m_generation.fetch_add(1, std::memory_order_acq_rel);
    }
    return true;
}

void ParameterTool::resetDefaults() {
    std::lock_guard lock(m_mutex);
    for (const auto& d : m_defs)
        m_values[d.basic.name] = d.defaultValue();
    m_generation.fetch_add(1, std::memory_order_acq_rel);
}

ValueMap ParameterTool::values() const {
    std::lock_guard lock(m_mutex);
    return m_values;
}

bool ParameterTool::changesFromJson(const Json& section, ValueMap& changes, std::string& error) const {
    const std::string key = toolSectionKey(m_type);
    if (!section.is_object()) {
        error = "section \"" + key + "\" is not an object";
        return false;
    }
    for (const auto& d : m_defs) {
        auto it = section.find(d.basic.name);
        if (it == section.end())
            continue;
        const std::string where = "\"" + key + "\".\"" + d.basic.name + "\"";
        switch (d.basic.type) {
        case ParameterType::Int: {
            if (!it->is_number()) {
                error = where + " must be an integer";
                return false;
            }
            double v = it->get<double>();
            if (v != std::floor(v) || v < -2147483648.0 || v > 2147483647.0) {
                error = where + " must be an integer";
                return false;
            }
            changes[d.basic.name] = ParamValue::ofInt(static_cast<int32_t>(v));
            break;
        }
        case ParameterType::Float:
            if (!it->is_number()) {
                error = where + " must be a number";
                return false;
            }
            changes[d.basic.name] = ParamValue::ofFloat(it->get<float>());
            break;
        case ParameterType::Bool:
            if (!it->is_boolean()) {
                error = where + " must be true or false";
                return false;
            }
            changes[d.basic.name] = ParamValue::ofBool(it->get<bool>());
            break;
        default:
            if (!it->is_string()) {
                error = where + " must be a text";
                return false;
            }
            changes[d.basic.name] = ParamValue::ofEnum(it->get<std::string>());
            break;
        }
    }
    return true;
}

Json ParameterTool::toJson() const {
    Json obj = Json::object();
    std::lock_guard lock(m_mutex);
    for (const auto& d : m_defs)
        obj[d.basic.name] = m_values.at(d.basic.name).toJson();
    return obj;
}

} // namespace quorvel::detail
