// A real-time utterance as a host's library sends it.
#pragma once

#include <string>
#include <vector>

#include "TestClient.h"

namespace orvx::test {

class TestStream {
  public:
    TestStream(std::uint16_t port, std::string task_config);

    // The next chunk.
    Answer Send(const std::string& audio);
    // All of it in chunks of 0.1 s of 16 kHz audio; the answers that hold a result.
    std::vector<Answer> SendAll(const std::string& audio);
    Answer Close();

    // The request that Send would make, for those who send it otherwise.
    LexoRequestMessage NextRequest(const std::string& audio, bool is_closing = false);
    const std::string& Token() const { return token_; }

  private:
    Answer Ask(const LexoRequestMessage& request);

    TestClient client_;
    const std::string task_config_;
    LexoRequestMessage first_;
    std::string token_;
    int number_ = 0;
};

}  // namespace orvx::test
