#include "SoakSession.h"

#include <cstdlib>
#include <iterator>

namespace {

constexpr const char* kCapabilities[] = {"freetalk", "grammar", "keywordspot", "analysis"};
constexpr int kGrammar = 1;
constexpr int kAnalysis = 3;
constexpr int kChunksOfAnUtterance = 5;
constexpr std::size_t kLongestText = 255;  // what a keyword's record holds
constexpr int kBitResult = 2;
constexpr int kUntouched = -77;

int ExpectedCode(SoakWish wish) {
    switch (wish) {
        case SoakWish::kEcho:
        case SoakWish::kDelay:
        case SoakWish::kNothing:
            return LEXO_ERR_NONE;
        case SoakWish::kStranger:
            return LEXO_ERR_ENGINE_FAILED;
        case SoakWish::kRefusal:
        case SoakWish::kForbidden:
            return LEXO_ERR_RECOG_FAILED;
        default:
            return LEXO_ERR_NETWORK_FAILED;
    }
}

const char* FirstText(const Lexo_RecogResult& result) {
    switch (result.nEngineType) {
        case LEXO_ENGINE_FREETALK:
            return result.sFreetalkResult.pSegmentList[0].pSentenceResults[0].pszText;
        case LEXO_ENGINE_GRAMMAR:
            return result.sGrammarResult.pSegmentResults[0].pSentenceResults[0].pszText;
        case LEXO_ENGINE_KEYWORDSPOT:
            return result.sKeywordspotResult.pKeywordResults[0].szText;
        default:
            return result.sAnalysisResult.pSegmentResults[0].pSentenceResults[0].pszText;
    }
}

void Require(Lexo_ErrCode code) {
    if (code != LEXO_ERR_NONE) std::abort();
}

}  // namespace

SoakSession::SoakSession(int number, unsigned grammar)
    : number_(number),
      is_realtime_(number / 4 % 2 == 1),
      random_(static_cast<unsigned>(number) + 1) {
    const int capability = number % 4;
    Require(orvx_proxy_SessionStart(kCapabilities[capability], &handle_));
    if (is_realtime_) {
        const bool is_analysis = capability == kAnalysis;
        Require(orvx_proxy_SetParam(handle_, is_analysis ? LEXO_PARAM_MODE : LEXO_PARAM_STREAM,
                                    reinterpret_cast<Lexo_ParamValue>(is_analysis ? 1 : 2)));
    }
    if (capability == kGrammar) Require(orvx_proxy_ActiveResource(handle_, grammar));
}

SoakSession::~SoakSession() {
    orvx_proxy_DeactiveResource(handle_);
    Require(orvx_proxy_SessionStop(handle_));
}

SoakWish SoakSession::ChooseWish(int fault_every) {
    constexpr SoakWish kFaults[] = {SoakWish::kDelay,   SoakWish::kHangUp,   SoakWish::kReset,
                                    SoakWish::kHalf,    SoakWish::kGarbage,  SoakWish::kStranger,
                                    SoakWish::kRefusal, SoakWish::kForbidden};
    if (static_cast<int>(random_() % static_cast<unsigned>(fault_every)) == 0) {
        return kFaults[random_() % std::size(kFaults)];
    }
    return random_() % 8 == 0 ? SoakWish::kNothing : SoakWish::kEcho;
}

// Unique, and of a length that varies from request to request.
std::string SoakSession::MakeAudio(SoakWish wish) {
    std::string audio(1, static_cast<char>(wish));
    audio += " session " + std::to_string(number_) + " request " + std::to_string(count_) + " ";
    audio.resize(audio.size() + random_() % (kLongestText - audio.size()), '.');
    return audio;
}

SoakExchange SoakSession::Exchange(int fault_every) {
    ++count_;
    const bool is_closing = is_realtime_ && chunks_ == kChunksOfAnUtterance;
    const SoakWish wish = is_closing ? SoakWish::kNothing : ChooseWish(fault_every);
    const std::string audio = is_closing ? "" : MakeAudio(wish);
    Lexo_RecogStatus status = kUntouched;
    const auto start = std::chrono::steady_clock::now();
    const int code = orvx_proxy_Recognize(handle_, audio.data(), static_cast<int>(audio.size()),
                                          is_closing ? 1 : 0, &status);
    SoakExchange exchange;
    exchange.time = std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::steady_clock::now() - start);
    exchange.is_fault = wish != SoakWish::kEcho && wish != SoakWish::kNothing;
    exchange.wrong = Judge(wish, audio, code, status);
    exchange.is_right = exchange.wrong.empty();
    // Whatever failed, the next request opens a new utterance or goes on with the open one; for the
    // server of the soak both are alike.
    chunks_ = is_closing || !is_realtime_ ? 0 : chunks_ + 1;
    return exchange;
}

// Empty when all is as it must be.
std::string SoakSession::Judge(SoakWish wish, const std::string& audio, int code, int status) {
    const bool has_result = wish == SoakWish::kEcho || wish == SoakWish::kDelay;
    const int expected_status = code != LEXO_ERR_NONE ? 1 : has_result ? kBitResult : 0;
    const std::string text = (status & kBitResult) != 0 ? TakeText() : "";
    if (code == ExpectedCode(wish) && status == expected_status &&
        text == (has_result ? audio : "")) {
        return {};
    }
    return "\"" + audio + "\" came to code " + std::to_string(code) + ", status " +
           std::to_string(status) + ", text \"" + text + "\"";
}

std::string SoakSession::TakeText() {
    Lexo_RecogResult* result = nullptr;
    Require(orvx_proxy_GetRecogResult(handle_, &result));
    std::string text = FirstText(*result);
    Require(orvx_proxy_FreeRecogResult(handle_, &result));
    return text;
}
