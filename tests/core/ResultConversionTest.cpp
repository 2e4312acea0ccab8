// Conversion of answers into the public records, for every engine type and every list in them.
#include <gtest/gtest.h>

#include <climits>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>

#include "LexoMessage.pb.h"
#include "RecogResult.h"
#include "ResultBuilders.h"

namespace {

using quorlan::protocol::LexoResponseMessage;

// A record that is released at the end, like a session's.
struct Result : Lexo_RecogResult {
    Result() : Lexo_RecogResult{} {}
    ~Result() { ReleaseResult(this); }
    Result(const Result&) = delete;
    Result& operator=(const Result&) = delete;
};

// ---- Every field, on answers in which no value repeats ----

template <typename Message, typename Record>
void ExpectSpan(const Message& message, const Record& record) {
    EXPECT_EQ(record.nStartTime, message.nstarttime());
    EXPECT_EQ(record.nEndTime, message.nendtime());
}

template <typename Message, typename Record>
void ExpectSentences(const Message& message, const Record& record) {
    ExpectSpan(message, record);
    ASSERT_EQ(record.nResultCount, message.psentenceresults_size());
    for (int i = 0; i < record.nResultCount; ++i) {
        EXPECT_EQ(record.pSentenceResults[i].pszText, message.psentenceresults(i).psztext());
        EXPECT_EQ(record.pSentenceResults[i].nScore, message.psentenceresults(i).nscore());
    }
}

template <typename Message, typename Record>
void ExpectElementLists(const Message& message, const Record& record) {
    ASSERT_EQ(record.pElementListResults != nullptr, message.pelementlistresults_size() > 0);
    for (int i = 0; i < message.pelementlistresults_size(); ++i) {
        const auto& from = message.pelementlistresults(i);
        ASSERT_EQ(record.pElementListResults[i].nElementCount, from.pelementlist_size());
        for (int j = 0; j < from.pelementlist_size(); ++j) {
            const auto& element = record.pElementListResults[i].pElementList[j];
            ExpectSpan(from.pelementlist(j), element);
            EXPECT_EQ(element.nScore, from.pelementlist(j).nscore());
            EXPECT_EQ(element.nPosInText, from.pelementlist(j).nposintext());
            EXPECT_EQ(element.nCountInText, from.pelementlist(j).ncountintext());
            EXPECT_EQ(element.nFlag, from.pelementlist(j).nflag());
        }
    }
}

template <typename Keywords>
void ExpectKeywords(const Keywords& messages, int count, const Lexo_Keyword* records) {
    ASSERT_EQ(count, messages.size());
    for (int i = 0; i < count; ++i) {
        EXPECT_EQ(records[i].nKeywordIndex, messages[i].nkeywordindex());
        EXPECT_EQ(records[i].szText, messages[i].sztext());
        ExpectSpan(messages[i], records[i]);
        EXPECT_EQ(records[i].nScore, messages[i].nscore());
    }
}

TEST(ResultConversionTest, Freetalk) {
    for (const int elements : {0, 1, 3}) {
        const LexoResponseMessage response = scripted::FreetalkResult(3, 2, elements);
        Result result;
        ASSERT_TRUE(ParseResponse(response, &result));
        EXPECT_EQ(result.nEngineType, LEXO_ENGINE_FREETALK);
        ASSERT_EQ(result.sFreetalkResult.nSegmentCount, 3);
        for (int i = 0; i < 3; ++i) {
            const auto& message = response.sfreetalkresult().psegmentlist(i);
            ExpectSentences(message, result.sFreetalkResult.pSegmentList[i]);
            ExpectElementLists(message, result.sFreetalkResult.pSegmentList[i]);
        }
    }
}

TEST(ResultConversionTest, Grammar) {
    const LexoResponseMessage response = scripted::GrammarResult(2, 3);
    Result result;
    ASSERT_TRUE(ParseResponse(response, &result));
    EXPECT_EQ(result.nEngineType, LEXO_ENGINE_GRAMMAR);
    ASSERT_EQ(result.sGrammarResult.nSegmentCount, 2);
    for (int i = 0; i < 2; ++i) {
        ExpectSentences(response.sgrammarresult().psegmentresults(i),
                        result.sGrammarResult.pSegmentResults[i]);
    }
}

TEST(ResultConversionTest, Keywordspot) {
    const LexoResponseMessage response = scripted::KeywordResult(3);
    Result result;
    ASSERT_TRUE(ParseResponse(response, &result));
    EXPECT_EQ(result.nEngineType, LEXO_ENGINE_KEYWORDSPOT);
    ExpectKeywords(response.skeywordspotresult().pkeywordresults(),
                   result.sKeywordspotResult.nKeywordCount,
                   result.sKeywordspotResult.pKeywordResults);
}

TEST(ResultConversionTest, Analysis) {
    const scripted::AnalysisShape shape = {
        .silences = 2, .segments = 3, .sentences = 2, .elements = 2, .emotions = 4, .keywords = 2};
    const LexoResponseMessage response = scripted::AnalysisResult(shape);
    Result result;
    ASSERT_TRUE(ParseResponse(response, &result));
    EXPECT_EQ(result.nEngineType, LEXO_ENGINE_ANALYSIS);
    ASSERT_EQ(result.sAnalysisResult.nSilenceCount, 2);
    for (int i = 0; i < 2; ++i) {
        ExpectSpan(response.sanalysisresult().psilenceresults(i),
                   result.sAnalysisResult.pSilenceResults[i]);
    }
    ASSERT_EQ(result.sAnalysisResult.nSegmentCount, 3);
    for (int i = 0; i < 3; ++i) {
        const auto& message = response.sanalysisresult().psegmentresults(i);
        const Lexo_Analysis_Segment& segment = result.sAnalysisResult.pSegmentResults[i];
        ExpectSentences(message, segment);
        ExpectElementLists(message, segment);
        EXPECT_EQ(segment.nRole, i);
        for (int j = 0; j < 2; ++j) {
            EXPECT_EQ(segment.pSentenceResults[j].fSpeed, message.psentenceresults(j).fspeed());
        }
        ASSERT_EQ(segment.nEmotionCount, 4);
        for (int j = 0; j < 4; ++j) {
            ExpectSpan(message.pemotionresults(j), segment.pEmotionResults[j]);
            EXPECT_EQ(segment.pEmotionResults[j].nScore, message.pemotionresults(j).nscore());
            EXPECT_EQ(segment.pEmotionResults[j].nEmotion, j);
        }
        ExpectKeywords(message.pkeywordresults(), segment.nKeywordCount, segment.pKeywordResults);
    }
}

// ---- Every count, against a list of two entries ----

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
            Result result;
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
            Result result;
            EXPECT_EXIT(ParseResponse(response, &result), ::testing::KilledBySignal(SIGABRT),
                        "CHECK failed: \\(index\\) < \\(size\\(\\)\\): ");
        }
    }
}

