// orvx: the library, as a host uses it. Each thread has a session; an exchange is Recognize,
// GetRecogResult and FreeRecogResult, with the shipped configuration and its log level.
#include <malloc.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

#include "Lexo.h"
#include "Measure.h"
#include "Messages.h"
#include "ProcessSize.h"

namespace exchange {
namespace {

// What things of one kind hold: of the process's resident memory, and of what is allocated. What is
// free again belongs to the allocator, which gives it back to the system or not.
class Held {
  public:
    void Print(const char* what, unsigned count) const {
        const Held now;
        if (count > 0) {
            std::printf("%s_bytes %.0f %.0f\n", what, (now.resident_ - resident_) / count,
                        (now.allocated_ - allocated_) / count);
        }
    }

  private:
    static double AllocatedBytes() {
        const struct mallinfo2 heap = ::mallinfo2();
        return static_cast<double>(heap.uordblks + heap.hblkhd);
    }

    const double resident_ = ProcessSize::Now().resident_kib * 1024;
    const double allocated_ = AllocatedBytes();
};

class OrvxClient final : public Client {
  public:
    explicit OrvxClient(const Run& run)
        : words_(WordsOf(run.answer_bytes)), filler_(run.answer_bytes, kFiller) {
        sessions_.resize(1 + run.sessions);
        const Held held;
        for (Lexo_Handle& session : sessions_) {
            Require(orvx_proxy_SessionStart(kCapability, &session) == LEXO_ERR_NONE, "no session");
        }
        held.Print("session", run.sessions);
        in_turn_ = run.is_in_turn ? sessions_.size() : 1;
    }
    ~OrvxClient() override {
        for (Lexo_Handle session : sessions_) orvx_proxy_SessionStop(session);
    }

    void Exchange(std::string_view audio, Stamp stamp) override {
        Lexo_Handle session = sessions_[next_++ % in_turn_];
        Lexo_RecogStatus status = 0;
        Lexo_RecogResult* result = nullptr;
        Require(orvx_proxy_Recognize(session, audio.data(), static_cast<int>(audio.size()), 1,
                                     &status) == LEXO_ERR_NONE &&
                    status == 2 && orvx_proxy_GetRecogResult(session, &result) == LEXO_ERR_NONE,
                "no result");
        Check(result->sFreetalkResult, stamp);
        Require(orvx_proxy_FreeRecogResult(session, &result) == LEXO_ERR_NONE,
                "the result cannot be given back");
    }

  private:
    void Check(const Lexo_Freetalk_Result& result, Stamp stamp) const {
        const Lexo_Freetalk_Segment& segment = *result.pSegmentList;
        const Lexo_Freetalk_Sentence& sentence = *segment.pSentenceResults;
        const Lexo_Freetalk_ElementList& list = *segment.pElementListResults;
        Require(std::memcmp(sentence.pszText, TextOf(stamp).data(), kStampTextBytes) == 0,
                "the answer to another request");
        const char* const rest = sentence.pszText + kStampTextBytes;
        Require(filler_.compare(0, std::strlen(rest), rest) == 0 && sentence.nScore == kScore &&
                    list.nElementCount == words_,
                "an answer with another sentence");
        bool is_right = true;
        for (int i = 0; i < words_; ++i) {
            const Lexo_Freetalk_Element& word = list.pElementList[i];
            is_right &= word.nStartTime == i * kWordMs && word.nEndTime == (i + 1) * kWordMs &&
                        word.nPosInText == i;
        }
        Require(is_right, "an answer with other words");
    }

    const int words_;
    const std::string filler_;
    std::vector<Lexo_Handle> sessions_;
    std::size_t in_turn_ = 1, next_ = 0;
};

// Leaves idle connections behind: as many requests at once, of which the server answers none
// before all have come.
void MakeIdleConnections(Run run) {
    run.sessions = 0;
    std::string audio = Pattern(run.audio_bytes);
    PutStamp(audio, 0);
    std::vector<std::unique_ptr<OrvxClient>> clients(run.idle);
    for (auto& client : clients) client = std::make_unique<OrvxClient>(run);
    const Held held;
    std::vector<std::thread> threads;
    for (const auto& client : clients) {
        threads.emplace_back([&] { client->Exchange(audio, 0); });
    }
    for (std::thread& thread : threads) thread.join();
    held.Print("connection", run.idle);
}

// The engine must not be initialised again while sessions recognise: the first client does it.
void StartEngine(const Run& run, int port) {
    static const bool is_started = [&] {
        const std::string address = "127.0.0.1:" + std::to_string(port);
        Require(orvx_proxy_Init(address.c_str()) == LEXO_ERR_NONE, "the engine does not start");
        MakeIdleConnections(run);
        return true;
    }();
    static_cast<void>(is_started);
}

}  // namespace
}  // namespace exchange

using namespace exchange;

int main(int argc, char** argv) {
    const Run run = ReadRun(argc, argv);
    // The folder of the build holds the configuration as shipped.
    const std::string home = std::filesystem::path(Beside("..")).lexically_normal();
    ::setenv("QUORLAN_HOME", home.c_str(), 0);
    Measure(run, Beside("orvx_exchange_server"), [&](int port) {
        StartEngine(run, port);
        return std::make_unique<OrvxClient>(run);
    });
    Require(orvx_proxy_End() == LEXO_ERR_NONE, "the engine does not end");
}
