// What the formats make of the engine's records.
#include <gtest/gtest.h>

#include <cstring>
#include <nlohmann/json.hpp>

#include "ResultFormatter.h"
#include "ResultLines.h"

namespace recognize {
namespace {

using Json = nlohmann::json;

char g_hello[] = "hello world";
char g_hallo[] = "hallo world";
char g_bad[] = "caf\xE9 \xFF";
char g_lines[] = "one\n\ntwo";
char g_blank[] = " ";

// A free-talk result with what a test needs; the arrays are the test's own.
Lexo_RecogResult Freetalk(int count, Lexo_Freetalk_Segment* segments) {
    Lexo_RecogResult result{};
    result.nEngineType = LEXO_ENGINE_FREETALK;
    result.sFreetalkResult = {count, segments};
    return result;
}

// Two sentences, of which the best has two words.
struct TwoSentences {
    Lexo_Freetalk_Sentence sentences[2] = {{g_hello, 90}, {g_hallo, 70}};
    Lexo_Freetalk_Element words[2] = {{1000, 1400, 80, 0, 5, 1}, {1500, 2100, 85, 6, 5, 2}};
    Lexo_Freetalk_ElementList lists[2] = {{2, words}, {0, nullptr}};
    Lexo_Freetalk_Segment segment = {1000, 2100, 2, sentences, lists};
    Lexo_RecogResult result = Freetalk(1, &segment);
};

// One of everything that an analysis tells.
struct WholeAnalysis {
    Lexo_Analysis_Silence_Result silence = {0, 400};
    Lexo_Analysis_Sentence sentence = {g_hello, 90, 3.5F};
    Lexo_Analysis_Element element = {500, 900, 1, 2, 3, 4};
    Lexo_Analysis_ElementList list = {1, &element};
    Lexo_Analysis_Emotion emotion = {500, 900, 60, LEXO_EMOTION_ANGRY};
    Lexo_Keyword keyword = {7, "hello", 500, 700, 88};
    Lexo_Analysis_Segment segment = {500,   900, LEXO_ROLE_AGENT, 1, &sentence,
                                     &list, 1,   &emotion,        1, &keyword};
    Lexo_RecogResult result{};

