#include "SpeechSession.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

namespace {

constexpr std::size_t kChunkBytes = 3200;  // 100 ms
constexpr int kPcm16k16bit = 6;
constexpr int kBitResult = 2;

void Add(const Lexo_Grammar_Result& result, Heard* heard) {
    for (int i = 0; i < result.nSegmentCount; ++i) {
        const auto& segment = result.pSegmentResults[i];
        heard->texts.emplace_back(segment.pSentenceResults[0].pszText);
    }
}

void Add(const Lexo_Freetalk_Result& result, Heard* heard) {
    for (int i = 0; i < result.nSegmentCount; ++i) {
        const Lexo_Freetalk_Segment& segment = result.pSegmentList[i];
        heard->texts.emplace_back(segment.pSentenceResults[0].pszText);
        if (segment.pElementListResults == nullptr) continue;
        const Lexo_Freetalk_ElementList& list = segment.pElementListResults[0];
        heard->elements.insert(heard->elements.end(), list.pElementList,
                               list.pElementList + list.nElementCount);
    }
}

void Add(const Lexo_Analysis_Result& result, Heard* heard) {
    for (int i = 0; i < result.nSilenceCount; ++i) {
        const auto& silence = result.pSilenceResults[i];
        heard->silences.emplace_back(silence.nStartTime, silence.nEndTime);
    }
    for (int i = 0; i < result.nSegmentCount; ++i) {
        const auto& segment = result.pSegmentResults[i];
        heard->texts.emplace_back(segment.pSentenceResults[0].pszText);
        heard->rates.push_back(segment.pSentenceResults[0].fSpeed);
        heard->roles.push_back(segment.nRole);
        heard->speech.emplace_back(segment.nStartTime, segment.nEndTime);
        heard->keywords.insert(heard->keywords.end(), segment.pKeywordResults,
                               segment.pKeywordResults + segment.nKeywordCount);
        EXPECT_EQ(segment.nEmotionCount, 0);
        EXPECT_EQ(segment.pElementListResults[0].nElementCount,
                  std::ranges::count(heard->texts.back(), ' ') + 1);
    }
}

void Add(const Lexo_RecogResult& result, Heard* heard) {
    ++heard->results;
    if (result.nEngineType == LEXO_ENGINE_FREETALK) return Add(result.sFreetalkResult, heard);
    if (result.nEngineType == LEXO_ENGINE_GRAMMAR) return Add(result.sGrammarResult, heard);
    if (result.nEngineType == LEXO_ENGINE_ANALYSIS) return Add(result.sAnalysisResult, heard);
    const Lexo_Keywordspot_Result& spotted = result.sKeywordspotResult;
    heard->keywords.insert(heard->keywords.end(), spotted.pKeywordResults,
                           spotted.pKeywordResults + spotted.nKeywordCount);
}

}  // namespace

std::string Heard::Text() const {
    std::string all;
    for (const std::string& text : texts) all.append(all.empty() ? "" : " ").append(text);
    return all;
}

Session::Session(const char* capability) {
    EXPECT_EQ(orvx_proxy_SessionStart(capability, &handle_), LEXO_ERR_NONE);
    Set(LEXO_PARAM_AUDIOFORMAT, kPcm16k16bit);
}

Session::~Session() {
    orvx_proxy_DeactiveResource(handle_);
    EXPECT_EQ(orvx_proxy_SessionStop(handle_), LEXO_ERR_NONE);
}

void Session::Set(Lexo_ParamKey key, int value) {
    const auto number = reinterpret_cast<Lexo_ParamValue>(static_cast<std::intptr_t>(value));
    EXPECT_EQ(orvx_proxy_SetParam(handle_, key, number), LEXO_ERR_NONE);
}

Heard Session::Recognise(const std::string& audio, bool is_streamed) {
    Heard heard;
    for (std::size_t at = 0; is_streamed && at < audio.size(); at += kChunkBytes) {
        Exchange(audio.substr(at, kChunkBytes), 0, &heard);
    }
    Exchange(is_streamed ? "" : audio, 1, &heard);
    return heard;
}

void Session::Exchange(const std::string& audio, int is_over, Heard* heard) {
    Lexo_RecogStatus status = 0;
    heard->code = orvx_proxy_Recognize(handle_, audio.data(), static_cast<int>(audio.size()),
                                       is_over, &status);
    if ((status & kBitResult) == 0) return;
    Lexo_RecogResult* result = nullptr;
    ASSERT_EQ(orvx_proxy_GetRecogResult(handle_, &result), LEXO_ERR_NONE);
    Add(*result, heard);
    EXPECT_EQ(orvx_proxy_FreeRecogResult(handle_, &result), LEXO_ERR_NONE);
}
