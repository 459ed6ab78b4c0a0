#pragma once
// Wall-clock text for the user: the local date and time of a time point.
// Thread rules: thread-safe (uses localtime_r).

#include <chrono>
#include <string>

namespace quorvel {

/// "YYYY-MM-DD HH:MM:SS.mmm" in the local time zone, milliseconds truncated.
std::string timePointToString(const std::chrono::system_clock::time_point& tp);

/// Parses "YYYY-MM-DD HH:MM:SS" as local wall-clock time (the `date` header of a recording).
/// Returns false, leaving `out` unchanged, when the text is not in that form or out of range.
bool parseLocalDateTime(const std::string& text, std::chrono::system_clock::time_point& out);

/// "YYYY-MM-DD HH:MM:SS" of a time point in local time (the form written into recording headers).
std::string formatLocalDateTime(const std::chrono::system_clock::time_point& tp);

} // namespace quorvel
