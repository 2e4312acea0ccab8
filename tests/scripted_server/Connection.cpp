#include "Connection.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace scripted {

Connection::Connection(int socket, int number) : number_(number), socket_(socket) {}

Connection::~Connection() {
    Close();
}

bool Connection::Send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        if (sent <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

std::size_t Connection::Receive(std::span<char> area) {
    ssize_t received = 0;
    do {
        received = ::recv(socket_, area.data(), area.size(), 0);
    } while (received < 0 && errno == EINTR);
    return received > 0 ? static_cast<std::size_t>(received) : 0;
}

bool Connection::Pause(std::chrono::milliseconds time) {
    std::unique_lock lock(mutex_);
    return !interruption_.wait_for(lock, time, [this] { return is_interrupted_; });
}

void Connection::HangUp() {
    Close();
}

void Connection::Reset() {
    const linger abort_on_close = {1, 0};
    ::setsockopt(socket_, SOL_SOCKET, SO_LINGER, &abort_on_close, sizeof(abort_on_close));
    Close();
}

void Connection::Interrupt() {
    const std::lock_guard lock(mutex_);
    is_interrupted_ = true;
    interruption_.notify_all();
    if (socket_ >= 0) {
        ::shutdown(socket_, SHUT_RDWR);
    }
}

bool Connection::IsOpen() const {
    const std::lock_guard lock(mutex_);
    return socket_ >= 0 && !is_interrupted_;
}

void Connection::Close() {
    const std::lock_guard lock(mutex_);
    if (socket_ >= 0) {
        ::close(socket_);
        socket_ = -1;
    }
}

}  // namespace scripted
