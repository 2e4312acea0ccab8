// The counts of an answer against its lists. What the server promises is believed up to the length
// of the list, and not beyond.
#include <gtest/gtest.h>

#include <climits>
#include <csignal>
#include <functional>
#include <string>

#include "LexoMessage.pb.h"
#include "ResultBuilders.h"
#include "TestResult.h"

namespace {

using quorlan::protocol::LexoResponseMessage;

struct List {
    int count;
    const void* entries;
};

struct CountCase {
    const char* name;
    LexoResponseMessage response;
    std::function<void(LexoResponseMessage&, int)> set_count;
    std::function<List(const Lexo_RecogResult&)> list;
};

const LexoResponseMessage& Analysis() {
    static const LexoResponseMessage response = scripted::AnalysisResult({.silences = 2,
                                                                          .segments = 2,
                                                                          .sentences = 2,
                                                                          .elements = 2,
                                                                          .emotions = 2,
                                                                          .keywords = 2});
    return response;
}

#define SET_COUNT(expression) [](LexoResponseMessage& r, int n) { r.expression(n); }
#define LIST(record, count, entries) \
    [](const Lexo_RecogResult& r) { return List{r.record.count, r.record.entries}; }

const CountCase kCountCases[] = {
    {"free talk segments", scripted::FreetalkResult(2, 2, 2),
     SET_COUNT(mutable_sfreetalkresult()->set_nsegmentcount),
     LIST(sFreetalkResult, nSegmentCount, pSegmentList)},
    {"free talk sentences", scripted::FreetalkResult(1, 2, 0),
     SET_COUNT(mutable_sfreetalkresult()->mutable_psegmentlist(0)->set_nresultcount),
     LIST(sFreetalkResult.pSegmentList[0], nResultCount, pSentenceResults)},
    {"free talk elements", scripted::FreetalkResult(1, 1, 2),
     SET_COUNT(mutable_sfreetalkresult()
                   ->mutable_psegmentlist(0)
                   ->mutable_pelementlistresults(0)
                   ->set_nelementcount),
     LIST(sFreetalkResult.pSegmentList[0].pElementListResults[0], nElementCount, pElementList)},
    {"grammar segments", scripted::GrammarResult(2, 1),
     SET_COUNT(mutable_sgrammarresult()->set_nresultcount),
     LIST(sGrammarResult, nSegmentCount, pSegmentResults)},
    {"grammar sentences", scripted::GrammarResult(1, 2),
     SET_COUNT(mutable_sgrammarresult()->mutable_psegmentresults(0)->set_nresultcount),
     LIST(sGrammarResult.pSegmentResults[0], nResultCount, pSentenceResults)},
    {"keywords", scripted::KeywordResult(2),
     SET_COUNT(mutable_skeywordspotresult()->set_nkeywordcount),
     LIST(sKeywordspotResult, nKeywordCount, pKeywordResults)},
    {"silences", Analysis(), SET_COUNT(mutable_sanalysisresult()->set_nsilencecount),
     LIST(sAnalysisResult, nSilenceCount, pSilenceResults)},
    {"analysis segments", Analysis(), SET_COUNT(mutable_sanalysisresult()->set_nsegmentcount),
     LIST(sAnalysisResult, nSegmentCount, pSegmentResults)},
    {"analysis sentences", Analysis(),
     SET_COUNT(mutable_sanalysisresult()->mutable_psegmentresults(0)->set_nresultcount),
     LIST(sAnalysisResult.pSegmentResults[0], nResultCount, pSentenceResults)},
    {"analysis element lists", Analysis(),
     SET_COUNT(mutable_sanalysisresult()->mutable_psegmentresults(0)->set_nresultcount),
     LIST(sAnalysisResult.pSegmentResults[0], nResultCount, pElementListResults)},
    {"analysis elements", Analysis(),
     SET_COUNT(mutable_sanalysisresult()
                   ->mutable_psegmentresults(0)
                   ->mutable_pelementlistresults(1)
                   ->set_nelementcount),
     LIST(sAnalysisResult.pSegmentResults[0].pElementListResults[1], nElementCount, pElementList)},
    {"emotions", Analysis(),
     SET_COUNT(mutable_sanalysisresult()->mutable_psegmentresults(1)->set_nemotioncount),
     LIST(sAnalysisResult.pSegmentResults[1], nEmotionCount, pEmotionResults)},
    {"analysis keywords", Analysis(),
     SET_COUNT(mutable_sanalysisresult()->mutable_psegmentresults(1)->set_nkeywordcount),
     LIST(sAnalysisResult.pSegmentResults[1], nKeywordCount, pKeywordResults)},
};

TEST(ResultCountTest, TheCountRulesUpToTheLengthOfTheList) {
    for (const CountCase& c : kCountCases) {
        for (const int count : {2, 1, 0, -1, INT_MIN}) {
            SCOPED_TRACE(c.name + std::string(" ") + std::to_string(count));
            LexoResponseMessage response = c.response;
            c.set_count(response, count);
            TestResult result;
            ASSERT_TRUE(ParseResponse(response, &result));
            EXPECT_EQ(c.list(result).count, count);
            EXPECT_EQ(c.list(result).entries == nullptr, count < 1);
        }
    }
}

// A broken promise of the server ends the process, before anything is allocated for it.
TEST(ResultCountDeathTest, CountAboveItsList) {
    for (const CountCase& c : kCountCases) {
        for (const int count : {3, INT_MAX}) {
            SCOPED_TRACE(c.name + std::string(" ") + std::to_string(count));
            LexoResponseMessage response = c.response;
            c.set_count(response, count);
            TestResult result;
            EXPECT_EXIT(ParseResponse(response, &result), ::testing::KilledBySignal(SIGABRT),
                        "CHECK failed: \\(index\\) < \\(size\\(\\)\\): ");
        }
    }
}

TEST(ResultCountDeathTest, ElementListsForSomeSentencesOnly) {
    LexoResponseMessage response = scripted::FreetalkResult(1, 2, 2);
    auto* const segment = response.mutable_sfreetalkresult()->mutable_psegmentlist(0);
    segment->mutable_pelementlistresults()->RemoveLast();
    TestResult result;
    EXPECT_EXIT(ParseResponse(response, &result), ::testing::KilledBySignal(SIGABRT),
                "CHECK failed: \\(index\\) < \\(size\\(\\)\\): ");
}

}  // namespace
