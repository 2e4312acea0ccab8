// Conversion of answers into the public records, for every engine type.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <string>

#include "LexoMessage.pb.h"
#include "ResultBuilders.h"
#include "TestResult.h"

namespace {

using quorlan::protocol::LexoResponseMessage;

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
        TestResult result;
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
    TestResult result;
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
    TestResult result;
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
    TestResult result;
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

// ---- Texts and numbers that are out of the ordinary ----

TEST(ResultConversionTest, KeywordTextsAreCutToTheirArray) {
    for (const std::size_t length : {0u, 1u, 254u, 255u, 256u, 300u, 100000u}) {
        LexoResponseMessage response = scripted::KeywordResult(2);
        const std::string text(length, 'k');
        response.mutable_skeywordspotresult()->mutable_pkeywordresults(0)->set_sztext(text);
        TestResult result;
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
        TestResult result;
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
        TestResult result;
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
    TestResult result;
    EXPECT_TRUE(ParseResponse(response, &result));
    EXPECT_EQ(result.nEngineType, LEXO_ENGINE_GRAMMAR);
    EXPECT_EQ(result.sGrammarResult.pSegmentResults, nullptr);
}

TEST(ResultConversionTest, AnswerWithoutAResultIsAnEmptyFreetalkResult) {
    TestResult result;
    ASSERT_TRUE(ParseResponse(scripted::AnalysisResult({.silences = 2, .keywords = 2}), &result));
    EXPECT_TRUE(ParseResponse(LexoResponseMessage(), &result));
    const Lexo_RecogResult empty{};
    EXPECT_EQ(std::memcmp(&empty, static_cast<Lexo_RecogResult*>(&result), sizeof empty), 0);
}

}  // namespace
