#include "FrameSocket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <thread>

#include "Run.h"

namespace exchange {

namespace {

constexpr std::size_t kSmallFrameBytes = std::size_t{16} << 10;

sockaddr_in Loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

}  // namespace

FrameSocket::FrameSocket(int fd) : fd_(fd), buffer_(kSmallFrameBytes) {
    const int on = 1;
    ::setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

FrameSocket::~FrameSocket() {
    ::close(fd_);
}

int FrameSocket::Connect(int port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = Loopback(port);
    Require(::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
            "no connection");
    return fd;
}

void FrameSocket::Send(std::span<iovec> parts) {
    msghdr message{};
    message.msg_iov = parts.data();
    message.msg_iovlen = parts.size();
    std::size_t bytes = 0;
    for (const iovec& part : parts) {
        bytes += part.iov_len;
    }
    const ssize_t sent = ::sendmsg(fd_, &message, MSG_NOSIGNAL);
    Require(sent == static_cast<ssize_t>(bytes), "a request cannot be sent");
}

std::size_t FrameSocket::ReceiveInto(std::size_t have, std::size_t most, int flags) {
    const ssize_t got = ::recv(fd_, buffer_.data() + have, most - have, flags);
    Require(got >= 0, "nothing can be received");
    return static_cast<std::size_t>(got);
}

// A small frame takes one call, a large one a second call that waits for the rest.
std::string_view FrameSocket::Receive() {
    std::size_t have = 0;
    while (have < kPrefixBytes) {
        const std::size_t got = ReceiveInto(have, buffer_.size(), 0);
        if (got == 0) {
            return {};
        }
        have += got;
    }
    std::uint32_t length = 0;
    std::memcpy(&length, buffer_.data(), sizeof length);
    const std::size_t frame_bytes = kPrefixBytes + ntohl(length);
    if (buffer_.size() < frame_bytes) {
        buffer_.resize(frame_bytes);
    }
    while (have < frame_bytes) {
        const std::size_t got = ReceiveInto(have, frame_bytes, MSG_WAITALL);
        Require(got > 0, "half a frame");
        have += got;
    }
    Require(have == frame_bytes, "bytes behind the frame");
    return {buffer_.data() + kPrefixBytes, frame_bytes - kPrefixBytes};
}

int ServeFrames(void (*serve)(FrameSocket&)) {
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = Loopback(0);
    socklen_t size = sizeof address;
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    Require(::bind(listener, plain, size) == 0 && ::listen(listener, 512) == 0 &&
                ::getsockname(listener, plain, &size) == 0,
            "no port to listen on");
    std::thread([=] {
        for (;;) {
            const int fd = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
            Require(fd >= 0, "no connection to accept");
            std::thread([=] {
                FrameSocket socket(fd);
                serve(socket);
            }).detach();
        }
    }).detach();
    return ntohs(address.sin_port);
}

}  // namespace exchange
