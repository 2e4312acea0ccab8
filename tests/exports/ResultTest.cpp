// Results of every kind, compared field by field with what the server sent, and their release.
#include <malloc.h>

#include <string>
#include <vector>

#include "ResultBuilders.h"
#include "ResultComparison.h"
#include "TestHost.h"

namespace {

using quorlan::protocol::LexoResponseMessage;
using scripted::Answer;
using scripted::EchoWith;
using scripted::Logged;

class ResultTest : public HostTest {};

std::vector<LexoResponseMessage> WholeResults() {
    return {
        scripted::FreetalkResult(1, 1, 0),
        scripted::FreetalkResult(3, 2, 4),
        scripted::FreetalkResult(2, 0, 0),
        scripted::FreetalkResult(0, 0, 0),
        scripted::GrammarResult(2, 3),
        scripted::GrammarResult(1, 0),
        scripted::GrammarResult(0, 0),
        scripted::KeywordResult(5),
        scripted::KeywordResult(0),
        scripted::AnalysisResult({2, 4, 2, 3, 5, 2}),
        scripted::AnalysisResult({0, 1, 1, 0, 0, 0}),
        scripted::AnalysisResult({3, 0, 0, 0, 0, 0}),
        scripted::AnalysisResult({1, 2, 0, 0, 1, 1}),
    };
}

TEST_F(ResultTest, EveryFieldArrivesAndTheRecordIsReleased) {
    Session session("freetalk");
    for (const LexoResponseMessage& sent : WholeResults()) {
        SCOPED_TRACE("engine type " + std::to_string(sent.nenginetype()));
        const Lexo_RecogResult* result = Deliver(session, sent);
        ASSERT_NE(result, nullptr);
        ExpectEqual(*result, sent);
        EXPECT_EQ(session.GetResult(), result) << "asking again gives the same address";
        EXPECT_EQ(session.FreeResult(), LEXO_ERR_NONE);
        ExpectReleased(*result);
    }
}

TEST_F(ResultTest, AnAnswerWithoutAResultReadsAsEmptyFreeTalk) {
    Session session("grammar");
    const Lexo_RecogResult* result = Deliver(session, LexoResponseMessage());
    EXPECT_EQ(result->nEngineType, LEXO_ENGINE_FREETALK);
    EXPECT_EQ(result->sFreetalkResult.nSegmentCount, 0);
    EXPECT_EQ(result->sFreetalkResult.pSegmentList, nullptr);
}

TEST_F(ResultTest, TextsPassUnchanged) {
    Session session("freetalk");
    LexoResponseMessage sent = scripted::FreetalkResult(1, 3, 0);
    auto* segment = sent.mutable_sfreetalkresult()->mutable_psegmentlist(0);
    segment->mutable_psentenceresults(0)->set_psztext("");
    segment->mutable_psentenceresults(1)->set_psztext("\xC4\xE3\xBA\xC3 \xFF %s");
    segment->mutable_psentenceresults(2)->set_psztext(std::string(100000, 'w'));
    ExpectEqual(*Deliver(session, sent), sent);
}

TEST_F(ResultTest, AKeywordsTextIsCutAt255Bytes) {
    Session session("keywordspot");
    LexoResponseMessage sent = scripted::KeywordResult(4);
    auto* keywords = sent.mutable_skeywordspotresult()->mutable_pkeywordresults();
    keywords->Mutable(0)->set_sztext(std::string(255, 'a'));
    keywords->Mutable(1)->set_sztext(std::string(256, 'b'));
    keywords->Mutable(2)->set_sztext(std::string(5000, 'c'));
    keywords->Mutable(3)->set_sztext("");
    ExpectEqual(*Deliver(session, sent), sent);
}

TEST_F(ResultTest, RolesAndEmotionsOutsideTheirTablesAreZero) {
    Session session("analysis");
    LexoResponseMessage sent = scripted::AnalysisResult({0, 3, 1, 0, 4, 0});
    for (auto& segment : *sent.mutable_sanalysisresult()->mutable_psegmentresults()) {
        segment.clear_nrole();
        segment.mutable_unknown_fields()->append("\x18\x07");  // nrole 7
        for (auto& emotion : *segment.mutable_pemotionresults()) {
            emotion.clear_nemotion();
            emotion.mutable_unknown_fields()->append("\x20\x09");  // nemotion 9
        }
    }
    ExpectEqual(*Deliver(session, sent), sent);
    const Lexo_Analysis_Segment& segment = session.GetResult()->sAnalysisResult.pSegmentResults[1];
    EXPECT_EQ(segment.nRole, LEXO_ROLE_UNKNOWN);
    EXPECT_EQ(segment.pEmotionResults[3].nEmotion, LEXO_EMOTION_HAPPY);
}

// ---- Fetching and giving back ------------------------------------------------------------------

TEST_F(ResultTest, WithoutAResultThereIsNothingToFetchOrFree) {
    Session session("freetalk");
    Lexo_RecogResult record = {};
    Lexo_RecogResult* result = &record;
    EXPECT_EQ(orvx_proxy_GetRecogResult(session.Handle(), &result),
              LEXO_ERR_GET_RECOG_RESULT_FAILED);
    EXPECT_EQ(result, &record);
    EXPECT_TRUE(Logged(home_.NewLog(), "ERROR", "No result"));
    for (Lexo_RecogResult* one : {&record, static_cast<Lexo_RecogResult*>(nullptr)}) {
        EXPECT_EQ(orvx_proxy_FreeRecogResult(session.Handle(), &one),
                  LEXO_ERR_FREE_RECOG_RESULT_FAILED);
        EXPECT_TRUE(Logged(home_.NewLog(), "ERROR", "No result"));
    }
}

TEST_F(ResultTest, OnlyTheLentAddressIsTakenBack) {
    Session session("grammar");
    Session other("grammar");
    const LexoResponseMessage sent = scripted::GrammarResult(1, 2);
    const Lexo_RecogResult* result = Deliver(session, sent);
    Lexo_RecogResult copy = *result;
    Lexo_RecogResult* const foreign[] = {&copy, nullptr,
                                         const_cast<Lexo_RecogResult*>(Deliver(other, sent))};
    home_.NewLog();
    for (Lexo_RecogResult* one : foreign) {
        EXPECT_EQ(orvx_proxy_FreeRecogResult(session.Handle(), &one), LEXO_ERR_PARAM_INVALID);
    }
    EXPECT_TRUE(scripted::NothingLogged(home_.NewLog(), "ERROR"));
    ExpectEqual(*result, sent);
    Lexo_RecogResult* lent = session.GetResult();
    EXPECT_EQ(orvx_proxy_FreeRecogResult(session.Handle(), &lent), LEXO_ERR_NONE);
    EXPECT_EQ(lent, result) << "the host's pointer is not changed";
    EXPECT_EQ(orvx_proxy_FreeRecogResult(session.Handle(), &lent),
              LEXO_ERR_FREE_RECOG_RESULT_FAILED);
}

// In use by the allocator; 0 where a sanitizer has replaced it and looks for leaks itself.
std::size_t BytesInUse() {
    return ::mallinfo2().uordblks + ::mallinfo2().hblkhd;
}

TEST_F(ResultTest, ResultsThatNobodyCanFetchDoNotPileUp) {
    Session session("freetalk");
    LexoResponseMessage sent = scripted::FreetalkResult(1, 1, 0);
    sent.mutable_sfreetalkresult()
        ->mutable_psegmentlist(0)
        ->mutable_psentenceresults(0)
        ->set_psztext(std::string(50000, 'w'));
    server_.Otherwise(Answer(EchoWith(sent)));
    const auto recognize = [&](int times) {
        for (int i = 0; i < times; ++i) {
            ASSERT_EQ(session.Recognize("a"), (Outcome{LEXO_ERR_NONE, 0}));
        }
    };
    recognize(20);
    const std::size_t before = BytesInUse();
    recognize(1000);
    EXPECT_LT(BytesInUse(), before + (std::size_t{10} << 20)) << "a thousand texts are 50 MB";
    Lexo_RecogResult* result = nullptr;
    EXPECT_EQ(orvx_proxy_GetRecogResult(session.Handle(), &result),
              LEXO_ERR_GET_RECOG_RESULT_FAILED);
}

}  // namespace
