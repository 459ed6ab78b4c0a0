#pragma once
// The camera daemon: serves virtual cameras to hosts on the network, as a real Ethernet camera
// would. One UDP socket answers discovery and force-IP; one TCP listener takes control
// connections and stream connections on the same port.
//
// Control: a host opens a camera by serial and holds it until it closes the connection or goes
// silent for kControllerTimeout; a second host is refused meanwhile. The daemon sends a heartbeat
// every 200 ms with what the stream has produced, which is how the host tells loss from silence.
// Stream: a second connection attaches with the token from "open"; packets go out through a
// bounded queue. When the host reads too slowly the daemon drops whole packets but still numbers
// them, so every drop shows up at the host as a sequence gap. TCP was chosen over UDP because
// loopback and LAN links deliver 50 M events/s without loss only with flow control; the
// sequence numbers keep loss visible anyway.
// Force IP: refused while a host controls a camera; otherwise the daemon binds the new address
// first, answers from the old one, then closes the old sockets, so it is reachable only there.
//
// Errors: run() returns false with error() when the sockets cannot be set up; bad peers only
// cost their own connection.
// Thread rules: run() on one thread; requestStop() from any thread or a signal handler.

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace quorvel::net {

struct DaemonCamera {
    std::string serial;
    bool fusion = false;
    std::string firmware; ///< default: product-specific
    std::string mac;      ///< default: derived from the serial
    std::string scene = "default";
    uint64_t stressRate = 0; ///< events/s of a fixed-rate stress source instead of the simulator
    uint16_t width = 0, height = 0;
};

struct DaemonOptions {
    std::string bindIp = "127.0.0.1";
    uint16_t port = 47000;
    std::string mask = "255.0.0.0";
    std::string gateway = "0.0.0.0";
    bool allowNetwork = false;
    /// Stream data a camera holds for a client that falls behind before it drops packets (which
    /// the client then counts as lost): about 1.4 s at 50 M events/s, enough for a host that is
    /// still warming its buffers when the stream starts.
    size_t sendQueueBytes = 256u << 20;
    std::vector<DaemonCamera> cameras;
};

class CameraDaemon {
public:
    explicit CameraDaemon(DaemonOptions options);
    ~CameraDaemon();
    /// Serves until requestStop(). False when setting up failed.
    bool run();
    void requestStop();
    std::string error() const { return m_error; }

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
    std::string m_error;
};

/// A locally administered MAC-like id derived from the serial ("02:xx:xx:xx:xx:xx").
std::string macForSerial(const std::string& serial);

} // namespace quorvel::net
