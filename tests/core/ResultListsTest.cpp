// The lists of a result: their counts against what the server sent, and their release.
#include <gtest/gtest.h>

#include <climits>
#include <csignal>
#include <functional>
#include <string>

#include "Footprint.h"
#include "LexoMessage.pb.h"
#include "RecogResult.h"
#include "ResultBuilders.h"

namespace {

using quorlan::protocol::LexoResponseMessage;

const LexoResponseMessage kFreetalk = scripted::FreetalkResult(2, 2, 2);
const LexoResponseMessage kGrammar = scripted::GrammarResult(2, 2);
const LexoResponseMessage kKeywords = scripted::KeywordResult(2);
const LexoResponseMessage kAnalysis = scripted::AnalysisResult(2, 2, 2, 2, 2, 2);

struct CountCase {
    const char* name;
    const LexoResponseMessage& response;
    std::function<void(LexoResponseMessage&, int)> set_count;
};

#define SET_COUNT(expression) [](LexoResponseMessage& r, int n) { r.expression(n); }

const CountCase kCountCases[] = {
    {"free talk segments", kFreetalk, SET_COUNT(mutable_sfreetalkresult()->set_nsegmentcount)},
    {"grammar sentences", kGrammar,
     SET_COUNT(mutable_sgrammarresult()->mutable_psegmentresults(0)->set_nresultcount)},
    {"silences", kAnalysis, SET_COUNT(mutable_sanalysisresult()->set_nsilencecount)},
    {"analysis elements", kAnalysis,
     SET_COUNT(mutable_sanalysisresult()
                   ->mutable_psegmentresults(0)
                   ->mutable_pelementlistresults(1)
                   ->set_nelementcount)},
    {"emotions", kAnalysis,
     SET_COUNT(mutable_sanalysisresult()->mutable_psegmentresults(1)->set_nemotioncount)},
    {"analysis keywords", kAnalysis,
     SET_COUNT(mutable_sanalysisresult()->mutable_psegmentresults(1)->set_nkeywordcount)},
};

constexpr const char* kBrokenPromise = "CHECK failed: \\(index\\) < \\(size\\(\\)\\): ";

// A broken promise of the server ends the process, before anything is allocated for it.
TEST(ResultListsDeathTest, CountsAboveTheirLists) {
    for (const CountCase& c : kCountCases) {
        for (const int count : {INT_MIN, 3, INT_MAX}) {
            SCOPED_TRACE(c.name);
            LexoResponseMessage response = c.response;
            c.set_count(response, count);
            Lexo_RecogResult result{};
            if (count > 2) {
                EXPECT_EXIT(ParseResponse(response, &result), ::testing::KilledBySignal(SIGABRT),
                            kBrokenPromise);
                continue;
            }
            EXPECT_TRUE(ParseResponse(response, &result));
            EXPECT_TRUE(ReleaseResult(&result));
        }
    }
    LexoResponseMessage response = kFreetalk;  // a sentence without its list of elements
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
        for (const LexoResponseMessage* response : {&kFreetalk, &kGrammar, &kKeywords, &kAnalysis})
            ASSERT_TRUE(ParseResponse(*response, &result));
        if (round == 0) in_use_before = scripted::BytesInUse();
    }
    EXPECT_LT(scripted::BytesInUse(), in_use_before + 10000);
    EXPECT_TRUE(ReleaseResult(&result));
}

}  // namespace