TEST(ResultCountDeathTest, ElementListsForSomeSentencesOnly) {
    LexoResponseMessage response = scripted::FreetalkResult(1, 2, 2);
    auto* const segment = response.mutable_sfreetalkresult()->mutable_psegmentlist(0);
    segment->mutable_pelementlistresults()->RemoveLast();
    Result result;
    EXPECT_EXIT(ParseResponse(response, &result), ::testing::KilledBySignal(SIGABRT),
                "CHECK failed: \\(index\\) < \\(size\\(\\)\\): ");
}

// ---- Texts and numbers that are out of the ordinary ----

TEST(ResultConversionTest, KeywordTextsAreCutToTheirArray) {
    for (const std::size_t length : {0u, 1u, 254u, 255u, 256u, 300u, 100000u}) {
        LexoResponseMessage response = scripted::KeywordResult(2);
        const std::string text(length, 'k');
        response.mutable_skeywordspotresult()->mutable_pkeywordresults(0)->set_sztext(text);
        Result result;
        ASSERT_TRUE(ParseResponse(response, &result));
        EXPECT_EQ(result.sKeywordspotResult.pKeywordResults[0].szText, text.substr(0, 255));
        ExpectSpan(response.skeywordspotresult().pkeywordresults(0),
                   result.sKeywordspotResult.pKeywordResults[0]);
    }
}

std::string Varint(int field, std::uint64_t value) {
    std::string bytes(1, static_cast<char>(field << 3));
    for (; value >= 0x80; value >>= 7) {
        bytes.push_back(static_cast<char>(value | 0x80));
    }
    bytes.push_back(static_cast<char>(value));
    return bytes;
}

std::string Nested(int field, const std::string& content) {
    return std::string{static_cast<char>(field << 3 | 2), static_cast<char>(content.size())} +
           content;
}

LexoResponseMessage Parsed(const std::string& bytes) {
    LexoResponseMessage response;
    EXPECT_TRUE(response.ParseFromString(bytes));
    return response;
}

