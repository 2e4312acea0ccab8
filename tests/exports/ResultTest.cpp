// Results of every kind, compared field by field with what the server sent, and their release.
#include <malloc.h>

#include <csignal>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "FreshProcess.h"
#include "ResultBuilders.h"
#include "TestHost.h"

namespace {

namespace protocol = quorlan::protocol;
using protocol::LexoResponseMessage;
using scripted::Answer;
using scripted::EchoResult;
using scripted::EchoWith;
using scripted::Logged;

// ---- Comparison --------------------------------------------------------------------------------

template <typename Record, typename Message>
void ExpectSpan(const Record& record, const Message& message) {
    EXPECT_EQ(record.nStartTime, message.nstarttime());
    EXPECT_EQ(record.nEndTime, message.nendtime());
}

// The list agrees with the repeated field, element by element; no list when the count is below 1.
template <typename Record, typename Messages, typename Compare>
void ExpectList(int count, int sent_count, const Record* records, const Messages& messages,
                Compare compare) {
    ASSERT_EQ(count, sent_count);
    ASSERT_EQ(records != nullptr, count > 0);
    for (int i = 0; i < count; ++i) {
        SCOPED_TRACE(i);
        compare(records[i], messages.Get(i));
    }
}

const auto kCompareSentence = [](const auto& record, const auto& message) {
    ASSERT_NE(record.pszText, nullptr);
    EXPECT_STREQ(record.pszText, message.psztext().c_str());
    EXPECT_EQ(record.nScore, message.nscore());
};

const auto kCompareElement = [](const auto& record, const auto& message) {
    ExpectSpan(record, message);
    EXPECT_EQ(record.nScore, message.nscore());
    EXPECT_EQ(record.nPosInText, message.nposintext());
    EXPECT_EQ(record.nCountInText, message.ncountintext());
    EXPECT_EQ(record.nFlag, message.nflag());
};

const auto kCompareElementList = [](const auto& record, const auto& message) {
    ExpectList(record.nElementCount, message.nelementcount(), record.pElementList,
               message.pelementlist(), kCompareElement);
};

const auto kCompareKeyword = [](const auto& record, const auto& message) {
    EXPECT_EQ(record.nKeywordIndex, message.nkeywordindex());
    EXPECT_EQ(record.szText, message.sztext().substr(0, 255));
    ExpectSpan(record, message);
    EXPECT_EQ(record.nScore, message.nscore());
};

template <typename Record, typename Message>
void ExpectElementLists(const Record& record, const Message& message) {
    if (message.pelementlistresults_size() == 0) {
        EXPECT_EQ(record.pElementListResults, nullptr);
        return;
    }
    ExpectList(record.nResultCount, message.nresultcount(), record.pElementListResults,
               message.pelementlistresults(), kCompareElementList);
}

void ExpectEqual(const Lexo_Freetalk_Result& result,
                 const protocol::LexoResponseMessage_Lexo_Freetalk_Result& sent) {
    ExpectList(result.nSegmentCount, sent.nsegmentcount(), result.pSegmentList, sent.psegmentlist(),
               [](const auto& record, const auto& message) {
                   ExpectSpan(record, message);
                   ExpectList(record.nResultCount, message.nresultcount(), record.pSentenceResults,
                              message.psentenceresults(), kCompareSentence);
                   ExpectElementLists(record, message);
               });
}

void ExpectEqual(const Lexo_Grammar_Result& result,
                 const protocol::LexoResponseMessage_Lexo_Grammar_Result& sent) {
    ExpectList(result.nSegmentCount, sent.nresultcount(), result.pSegmentResults,
               sent.psegmentresults(), [](const auto& record, const auto& message) {
                   ExpectSpan(record, message);
                   ExpectList(record.nResultCount, message.nresultcount(), record.pSentenceResults,
                              message.psentenceresults(), kCompareSentence);
               });
}

void ExpectEqual(const Lexo_Keywordspot_Result& result,
                 const protocol::LexoResponseMessage_Lexo_Keywordspot_Result& sent) {
    ExpectList(result.nKeywordCount, sent.nkeywordcount(), result.pKeywordResults,
               sent.pkeywordresults(), kCompareKeyword);
}

void ExpectEqual(const Lexo_Analysis_Segment& record,
                 const protocol::LexoResponseMessage_Lexo_Analysis_Segment& message) {
    ExpectSpan(record, message);
    EXPECT_EQ(static_cast<int>(record.nRole), static_cast<int>(message.nrole()));
    ExpectList(record.nResultCount, message.nresultcount(), record.pSentenceResults,
               message.psentenceresults(), [](const auto& sentence, const auto& sent) {
                   kCompareSentence(sentence, sent);
                   EXPECT_EQ(sentence.fSpeed, sent.fspeed());
               });
    ExpectElementLists(record, message);
    ExpectList(record.nEmotionCount, message.nemotioncount(), record.pEmotionResults,
               message.pemotionresults(), [](const auto& emotion, const auto& sent) {
                   ExpectSpan(emotion, sent);
                   EXPECT_EQ(emotion.nScore, sent.nscore());
                   EXPECT_EQ(static_cast<int>(emotion.nEmotion), static_cast<int>(sent.nemotion()));
               });
    ExpectList(record.nKeywordCount, message.nkeywordcount(), record.pKeywordResults,
               message.pkeywordresults(), kCompareKeyword);
}

void ExpectEqual(const Lexo_Analysis_Result& result,
                 const protocol::LexoResponseMessage_Lexo_Analysis_Result& sent) {
    ExpectList(result.nSilenceCount, sent.nsilencecount(), result.pSilenceResults,
               sent.psilenceresults(),
               [](const auto& record, const auto& message) { ExpectSpan(record, message); });
    ExpectList(result.nSegmentCount, sent.nsegmentcount(), result.pSegmentResults,
               sent.psegmentresults(),
               [](const auto& record, const auto& message) { ExpectEqual(record, message); });
}

void ExpectEqual(const Lexo_RecogResult& result, const LexoResponseMessage& sent) {
    ASSERT_EQ(static_cast<int>(result.nEngineType), static_cast<int>(sent.nenginetype()));
    switch (result.nEngineType) {
        case LEXO_ENGINE_FREETALK:
            return ExpectEqual(result.sFreetalkResult, sent.sfreetalkresult());
        case LEXO_ENGINE_GRAMMAR:
            return ExpectEqual(result.sGrammarResult, sent.sgrammarresult());
        case LEXO_ENGINE_KEYWORDSPOT:
            return ExpectEqual(result.sKeywordspotResult, sent.skeywordspotresult());
        case LEXO_ENGINE_ANALYSIS:
            return ExpectEqual(result.sAnalysisResult, sent.sanalysisresult());
    }
}

// What a free leaves of the record: no top-level list, counts of 0.
void ExpectReleased(const Lexo_RecogResult& result) {
    switch (result.nEngineType) {
        case LEXO_ENGINE_FREETALK:
            EXPECT_EQ(result.sFreetalkResult.nSegmentCount, 0);
            EXPECT_EQ(result.sFreetalkResult.pSegmentList, nullptr);
            break;
        case LEXO_ENGINE_GRAMMAR:
            EXPECT_EQ(result.sGrammarResult.nSegmentCount, 0);
            EXPECT_EQ(result.sGrammarResult.pSegmentResults, nullptr);
            break;
        case LEXO_ENGINE_KEYWORDSPOT:
            EXPECT_EQ(result.sKeywordspotResult.nKeywordCount, 0);
            EXPECT_EQ(result.sKeywordspotResult.pKeywordResults, nullptr);
            break;
        case LEXO_ENGINE_ANALYSIS:
            EXPECT_EQ(result.sAnalysisResult.nSilenceCount, 0);
            EXPECT_EQ(result.sAnalysisResult.pSilenceResults, nullptr);
            EXPECT_EQ(result.sAnalysisResult.nSegmentCount, 0);
            EXPECT_EQ(result.sAnalysisResult.pSegmentResults, nullptr);
            break;
    }
}

// ---- Conversion --------------------------------------------------------------------------------

class ResultTest : public HostTest {
  protected:
    // The server sends the result and the host gets it.
    const Lexo_RecogResult* Deliver(Session& session, const LexoResponseMessage& result) {
        server_.Then(Answer(EchoResult(result)));
        EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NONE, 2}));
        return session.GetResult();
    }
};

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

