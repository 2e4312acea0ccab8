#include "Crowds.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <thread>

#include "LoadRequests.h"

namespace {

using orvx::test::Answer;
using orvx::test::Frame;
using orvx::test::Prefix;
using orvx::test::TestClient;
using orvx::test::Wrap;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr std::size_t kLargeFrame = std::size_t{1} << 20;
constexpr milliseconds kSlowFrameTime{1500};  // for a frame that comes in time
constexpr milliseconds kLongestFull{60000};   // for a place for one more utterance
constexpr int kMostDeafRequests = 1000;       // more than all buffers hold

bool IsRefusedAsSilence(const std::optional<Answer>& answer) {
    return answer && answer->Error() == kNoVoice;
}

HeldConnections& Connect(std::uint16_t port, int crowd, HeldConnections* held) {
    held->reserve(static_cast<std::size_t>(crowd));
    for (int i = 0; i < crowd; ++i) held->emplace_back(port);
    return *held;
}

int CountClosed(HeldConnections::iterator first, HeldConnections::iterator last) {
    return static_cast<int>(
        std::count_if(first, last, [](TestClient& client) { return client.IsClosedByServer(); }));
}

// Sends each the same bytes, a byte a write, evenly over the time.
void Trickle(HeldConnections::iterator first, HeldConnections::iterator last,
             const std::string& bytes) {
    const auto start = Clock::now();
    for (std::size_t sent = 0; sent < bytes.size(); std::this_thread::sleep_for(milliseconds(1))) {
        const double part = std::chrono::duration<double>(Clock::now() - start) / kSlowFrameTime;
        const auto due = static_cast<std::size_t>(part * static_cast<double>(bytes.size()));
        for (; sent < std::min(due, bytes.size()); ++sent) {
            for (auto i = first; i != last; ++i) i->Send(bytes.substr(sent, 1));
        }
    }
}

// An utterance's first chunk.
LexoRequestMessage OpeningRequest(int number) {
    if (number % 50 != 0) return FreeTalkRequest("continue", orvx::test::Pause(100), 1);
    const std::string speech = GoForward().substr(0, 60000);  // ends within a word
    return FreeTalkRequest("continue", speech + speech.substr(16000), 1);
}

// Asks until there is a place.
bool OpenUtterance(TestClient* client, int number) {
    const auto end = Clock::now() + kLongestFull;
    for (; Clock::now() < end; std::this_thread::sleep_for(milliseconds(5))) {
        client->Send(OpeningRequest(number));
        const std::optional<Answer> answer = client->Receive();
        if (!answer) return false;
        if (answer->Error() == 0) return !answer->response.result_token().empty();
        if (answer->Error() != kBusy) return false;
    }
    return false;
}

}  // namespace

int ManyAtOnce(std::uint16_t port, int crowd, HeldConnections* held) {
    Connect(port, crowd, held);
    const auto speaks = [](int i) { return i % 10 == 0; };
    for (int i = 0; i < crowd; ++i) {
        TestClient& client = (*held)[static_cast<std::size_t>(i)];
        client.Send(speaks(i) ? GrammarRequest(GoForward()) : QuickRequest());
    }
    int right = 0;
    for (int i = 0; i < crowd; ++i) {
        const std::optional<Answer> answer = (*held)[static_cast<std::size_t>(i)].Receive();
        const bool is_heard =
            answer && answer->response.sgrammarresult().psegmentresults_size() == 1;
        right += (speaks(i) ? is_heard : IsRefusedAsSilence(answer)) ? 1 : 0;
    }
    return right;
}

int Slow(std::uint16_t port, int crowd, HeldConnections* held) {
    Connect(port, crowd, held);
    const auto half = held->begin() + crowd / 2;
    LexoRequestMessage request = orvx::test::MakeRequest(orvx::test::kPcm16, std::string(160, 0));
    const std::string frame = Frame(Wrap(request));
    Trickle(half, held->end(), Prefix(kLargeFrame) + frame);
    Trickle(held->begin(), half, frame);
    const auto answered = std::count_if(held->begin(), half, [](TestClient& client) {
        return IsRefusedAsSilence(client.Receive());
    });
    return static_cast<int>(answered) + CountClosed(half, held->end());
}

int Stuck(std::uint16_t port, int crowd, HeldConnections* held) {
    Connect(port, crowd, held);
    const std::string bytes = Prefix(kLargeFrame) + std::string(kLargeFrame / 2, 'x');
    for (TestClient& client : *held) client.Send(bytes);
    return CountClosed(held->begin(), held->end());
}

int HalfClosed(std::uint16_t port, int crowd, HeldConnections* held) {
    Connect(port, crowd, held);
    const auto half = held->begin() + crowd / 2;
    const std::string frame = Frame(Wrap(QuickRequest()));
    for (auto i = held->begin(); i != held->end(); ++i) {
        i->Send(i < half ? frame : frame.substr(0, frame.size() / 2));
        i->CloseSendingSide();
    }
    const auto answered = std::count_if(held->begin(), half, [](TestClient& client) {
        return IsRefusedAsSilence(client.Receive()) && client.IsClosedByServer();
    });
    return static_cast<int>(answered) + CountClosed(half, held->end());
}

int Deaf(std::uint16_t port, int crowd, HeldConnections* held) {
    Connect(port, crowd, held);
    LexoRequestMessage request = QuickRequest();
    request.set_identify(std::string(60000, 'i'));  // which the answer repeats
    const std::string frame = Frame(Wrap(request));
    int refused = 0;
    for (TestClient& client : *held) {
        int taken = 0;
        while (taken < kMostDeafRequests && client.Send(frame, 200)) ++taken;
        refused += taken < kMostDeafRequests ? 1 : 0;
    }
    return refused;
}

int Abandoning(std::uint16_t port, int crowd, HeldConnections* held) {
    int opened = 0;
    held->emplace_back(port);
    for (int i = 0; i < crowd; ++i) {
        if (i % 3 == 0) {
            opened += OpenUtterance(&held->front(), i) ? 1 : 0;
            continue;
        }
        TestClient client(port);
        opened += OpenUtterance(&client, i) ? 1 : 0;
        if (i % 3 == 1) client.Reset();
    }
    return opened;
}
