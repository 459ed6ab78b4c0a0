#pragma once
// The SDK's process-wide logger: one line per message, "time level file:line message".
//
// Messages below the threshold are dropped. The threshold comes from the environment variable
// QUORVEL_LOG_LEVEL (0 trace .. 5 off, default 2 info) and can be changed at run time. Output goes
// to stderr, and also to a file once setLogFile() succeeds.
//
// Errors: a log file that cannot be opened makes setLogFile() return false; logging then goes on
// to stderr only. Logging itself never throws.
// Thread rules: every member is thread-safe; one line is written atomically under a mutex.

#include <cstdio>
#include <mutex>
#include <string>

namespace quorvel {

enum LogLevelType : int {
    LOG_TRACE = 0,
    LOG_DEBUG = 1,
    LOG_INFO = 2,
    LOG_WARNING = 3,
    LOG_ERROR = 4,
    LOG_OFF = 5,
};

class Logger {
public:
    static Logger& Instance();

    void log_(LogLevelType level, const char* file, int line, const char* message);
    void log_(LogLevelType level, const char* file, int line, const std::string& message) {
        log_(level, file, line, message.c_str());
    }

    void setLevel(LogLevelType level);
    LogLevelType level() const;
    bool setLogFile(const std::string& path);

    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

private:
    Logger();
    ~Logger();

    mutable std::mutex m_mutex;
    LogLevelType m_level = LOG_INFO;
    std::FILE* m_file = nullptr;
};

} // namespace quorvel

#define QV_LOG(level, msg) ::quorvel::Logger::Instance().log_((level), __FILE__, __LINE__, (msg))
