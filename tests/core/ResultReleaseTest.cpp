// Results as a session lends them and takes them back.
#include <gtest/gtest.h>
#include <malloc.h>

#include <string>

#include "MessagesOf.h"
#include "RecogResult.h"
#include "ResultBuilders.h"
#include "TestAccess.h"
#include "TestEngine.h"

namespace {

using Access = ProxySessionTestAccess;
using quorlan::protocol::LexoResponseMessage;

LexoResponseMessage ResponseOf(Lexo_EngineType type) {
    switch (type) {
        case LEXO_ENGINE_FREETALK:
            return scripted::FreetalkResult(2, 2, 2);
        case LEXO_ENGINE_GRAMMAR:
            return scripted::GrammarResult(2, 2);
        case LEXO_ENGINE_KEYWORDSPOT:
            return scripted::KeywordResult(2);
        default:
            return scripted::AnalysisResult({.silences = 2,
                                             .segments = 2,
                                             .sentences = 2,
                                             .elements = 2,
                                             .emotions = 2,
                                             .keywords = 2});
    }
}

// Whether the top-level lists are empty, counts and pointers alike.
bool IsEmpty(const Lexo_RecogResult& result) {
    switch (result.nEngineType) {
        case LEXO_ENGINE_FREETALK:
            return result.sFreetalkResult.nSegmentCount == 0 &&
                   result.sFreetalkResult.pSegmentList == nullptr;
        case LEXO_ENGINE_GRAMMAR:
            return result.sGrammarResult.nSegmentCount == 0 &&
                   result.sGrammarResult.pSegmentResults == nullptr;
        case LEXO_ENGINE_KEYWORDSPOT:
            return result.sKeywordspotResult.nKeywordCount == 0 &&
                   result.sKeywordspotResult.pKeywordResults == nullptr;
        default:
            return result.sAnalysisResult.nSilenceCount == 0 &&
                   result.sAnalysisResult.pSilenceResults == nullptr &&
                   result.sAnalysisResult.nSegmentCount == 0 &&
                   result.sAnalysisResult.pSegmentResults == nullptr;
    }
}

TEST(ResultReleaseTest, ReleasedTwice) {
    for (const Lexo_EngineType type : kEngineTypes) {
        Lexo_RecogResult result{};
        ASSERT_TRUE(ParseResponse(ResponseOf(type), &result));
        EXPECT_FALSE(IsEmpty(result)) << type;
        for (int i = 0; i < 2; ++i) {
            EXPECT_TRUE(ReleaseResult(&result)) << type;
            EXPECT_TRUE(IsEmpty(result)) << type;
            EXPECT_EQ(result.nEngineType, type);
        }
    }
}

// Converting over a result that nobody could fetch frees it first.
TEST(ResultReleaseTest, ConversionOverUnreleasedResultsGrowsNothing) {
    Lexo_RecogResult result{};
    std::size_t in_use_before = 0;
    for (int round = 0; round < 1000; ++round) {
        for (const Lexo_EngineType type : kEngineTypes) {
            ASSERT_TRUE(ParseResponse(ResponseOf(type), &result));
        }
        if (round == 0) {
            in_use_before = ::mallinfo2().uordblks;
        }
    }
    EXPECT_LT(::mallinfo2().uordblks, in_use_before + 10000);
    ReleaseResult(&result);
}

class HeldResultTest : public ::testing::Test {
  protected:
    // As if the server had answered with a result.
    void Hold(Lexo_EngineType type) {
        ASSERT_TRUE(ParseResponse(ResponseOf(type), &Access::Result(session_)));
        Access::HasResult(session_) = true;
    }

    TestEngine engine_{LEXO_ENGINE_FREETALK};
    ProxySession session_{LEXO_ENGINE_FREETALK, "cap", "", engine_.default_params};
};

TEST_F(HeldResultTest, LentAndTakenBack) {
    for (const Lexo_EngineType type : kEngineTypes) {
        Hold(type);
        Lexo_RecogResult* first = nullptr;
        Lexo_RecogResult* second = nullptr;
        EXPECT_EQ(session_.GetRecogResult(&first), LEXO_ERR_NONE);
        EXPECT_EQ(session_.GetRecogResult(&second), LEXO_ERR_NONE);
        EXPECT_EQ(first, second);
        EXPECT_EQ(first->nEngineType, type);
        EXPECT_TRUE(session_.HasResult());
        EXPECT_EQ(session_.FreeRecogResult(first), LEXO_ERR_NONE);
        EXPECT_FALSE(session_.HasResult());
        EXPECT_TRUE(IsEmpty(*first));
    }
}

TEST_F(HeldResultTest, NothingHeld) {
    Lexo_RecogResult* result = nullptr;
    int code = -1;
    EXPECT_EQ(MessagesOf([&] { code = session_.GetRecogResult(&result); }), Messages{"No result"});
    EXPECT_EQ(code, LEXO_ERR_GET_RECOG_RESULT_FAILED);
    EXPECT_EQ(result, nullptr);
    for (Lexo_RecogResult* argument : {&Access::Result(session_), result}) {
        EXPECT_EQ(MessagesOf([&] { code = session_.FreeRecogResult(argument); }),
                  Messages{"No result"});
        EXPECT_EQ(code, LEXO_ERR_FREE_RECOG_RESULT_FAILED);
    }
    EXPECT_EQ(MessagesOf([&] { code = session_.GetRecogResult(nullptr); }), Messages{});
    EXPECT_EQ(code, LEXO_ERR_PARAM_INVALID);
}

TEST_F(HeldResultTest, OnlyTheLentAddressIsTakenBack) {
    Hold(LEXO_ENGINE_ANALYSIS);
    Lexo_RecogResult copy = Access::Result(session_);
    for (Lexo_RecogResult* argument : {&copy, static_cast<Lexo_RecogResult*>(nullptr)}) {
        int code = -1;
        EXPECT_EQ(MessagesOf([&] { code = session_.FreeRecogResult(argument); }), Messages{});
        EXPECT_EQ(code, LEXO_ERR_PARAM_INVALID);
        EXPECT_TRUE(session_.HasResult());
    }
    EXPECT_EQ(session_.FreeRecogResult(&Access::Result(session_)), LEXO_ERR_NONE);
}

TEST_F(HeldResultTest, UnknownTypeStaysHeld) {
    for (const int type : {4, -1}) {
        Hold(LEXO_ENGINE_GRAMMAR);
        Lexo_RecogResult& result = Access::Result(session_);
        result.nEngineType = static_cast<Lexo_EngineType>(type);
        int code = -1;
        EXPECT_EQ(MessagesOf([&] { code = session_.FreeRecogResult(&result); }),
                  Messages{"Unknown result type[" + std::to_string(type) + "]"});
        EXPECT_EQ(code, LEXO_ERR_UNKNOWN);
        EXPECT_TRUE(session_.HasResult());
        result.nEngineType = LEXO_ENGINE_GRAMMAR;
        EXPECT_STREQ(result.sGrammarResult.pSegmentResults[1].pSentenceResults[1].pszText,
                     ResponseOf(LEXO_ENGINE_GRAMMAR)
                         .sgrammarresult()
                         .psegmentresults(1)
                         .psentenceresults(1)
                         .psztext()
                         .c_str());
        EXPECT_EQ(session_.FreeRecogResult(&result), LEXO_ERR_NONE);
    }
}

// A session that ends with a result, fetched or not, frees it (a leak checker tells).
TEST_F(HeldResultTest, EndsWithTheSession) {
    Hold(LEXO_ENGINE_ANALYSIS);
}

}  // namespace
