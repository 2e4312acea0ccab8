#include "Connection.h"

#include <asio/buffer.hpp>
#include <asio/error.hpp>
#include <asio/post.hpp>
#include <asio/write.hpp>
#include <utility>

#include "Logger.h"

namespace orvx {
namespace {

// What every connection may hold without being charged for it.
constexpr std::size_t kFreeBytes = std::size_t{64} << 10;

std::string PeerName(const asio::ip::tcp::socket& socket) {
    asio::error_code error;
    const auto endpoint = socket.remote_endpoint(error);
    if (error) return "unknown";
    return endpoint.address().to_string() + ":" + std::to_string(endpoint.port());
}

}  // namespace

Connection::Connection(asio::ip::tcp::socket socket, const ConnectionLimits& limits,
                       RecognitionService* service, ReceivedBytes* received, OnClosed on_closed)
    : socket_(std::move(socket)),
      deadline_(socket_.get_executor()),
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
    deadline_.cancel();
    asio::error_code ignored;
    socket_.close(ignored);
    ReleaseFrame();
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

void Connection::Read() {
    const std::span<char> area = reader_.WritableArea();
    socket_.async_read_some(
        asio::buffer(area.data(), area.size()),
        [self = shared_from_this()](const asio::error_code& error, std::size_t count) {
            if (self->state_ == State::kClosed) return;
            if (error) return self->OnReadEnd(error == asio::error::eof ? "" : error.message());
            self->OnRead(count);
        });
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
    if (!ChargeFrame()) return Close("too many bytes of unfinished frames in all");
    if (is_first_of_frame || reader_.GetStatus() != FrameReader::Status::kNeedMore) {
        return LookAtFrame();
    }
    Read();  // the deadline counts from the frame's first byte
}

bool Connection::ChargeFrame() {
    if (frame_bytes_ <= kFreeBytes) return true;
    received_->total += frame_bytes_ - charged_;
    charged_ = frame_bytes_;
    return received_->total <= limits_.max_received_bytes;
}

void Connection::ReleaseFrame() {
    received_->total -= std::exchange(charged_, 0);
    frame_bytes_ = 0;
}

// ---- Serving and answering ----------------------------------------------------------------------

void Connection::Serve() {
    state_ = State::kServing;
    deadline_.cancel();
    ++requests_;
    service_->Handle(
        reader_.Body(), peer_, [self = shared_from_this()](std::vector<char> frame) mutable {
            asio::post(self->socket_.get_executor(), [self, frame = std::move(frame)]() mutable {
                self->OnAnswer(std::move(frame));
            });
        });
}

void Connection::OnAnswer(std::vector<char> frame) {
    if (state_ == State::kClosed) return on_closed_(shared_from_this());
    state_ = State::kReading;  // for Close, nothing is being served now
    if (frame.empty()) return Close("a frame that is no message");
    state_ = State::kWriting;
    answer_ = std::move(frame);
    reader_.NextFrame();
    if (reader_.IsEmpty()) reader_.Clear();
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
    deadline_.expires_after(timeout);
    deadline_.async_wait([self = shared_from_this(), reason](const asio::error_code& error) {
        // A new deadline may have been set after this one was reached, before this ran.
        if (error || self->deadline_.expiry() > std::chrono::steady_clock::now()) return;
        self->Close(reason);
    });
}

}  // namespace orvx
