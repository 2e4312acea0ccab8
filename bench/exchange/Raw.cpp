// raw: what the network alone costs. The bytes of the request are ready, one call sends them, one
// call receives the answer, and nothing is parsed.
#include <cstring>

#include "FrameSocket.h"
#include "Measure.h"
#include "Messages.h"

namespace {

class RawClient final : public exchange::Client {
  public:
    RawClient(const exchange::Run& run, int port)
        : socket_(exchange::FrameSocket::Connect(port)),
          request_(exchange::FrameAround(run.audio_bytes)),
          answer_(run.answer_bytes, std::strlen(exchange::kIdentify)) {}

    void Exchange(std::string_view audio, exchange::Stamp stamp) override {
        iovec parts[] = {{request_.before.data(), request_.before.size()},
                         {const_cast<char*>(audio.data()), audio.size()},
                         {request_.after.data(), request_.after.size()}};
        socket_.Send(parts);
        const std::string_view body = socket_.Receive();
        answer_.Patch(exchange::kIdentify, stamp);
        exchange::Require(body == std::string_view(answer_.bytes).substr(exchange::kPrefixBytes),
                          "another answer");
    }

  private:
    exchange::FrameSocket socket_;
    exchange::RequestFrame request_;  // its own copy, as the parts are not const
    exchange::AnswerFrame answer_;
};

}  // namespace

int main(int argc, char** argv) {
    const exchange::Run run = exchange::ReadRun(argc, argv);
    exchange::Measure(run, exchange::Beside("orvx_exchange_server"),
                      [&](int port) { return std::make_unique<RawClient>(run, port); });
}
