#pragma once
// Thin POSIX socket helpers for the network cameras (IPv4 only). Every blocking step takes a
// timeout, so no caller can hang on a silent peer.
//
// Errors: functions return false / -1 and set a one-line reason.
// Thread rules: a socket is used by one thread at a time, except shutdown() which wakes others.

#include <cstddef>
#include <cstdint>
#include <string>

struct sockaddr_in;

namespace quorvel::net {

class Socket {
public:
    Socket() = default;
    explicit Socket(int fd) : m_fd(fd) {}
    ~Socket() { close(); }
    Socket(Socket&& o) noexcept : m_fd(o.release()) {}
    Socket& operator=(Socket&& o) noexcept {
        if (this != &o) {
            close();
            m_fd = o.release();
        }
        return *this;
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    int fd() const { return m_fd; }
    bool valid() const { return m_fd >= 0; }
    int release() {
        const int f = m_fd;
        m_fd = -1;
        return f;
    }
    void close();
    /// Wakes a thread blocked on this socket (both directions).
    void shutdown();

private:
    int m_fd = -1;
};

bool makeAddress(const std::string& ip, uint16_t port, sockaddr_in& out, std::string& error);
std::string addressText(const sockaddr_in& a); ///< "ip:port"

Socket udpBind(const std::string& ip, uint16_t port, std::string& error);
Socket tcpListen(const std::string& ip, uint16_t port, std::string& error);
Socket tcpConnect(const std::string& ip, uint16_t port, int timeoutMs, std::string& error);
bool setNonBlocking(int fd, bool on);

/// Sends everything, waiting at most `timeoutMs` for room in total (0: until sent or broken).
bool sendAll(int fd, const uint8_t* data, size_t size, int timeoutMs, std::string& error);
/// Waits up to `timeoutMs` for data and reads what is there: >0 bytes read, 0 peer closed,
/// -1 error, -2 timeout.
long recvSome(int fd, uint8_t* data, size_t size, int timeoutMs);
/// Local address the kernel would use to reach `ip` ("" when unreachable).
std::string localAddressFor(const std::string& ip, uint16_t port);

} // namespace quorvel::net
