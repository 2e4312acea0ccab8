// One accepted connection of the scripted server, with the ways to treat the other end badly.
#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <mutex>
#include <span>
#include <string_view>
#include <utility>

namespace scripted {

// Everything but Interrupt belongs to the thread that serves the connection.
class Connection {
  public:
    // Takes over the socket. `number` counts the server's connections from 0, as accepted.
    Connection(int socket, int number) : socket_(socket), number_(number) {}
    ~Connection() { HangUp(); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    int Number() const { return number_; }
    bool IsOpen() const { return is_open_; }

    // False when the other end is gone.
    bool Send(std::string_view bytes) {
        while (!bytes.empty()) {
            const ssize_t sent = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (sent <= 0) return false;
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        }
        return true;
    }
    // Waits for bytes; 0 when no more will come.
    std::size_t Receive(std::span<char> area) {
        const ssize_t received = ::recv(socket_, area.data(), area.size(), 0);
        return received > 0 ? static_cast<std::size_t>(received) : 0;
    }
    // Waits, but no longer than the connection lasts.
    void Pause(std::chrono::milliseconds time) {
        pollfd end = {socket_, POLLRDHUP, 0};
        ::poll(&end, 1, static_cast<int>(time.count()));
    }

    // Closes in an orderly way: the other end reads the end of the stream.
    void HangUp() {
        const std::lock_guard lock(mutex_);
        ::close(std::exchange(socket_, -1));
        is_open_ = false;
    }
    // Closes with a reset, which throws away what the other end has not read yet.
    void Reset() {
        const sockaddr nobody = {};
        (void)::connect(socket_, &nobody, sizeof(nobody));
        is_open_ = false;
    }
    // From any thread: ends the stream and wakes whoever works on the connection.
    void Interrupt() {
        const std::lock_guard lock(mutex_);
        ::shutdown(socket_, SHUT_RDWR);
        is_open_ = false;
    }

  private:
    std::mutex mutex_;  // keeps the socket from being closed under Interrupt
    int socket_;
    const int number_;
    std::atomic<bool> is_open_{true};
};

}  // namespace scripted
