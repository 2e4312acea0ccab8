// Counts that disagree with the lists they stand for.
#include <csignal>
#include <functional>
#include <string>
#include <vector>

#include "FreshProcess.h"
#include "ResultBuilders.h"
#include "ResultComparison.h"
#include "TestHost.h"

namespace {

using quorlan::protocol::LexoResponseMessage;

class ResultCountTest : public HostTest {};

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

TEST_F(ResultCountTest, ACountBelowItsListIsBelieved) {
    Session session("freetalk");
    for (CountCase& one : CountsBelowTheirLists()) {
        SCOPED_TRACE(one.name);
        one.change(one.sent);
        ExpectEqual(*Deliver(session, one.sent), one.sent);
        EXPECT_EQ(session.FreeResult(), LEXO_ERR_NONE);
    }
}

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
    server.Then(
        scripted::Answer(has_result ? scripted::EchoResult(sent) : scripted::EchoWith(sent)));
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
