#include "EngineChannel.h"

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdint>
#include <limits>
#include <stdexcept>

namespace orvx {
namespace {

using Length = std::uint32_t;  // before each message, in the machine's byte order

constexpr int kWaitMs = 100;

// What send or recv has returned: true if it is to be tried again, once the socket is ready.
bool MustWait(ssize_t result) {
    return result < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR);
}

void Wait(int socket, short events, const EngineChannel::OnWait& on_wait) {
    pollfd ready{socket, events, 0};
    if (::poll(&ready, 1, on_wait ? kWaitMs : -1) == 0) on_wait();
}

}  // namespace

bool EngineChannel::Send(const google::protobuf::MessageLite& message, const OnWait& on_wait) {
    const std::size_t size = message.ByteSizeLong();
    if (size > std::numeric_limits<std::int32_t>::max()) {
        throw std::runtime_error("a message for a decoder is above 2 GB");
    }
    const auto length = static_cast<Length>(size);
    std::string bytes(reinterpret_cast<const char*>(&length), sizeof length);
    message.AppendToString(&bytes);
    return Write(bytes, on_wait);
}

bool EngineChannel::Receive(google::protobuf::MessageLite* message, const OnWait& on_wait) {
    Length length = 0;
    if (!Read(reinterpret_cast<char*>(&length), sizeof length, on_wait)) return false;
    std::string bytes(length, '\0');
    if (!Read(bytes.data(), bytes.size(), on_wait)) return false;
    if (!message->ParseFromString(bytes)) {
        throw std::runtime_error("a message of a decoder cannot be read");
    }
    return true;
}

void EngineChannel::Shut() {
    ::shutdown(socket_.Get(), SHUT_RDWR);
}

bool EngineChannel::Write(const std::string& bytes, const OnWait& on_wait) {
    for (std::size_t sent = 0; sent < bytes.size();) {
        const ssize_t result = ::send(socket_.Get(), bytes.data() + sent, bytes.size() - sent,
                                      MSG_DONTWAIT | MSG_NOSIGNAL);
        if (MustWait(result)) {
            Wait(socket_.Get(), POLLOUT, on_wait);
        } else if (result < 0) {
            return false;
        } else {
            sent += static_cast<std::size_t>(result);
        }
    }
    return true;
}

bool EngineChannel::Read(char* to, std::size_t bytes, const OnWait& on_wait) {
    for (std::size_t had = 0; had < bytes;) {
        const ssize_t result = ::recv(socket_.Get(), to + had, bytes - had, MSG_DONTWAIT);
        if (MustWait(result)) {
            Wait(socket_.Get(), POLLIN, on_wait);
        } else if (result <= 0) {
            return false;
        } else {
            had += static_cast<std::size_t>(result);
        }
    }
    return true;
}

}  // namespace orvx