    WholeAnalysis() {
        result.nEngineType = LEXO_ENGINE_ANALYSIS;
        result.sAnalysisResult = {1, &silence, 1, &segment};
    }
};

FileContext Context(bool verbose = false) {
    return {"a.wav", "asr.cloud.freetalk", 0, 1, verbose};
}

Json JsonOf(const Lexo_RecogResult& result) {
    const auto formatter = MakeJsonFormatter(Context());
    EXPECT_EQ(formatter->Add(result), "");
    return Json::parse(formatter->Finish({})).at("results").at(0);
}

TEST(TextResults, ShowTheWordsAndLittleElse) {
    const TwoSentences two;
    EXPECT_EQ(MakeTextFormatter(Context())->Add(two.result), "hello world\n  or: hallo world\n");
    EXPECT_EQ(MakeTextFormatter(Context(true))->Add(two.result),
              "[00:01.000 - 00:02.100] hello world  (score 90)\n"
              "[00:01.000 - 00:01.400]     hello  (score 80)\n"
              "[00:01.500 - 00:02.100]     world  (score 85)\n"
              "[00:01.000 - 00:02.100]   or: hallo world  (score 70)\n");

    const WholeAnalysis analysis;
    EXPECT_EQ(MakeTextFormatter(Context())->Add(analysis.result),
              "agent: hello world\n  emotion: angry\n"
              "  keyword: [00:00.500 - 00:00.700] hello  (score 88)\n");
    EXPECT_NE(MakeTextFormatter(Context(true))
                  ->Add(analysis.result)
                  .find("[00:00.000 - 00:00.400] (silence)\n"),
              std::string::npos);

    Lexo_Freetalk_Sentence sentence = {g_lines, 1};
    Lexo_Freetalk_Segment segments[] = {{0, 1, 1, &sentence, nullptr},
                                        {0, 0, -1, nullptr, nullptr}};
    EXPECT_EQ(MakeTextFormatter(Context())->Add(Freetalk(2, segments)), "one  two\n");
    EXPECT_EQ(MakeTextFormatter(Context())->Add(Freetalk(-1, nullptr)), "");
}

TEST(TextResults, HaveAHeaderForEachOfSeveralFiles) {
    FileContext context = Context();
    EXPECT_EQ(MakeTextFormatter(context)->Begin(), "");
    context.count = 2;
    EXPECT_EQ(MakeTextFormatter(context)->Begin(), "==> a.wav <==\n");
    context.index = 1;
    EXPECT_EQ(MakeTextFormatter(context)->Begin(), "\n==> a.wav <==\n");
}

TEST(SrtResults, AreNumberedBlocksThatNoPlayerRefuses) {
    Lexo_Freetalk_Sentence sentences[] = {{g_hello, 1}, {g_lines, 1}, {g_blank, 1}};
    Lexo_Freetalk_Element words[] = {{3600000, 3600500, 0, 0, 0, 0}, {0, 3661001, 0, 0, 0, 0}};
    Lexo_Freetalk_ElementList list = {2, words};
    Lexo_Freetalk_Segment segments[] = {
        {500, 1234, 1, &sentences[0], nullptr},  {2000, 2000, 1, &sentences[1], nullptr},
        {2500, 3000, 1, &sentences[2], nullptr},  // blank: no block
        {0, 0, 1, &sentences[0], &list},          // times of the words
        {-5, -1, 1, &sentences[0], nullptr},      // never backwards
    };
    const auto formatter = MakeSrtFormatter(Context());
    EXPECT_EQ(formatter->Add(Freetalk(4, segments)),
              "1\n00:00:00,500 --> 00:00:01,234\nhello world\n\n"
              "2\n00:00:02,000 --> 00:00:02,001\none  two\n\n"
              "3\n01:00:00,000 --> 01:01:01,001\nhello world\n\n");
    EXPECT_EQ(formatter->Add(Freetalk(1, segments + 4)),
              "4\n01:00:00,000 --> 01:00:00,001\nhello world\n\n");
}

TEST(SrtResults, ShowSpottedKeywordsAndRoles) {
    Lexo_Keyword keywords[] = {{0, "yes", 100, 300, 50}, {1, "<no>", 400, 600, 50}};
    Lexo_RecogResult result{};
    result.nEngineType = LEXO_ENGINE_KEYWORDSPOT;
    result.sKeywordspotResult = {2, keywords};
    EXPECT_EQ(MakeSrtFormatter(Context())->Add(result),
              "1\n00:00:00,100 --> 00:00:00,300\nyes (50)\n\n2\n00:00:00,400 --> "
              "00:00:00,600\n<no> (50)\n\n");
    EXPECT_EQ(MakeVttFormatter(Context())->Begin(), "WEBVTT\n\n");
    EXPECT_EQ(MakeVttFormatter(Context())->Add(result),
              "00:00:00.100 --> 00:00:00.300\nyes (50)\n\n00:00:00.400 --> "
              "00:00:00.600\n&lt;no&gt; (50)\n\n");
    EXPECT_EQ(
        MakeTextFormatter(Context())->Add(result),
        "[00:00.100 - 00:00.300] yes  (score 50)\n[00:00.400 - 00:00.600] <no>  (score 50)\n");
    const WholeAnalysis analysis;
    EXPECT_EQ(MakeSrtFormatter(Context())->Add(analysis.result),
              "1\n00:00:00,500 --> 00:00:00,900\nagent: hello world\n\n");
    EXPECT_EQ(MakeVttFormatter(Context())->Add(analysis.result),
              "00:00:00.500 --> 00:00:00.900\n<v agent>hello world\n\n");
}

TEST(JsonResults, HoldEveryFieldOfTheRecords) {
    const TwoSentences two;
    EXPECT_EQ(JsonOf(two.result), Json::parse(R"({"nenginetype": 0, "sfreetalkresult": {
        "nsegmentcount": 1, "psegmentlist": [{"nstarttime": 1000, "nendtime": 2100,
            "nresultcount": 2,
            "psentenceresults": [{"psztext": "hello world", "nscore": 90},
                                 {"psztext": "hallo world", "nscore": 70}],
            "pelementlistresults": [{"nelementcount": 2, "pelementlist": [
                {"nstarttime": 1000, "nendtime": 1400, "nscore": 80, "nposintext": 0,
                 "ncountintext": 5, "nflag": 1},
                {"nstarttime": 1500, "nendtime": 2100, "nscore": 85, "nposintext": 6,
                 "ncountintext": 5, "nflag": 2}]},
                {"nelementcount": 0, "pelementlist": null}]}]}})"));

