// Accepts connections and keeps account of the open ones.
#pragma once

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>
#include <functional>
#include <memory>
#include <unordered_set>

#include "Connection.h"

namespace orvx {

// All members run on the network thread once Start was called.
class Listener {
  public:
    // Binds `endpoint`, so that a port in use is known before anything is loaded; connections are
    // refused until Start. Throws std::system_error.
    Listener(asio::io_context* context, const asio::ip::tcp::endpoint& endpoint,
             std::size_t max_connections, const ConnectionLimits& limits);

    asio::ip::tcp::endpoint Endpoint() const { return acceptor_.local_endpoint(); }

    // Listens and serves. Borrows `service`, which must outlive every connection.
    void Start(RecognitionService* service);
    // Accepts nothing more, and closes every connection once it has its answer; `done` is called
    // when none is left.
    void Drain(std::function<void()> done);
    // Closes every connection at once; nobody is told that none is left.
    void CloseAll();

    std::size_t Connections() const { return connections_.size(); }

  private:
    void Accept();
    void Admit(asio::ip::tcp::socket socket);
    bool CloseLargest();
    void OnClosed(const std::shared_ptr<Connection>& connection);

    const std::size_t max_connections_;
    const ConnectionLimits limits_;
    asio::ip::tcp::acceptor acceptor_;
    asio::steady_timer retry_;
    RecognitionService* service_ = nullptr;
    ReceivedBytes received_;
    std::unordered_set<std::shared_ptr<Connection>> connections_;
    std::function<void()> on_drained_;
};

}  // namespace orvx
