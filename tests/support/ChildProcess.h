#pragma once
// A child process of a test, started the way a user starts a program: killed when the object goes
// and whenever the test process dies, with its standard output and error kept in files on request.

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace quorvel::test {

class ChildProcess {
public:
    /// Runs `args` (the program is looked up in PATH) with `env` ("NAME=value") added to the
    /// environment; with `outputs` set, standard output and error go to `outputs`.out and .err.
    explicit ChildProcess(std::vector<std::string> args, std::string outputs = "", std::vector<std::string> env = {})
        : m_outputs(std::move(outputs)) {
        m_pid = ::fork();
        if (m_pid == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            for (std::string& e : env)
                ::putenv(e.data());
            if (!m_outputs.empty()) {
                ::dup2(::open((m_outputs + ".out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644), 1);
                ::dup2(::open((m_outputs + ".err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644), 2);
            }
            std::vector<char*> argv;
            for (std::string& a : args)
                argv.push_back(a.data());
            argv.push_back(nullptr);
            ::execvp(argv[0], argv.data());
            ::_exit(127);
        }
    }
    ~ChildProcess() {
        signal(SIGKILL);
        wait();
    }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    void signal(int sig) const {
        if (m_pid > 0)
            ::kill(m_pid, sig);
    }
    /// Exit code, 128 + signal when a signal ended it, -1 when it still runs after `limit`.
    int wait(std::chrono::milliseconds limit = std::chrono::seconds(20)) {
        const auto end = std::chrono::steady_clock::now() + limit;
        for (int status = 0; m_pid > 0 && std::chrono::steady_clock::now() < end;
             std::this_thread::sleep_for(std::chrono::milliseconds(5)))
            if (::waitpid(m_pid, &status, WNOHANG) == m_pid) {
                m_pid = -1;
                return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            }
        return -1;
    }
    std::string out() const { return contents(".out"); }
    std::string err() const { return contents(".err"); }

private:
    std::string contents(const char* suffix) const {
        std::ostringstream s;
        s << std::ifstream(m_outputs + suffix).rdbuf();
        return s.str();
    }
    pid_t m_pid = -1;
    std::string m_outputs;
};

} // namespace quorvel::test
