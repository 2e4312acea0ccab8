// raw: what the network alone costs. The bytes of the request are ready, one call sends them, one
// call receives the answer, and nothing is parsed.
#include <cstring>

#include "FrameSocket.h"
#include "Measure.h"
#include "Messages.h"

namespace exchange {
namespace {

class RawClient final : public Client {
  public:
    RawClient(const Run& run, int port)
        : socket_(FrameSocket::Connect(port)),
          request_(FrameAround(run.audio_bytes)),
          answer_(run.answer_bytes, std::strlen(kIdentify)) {}

    void Exchange(std::string_view audio, Stamp stamp) override {
        iovec parts[] = {{request_.before.data(), request_.before.size()},
                         {const_cast<char*>(audio.data()), audio.size()},
                         {request_.after.data(), request_.after.size()}};
        socket_.Send(parts);
        const std::string_view body = socket_.Receive();
        answer_.Patch(kIdentify, stamp);
        Require(body == std::string_view(answer_.bytes).substr(kPrefixBytes), "another answer");
    }

  private:
    FrameSocket socket_;
    RequestFrame request_;  // its own copy, as the parts are not const
    AnswerFrame answer_;
};

}  // namespace
}  // namespace exchange

using namespace exchange;

int main(int argc, char** argv) {
    const Run run = ReadRun(argc, argv);
    Measure(run, Beside("orvx_exchange_server"),
            [&](int port) { return std::make_unique<RawClient>(run, port); });
}
