// A server within the test process, on a free loopback port.
#pragma once

#include <thread>

#include "Options.h"
#include "Server.h"

namespace orvx::test {

// The options of a server that was given none, with so many decoders and a free port.
Options DefaultOptions(std::size_t decoders);

// PocketSphinx with the models that Debian ships.
RecogniserFactory RealEngine();

class TestServer {
  public:
    TestServer(const Options& options, const RecogniserFactory& factory);
    ~TestServer();  // drains it
    TestServer(const TestServer&) = delete;
    TestServer& operator=(const TestServer&) = delete;

    std::uint16_t Port() const { return port_; }
    void Drain() { server_.Drain(); }
    // Waits until it has ended.
    void Join();

  private:
    Server server_;
    const std::uint16_t port_;
    std::thread thread_;
};

}  // namespace orvx::test
