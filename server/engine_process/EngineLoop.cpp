// The decoder's side of its process.
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <thread>

#include "EngineChannel.h"
#include "EngineCodec.h"
#include "EngineMessages.pb.h"
#include "EngineProcess.h"
#include "Failure.h"

namespace orvx {
namespace {

constexpr int kUsageError = 2;

class EngineLoop {
  public:
    void Answer(const engine::Call& call, engine::Reply* reply);

  private:
    void Do(const engine::Call& call, engine::Reply* reply);
    void Load(const engine::Load& load);
    void Start(const engine::Start& start);

    std::unique_ptr<Recogniser> recogniser_;
    ResourcePtr resource_;  // of the last stretch that had one
};

void EngineLoop::Answer(const engine::Call& call, engine::Reply* reply) {
    try {
        Do(call, reply);
    } catch (const TooHard& error) {
        reply->set_failure(engine::Reply::TOO_HARD);
        reply->set_error(error.what());
    } catch (const std::exception& error) {
        reply->set_failure(engine::Reply::FAILED);
        reply->set_error(FailureText(error));
    }
}

void EngineLoop::Do(const engine::Call& call, engine::Reply* reply) {
    if (call.has_load()) return Load(call.load());
    if (!recogniser_) throw std::logic_error("nothing is loaded");
    if (call.has_start()) return Start(call.start());
    if (call.has_feed()) return recogniser_->Feed(UnpackSamples(call.feed()));
    if (const auto heard = recogniser_->Finish(call.finish())) {
        PackHeard(*heard, reply->mutable_heard());
    }
}

void EngineLoop::Load(const engine::Load& load) {
    const PocketSphinxModel model{load.acoustic_model(), load.language_model(), load.dictionary()};
    recogniser_ = PocketSphinxFactory(model, load.is_verbose())();
}

void EngineLoop::Start(const engine::Start& start) {
    if (start.resource_use() == engine::Start::NEW) resource_ = UnpackResource(start.resource());
    const bool has_resource = start.resource_use() != engine::Start::NONE;
    recogniser_->Start({start.wants_sentences(), has_resource ? resource_ : nullptr},
                       UnpackSamples(start.opening()));
}

// A signal for the server that its group gets must not take its decoders away: it may want to
// finish what is under way.
void IgnoreSignals() {
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2}) {
        ::signal(number, SIG_IGN);
    }
}

// Where memory runs short the system shall end a decoder, which is replaced, before the server.
void OfferMemory() {
    constexpr int kWanted = 500;
    const char* const file = "/proc/self/oom_score_adj";
    int present = kWanted;
    if (std::ifstream(file) >> present && present < kWanted) std::ofstream(file) << kWanted;
}

// Nobody waits any more when the server has gone, but the engine may be long in a call.
void EndWithServer() {
    std::thread([] {
        pollfd server{STDIN_FILENO, POLLRDHUP, 0};
        while (::poll(&server, 1, -1) <= 0) continue;
        std::_Exit(0);
    }).detach();
}

}  // namespace

bool IsEngineProcess(int argc, const char* const* argv) {
    return argc == 2 && std::string_view(argv[1]) == kEngineOption;
}

int ServeEngine() {
    int type = 0;
    socklen_t size = sizeof type;
    if (::getsockopt(STDIN_FILENO, SOL_SOCKET, SO_TYPE, &type, &size) != 0) {
        std::fprintf(stderr, "orvx-server: %s is for the server's own use\n", kEngineOption);
        return kUsageError;
    }
    ::prctl(PR_SET_NAME, "orvx-decoder");
    IgnoreSignals();
    OfferMemory();
    EndWithServer();
    EngineChannel channel(STDIN_FILENO);
    EngineLoop loop;
    for (engine::Call call; channel.Receive(&call);) {
        engine::Reply reply;
        loop.Answer(call, &reply);
        if (!channel.Send(reply)) break;
    }
    return 0;
}

}  // namespace orvx
