#include "Listener.h"

#include <algorithm>
#include <asio/error.hpp>
#include <new>
#include <system_error>
#include <utility>
#include <vector>

#include "LogText.h"
#include "Logger.h"

namespace orvx {
namespace {

constexpr std::chrono::milliseconds kRetryAfter{100};

// What fails says for which address.
template <typename Action>
void NameEndpoint(const asio::ip::tcp::endpoint& endpoint, Action action) try {
    action();
} catch (const std::system_error& error) {
    throw std::system_error(error.code(), "cannot listen on " + EndpointText(endpoint));
}

}  // namespace

Listener::Listener(asio::io_context* context, const asio::ip::tcp::endpoint& endpoint,
                   std::size_t max_connections, const ConnectionLimits& limits)
    : max_connections_(max_connections), limits_(limits), acceptor_(*context), retry_(*context) {
    received_.close_largest = [this] { return CloseLargest(); };
    NameEndpoint(endpoint, [&] {
        acceptor_.open(endpoint.protocol());
        acceptor_.set_option(asio::socket_base::reuse_address(true));
        acceptor_.bind(endpoint);
    });
}

void Listener::Start(RecognitionService* service) {
    service_ = service;
    NameEndpoint(Endpoint(), [this] { acceptor_.listen(); });
    Accept();
}

void Listener::Accept() {
    acceptor_.async_accept([this](const asio::error_code& error, asio::ip::tcp::socket socket) {
        if (!acceptor_.is_open()) return;
        if (!error) {
            Admit(std::move(socket));
            return Accept();
        }
        // Out of descriptors, most likely: trying again at once would only burn time.
        ORVX_LOG_ERROR("accepting a connection failed: %s", error.message().c_str());
        retry_.expires_after(kRetryAfter);
        retry_.async_wait([this](const asio::error_code& cancelled) {
            if (!cancelled && acceptor_.is_open()) Accept();
        });
    });
}

void Listener::Admit(asio::ip::tcp::socket socket) try {
    if (connections_.size() >= max_connections_) {
        ORVX_LOG_WARNING("connection refused: %s open already",
                         Count(connections_.size(), "connection").c_str());
        return;  // which closes it
    }
    auto connection = std::make_shared<Connection>(
        std::move(socket), limits_, service_, &received_,
        [this](const std::shared_ptr<Connection>& closed) { OnClosed(closed); });
    connections_.insert(connection);
    connection->Start();
} catch (const std::bad_alloc&) {
    ORVX_LOG_ERROR("connection refused: out of memory");
}

bool Listener::CloseLargest() {
    const auto largest = std::max_element(
        connections_.begin(), connections_.end(),
        [](const auto& a, const auto& b) { return a->UnfinishedBytes() < b->UnfinishedBytes(); });
    // A copy: closing takes it out.  NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
    const auto connection = *largest;
    // What is being served may take all there is: that is not the fault of who asks for little.
    const std::size_t share = limits_.max_received_bytes / max_connections_;
    if (connection->UnfinishedBytes() <= share) return false;
    connection->Close("too many bytes of unfinished frames in all, the most of them here");
    return true;
}

void Listener::OnClosed(const std::shared_ptr<Connection>& connection) {
    connections_.erase(connection);
    if (connections_.empty() && on_drained_) std::exchange(on_drained_, nullptr)();
}

void Listener::Drain(std::function<void()> done) {
    asio::error_code ignored;
    acceptor_.close(ignored);
    retry_.cancel();
    on_drained_ = std::move(done);
    if (connections_.empty()) return std::exchange(on_drained_, nullptr)();
    for (const auto& connection : std::vector(connections_.begin(), connections_.end())) {
        connection->Drain();
    }
}

void Listener::CloseAll() {
    on_drained_ = nullptr;
    for (const auto& connection : std::vector(connections_.begin(), connections_.end())) {
        connection->Close("the server ends without waiting any longer");
    }
}

}  // namespace orvx
