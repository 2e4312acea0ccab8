// raw: what the network alone costs. The bytes of the request are ready, one call sends them, one
// call receives the answer, and nothing is parsed.
#include <algorithm>
#include <cstring>

#include "FrameSocket.h"
#include "Measure.h"
#include "Messages.h"

namespace exchange {
namespace {

class RawClient final : public Client {
  public:
    RawClient(const Run& run, int port)
        : request_(FrameAround(run.audio_bytes)),
          answer_(run.answer_bytes, std::strlen(kIdentify)) {
        for (unsigned i = 0; i < std::max(1U, run.idle); ++i) {
            sockets_.push_back(std::make_unique<FrameSocket>(FrameSocket::Connect(port)));
        }
        if (run.idle > 0) {
            UseAll(Pattern(run.audio_bytes));
        }
    }

    void Exchange(std::string_view audio, Stamp stamp) override {
        FrameSocket& socket = *sockets_[next_++ % sockets_.size()];
        Send(socket, audio);
        Receive(socket, stamp);
    }

  private:
    // The server answers none of the first requests before all have come.
    void UseAll(std::string audio) {
        PutStamp(audio, 0);
        for (const auto& socket : sockets_) Send(*socket, audio);
        for (const auto& socket : sockets_) Receive(*socket, 0);
    }
    void Send(FrameSocket& socket, std::string_view audio) {
        iovec parts[] = {{request_.before.data(), request_.before.size()},
                         {const_cast<char*>(audio.data()), audio.size()},
                         {request_.after.data(), request_.after.size()}};
        socket.Send(parts);
    }
    void Receive(FrameSocket& socket, Stamp stamp) {
        const std::string_view body = socket.Receive();
        answer_.Patch(kIdentify, stamp);
        Require(body == std::string_view(answer_.bytes).substr(kPrefixBytes), "another answer");
    }

    std::vector<std::unique_ptr<FrameSocket>> sockets_;
    std::size_t next_ = 0;
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
