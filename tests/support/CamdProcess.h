#pragma once
// One camera daemon process (quorvel-camd) on a loopback address, for tests of Ethernet cameras.
// The daemon dies with the test process and is killed when the object goes.

#include "quorvel/DvsCameraManager.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace quorvel::test {

class CamdProcess {
public:
    CamdProcess(const std::string& camdPath, std::string ip, uint16_t port, std::vector<std::string> args)
        : m_ip(std::move(ip)), m_port(port) {
        std::vector<std::string> all = {camdPath, "--bind", m_ip, "--port", std::to_string(port)};
        all.insert(all.end(), args.begin(), args.end());
        m_pid = ::fork();
        if (m_pid == 0) {
            // A daemon must never outlive a crashed or killed test.
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            std::vector<char*> argv;
            for (auto& a : all)
                argv.push_back(a.data());
            argv.push_back(nullptr);
            ::execv(argv[0], argv.data());
            ::_exit(127);
        }
    }
    ~CamdProcess() { kill(SIGKILL); }
    CamdProcess(const CamdProcess&) = delete;
    CamdProcess& operator=(const CamdProcess&) = delete;

    /// Sends `sig`; SIGKILL and SIGTERM also wait for the process to end.
    void kill(int sig) {
        if (m_pid > 0) {
            ::kill(m_pid, sig);
            if (sig == SIGKILL || sig == SIGTERM) {
                ::waitpid(m_pid, nullptr, 0);
                m_pid = -1;
            }
        }
    }
    /// "ip:port", as discovery lists take it.
    std::string target() const { return m_ip + ":" + std::to_string(m_port); }
    pid_t pid() const { return m_pid; }

    /// Whether discovery (of the addresses in QUORVEL_DISCOVERY_ADDRS) lists `serial` within
    /// `limit`: a daemon needs a moment to bind.
    static bool listed(const std::string& serial, std::chrono::milliseconds limit = std::chrono::seconds(5)) {
        for (const auto end = std::chrono::steady_clock::now() + limit; std::chrono::steady_clock::now() < end;
             std::this_thread::sleep_for(std::chrono::milliseconds(50)))
            for (const CameraDescription& d : DvsCameraManager().getCameraDescs())
                if (d.serial == serial)
                    return true;
        return false;
    }

private:
    std::string m_ip;
    uint16_t m_port;
    pid_t m_pid = -1;
};

} // namespace quorvel::test
