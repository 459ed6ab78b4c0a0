#include "net/Socket.h"

#include "quorvel/NetUtils.h"

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace quorvel::net {

void Socket::close() {
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = -1;
}

void Socket::shutdown() {
    if (m_fd >= 0)
        ::shutdown(m_fd, SHUT_RDWR);
}

bool makeAddress(const std::string& ip, uint16_t port, sockaddr_in& out, std::string& error) {
    const auto v = parseIPv4(ip);
    if (!v) {
        error = "'" + ip + "' is not an IPv4 address";
        return false;
    }
    std::memset(&out, 0, sizeof out);
    out.sin_family = AF_INET;
    out.sin_port = htons(port);
    out.sin_addr.s_addr = htonl(*v);
    return true;
}

std::string addressText(const sockaddr_in& a) {
    return ipToString(ntohl(a.sin_addr.s_addr)) + ":" + std::to_string(ntohs(a.sin_port));
}

namespace {
std::string sysError(const std::string& what) { return what + ": " + std::strerror(errno); }

Socket bound(int type, const std::string& ip, uint16_t port, std::string& error) {
    sockaddr_in a{};
    if (!makeAddress(ip, port, a, error))
        return {};
    Socket s(::socket(AF_INET, type | SOCK_CLOEXEC, 0));
    if (!s.valid()) {
        error = sysError("socket");
        return {};
    }
    const int one = 1;
    ::setsockopt(s.fd(), SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    if (::bind(s.fd(), reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
        error = sysError("cannot bind " + ip + ":" + std::to_string(port));
        return {};
    }
    return s;
}
} // namespace

Socket udpBind(const std::string& ip, uint16_t port, std::string& error) { return bound(SOCK_DGRAM, ip, port, error); }

Socket tcpListen(const std::string& ip, uint16_t port, std::string& error) {
    Socket s = bound(SOCK_STREAM, ip, port, error);
    // Room for a burst of connections while the owner is busy: beyond the backlog the kernel drops
    // new connections' first packets, and their hosts wait a second or more before trying again.
    if (s.valid() && ::listen(s.fd(), 128) != 0) {
        error = sysError("listen");
        return {};
    }
    return s;
}

bool setNonBlocking(int fd, bool on) {
    const int fl = ::fcntl(fd, F_GETFL, 0);
    return fl >= 0 && ::fcntl(fd, F_SETFL, on ? (fl | O_NONBLOCK) : (fl & ~O_NONBLOCK)) == 0;
}

Socket tcpConnect(const std::string& ip, uint16_t port, int timeoutMs, std::string& error) {
    sockaddr_in a{};
    if (!makeAddress(ip, port, a, error))
        return {};
    Socket s(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!s.valid()) {
        error = sysError("socket");
        return {};
    }
    setNonBlocking(s.fd(), true);
    if (::connect(s.fd(), reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
        if (errno != EINPROGRESS) {
            error = sysError("cannot connect to " + addressText(a));
            return {};
        }
        pollfd p{s.fd(), POLLOUT, 0};
        if (::poll(&p, 1, timeoutMs) != 1) {
            error = "cannot connect to " + addressText(a) + ": timed out";
            return {};
        }
        int err = 0;
        socklen_t len = sizeof err;
        ::getsockopt(s.fd(), SOL_SOCKET, SO_ERROR, &err, &len);
        if (err != 0) {
            error = "cannot connect to " + addressText(a) + ": " + std::strerror(err);
            return {};
        }
    }
    setNonBlocking(s.fd(), false);
    const int one = 1;
    ::setsockopt(s.fd(), IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    return s;
}

bool sendAll(int fd, const uint8_t* data, size_t size, int timeoutMs, std::string& error) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (size > 0) {
        const ssize_t n = ::send(fd, data, size, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n > 0) {
            data += n;
            size -= static_cast<size_t>(n);
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK) {
            error = sysError("send");
            return false;
        }
        int wait = 200;
        if (timeoutMs > 0) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count();
            if (left <= 0) {
                error = "send timed out";
                return false;
            }
            wait = static_cast<int>(std::min<long long>(left, 200));
        }
        pollfd p{fd, POLLOUT, 0};
        if (::poll(&p, 1, wait) < 0 && errno != EINTR) {
            error = sysError("poll");
            return false;
        }
        if (p.revents & (POLLERR | POLLHUP | POLLNVAL)) {
            error = "connection closed";
            return false;
        }
    }
    return true;
}

long recvSome(int fd, uint8_t* data, size_t size, int timeoutMs) {
    pollfd p{fd, POLLIN, 0};
    const int r = ::poll(&p, 1, timeoutMs);
    if (r == 0)
        return -2;
    if (r < 0)
        return errno == EINTR ? -2 : -1;
    const ssize_t n = ::recv(fd, data, size, MSG_DONTWAIT);
    if (n < 0)
        return (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR) ? -2 : -1;
    return static_cast<long>(n);
}

std::string localAddressFor(const std::string& ip, uint16_t port) {
    sockaddr_in a{};
    std::string err;
    if (!makeAddress(ip, port, a, err))
        return {};
    Socket s(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!s.valid() || ::connect(s.fd(), reinterpret_cast<sockaddr*>(&a), sizeof a) != 0)
        return {};
    sockaddr_in local{};
    socklen_t len = sizeof local;
    if (::getsockname(s.fd(), reinterpret_cast<sockaddr*>(&local), &len) != 0)
        return {};
    return ipToString(ntohl(local.sin_addr.s_addr));
}

} // namespace quorvel::net
