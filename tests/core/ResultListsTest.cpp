// The lists of a result: their counts against what the server sent, and their release.
#include <gtest/gtest.h>
#include <malloc.h>

#include <climits>
#include <csignal>
#include <functional>
#include <string>

#include "LexoMessage.pb.h"
#include "RecogResult.h"
#include "ResultBuilders.h"

namespace {

using quorlan::protocol::LexoResponseMessage;

const LexoResponseMessage kFreetalk = scripted::FreetalkResult(2, 2, 2);
const LexoResponseMessage kGrammar = scripted::GrammarResult(2, 2);
const LexoResponseMessage kKeywords = scripted::KeywordResult(2);
const LexoResponseMessage kAnalysis = scripted::AnalysisResult({2, 2, 2, 2, 2, 2});

// A list as its record tells it.
struct List {
    int count;
    const void* entries;
};

struct CountCase {
    const char* name;
    const LexoResponseMessage& response;
    std::function<void(LexoResponseMessage&, int)> set_count;
    std::function<List(const Lexo_RecogResult&)> list;
};

#define SET_COUNT(expression) [](LexoResponseMessage& r, int n) { r.expression(n); }
#define LIST(record, count, entries) \
    [](const Lexo_RecogResult& r) { return List{r.record.count, r.record.entries}; }

const CountCase kCountCases[] = {
    {"free talk segments", kFreetalk, SET_COUNT(mutable_sfreetalkresult()->set_nsegmentcount),
     LIST(sFreetalkResult, nSegmentCount, pSegmentList)},
    {"grammar sentences", kGrammar,
     SET_COUNT(mutable_sgrammarresult()->mutable_psegmentresults(0)->set_nresultcount),
     LIST(sGrammarResult.pSegmentResults[0], nResultCount, pSentenceResults)},
    {"silences", kAnalysis, SET_COUNT(mutable_sanalysisresult()->set_nsilencecount),
     LIST(sAnalysisResult, nSilenceCount, pSilenceResults)},
    {"analysis elements", kAnalysis,
     SET_COUNT(mutable_sanalysisresult()
                   ->mutable_psegmentresults(0)
                   ->mutable_pelementlistresults(1)
                   ->set_nelementcount),
     LIST(sAnalysisResult.pSegmentResults[0].pElementListResults[1], nElementCount, pElementList)},
    {"emotions", kAnalysis,
     SET_COUNT(mutable_sanalysisresult()->mutable_psegmentresults(1)->set_nemotioncount),
     LIST(sAnalysisResult.pSegmentResults[1], nEmotionCount, pEmotionResults)},
    {"analysis keywords", kAnalysis,
     SET_COUNT(mutable_sanalysisresult()->mutable_psegmentresults(1)->set_nkeywordcount),
     LIST(sAnalysisResult.pSegmentResults[1], nKeywordCount, pKeywordResults)},
};

constexpr const char* kBrokenPromise = "CHECK failed: \\(index\\) < \\(size\\(\\)\\): ";

// A broken promise of the server ends the process, before anything is allocated for it.
TEST(ResultListsDeathTest, CountsOfTwoEntries) {
    for (const CountCase& c : kCountCases) {
        for (const int count : {INT_MIN, -1, 0, 1, 2, 3, INT_MAX}) {
            SCOPED_TRACE(c.name + std::string(" ") + std::to_string(count));
            LexoResponseMessage response = c.response;
            c.set_count(response, count);
            Lexo_RecogResult result{};
            if (count > 2) {
                EXPECT_EXIT(ParseResponse(response, &result), ::testing::KilledBySignal(SIGABRT),
                            kBrokenPromise);
                continue;
            }
            ASSERT_TRUE(ParseResponse(response, &result));
            EXPECT_EQ(c.list(result).count, count);
            EXPECT_EQ(c.list(result).entries == nullptr, count < 1);
            EXPECT_TRUE(ReleaseResult(&result));
        }
    }
}

TEST(ResultListsDeathTest, ElementListsForSomeSentencesOnly) {
    LexoResponseMessage response = kFreetalk;
    auto* const segment = response.mutable_sfreetalkresult()->mutable_psegmentlist(0);
    segment->mutable_pelementlistresults()->RemoveLast();
    Lexo_RecogResult result{};
    EXPECT_EXIT(ParseResponse(response, &result), ::testing::KilledBySignal(SIGABRT),
                kBrokenPromise);
}

// Converting over a result that nobody could fetch frees it first.
TEST(ResultListsTest, ConversionOverUnreleasedResultsGrowsNothing) {
    Lexo_RecogResult result{};
    std::size_t in_use_before = 0;
    for (int round = 0; round < 1000; ++round) {
        for (const LexoResponseMessage* response :
             {&kFreetalk, &kGrammar, &kKeywords, &kAnalysis}) {
            ASSERT_TRUE(ParseResponse(*response, &result));
        }
        if (round == 0) {
            in_use_before = ::mallinfo2().uordblks;
        }
    }
    EXPECT_LT(::mallinfo2().uordblks, in_use_before + 10000);
    EXPECT_TRUE(ReleaseResult(&result));
}

}  // namespace
