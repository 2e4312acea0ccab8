// A server within the test process, on a free loopback port, and a real-time utterance as a host's
// library sends it.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "Options.h"
#include "Server.h"
#include "TestClient.h"

namespace orvx::test {

// The options of a server that was given none, with so many decoders and a free port.
inline Options DefaultOptions(std::size_t decoders) {
    const std::string workers = std::to_string(decoders);
    const char* const arguments[] = {"orvx-server", "--listen", "127.0.0.1:0", "--workers",
                                     workers.c_str()};
    return *ParseOptions(5, arguments).options;
}

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
    // All of it in chunks of 0.1 s of 16 kHz audio.
    void SendAll(const std::string& audio) {
        for (std::size_t at = 0; at < audio.size(); at += 3200) {
            const Answer answer = Send(audio.substr(at, 3200));
            EXPECT_EQ(answer.Error(), 0) << answer.response.error_desc();
        }
    }
    Answer Close() { return Ask(NextRequest("", /*is_closing=*/true)); }

    // The request that Send would make, for those who send it otherwise.
    LexoRequestMessage NextRequest(const std::string& audio, bool is_closing = false) {
        ++number_;
        LexoRequestMessage request =
            MakeRequest(first_.task_config(), audio, is_closing ? -number_ : number_);
        request.set_identify(first_.identify());
        if (number_ == 1) return request;
        request.clear_task_config();
        request.set_result_token(token_);
        return request;
    }
    const std::string& Token() const { return token_; }

  private:
    Answer Ask(const LexoRequestMessage& request) {
        Answer answer = client_.Ask(request);
        if (!answer.response.result_token().empty()) token_ = answer.response.result_token();
        return answer;
    }

    TestClient client_;
    const LexoRequestMessage first_;
    std::string token_;
    int number_ = 0;
};

}  // namespace orvx::test
