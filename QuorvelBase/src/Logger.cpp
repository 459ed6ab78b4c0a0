#include "quorvel/Logger.h"

#include "quorvel/TimeUtils.h"

#include <chrono>
#include <cstdlib>

namespace quorvel {

namespace {
const char* levelName(LogLevelType level) {
    switch (level) {
    case LOG_TRACE: return "TRACE";
    case LOG_DEBUG: return "DEBUG";
    case LOG_INFO: return "INFO";
    case LOG_WARNING: return "WARN";
    case LOG_ERROR: return "ERROR";
    default: return "?";
    }
}
} // namespace

Logger& Logger::Instance() {
    static Logger logger;
    return logger;
}

Logger::Logger() {
    if (const char* env = std::getenv("QUORVEL_LOG_LEVEL")) {
        char* end = nullptr;
        const long v = std::strtol(env, &end, 10);
        if (end != env && v >= LOG_TRACE && v <= LOG_OFF)
            m_level = static_cast<LogLevelType>(v);
    }
}

Logger::~Logger() {
    if (m_file)
        std::fclose(m_file);
}

void Logger::setLevel(LogLevelType level) {
    std::lock_guard lock(m_mutex);
    m_level = level;
}

LogLevelType Logger::level() const {
    std::lock_guard lock(m_mutex);
    return m_level;
}

bool Logger::setLogFile(const std::string& path) {
    std::FILE* f = std::fopen(path.c_str(), "a");
    std::lock_guard lock(m_mutex);
    if (m_file)
        std::fclose(m_file);
    m_file = f;
    return f != nullptr;
}

void Logger::log_(LogLevelType level, const char* file, int line, const char* message) {
    std::lock_guard lock(m_mutex);
    if (level < m_level || m_level >= LOG_OFF)
        return;
    const std::string when = timePointToString(std::chrono::system_clock::now());
    const char* msg = message ? message : "";
    const char* src = file ? file : "?";
    std::fprintf(stderr, "%s %s %s:%d %s\n", when.c_str(), levelName(level), src, line, msg);
    if (m_file) {
        std::fprintf(m_file, "%s %s %s:%d %s\n", when.c_str(), levelName(level), src, line, msg);
        std::fflush(m_file);
    }
}

} // namespace quorvel
