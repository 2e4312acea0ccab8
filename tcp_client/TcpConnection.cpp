#include "TcpConnection.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace {

constexpr std::chrono::seconds kConnectTimeout{5};
constexpr int kKeepAliveIdleSeconds = 10;
constexpr int kKeepAliveIntervalSeconds = 5;
constexpr int kKeepAliveProbes = 3;
constexpr int kUserTimeoutMilliseconds = 25000;

enum class Wait { kReady, kTimeOut, kFailed };

Wait WaitFor(int fd, short events, const Deadline& deadline) {
    // Asked first: a peer that never lets the socket rest must not outrun the deadline.
    while (const int left = deadline.RemainingMilliseconds()) {
        pollfd entry{fd, events, 0};
        const int ready = ::poll(&entry, 1, left);
        if (ready > 0) {
            return Wait::kReady;
        }
        if (ready < 0 && errno != EINTR) {
            return Wait::kFailed;
        }
    }
    return Wait::kTimeOut;
}

void SetOption(int fd, int level, int name, int value) {
    // Each option only tunes: a kernel that refuses one still carries the exchange.
    (void)::setsockopt(fd, level, name, &value, sizeof value);
}

void TuneSocket(int fd) {
    SetOption(fd, IPPROTO_TCP, TCP_NODELAY, 1);
    SetOption(fd, SOL_SOCKET, SO_KEEPALIVE, 1);
    SetOption(fd, IPPROTO_TCP, TCP_KEEPIDLE, kKeepAliveIdleSeconds);
    SetOption(fd, IPPROTO_TCP, TCP_KEEPINTVL, kKeepAliveIntervalSeconds);
    SetOption(fd, IPPROTO_TCP, TCP_KEEPCNT, kKeepAliveProbes);
    SetOption(fd, IPPROTO_TCP, TCP_USER_TIMEOUT, kUserTimeoutMilliseconds);
}

}  // namespace

void TcpConnection::Close() {
    if (IsOpen()) {
        ::close(fd_);
        fd_ = -1;
    }
}

bool TcpConnection::IsReadyForRequest() const {
    if (!IsOpen()) {
        return false;
    }
    char byte;
    ssize_t peeked;
    do {
        peeked = ::recv(fd_, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    } while (peeked < 0 && errno == EINTR);
    return peeked < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
}

TcpStatus TcpConnection::Connect(const std::string& ip, unsigned int port,
                                 const Deadline& deadline) {
    Close();
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    if (::inet_aton(ip.c_str(), &address.sin_addr) == 0) {
        return kTcpErrorConnect;
    }
    fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_TCP);
    if (!IsOpen()) {
        return kTcpErrorConnect;
    }
    TuneSocket(fd_);
    if (::connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
        return kTcpOK;
    }
    // An interrupted connect goes on in the background, like one in progress.
    if (errno != EINPROGRESS && errno != EINTR) {
        Close();
        return kTcpErrorConnect;
    }
    return FinishConnect(deadline.CappedAt(kConnectTimeout));
}

TcpStatus TcpConnection::FinishConnect(const Deadline& deadline) {
    int error = 0;
    socklen_t length = sizeof error;
    if (WaitFor(fd_, POLLOUT, deadline) != Wait::kReady ||
        ::getsockopt(fd_, SOL_SOCKET, SO_ERROR, &error, &length) != 0 || error != 0) {
        Close();
        return kTcpErrorConnect;
    }
    return kTcpOK;
}

TcpStatus TcpConnection::Send(std::span<const char> bytes, const Deadline& deadline) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent >= 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(sent));
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            const Wait wait = WaitFor(fd_, POLLOUT, deadline);
            if (wait != Wait::kReady) {
                return wait == Wait::kTimeOut ? kTcpErrorTimeOut : kTcpErrorSend;
            }
        } else if (errno != EINTR) {
            return kTcpErrorSend;
        }
    }
    return kTcpOK;
}

TcpStatus TcpConnection::Receive(std::span<char> room, std::size_t* received,
                                 const Deadline& deadline) {
    for (;;) {
        const Wait wait = WaitFor(fd_, POLLIN, deadline);
        if (wait != Wait::kReady) {
            return wait == Wait::kTimeOut ? kTcpErrorTimeOut : kTcpUnkown;
        }
        const ssize_t count = ::recv(fd_, room.data(), room.size(), 0);
        if (count > 0) {
            *received = static_cast<std::size_t>(count);
            return kTcpOK;
        }
        if (count == 0) {
            return kTcpErrorData;
        }
        if (errno != EINTR && errno != EAGAIN && errno != EWOULDBLOCK) {
            return kTcpUnkown;
        }
    }
}
