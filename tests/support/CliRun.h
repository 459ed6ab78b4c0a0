#pragma once
// Runs the quorvel command-line tool the way a user does (a separate process, its own cache
// folder) and captures its exit code, standard output and standard error.

#include "SyntheticStream.h"

#include <cstdio>
#include <string>

#include <sys/wait.h>

namespace quorvel::test {

struct CliRun {
    int code = -1;
    std::string out, err;
};

/// `env` is prepended as VAR=value assignments (may be empty); the cache folder is the test's own.
inline CliRun runCli(const std::string& cliPath, const std::string& env, const std::string& args,
                     const TempDir& dir) {
    const std::string errFile = dir.file("stderr.txt");
    const std::string cmd =
        "env XDG_CACHE_HOME=" + dir.file("cache") + " " + env + " " + cliPath + " " + args + " 2>" + errFile;
    CliRun r;
    std::FILE* p = ::popen(cmd.c_str(), "r");
    if (!p)
        return r;
    char buf[65536];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, p)) > 0)
        r.out.append(buf, n);
    const int status = ::pclose(p);
    r.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    r.err = readFileBytes(errFile);
    return r;
}

#ifdef QV_CLI_PATH
/// Runs the quorvel tool this test was built with.
inline CliRun run(const std::string& args, const TempDir& dir, const std::string& env = "") {
    return runCli(QV_CLI_PATH, env, args, dir);
}
#endif

} // namespace quorvel::test
