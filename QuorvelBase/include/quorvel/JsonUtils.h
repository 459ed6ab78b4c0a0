#pragma once
// JSON file helpers shared by camera configuration files, calibration files and the network
// control protocol (nlohmann::json).
//
// Errors: every function reports failure by its return value and, where given, an error text
// naming the file and what was wrong; none throws on bad input.
// Thread rules: pure functions; concurrent writes to the same path are the caller's problem
// (writeJsonFile is atomic per call: readers see the old or the new file, never a mix).

#include <nlohmann/json.hpp>

#include <string>

namespace quorvel {

using Json = nlohmann::json;

/// Parses text. On failure returns false and sets `error` (if non-null) to the parser's message.
bool parseJson(const std::string& text, Json& out, std::string* error = nullptr);

/// Reads and parses a file. Fails on a missing or unreadable file and on malformed JSON.
bool readJsonFile(const std::string& path, Json& out, std::string* error = nullptr);

/// Writes `doc` indented by 4 spaces through a temporary file renamed over `path`, so a failure
/// (full disk, read-only folder) leaves any existing file untouched.
bool writeJsonFile(const std::string& path, const Json& doc, std::string* error = nullptr);

/// obj[key] converted to T, or `fallback` when obj is not an object, the key is missing or the
/// value has another type.
template <typename T>
T jsonValueOr(const Json& obj, const std::string& key, T fallback) {
    if (!obj.is_object())
        return fallback;
    auto it = obj.find(key);
    if (it == obj.end())
        return fallback;
    try {
        if constexpr (std::is_same_v<T, bool>) {
            if (!it->is_boolean())
                return fallback;
        } else if constexpr (std::is_arithmetic_v<T>) {
            if (!it->is_number())
                return fallback;
        } else if constexpr (std::is_same_v<T, std::string>) {
            if (!it->is_string())
                return fallback;
        }
        return it->template get<T>();
    } catch (const Json::exception&) {
        return fallback;
    }
}

} // namespace quorvel