    const WholeAnalysis analysis;
    EXPECT_EQ(JsonOf(analysis.result), Json::parse(R"({"nenginetype": 3, "sanalysisresult": {
        "nsilencecount": 1, "psilenceresults": [{"nstarttime": 0, "nendtime": 400}],
        "nsegmentcount": 1, "psegmentresults": [{"nstarttime": 500, "nendtime": 900, "nrole": 1,
            "nresultcount": 1,
            "psentenceresults": [{"psztext": "hello world", "nscore": 90, "fspeed": 3.5}],
            "pelementlistresults": [{"nelementcount": 1, "pelementlist": [
                {"nstarttime": 500, "nendtime": 900, "nscore": 1, "nposintext": 2,
                 "ncountintext": 3, "nflag": 4}]}],
            "nemotioncount": 1, "pemotionresults": [
                {"nstarttime": 500, "nendtime": 900, "nscore": 60, "nemotion": 1}],
            "nkeywordcount": 1, "pkeywordresults": [
                {"nkeywordindex": 7, "sztext": "hello", "nstarttime": 500, "nendtime": 700,
                 "nscore": 88}]}]}})"));

    Lexo_Grammar_Sentence_Result sentence = {g_hello, 5};
    Lexo_Grammar_Segment_Result segment = {1, 2, 1, &sentence};
    Lexo_RecogResult grammar{};
    grammar.nEngineType = LEXO_ENGINE_GRAMMAR;
    grammar.sGrammarResult = {1, &segment};
    EXPECT_EQ(JsonOf(grammar), Json::parse(R"({"nenginetype": 1, "sgrammarresult": {
        "nsegmentcount": 1, "psegmentresults": [{"nstarttime": 1, "nendtime": 2, "nresultcount": 1,
            "psentenceresults": [{"psztext": "hello world", "nscore": 5}]}]}})"));

    Lexo_RecogResult keywords{};
    keywords.nEngineType = LEXO_ENGINE_KEYWORDSPOT;
    keywords.sKeywordspotResult = {-3, nullptr};
    EXPECT_EQ(JsonOf(keywords), Json::parse(R"({"nenginetype": 2, "skeywordspotresult":
        {"nkeywordcount": -3, "pkeywordresults": null}})"));
}

TEST(JsonResults, KeepTheBytesOfTextThatIsNotUtf8) {
    Lexo_Freetalk_Sentence sentences[] = {{g_bad, 1}, {nullptr, 2}};
    Lexo_Freetalk_Segment segment = {0, 1, 2, sentences, nullptr};
    const Json shown = JsonOf(Freetalk(1, &segment)).at("sfreetalkresult").at("psegmentlist").at(0);
    const Json& sentence = shown.at("psentenceresults").at(0);
    EXPECT_EQ(sentence.at("psztext"), "caf\uFFFD \uFFFD");
    EXPECT_EQ(sentence.at("psztext_hex"), "636166e920ff");
    EXPECT_TRUE(shown.at("psentenceresults").at(1).at("psztext").is_null());
    EXPECT_TRUE(shown.at("pelementlistresults").is_null());
}

TEST(JsonResults, TellAboutTheFile) {
    FileContext context = Context();
    context.file = "caf\xE9.wav";
    FileOutcome outcome;
    outcome.audio_seconds = 1.5;
    outcome.elapsed_seconds = 0.25;
    outcome.failure = Failure{LEXO_ERR_NETWORK_FAILED, "no exchange"};
    const std::string line = MakeJsonFormatter(context)->Finish(outcome);
    EXPECT_EQ(line.find('\n'), line.size() - 1);
    EXPECT_EQ(Json::parse(line),
              Json::parse(R"({"file": "caf\ufffd.wav", "file_hex": "636166e92e776176",
        "capability": "asr.cloud.freetalk", "audio_seconds": 1.5, "elapsed_seconds": 0.25,
        "results": [], "error": {"name": "LEXO_ERR_NETWORK_FAILED", "meaning": "no exchange"}})"));

    outcome.failure = Failure{LEXO_ERR_NONE, "holds no audio"};
    const Json own = Json::parse(MakeJsonFormatter(context)->Finish(outcome));
    EXPECT_EQ(own.at("error"), Json::parse(R"({"name": null, "meaning": "holds no audio"})"));
}

TEST(ClockTime, CountsHoursOnlyWhenThereAreSome) {
    EXPECT_EQ(ClockTime(-1), "00:00.000");
    EXPECT_EQ(ClockTime(61001), "01:01.001");
    EXPECT_EQ(ClockTime(3599999), "59:59.999");
    EXPECT_EQ(ClockTime(36000000), "10:00:00.000");
}

}  // namespace
}  // namespace recognize
