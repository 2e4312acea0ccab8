// raw: what the network alone costs. The bytes of the request are ready, one call sends them, one
// call receives the answer, and nothing is parsed.
#include "FrameSocket.h"
#include "Measure.h"
#include "Messages.h"

namespace {

constexpr std::string_view kIdentify =
    "123456_140737353971392_2026-01-02T03:04:05_12345,task=recognise";

class RawClient final : public exchange::Client {
  public:
    RawClient(const exchange::Run& run, int port)
        : socket_(exchange::FrameSocket::Connect(port)),
          request_(Request(run.audio_bytes)),
          answer_(run.answer_bytes, kIdentify.size()) {}

    void Exchange(const std::string& audio, exchange::Stamp stamp) override {
        iovec parts[] = {{request_.before.data(), request_.before.size()},
                         {const_cast<char*>(audio.data()), audio.size()},
                         {request_.after.data(), request_.after.size()}};
        socket_.Send(parts);
        const std::string_view body = socket_.Receive();
        answer_.Patch(kIdentify, stamp);
        exchange::Require(body == std::string_view(answer_.bytes).substr(exchange::kPrefixBytes),
                          "another answer");
    }

  private:
    // Made once: what it takes must not count as memory for each thread.
    static const exchange::RequestFrame& Request(std::size_t audio_bytes) {
        static const auto request =
            exchange::FrameAround(exchange::Pattern(audio_bytes), kIdentify);
        return request;
    }

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
