#include "TcpConnection.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>

namespace {

constexpr std::chrono::seconds kConnectTimeout{5};
constexpr int kKeepAliveIdleSeconds = 10;
constexpr int kKeepAliveIntervalSeconds = 5;
constexpr int kKeepAliveProbes = 3;
constexpr int kUserTimeoutMilliseconds = 25000;
constexpr timeval kWaitInKernel{1, 0};
constexpr int kWaitInKernelMilliseconds = 1000;
constexpr std::size_t kPiecesAtOnce = 16;

enum class Wait { kReady, kTimeOut, kFailed };

Wait WaitFor(int fd, short events, const Deadline& deadline) {
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

template <typename Value>
bool SetOption(int fd, int level, int name, const Value& value) {
    return ::setsockopt(fd, level, name, &value, sizeof value) == 0;
}

// A system that refuses an option still carries the exchange.
void TuneSocket(int fd) {
    SetOption(fd, IPPROTO_TCP, TCP_NODELAY, 1);
    SetOption(fd, SOL_SOCKET, SO_KEEPALIVE, 1);
    SetOption(fd, IPPROTO_TCP, TCP_KEEPIDLE, kKeepAliveIdleSeconds);
    SetOption(fd, IPPROTO_TCP, TCP_KEEPINTVL, kKeepAliveIntervalSeconds);
    SetOption(fd, IPPROTO_TCP, TCP_KEEPCNT, kKeepAliveProbes);
    SetOption(fd, IPPROTO_TCP, TCP_USER_TIMEOUT, kUserTimeoutMilliseconds);
}

// From now on sends and receives wait in the kernel, where their wait can be bounded.
void LetItWait(int fd) {
    if (SetOption(fd, SOL_SOCKET, SO_SNDTIMEO, kWaitInKernel) &&
        SetOption(fd, SOL_SOCKET, SO_RCVTIMEO, kWaitInKernel)) {
        (void)::fcntl(fd, F_SETFL, 0);
    }
}

// For one send or receive when so much time is left: whether the kernel may wait.
int WaitFlag(int milliseconds_left) {
    return milliseconds_left < kWaitInKernelMilliseconds ? MSG_DONTWAIT : 0;
}

bool WouldBlock(int error) {
    return error == EAGAIN || error == EWOULDBLOCK;
}

// After a send or a receive that failed: waits if that is all it needs. False if it broke.
bool MayTryAgain(int fd, short events, const Deadline& deadline) {
    return errno == EINTR || (WouldBlock(errno) && WaitFor(fd, events, deadline) != Wait::kFailed);
}

ssize_t SendSome(int fd, std::span<const std::string_view> pieces, int flags) {
    std::array<iovec, kPiecesAtOnce> parts;
    const std::size_t count = std::min(pieces.size(), parts.size());
    std::transform(pieces.begin(), pieces.begin() + static_cast<std::ptrdiff_t>(count),
                   parts.begin(), [](std::string_view piece) {
                       return iovec{const_cast<char*>(piece.data()), piece.size()};
                   });
    msghdr message{};
    message.msg_iov = parts.data();
    message.msg_iovlen = count;
    return ::sendmsg(fd, &message, MSG_NOSIGNAL | flags);
}

// What is left of `pieces` behind the first `count` bytes.
std::span<std::string_view> Behind(std::span<std::string_view> pieces, std::size_t count) {
    while (!pieces.empty() && count >= pieces.front().size()) {
        count -= pieces.front().size();
        pieces = pieces.subspan(1);
    }
    if (count > 0) pieces.front().remove_prefix(count);
    return pieces;
}

}  // namespace

bool TcpConnection::IsReadyForRequest() const {
    if (!IsOpen()) {
        return false;
    }
    char byte;
    ssize_t peeked;
    do {
        peeked = ::recv(socket_.Get(), &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    } while (peeked < 0 && errno == EINTR);
    return peeked < 0 && WouldBlock(errno);
}

TcpStatus TcpConnection::Connect(const std::string& ip, unsigned int port,
                                 const Deadline& deadline) {
    Close();
    const TcpStatus status = Open(ip, port, deadline);
    if (status == kTcpOK) {
        LetItWait(socket_.Get());
    } else {
        Close();
    }
    return status;
}

TcpStatus TcpConnection::Open(const std::string& ip, unsigned int port, const Deadline& deadline) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    if (::inet_aton(ip.c_str(), &address.sin_addr) == 0) {
        return kTcpErrorConnect;
    }
    socket_.Open(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, IPPROTO_TCP);
    if (!IsOpen()) {
        return kTcpErrorConnect;
    }
    TuneSocket(socket_.Get());
    bool is_connected =
        ::connect(socket_.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    // An interrupted connect goes on in the background, like one in progress.
    if (!is_connected && (errno == EINPROGRESS || errno == EINTR)) {
        is_connected = FinishConnect(deadline.CappedAt(kConnectTimeout));
    }
    // A request would be its own answer.
    return is_connected && !socket_.IsConnectedToItself() ? kTcpOK : kTcpErrorConnect;
}

bool TcpConnection::FinishConnect(const Deadline& deadline) const {
    int error = 0;
    socklen_t length = sizeof error;
    return WaitFor(socket_.Get(), POLLOUT, deadline) == Wait::kReady &&
           ::getsockopt(socket_.Get(), SOL_SOCKET, SO_ERROR, &error, &length) == 0 && error == 0;
}

TcpStatus TcpConnection::Send(std::span<std::string_view> pieces, const Deadline& deadline) {
    while (!pieces.empty()) {
        const int left = deadline.RemainingMilliseconds();
        if (left == 0) {
            return kTcpErrorTimeOut;
        }
        const ssize_t sent = SendSome(socket_.Get(), pieces, WaitFlag(left));
        if (sent >= 0) {
            pieces = Behind(pieces, static_cast<std::size_t>(sent));
        } else if (!MayTryAgain(socket_.Get(), POLLOUT, deadline)) {
            return kTcpErrorSend;
        }
    }
    return kTcpOK;
}

TcpStatus TcpConnection::Receive(std::span<char> room, std::size_t* received,
                                 const Deadline& deadline) {
    // Asked first: a peer that never lets the socket rest must not outrun the deadline.
    while (const int left = deadline.RemainingMilliseconds()) {
        const ssize_t count = ::recv(socket_.Get(), room.data(), room.size(), WaitFlag(left));
        if (count > 0) {
            *received = static_cast<std::size_t>(count);
            return kTcpOK;
        }
        if (count == 0) {
            return kTcpErrorData;
        }
        if (!MayTryAgain(socket_.Get(), POLLIN, deadline)) {
            return kTcpUnkown;
        }
    }
    return kTcpErrorTimeOut;
}
