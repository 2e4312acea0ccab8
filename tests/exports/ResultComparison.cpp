#include "ResultComparison.h"

#include <gtest/gtest.h>

namespace {

namespace protocol = quorlan::protocol;

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

}  // namespace

void ExpectEqual(const Lexo_RecogResult& result,
                 const quorlan::protocol::LexoResponseMessage& sent) {
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
