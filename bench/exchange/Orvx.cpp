// orvx: the library, as a host uses it. Each thread has a session; an exchange is Recognize,
// GetRecogResult and FreeRecogResult, with the shipped configuration and its log level.
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "Lexo.h"
#include "Measure.h"
#include "Messages.h"

namespace exchange {
namespace {

class OrvxClient final : public Client {
  public:
    explicit OrvxClient(const Run& run)
        : words_(WordsOf(run.answer_bytes)), filler_(run.answer_bytes, kFiller) {
        Require(orvx_proxy_SessionStart(kCapability, &session_) == LEXO_ERR_NONE, "no session");
    }
    ~OrvxClient() override { orvx_proxy_SessionStop(session_); }

    void Exchange(std::string_view audio, Stamp stamp) override {
        Lexo_RecogStatus status = 0;
        Lexo_RecogResult* result = nullptr;
        Require(orvx_proxy_Recognize(session_, audio.data(), static_cast<int>(audio.size()), 1,
                                     &status) == LEXO_ERR_NONE &&
                    status == 2 && orvx_proxy_GetRecogResult(session_, &result) == LEXO_ERR_NONE,
                "no result");
        Check(result->sFreetalkResult, stamp);
        Require(orvx_proxy_FreeRecogResult(session_, &result) == LEXO_ERR_NONE,
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
    Lexo_Handle session_ = nullptr;
};

// The engine must not be initialised again while sessions recognise: the first client does it.
void StartEngine(int port) {
    static const int code = orvx_proxy_Init(("127.0.0.1:" + std::to_string(port)).c_str());
    Require(code == LEXO_ERR_NONE, "the engine does not start");
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
        StartEngine(port);
        return std::make_unique<OrvxClient>(run);
    });
    Require(orvx_proxy_End() == LEXO_ERR_NONE, "the engine does not end");
}
