// One accepted connection of the scripted server, with the ways to treat the other end badly.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <span>
#include <string_view>

namespace scripted {

// Everything but Interrupt belongs to the thread that serves the connection.
class Connection {
  public:
    // Takes over the socket. `number` counts the server's connections from 0, as accepted.
    Connection(int socket, int number);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    int Number() const { return number_; }

    // False when the other end is gone.
    bool Send(std::string_view bytes);
    // Waits for bytes; 0 when no more will come.
    std::size_t Receive(std::span<char> area);
    // Waits; false when the server interrupted the wait.
    bool Pause(std::chrono::milliseconds time);

    // Closes in an orderly way: the other end reads the end of the stream.
    void HangUp();
    // Closes with a reset, which throws away what the other end has not read yet.
    void Reset();

    // From any thread: ends the stream and wakes whoever works on the connection.
    void Interrupt();
    bool IsOpen() const;

  private:
    void Close();

    const int number_;
    mutable std::mutex mutex_;  // guards the members below
    std::condition_variable interruption_;
    int socket_;
    bool is_interrupted_ = false;
};

}  // namespace scripted
