#include "Connection.h"

#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <asio/buffer.hpp>
#include <asio/error.hpp>
#include <asio/post.hpp>
#include <asio/write.hpp>
#include <new>
#include <utility>

#include "LogText.h"
#include "Logger.h"

namespace orvx {
namespace {

// What every connection may hold without being charged for it.
constexpr std::size_t kFreeBytes = std::size_t{64} << 10;
constexpr std::chrono::milliseconds kWatchInterval{100};

// A client that closed its connection looks like one that only sends no more, until its system has
// forgotten the connection, which Linux does after a minute, and refuses the next probe.
void ProbeClient(int socket) {
    const std::pair<int, int> settings[] = {
        {TCP_KEEPIDLE, 10}, {TCP_KEEPINTVL, 5}, {TCP_KEEPCNT, 3}};
    for (const auto& [option, value] : settings) {
        ::setsockopt(socket, IPPROTO_TCP, option, &value, sizeof value);
    }
}

std::string PeerName(const asio::ip::tcp::socket& socket) {
    asio::error_code error;
    const auto endpoint = socket.remote_endpoint(error);
    return error ? "unknown" : EndpointText(endpoint);
}

}  // namespace

Connection::Connection(asio::ip::tcp::socket socket, const ConnectionLimits& limits,
                       RecognitionService* service, ReceivedBytes* received, OnClosed on_closed)
    : socket_(std::move(socket)),
      timer_(socket_.get_executor()),
      limits_(limits),
      service_(service),
      received_(received),
      on_closed_(std::move(on_closed)),
      peer_(PeerName(socket_)),
      reader_(limits.max_frame_bytes) {}

void Connection::Start() {
    asio::error_code ignored;
    socket_.set_option(asio::ip::tcp::no_delay(true), ignored);
    socket_.set_option(asio::socket_base::keep_alive(true), ignored);
    ProbeClient(socket_.native_handle());
    LookAtFrame();
}

void Connection::Drain() {
    is_draining_ = true;
    if (state_ == State::kReading) Close("the server ends");
}

// While a request is served its answer has still to come: it finds the connection closed then.
void Connection::Close(const std::string& reason) {
    if (state_ == State::kClosed) return;
    const bool is_serving = state_ == State::kServing;
    state_ = State::kClosed;
    timer_.cancel();
    asio::error_code ignored;
    socket_.close(ignored);
    if (!is_serving) ReleaseFrame();  // what is served is still there
    if (is_serving) RecognitionService::Tell(ticket_, RecognitionService::ClientState::kGone);
    ORVX_LOG_INFO("connection: peer=%s requests=%llu in=%llu out=%llu open=%.2fs end=%s",
                  peer_.c_str(), static_cast<unsigned long long>(requests_),
                  static_cast<unsigned long long>(bytes_in_),
                  static_cast<unsigned long long>(bytes_out_),
                  std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count(),
                  reason.c_str());
    if (!is_serving) on_closed_(shared_from_this());
}

// ---- Reading ------------------------------------------------------------------------------------

void Connection::LookAtFrame() {
    switch (reader_.GetStatus()) {
        case FrameReader::Status::kComplete:
            return Serve();
        case FrameReader::Status::kTooLarge:
            return Close("a frame above " + std::to_string(limits_.max_frame_bytes) + " bytes");
        case FrameReader::Status::kNeedMore:
            if (reader_.IsEmpty()) {
                SetDeadline(limits_.idle_timeout, "idle for too long");
            } else {
                SetDeadline(limits_.read_timeout, "a frame took too long to arrive");
            }
            return Read();
    }
}

void Connection::Read() try {
    const std::span<char> area = reader_.WritableArea();
    socket_.async_read_some(
        asio::buffer(area.data(), area.size()),
        [self = shared_from_this()](const asio::error_code& error, std::size_t count) {
            if (self->state_ == State::kClosed) return;
            if (error) return self->OnReadEnd(error == asio::error::eof ? "" : error.message());
            self->OnRead(count);
        });
} catch (const std::bad_alloc&) {
    Close("out of memory");
}

void Connection::OnReadEnd(const std::string& error) {
    const std::string reason = error.empty() ? "closed by the client" : error;
    Close(reader_.IsEmpty() ? reason : reason + " within a frame");
}

void Connection::OnRead(std::size_t count) {
    const bool is_first_of_frame = reader_.IsEmpty();
    reader_.Commit(count);
    bytes_in_ += count;
    frame_bytes_ += count;
    ChargeFrame();
    if (state_ == State::kClosed) return;
    if (is_first_of_frame || reader_.GetStatus() != FrameReader::Status::kNeedMore) {
        return LookAtFrame();
    }
    Read();  // the deadline counts from the frame's first byte
}

// Closes this connection, too, if no other holds more and it holds more than its share.
void Connection::ChargeFrame() {
    if (frame_bytes_ <= kFreeBytes) return;
    received_->total += frame_bytes_ - charged_;
    charged_ = frame_bytes_;
    while (received_->total > limits_.max_received_bytes && state_ != State::kClosed &&
           received_->close_largest()) {
    }
}

void Connection::ReleaseFrame() {
    received_->total -= std::exchange(charged_, 0);
    frame_bytes_ = 0;
}

// ---- Serving and answering ----------------------------------------------------------------------

void Connection::Serve() {
    state_ = State::kServing;
    ++requests_;
    ticket_ = service_->Handle(
        reader_.Body(), peer_, [self = shared_from_this()](std::vector<char> frame) mutable {
            asio::post(self->socket_.get_executor(), [self, frame = std::move(frame)]() mutable {
                self->OnAnswer(std::move(frame));
            });
        });
    WatchClient();
}

// While a request is served nothing is read, so the socket itself is asked whether its client has
// hung up. The events of epoll would say it without asking; but then the end of what the client
// sends, which is all that most closed connections show, needs a watch of its own that must be
// ended before the next read.
void Connection::WatchClient() {
    using ClientState = RecognitionService::ClientState;
    if (state_ != State::kServing) return;  // it was already to run when the answer came
    pollfd entry{socket_.native_handle(), POLLRDHUP, 0};
    ::poll(&entry, 1, 0);
    if ((entry.revents & (POLLERR | POLLHUP)) != 0) return Close("hung up without its answer");
    if ((entry.revents & POLLRDHUP) != 0) service_->Tell(ticket_, ClientState::kSendsNoMore);
    SetTimer(kWatchInterval, [this] { WatchClient(); });
}

void Connection::OnAnswer(std::vector<char> frame) {
    if (state_ == State::kClosed) {
        ReleaseFrame();
        return on_closed_(shared_from_this());
    }
    state_ = State::kReading;  // for Close, nothing is being served now
    if (frame.empty()) return Close("a frame that is no message, or no memory for its answer");
    state_ = State::kWriting;
    answer_ = std::move(frame);
    reader_.NextFrame();
    ReleaseFrame();
    SetDeadline(limits_.write_timeout, "the client does not read its answers");
    asio::async_write(socket_, asio::buffer(answer_),
                      [self = shared_from_this()](const asio::error_code& error, std::size_t) {
                          if (self->state_ == State::kClosed) return;
                          if (error) return self->Close("writing: " + error.message());
                          self->OnWritten();
                      });
}

void Connection::OnWritten() {
    bytes_out_ += answer_.size();
    answer_.clear();
    state_ = State::kReading;
    if (is_draining_) return Close("the server ends");
    LookAtFrame();
}

void Connection::SetDeadline(std::chrono::milliseconds timeout, const char* reason) {
    SetTimer(timeout, [this, reason] { Close(reason); });
}

void Connection::SetTimer(std::chrono::milliseconds time, std::function<void()> then) {
    timer_.expires_after(time);
    timer_.async_wait(
        [self = shared_from_this(), then = std::move(then)](const asio::error_code& error) {
            // It may have been set anew after this time was reached, before this ran.
            if (error || self->timer_.expiry() > std::chrono::steady_clock::now()) return;
            then();
        });
}

}  // namespace orvx
