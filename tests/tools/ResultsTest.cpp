// What the formats make of the engine's records.
#include <gtest/gtest.h>

#include <climits>
#include <nlohmann/json.hpp>

#include "PlainText.h"
#include "ResultFormatter.h"
#include "ResultLines.h"

namespace recognize {
namespace {

using Json = nlohmann::json;

char g_hello[] = "hello world";
char g_hallo[] = "a\n\n<b>";
char g_bad[] = "caf\xE9";
char g_blank[] = " ";

// Four segments of free talk: two sentences and two words; text that is not UTF-8; a blank one; and
// one before all others.
struct Freetalk {
    Lexo_Freetalk_Sentence sentences[5] = {
        {g_hello, 90}, {g_hallo, 70}, {g_bad, 1}, {g_blank, 1}, {g_hallo, 1}};
    Lexo_Freetalk_Element words[2] = {{1000, 1400, 80, 0, 5, 1}, {1500, 2100, 85, 6, 5, 2}};
    Lexo_Freetalk_ElementList lists[2] = {{2, words}, {0, nullptr}};
    Lexo_Freetalk_Segment segments[4] = {{0, 0, 2, sentences, lists},
                                         {3661001, 3661001, 1, sentences + 2, nullptr},
                                         {3661002, 3661003, 1, sentences + 3, nullptr},
                                         {-5, -1, 1, sentences + 4, nullptr}};
    Lexo_RecogResult result{};
    Freetalk() { result.sFreetalkResult = {4, segments}; }
};

// One of everything that an analysis tells.
struct Analysis {
    Lexo_Analysis_Silence_Result silence = {0, 400};
    Lexo_Analysis_Sentence sentence = {g_hello, 90, 3.5F};
    Lexo_Analysis_Element element = {500, 900, 1, 2, 3, 4};
    Lexo_Analysis_ElementList list = {1, &element};
    Lexo_Analysis_Emotion emotion = {500, 900, 60, LEXO_EMOTION_ANGRY};
    Lexo_Keyword keyword = {7, "<no>", 500, 700, 88};
    Lexo_Analysis_Segment segment = {500,   900, LEXO_ROLE_AGENT, 1, &sentence,
                                     &list, 1,   &emotion,        1, &keyword};
    Lexo_RecogResult result{LEXO_ENGINE_ANALYSIS, {}};
    Analysis() { result.sAnalysisResult = {1, &silence, 1, &segment}; }
};

Lexo_RecogResult Keywords(int count, Lexo_Keyword* keywords) {
    Lexo_RecogResult result{LEXO_ENGINE_KEYWORDSPOT, {}};
    result.sKeywordspotResult = {count, keywords};
    return result;
}

FileContext Context(bool verbose = false) {
    return {"caf\xE9\x7F", "asr.cloud.freetalk", 0, 1, verbose};
}

std::string Text(const Lexo_RecogResult& result, bool verbose = false) {
    return MakeTextFormatter(Context(verbose))->Add(result);
}

Json JsonOf(const Lexo_RecogResult& result) {
    const auto formatter = MakeJsonFormatter(Context());
    EXPECT_EQ(formatter->Add(result), "");
    return Json::parse(formatter->Finish({})).at("results").at(0);
}

TEST(TextResults, ShowTheWordsAndLittleElse) {
    Lexo_Keyword keyword = Analysis().keyword;
    EXPECT_EQ(Text(Freetalk().result), "hello world\n  or: a  <b>\ncaf\xE9\n \na  <b>\n");
    EXPECT_TRUE(Text(Freetalk().result, true)
                    .starts_with("[00:01.000 - 00:02.100] hello world  (score 90)\n"
                                 "[00:01.000 - 00:01.400]     hello  (score 80)\n"
                                 "[00:01.500 - 00:02.100]     world  (score 85)\n"));
    EXPECT_EQ(Text(Analysis().result),
              "agent: hello world\n  emotion: angry\n"
              "  keyword: [00:00.500 - 00:00.700] <no>  (score 88)\n");
    EXPECT_TRUE(Text(Analysis().result, true).ends_with("[00:00.000 - 00:00.400] (silence)\n"));
    EXPECT_EQ(Text(Keywords(1, &keyword)), "[00:00.500 - 00:00.700] <no>  (score 88)\n");
    FileContext context = Context();
    EXPECT_EQ(MakeTextFormatter(context)->Begin(), "");
    context.count = 2;
    EXPECT_EQ(MakeTextFormatter(context)->Begin(), "==> caf\xE9\\x7f <==\n");
}

TEST(SubtitleResults, AreBlocksThatNoPlayerRefuses) {
    Lexo_Keyword keyword = Analysis().keyword;
    EXPECT_EQ(MakeSrtFormatter(Context())->Add(Freetalk().result),
              "1\n00:00:01,000 --> 00:00:02,100\nhello world\n\n"
              "2\n01:01:01,001 --> 01:01:01,002\ncaf\xE9\n\n"
              "3\n01:01:01,001 --> 01:01:01,002\na  <b>\n\n");
    const auto srt = MakeSrtFormatter(Context());
    EXPECT_EQ(srt->Add(Analysis().result), "");
    EXPECT_EQ(srt->Finish({}), "1\n00:00:00,500 --> 00:00:00,900\nagent: hello world\n\n");
    const auto vtt = MakeVttFormatter(Context());
    EXPECT_EQ(vtt->Begin(), "WEBVTT\n\n");
    EXPECT_EQ(vtt->Add(Keywords(1, &keyword)),
              "00:00:00.500 --> 00:00:00.700\n&lt;no&gt; (88)\n\n");
    keyword.nStartTime = INT_MAX;
    EXPECT_EQ(vtt->Add(Keywords(1, &keyword)),
              "596:31:23.646 --> 596:31:23.647\n&lt;no&gt; (88)\n\n");
}

TEST(SubtitleResults, OfSpeakersWhoInterruptEachOtherComeByTheirStarts) {
    Analysis interruption;
    Analysis speech;
    speech.segment.nStartTime = 100;
    const auto vtt = MakeVttFormatter(Context());
    EXPECT_EQ(vtt->Add(interruption.result) + vtt->Add(speech.result), "");
    EXPECT_EQ(vtt->Finish({}),
              "00:00:00.100 --> 00:00:00.900\n<v agent>hello world\n\n"
              "00:00:00.500 --> 00:00:00.900\n<v agent>hello world\n\n");
}

TEST(JsonResults, HoldEveryFieldOfTheRecords) {
    Freetalk freetalk;
    freetalk.result.sFreetalkResult = {1, freetalk.segments + 1};
    EXPECT_EQ(JsonOf(freetalk.result), Json::parse(R"({"nenginetype": 0, "sfreetalkresult": {
        "nsegmentcount": 1, "psegmentlist": [{"nstarttime": 3661001, "nendtime": 3661001,
            "nresultcount": 1, "psentenceresults": [
                {"psztext": "caf\ufffd", "psztext_hex": "636166e9", "nscore": 1}],
            "pelementlistresults": null}]}})"));
    EXPECT_EQ(JsonOf(Analysis().result), Json::parse(R"({"nenginetype": 3, "sanalysisresult": {
        "nsilencecount": 1, "psilenceresults": [{"nstarttime": 0, "nendtime": 400}],
        "nsegmentcount": 1, "psegmentresults": [{"nstarttime": 500, "nendtime": 900, "nrole": 1,
            "nresultcount": 1,
            "psentenceresults": [{"psztext": "hello world", "nscore": 90, "fspeed": 3.5}],
            "pelementlistresults": [{"nelementcount": 1, "pelementlist": [{"nstarttime": 500,
                "nendtime": 900, "nscore": 1, "nposintext": 2, "ncountintext": 3, "nflag": 4}]}],
            "nemotioncount": 1, "pemotionresults": [
                {"nstarttime": 500, "nendtime": 900, "nscore": 60, "nemotion": 1}],
            "nkeywordcount": 1, "pkeywordresults": [{"nkeywordindex": 7, "sztext": "<no>",
                "nstarttime": 500, "nendtime": 700, "nscore": 88}]}]}})"));
    Lexo_Grammar_Sentence_Result sentence = {g_hello, 5};
    Lexo_Grammar_Segment_Result segment = {1, 2, 1, &sentence};
    Lexo_RecogResult grammar{LEXO_ENGINE_GRAMMAR, {}};
    grammar.sGrammarResult = {1, &segment};
    EXPECT_EQ(JsonOf(grammar), Json::parse(R"({"nenginetype": 1, "sgrammarresult": {
        "nsegmentcount": 1, "psegmentresults": [{"nstarttime": 1, "nendtime": 2, "nresultcount": 1,
            "psentenceresults": [{"psztext": "hello world", "nscore": 5}]}]}})"));
    EXPECT_EQ(JsonOf(Keywords(-3, nullptr)), Json::parse(R"({"nenginetype": 2,
        "skeywordspotresult": {"nkeywordcount": -3, "pkeywordresults": null}})"));
}

TEST(JsonResults, TellAboutTheFileOnOneHarmlessLine) {
    FileOutcome outcome{1.5, 0.25, "is cut \xC2\x9B", Failure{LEXO_ERR_NONE, "no audio"}};
    EXPECT_EQ(MakeJsonFormatter(Context())->Finish(outcome),
              "{\"file\":\"caf\uFFFD\\u007f\",\"file_hex\":\"636166e97f\","
              "\"capability\":\"asr.cloud.freetalk\",\"audio_seconds\":1.5,"
              "\"elapsed_seconds\":0.25,\"results\":[],\"warning\":\"is cut \\u009b\","
              "\"error\":{\"name\":null,\"meaning\":\"no audio\"}}\n");
}

TEST(PlainText, HasNoControlCharacters) {
    EXPECT_EQ(
        PlainText("a\tb\r\nc\x1b\x7F\xC2\x9B\x9B\x01 \xC3\xA9\xE4\xBD\xA0\xF0\x9F\x98\x80\xE9"),
        "a\tb  c\\x1b\\x7f\\x9b\\x9b\\x01 \xC3\xA9\xE4\xBD\xA0\xF0\x9F\x98\x80\xE9");
}

}  // namespace
}  // namespace recognize
