#include "quorvel/TimeUtils.h"

#include <cstdio>
#include <ctime>

namespace quorvel {

namespace {
bool toLocal(std::time_t t, std::tm& out) { return localtime_r(&t, &out) != nullptr; }
} // namespace

std::string timePointToString(const std::chrono::system_clock::time_point& tp) {
    using namespace std::chrono;
    const auto sinceEpoch = tp.time_since_epoch();
    auto secs = duration_cast<seconds>(sinceEpoch);
    auto ms = duration_cast<milliseconds>(sinceEpoch - secs).count();
    if (ms < 0) { // times before 1970: keep the millisecond part positive
        secs -= seconds(1);
        ms += 1000;
    }
    std::tm tm{};
    if (!toLocal(static_cast<std::time_t>(secs.count()), tm))
        return {};
    char buf[64];
    std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d.%03d", tm.tm_year + 1900,
                  tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec, static_cast<int>(ms));
    return buf;
}

std::string formatLocalDateTime(const std::chrono::system_clock::time_point& tp) {
    std::tm tm{};
    if (!toLocal(std::chrono::system_clock::to_time_t(tp), tm))
        return {};
    char buf[32];
    std::strftime(buf, sizeof buf, "%Y-%m-%d %H:%M:%S", &tm);
    return buf;
}

bool parseLocalDateTime(const std::string& text, std::chrono::system_clock::time_point& out) {
    int y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0;
    char tail = 0;
    const int n = std::sscanf(text.c_str(), "%4d-%2d-%2d %2d:%2d:%2d%c", &y, &mo, &d, &h, &mi, &s, &tail);
    if (n != 6)
        return false;
    // 2261 is the last whole year a nanosecond system_clock can hold; later dates would overflow.
    if (y < 1970 || y > 2261 || mo < 1 || mo > 12 || d < 1 || d > 31 || h < 0 || h > 23 || mi < 0 || mi > 59 ||
        s < 0 || s > 60)
        return false;
    std::tm tm{};
    tm.tm_year = y - 1900;
    tm.tm_mon = mo - 1;
    tm.tm_mday = d;
    tm.tm_hour = h;
    tm.tm_min = mi;
    tm.tm_sec = s;
    tm.tm_isdst = -1;
    const std::time_t t = std::mktime(&tm);
    if (t == static_cast<std::time_t>(-1))
        return false;
    out = std::chrono::system_clock::from_time_t(t);
    return true;
}

} // namespace quorvel