constexpr int kEngineTypeField = LexoResponseMessage::kNenginetypeFieldNumber;

TEST(ResultConversionTest, UnknownRolesAndEmotionsReadAsTheFirst) {
    using Segment = LexoResponseMessage::Lexo_Analysis_Segment;
    using Emotion = LexoResponseMessage::Lexo_Analysis_Emotion;
    for (const std::uint64_t number : {std::uint64_t{9}, ~std::uint64_t{0}}) {
        const std::string segment = Varint(Segment::kNroleFieldNumber, number) +
                                    Varint(Segment::kNemotioncountFieldNumber, 1) +
                                    Nested(Segment::kPemotionresultsFieldNumber,
                                           Varint(Emotion::kNemotionFieldNumber, number));
        const std::string analysis =
            Varint(LexoResponseMessage::Lexo_Analysis_Result::kNsegmentcountFieldNumber, 1) +
            Nested(LexoResponseMessage::Lexo_Analysis_Result::kPsegmentresultsFieldNumber, segment);
        Result result;
        ASSERT_TRUE(ParseResponse(
            Parsed(Varint(kEngineTypeField, LEXO_ENGINE_ANALYSIS) +
                   Nested(LexoResponseMessage::kSanalysisresultFieldNumber, analysis)),
            &result));
        const Lexo_Analysis_Segment& record = result.sAnalysisResult.pSegmentResults[0];
        EXPECT_EQ(record.nRole, LEXO_ROLE_UNKNOWN);
        EXPECT_EQ(record.pEmotionResults[0].nEmotion, LEXO_EMOTION_HAPPY);
    }
}

// The parser hides a number that its enumeration lacks, and the getter would say free talk.
TEST(ResultConversionTest, UnknownEngineTypeIsRefused) {
    LexoResponseMessage freetalk = scripted::FreetalkResult(1, 1, 0);
    freetalk.clear_nenginetype();
    const struct {
        std::string bytes;
        int type;
    } cases[] = {
        {Varint(kEngineTypeField, 4), 4},
        {Varint(kEngineTypeField, 7), 7},
        {Varint(kEngineTypeField, ~std::uint64_t{0}), -1},
        {Varint(kEngineTypeField, INT_MAX), INT_MAX},
        {Varint(kEngineTypeField, 0xFFFFFFFF80000000), INT_MIN},
        // Among other fields that nobody knows.
        {Varint(15, 1) + Nested(14, "abc") + Varint(kEngineTypeField, 5) + Varint(13, 2), 5},
        {Varint(kEngineTypeField, 6) + freetalk.SerializeAsString(), 6},
    };
    for (const auto& c : cases) {
        const LexoResponseMessage response = Parsed(c.bytes);
        EXPECT_EQ(EngineTypeInAnswer(response), c.type);
        Result result;
        ASSERT_TRUE(ParseResponse(scripted::KeywordResult(2), &result));
        const Lexo_RecogResult before = result;
        EXPECT_FALSE(ParseResponse(response, &result)) << c.type;
        EXPECT_EQ(std::memcmp(&before, static_cast<Lexo_RecogResult*>(&result), sizeof before), 0)
            << c.type;
    }
}

TEST(ResultConversionTest, UnknownFieldsBesideAKnownEngineType) {
    // The content of an unknown text looks like the engine type's field.
    const LexoResponseMessage response =
        Parsed(Nested(14, Varint(kEngineTypeField, 9)) + Varint(15, 9) +
               Varint(kEngineTypeField, LEXO_ENGINE_GRAMMAR));
    EXPECT_EQ(EngineTypeInAnswer(response), LEXO_ENGINE_GRAMMAR);
    Result result;
    EXPECT_TRUE(ParseResponse(response, &result));
    EXPECT_EQ(result.nEngineType, LEXO_ENGINE_GRAMMAR);
    EXPECT_EQ(result.sGrammarResult.pSegmentResults, nullptr);
}

TEST(ResultConversionTest, AnswerWithoutAResultIsAnEmptyFreetalkResult) {
    Result result;
    ASSERT_TRUE(ParseResponse(scripted::AnalysisResult({.silences = 2, .keywords = 2}), &result));
    EXPECT_TRUE(ParseResponse(LexoResponseMessage(), &result));
    const Lexo_RecogResult empty{};
    EXPECT_EQ(std::memcmp(&empty, static_cast<Lexo_RecogResult*>(&result), sizeof empty), 0);
}

}  // namespace