struct CountCase {
    const char* name;
    LexoResponseMessage sent;
    std::function<void(LexoResponseMessage&)> change;
};

std::vector<CountCase> CountsBelowTheirLists() {
    const LexoResponseMessage freetalk = scripted::FreetalkResult(2, 3, 2);
    const LexoResponseMessage grammar = scripted::GrammarResult(2, 3);
    const LexoResponseMessage keywords = scripted::KeywordResult(3);
    const LexoResponseMessage analysis = scripted::AnalysisResult({2, 2, 2, 2, 2, 2});
    const auto segment = [](LexoResponseMessage& m) {
        return m.mutable_sanalysisresult()->mutable_psegmentresults(1);
    };
    return {
        {"one segment", freetalk,
         [](auto& m) { m.mutable_sfreetalkresult()->set_nsegmentcount(1); }},
        {"segments below 0", freetalk,
         [](auto& m) { m.mutable_sfreetalkresult()->set_nsegmentcount(-4); }},
        {"no count at all", freetalk,
         [](auto& m) { m.mutable_sfreetalkresult()->clear_nsegmentcount(); }},
        {"one sentence", freetalk,
         [](auto& m) {
             m.mutable_sfreetalkresult()->mutable_psegmentlist(0)->set_nresultcount(1);
         }},
        {"sentences below 0", freetalk,
         [](auto& m) {
             m.mutable_sfreetalkresult()->mutable_psegmentlist(1)->set_nresultcount(-1);
         }},
        {"no elements", freetalk,
         [](auto& m) {
             m.mutable_sfreetalkresult()
                 ->mutable_psegmentlist(0)
                 ->mutable_pelementlistresults(1)
                 ->set_nelementcount(0);
         }},
        {"grammar segments", grammar,
         [](auto& m) { m.mutable_sgrammarresult()->set_nresultcount(1); }},
        {"grammar sentences", grammar,
         [](auto& m) {
             m.mutable_sgrammarresult()->mutable_psegmentresults(0)->set_nresultcount(0);
         }},
        {"keywords", keywords,
         [](auto& m) { m.mutable_skeywordspotresult()->set_nkeywordcount(2); }},
        {"keywords below 0", keywords,
         [](auto& m) { m.mutable_skeywordspotresult()->set_nkeywordcount(-2147483647); }},
        {"silences", analysis, [](auto& m) { m.mutable_sanalysisresult()->set_nsilencecount(-1); }},
        {"analysis sentences", analysis, [=](auto& m) { segment(m)->set_nresultcount(1); }},
        {"emotions", analysis, [=](auto& m) { segment(m)->set_nemotioncount(0); }},
        {"analysis keywords", analysis, [=](auto& m) { segment(m)->set_nkeywordcount(1); }},
    };
}

