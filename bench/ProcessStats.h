#pragma once
// What a benchmark reports of its own process: resident memory and CPU time.

#include <sys/resource.h>

#include <cstdlib>
#include <fstream>
#include <string>

namespace qvbench {

/// Resident memory in MiB (VmRSS), -1 when it cannot be read.
inline double rssMiB() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind("VmRSS:", 0) == 0)
            return std::strtod(line.c_str() + 6, nullptr) / 1024.0;
    return -1;
}

/// CPU seconds (user and system) of every thread of the process so far.
inline double cpuSeconds() {
    rusage u{};
    ::getrusage(RUSAGE_SELF, &u);
    return double(u.ru_utime.tv_sec + u.ru_stime.tv_sec) + double(u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

} // namespace qvbench
