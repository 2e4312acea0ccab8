#include "HealthyClients.h"

#include <algorithm>
#include <utility>

#include "LoadRequests.h"

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr int kKinds = 3;
constexpr milliseconds kPause{20};  // between two requests: they are not to be the load
constexpr std::size_t kChunkBytes = 16000;
constexpr std::size_t kMostWrong = 5;

// One client's connection, and the longest time that it waited for an answer.
class Client {
  public:
    explicit Client(std::uint16_t port) : client_(port) {}

    // Everything that the server said, but for the identity and the token.
    std::string Exchange(int kind) {
        if (kind == 0) return Ask(GrammarRequest(GoForward()));
        if (kind == 1) return Ask(KeywordRequest(GoForward()));
        return Stream(GoForward());
    }
    milliseconds TakeSlowest() { return std::exchange(slowest_, {}); }

  private:
    std::string Ask(const LexoRequestMessage& request) {
        const auto start = Clock::now();
        client_.Send(request);
        auto answer = client_.Receive();
        const auto taken = std::chrono::duration_cast<milliseconds>(Clock::now() - start);
        slowest_ = std::max(slowest_, taken);
        error_ = 0;
        if (!answer) return "the connection was closed";
        error_ = answer->Error();
        token_ = answer->response.result_token();
        answer->response.clear_identify();
        answer->response.clear_result_token();
        return answer->response.ShortDebugString();
    }

    std::string Stream(const std::string& audio) {
        LexoRequestMessage request = FreeTalkRequest("continue", audio.substr(0, kChunkBytes), 1);
        std::string answers = Ask(request);
        // There may be no place for one more utterance, as it is documented.
        for (; error_ == kBusy; answers = Ask(request)) std::this_thread::sleep_for(kPause);
        request.clear_task_config();
        int number = 1;
        for (std::size_t at = kChunkBytes; at < audio.size(); at += kChunkBytes) {
            answers += Ask(NextChunk(&request, ++number, audio.substr(at, kChunkBytes)));
        }
        return answers + Ask(NextChunk(&request, -(number + 1), ""));
    }

    const LexoRequestMessage& NextChunk(LexoRequestMessage* request, int number,
                                        const std::string& audio) const {
        SetAudio(request, audio, number);
        request->set_result_token(token_);
        return *request;
    }

    orvx::test::TestClient client_;
    std::string token_;
    int error_ = 0;
    milliseconds slowest_{};
};

}  // namespace

void HealthyClients::Tally::Add(const Tally& other) {
    answers += other.answers;
    slowest = std::max(slowest, other.slowest);
    wrong.insert(wrong.end(), other.wrong.begin(), other.wrong.end());
}

HealthyClients::HealthyClients(std::uint16_t port) : port_(port) {
    for (int kind = 0; kind < kKinds; ++kind) {
        threads_.emplace_back(&HealthyClients::Work, this, kind);
    }
}

HealthyClients::~HealthyClients() {
    is_over_ = true;
    for (std::thread& thread : threads_) thread.join();
}

HealthyClients::Tally HealthyClients::Take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(tally_, {});
}

void HealthyClients::Work(int kind) {
    Client client(port_);
    const std::string right = client.Exchange(kind);
    while (!is_over_) {
        const std::string answer = client.Exchange(kind);
        Note(answer, right, client.TakeSlowest());
        std::this_thread::sleep_for(kPause);
    }
}

void HealthyClients::Note(const std::string& answer, const std::string& right,
                          milliseconds slowest) {
    const std::lock_guard lock(mutex_);
    ++tally_.answers;
    tally_.slowest = std::max(tally_.slowest, slowest);
    if (answer != right && tally_.wrong.size() < kMostWrong) tally_.wrong.push_back(answer);
}