TEST_F(ResultTest, ACountBelowItsListIsBelieved) {
    Session session("freetalk");
    for (CountCase& one : CountsBelowTheirLists()) {
        SCOPED_TRACE(one.name);
        one.change(one.sent);
        ExpectEqual(*Deliver(session, one.sent), one.sent);
        EXPECT_EQ(session.FreeResult(), LEXO_ERR_NONE);
    }
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

// ---- Counts that promise more than there is ----------------------------------------------------

std::vector<CountCase> CountsAboveTheirLists() {
    const LexoResponseMessage freetalk = scripted::FreetalkResult(2, 2, 2);
    const LexoResponseMessage grammar = scripted::GrammarResult(1, 1);
    const LexoResponseMessage analysis = scripted::AnalysisResult({1, 1, 1, 1, 1, 1});
    const auto segment = [](LexoResponseMessage& m) {
        return m.mutable_sanalysisresult()->mutable_psegmentresults(0);
    };
    return {
        {"segments", freetalk,
         [](auto& m) { m.mutable_sfreetalkresult()->set_nsegmentcount(2147483647); }},
        {"sentences", freetalk,
         [](auto& m) {
             m.mutable_sfreetalkresult()->mutable_psegmentlist(1)->set_nresultcount(3);
         }},
        {"element lists", freetalk,
         [](auto& m) {
             m.mutable_sfreetalkresult()
                 ->mutable_psegmentlist(0)
                 ->mutable_pelementlistresults()
                 ->RemoveLast();
         }},
        {"elements", freetalk,
         [](auto& m) {
             m.mutable_sfreetalkresult()
                 ->mutable_psegmentlist(0)
                 ->mutable_pelementlistresults(0)
                 ->set_nelementcount(3);
         }},
        {"grammar segments", grammar,
         [](auto& m) { m.mutable_sgrammarresult()->set_nresultcount(2); }},
        {"grammar sentences", grammar,
         [](auto& m) {
             m.mutable_sgrammarresult()->mutable_psegmentresults(0)->set_nresultcount(2);
         }},
        {"keywords", scripted::KeywordResult(0),
         [](auto& m) { m.mutable_skeywordspotresult()->set_nkeywordcount(1); }},
        {"silences", analysis, [](auto& m) { m.mutable_sanalysisresult()->set_nsilencecount(2); }},
        {"analysis segments", analysis,
         [](auto& m) { m.mutable_sanalysisresult()->set_nsegmentcount(2); }},
        {"analysis sentences", analysis, [=](auto& m) { segment(m)->set_nresultcount(2); }},
        {"analysis elements", analysis,
         [=](auto& m) { segment(m)->mutable_pelementlistresults(0)->set_nelementcount(2); }},
        {"emotions", analysis, [=](auto& m) { segment(m)->set_nemotioncount(2); }},
        {"analysis keywords", analysis, [=](auto& m) { segment(m)->set_nkeywordcount(2); }},
    };
}

// has_result: whether the answer also says that the host may fetch the result.
void Receive(const LexoResponseMessage& sent, bool has_result) {
    const scripted::TestHome home;
    scripted::ScriptedServer server;
    InitProxy(server.Address());
    Session session("freetalk");
    server.Then(Answer(has_result ? EchoResult(sent) : EchoWith(sent)));
    session.Recognize();
}

class ResultDeathTest : public ::testing::TestWithParam<std::size_t> {};

TEST_P(ResultDeathTest, ACountAboveItsListEndsTheProcess) {
    CountCase one = CountsAboveTheirLists()[GetParam()];
    SCOPED_TRACE(one.name);
    one.change(one.sent);
    EXPECT_FRESH_EXIT(Receive(one.sent, GetParam() % 2 == 0), ::testing::KilledBySignal(SIGABRT),
                      "CHECK failed: \\(index\\) < \\(size\\(\\)\\): ");
}

INSTANTIATE_TEST_SUITE_P(EachCount, ResultDeathTest,
                         ::testing::Range(std::size_t{0}, CountsAboveTheirLists().size()));

}  // namespace
