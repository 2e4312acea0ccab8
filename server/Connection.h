// One client's connection: reads a frame, has it served, writes the answer, and so on. There is at
// most one request of a connection under way; what a client sends meanwhile waits in the socket, so
// a client that floods the server slows down itself.
#pragma once

#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "FrameCodec.h"
#include "RecognitionService.h"

namespace orvx {

struct ConnectionLimits {
    std::size_t max_frame_bytes;
    // Of frames not answered, all connections together, but for the share of each.
    std::size_t max_received_bytes;
    std::chrono::milliseconds idle_timeout;   // from one request to the next
    std::chrono::milliseconds read_timeout;   // for one whole frame, from its first byte on
    std::chrono::milliseconds write_timeout;  // for one whole answer
};

// The memory that the connections' frames take until they are answered.
struct ReceivedBytes {
    std::size_t total = 0;
    // Closes the connection that has received most of a frame that is not complete: whoever asks
    // for little is not cut off because others ask for much. False if none has more than its share.
    std::function<bool()> close_largest;
};

// All members, and everything that is called back, run on the socket's one network thread.
class Connection : public std::enable_shared_from_this<Connection> {
  public:
    using OnClosed = std::function<void(const std::shared_ptr<Connection>&)>;

    // Borrows the service and the account. `on_closed` is called once, when the socket is closed
    // and no request is under way any more.
    Connection(asio::ip::tcp::socket socket, const ConnectionLimits& limits,
               RecognitionService* service, ReceivedBytes* received, OnClosed on_closed);

    void Start();
    // Closes as soon as no request is under way.
    void Drain();
    void Close(const std::string& reason);
    // What is charged for a frame that is being received.
    std::size_t UnfinishedBytes() const { return state_ == State::kReading ? charged_ : 0; }

  private:
    enum class State { kReading, kServing, kWriting, kClosed };

    void Read();
    void OnRead(std::size_t count);
    void OnReadEnd(const std::string& error);
    void LookAtFrame();
    void Serve();
    void WatchClient();
    void OnAnswer(std::vector<char> frame);
    void OnWritten();
    void SetDeadline(std::chrono::milliseconds timeout, const char* reason);
    void SetTimer(std::chrono::milliseconds time, std::function<void()> then);
    void ChargeFrame();
    void ReleaseFrame();

    asio::ip::tcp::socket socket_;
    asio::steady_timer timer_;
    const ConnectionLimits& limits_;
    RecognitionService* const service_;
    ReceivedBytes* const received_;
    const OnClosed on_closed_;
    const std::string peer_;
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();

    State state_ = State::kReading;
    bool is_draining_ = false;
    FrameReader reader_;
    RecognitionService::Ticket ticket_;  // of the request under way
    std::vector<char> answer_;
    std::size_t frame_bytes_ = 0;  // received of the frame that is being read
    std::size_t charged_ = 0;      // our part of received_
    std::uint64_t requests_ = 0;
    std::uint64_t bytes_in_ = 0;
    std::uint64_t bytes_out_ = 0;
};

}  // namespace orvx
