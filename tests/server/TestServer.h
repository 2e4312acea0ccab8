// A server within the test process, on a free loopback port, and a real-time utterance as a host's
// library sends it.
#pragma once

#include <string>
#include <thread>
#include <vector>

#include "Options.h"
#include "Server.h"
#include "TestClient.h"

namespace orvx::test {

// The options of a server that was given none, with so many decoders and a free port.
Options DefaultOptions(std::size_t decoders);

class TestServer {
  public:
    TestServer(const Options& options, const RecogniserFactory& factory)
        : server_(options, factory), thread_([this] { server_.Run(); }) {}
    ~TestServer() { Drain(), Join(); }
    TestServer(const TestServer&) = delete;
    TestServer& operator=(const TestServer&) = delete;

    std::uint16_t Port() const { return port_; }
    Answer Ask(const LexoRequestMessage& request) const { return TestClient(port_).Ask(request); }
    void Drain() { server_.Drain(); }
    // Waits until it has ended.
    void Join() {
        if (thread_.joinable()) thread_.join();
    }

  private:
    Server server_;
    const std::uint16_t port_ = server_.Endpoint().port();
    std::thread thread_;
};

class TestStream {
  public:
    TestStream(std::uint16_t port, const std::string& task_config)
        : client_(port), first_(MakeRequest(task_config, "")) {}

    // The next chunk.
    Answer Send(const std::string& audio) { return Ask(NextRequest(audio)); }
    // All of it in chunks of 0.1 s of 16 kHz audio; the answers that hold a result.
    std::vector<Answer> SendAll(const std::string& audio);
    Answer Close() { return Ask(NextRequest("", /*is_closing=*/true)); }

    // The request that Send would make, for those who send it otherwise.
    LexoRequestMessage NextRequest(const std::string& audio, bool is_closing = false);
    const std::string& Token() const { return token_; }

  private:
    Answer Ask(const LexoRequestMessage& request);

    TestClient client_;
    const LexoRequestMessage first_;
    std::string token_;
    int number_ = 0;
};

}  // namespace orvx::test
