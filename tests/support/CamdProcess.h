#pragma once
// One camera daemon process (quorvel-camd) on a loopback address, for tests of Ethernet cameras.
// The daemon dies with the test process and is killed when the object goes.

#include "ChildProcess.h"
#include "quorvel/DvsCameraManager.h"

#include <cstdint>

namespace quorvel::test {

class CamdProcess : public ChildProcess {
public:
    CamdProcess(const std::string& camdPath, const std::string& ip, uint16_t port, std::vector<std::string> args,
                std::string outputs = "")
        : ChildProcess(withAddress(camdPath, ip, port, std::move(args)), std::move(outputs)),
          m_target(ip + ":" + std::to_string(port)) {}

    /// Sends `sig`; SIGKILL and SIGTERM also wait for the process to end.
    void kill(int sig) {
        signal(sig);
        if (sig == SIGKILL || sig == SIGTERM)
            wait();
    }
    /// "ip:port", as discovery lists take it.
    std::string target() const { return m_target; }

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
    static std::vector<std::string> withAddress(const std::string& camdPath, const std::string& ip, uint16_t port,
                                                std::vector<std::string> args) {
        args.insert(args.begin(), {camdPath, "--bind", ip, "--port", std::to_string(port)});
        return args;
    }
    std::string m_target;
};

} // namespace quorvel::test
