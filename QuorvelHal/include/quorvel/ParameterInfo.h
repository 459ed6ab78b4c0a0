#pragma once
// Description records of camera tool parameters: what a settings panel needs to build a row for
// each parameter (name, tooltip, type, range, default, unit, options).
//
// Parameter names are lower-case words joined by underscores; they are the keys for every get and
// set call and in configuration files. Values of Enum parameters travel as option text.
//
// Thread rules: plain values.

#include <cstdint>
#include <string>
#include <vector>

namespace quorvel {

/// Type of a parameter's value. String (3) exists in the model but no tool publishes it.
enum class ParameterType : int32_t {
    Int = 0,
    Float = 1,
    Bool = 2,
    String = 3,
    Enum = 4,
};

struct BasicParameterInfo {
    std::string name;
    std::string description;
    ParameterType type = ParameterType::Int;
};

struct IntParameterInfo {
    int32_t min = 0;
    int32_t max = 0;
    int32_t default_value = 0;
    std::string unit;
};

struct FloatParameterInfo {
    float min = 0.0f;
    float max = 0.0f;
    float default_value = 0.0f;
    std::string unit;
};

struct BoolParameterInfo {
    bool default_value = false;
};

struct EnumParameterInfo {
    std::vector<std::string> options; ///< in the tool's order
    std::string default_value;
};

} // namespace quorvel
