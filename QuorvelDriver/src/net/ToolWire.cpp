#include "net/ToolWire.h"

#include <cmath>
#include <set>

namespace quorvel::net {

using detail::ParamDef;
using detail::ParamValue;
using detail::ParameterTool;

Json valueToJson(const ParamValue& v) {
    switch (v.type) {
    case ParameterType::Int: return v.i;
    case ParameterType::Float: return v.f;
    case ParameterType::Bool: return v.b;
    default: return v.s;
    }
}

bool valueFromJson(const Json& j, ParameterType type, ParamValue& out) {
    switch (type) {
    case ParameterType::Int:
        if (!j.is_number_integer() || (j.is_number_unsigned() && j.get<uint64_t>() > INT32_MAX) ||
            (!j.is_number_unsigned() && (j.get<int64_t>() < INT32_MIN || j.get<int64_t>() > INT32_MAX)))
            return false;
        out = ParamValue::ofInt(static_cast<int32_t>(j.get<int64_t>()));
        return true;
    case ParameterType::Float:
        if (!j.is_number() || !std::isfinite(j.get<double>()))
            return false;
        out = ParamValue::ofFloat(j.get<float>());
        return true;
    case ParameterType::Bool:
        if (!j.is_boolean())
            return false;
        out = ParamValue::ofBool(j.get<bool>());
        return true;
    case ParameterType::Enum:
        if (!j.is_string())
            return false;
        out = ParamValue::ofEnum(j.get<std::string>());
        return true;
    default:
        return false;
    }
}

Json toolToJson(ParameterTool& tool) {
    std::map<std::string, BasicParameterInfo> infos;
    tool.getAllParamsInfo(infos);
    const auto values = tool.values();
    Json params = Json::array();
    for (const auto& [name, b] : infos) {
        Json p = {{"name", name}, {"description", b.description}, {"type", static_cast<int>(b.type)}};
        switch (b.type) {
        case ParameterType::Int: {
            IntParameterInfo i;
            tool.getIntParamInfo(name, i);
            p.update({{"min", i.min}, {"max", i.max}, {"default", i.default_value}, {"unit", i.unit}});
            break;
        }
        case ParameterType::Float: {
            FloatParameterInfo f;
            tool.getFloatParamInfo(name, f);
            p.update({{"min", f.min}, {"max", f.max}, {"default", f.default_value}, {"unit", f.unit}});
            break;
        }
        case ParameterType::Bool: {
            BoolParameterInfo bi;
            tool.getBoolParamInfo(name, bi);
            p["default"] = bi.default_value;
            break;
        }
        case ParameterType::Enum: {
            EnumParameterInfo e;
            tool.getEnumParamInfo(name, e);
            p.update({{"options", e.options}, {"default", e.default_value}});
            break;
        }
        default:
            continue;
        }
        if (auto it = values.find(name); it != values.end())
            p["value"] = valueToJson(it->second);
        params.push_back(std::move(p));
    }
    return {{"type", static_cast<int>(tool.getToolType())}, {"description", tool.getToolInfo().description},
            {"params", std::move(params)}};
}

namespace {
constexpr size_t kMaxTools = 16, kMaxParams = 64, kMaxOptions = 64, kMaxText = 256;

bool text(const Json& o, const char* key, std::string& out) {
    auto it = o.find(key);
    if (it == o.end() || !it->is_string() || it->get_ref<const std::string&>().size() > kMaxText)
        return false;
    out = it->get<std::string>();
    return true;
}
} // namespace

bool toolsFromJson(const Json& list, std::vector<WireTool>& out, std::string& error) {
    if (!list.is_array() || list.size() > kMaxTools) {
        error = "tool list is not an array of at most " + std::to_string(kMaxTools) + " tools";
        return false;
    }
    std::set<int> seen;
    for (const Json& t : list) {
        WireTool w;
        if (!t.is_object() || !t.contains("type") || !t["type"].is_number_integer() || !t.contains("params") ||
            !t["params"].is_array() || t["params"].size() > kMaxParams || !text(t, "description", w.description)) {
            error = "malformed tool description";
            return false;
        }
        const int64_t type = t["type"].get<int64_t>();
        if (type < TOOL_BIASES || type > TOOL_APS || !seen.insert(static_cast<int>(type)).second) {
            error = "unknown or repeated tool type " + std::to_string(type);
            return false;
        }
        w.type = static_cast<ToolType>(type);
        for (const Json& p : t["params"]) {
            std::string name, desc, unit;
            if (!p.is_object() || !text(p, "name", name) || name.empty() || !text(p, "description", desc) ||
                !p.contains("type") || !p["type"].is_number_integer() || !p.contains("default") || !p.contains("value")) {
                error = "malformed parameter in tool " + std::to_string(type);
                return false;
            }
            const int64_t pt = p["type"].get<int64_t>();
            ParamDef def;
            ParamValue dv, cur;
            bool ok = true;
            switch (pt) {
            case static_cast<int>(ParameterType::Int): {
                ParamValue mn, mx;
                ok = text(p, "unit", unit) && p.contains("min") && p.contains("max") &&
                     valueFromJson(p["min"], ParameterType::Int, mn) && valueFromJson(p["max"], ParameterType::Int, mx) &&
                     valueFromJson(p["default"], ParameterType::Int, dv) && mn.i <= mx.i;
                if (ok)
                    def = ParamDef::makeInt(name, desc, mn.i, mx.i, dv.i, unit);
                break;
            }
            case static_cast<int>(ParameterType::Float): {
                ParamValue mn, mx;
                ok = text(p, "unit", unit) && p.contains("min") && p.contains("max") &&
                     valueFromJson(p["min"], ParameterType::Float, mn) &&
                     valueFromJson(p["max"], ParameterType::Float, mx) &&
                     valueFromJson(p["default"], ParameterType::Float, dv) && mn.f <= mx.f;
                if (ok)
                    def = ParamDef::makeFloat(name, desc, mn.f, mx.f, dv.f, unit);
                break;
            }
            case static_cast<int>(ParameterType::Bool):
                ok = valueFromJson(p["default"], ParameterType::Bool, dv);
                if (ok)
                    def = ParamDef::makeBool(name, desc, dv.b);
                break;
            case static_cast<int>(ParameterType::Enum): {
                std::vector<std::string> options;
                ok = p.contains("options") && p["options"].is_array() && p["options"].size() <= kMaxOptions &&
                     valueFromJson(p["default"], ParameterType::Enum, dv);
                for (size_t i = 0; ok && i < p["options"].size(); ++i) {
                    ok = p["options"][i].is_string() && p["options"][i].get_ref<const std::string&>().size() <= kMaxText;
                    if (ok)
                        options.push_back(p["options"][i].get<std::string>());
                }
                if (ok)
                    def = ParamDef::makeEnum(name, desc, options, dv.s);
                break;
            }
            default:
                ok = false;
            }
            if (!ok || !valueFromJson(p["value"], def.basic.type, cur)) {
                error = "malformed parameter '" + name + "' in tool " + std::to_string(type);
                return false;
            }
            w.defs.push_back(std::move(def));
            w.values[name] = cur;
        }
        out.push_back(std::move(w));
    }
    return true;
}

} // namespace quorvel::net
