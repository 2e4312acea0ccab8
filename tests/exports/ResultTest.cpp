// Results of every kind as the host reads them, and their release.
#include <sstream>
#include <string>

#include "ResultBuilders.h"
#include "TestHost.h"

namespace {

using quorlan::protocol::LexoResponseMessage;
using scripted::Answer;

// Appends a record as text: its fields in the order in which the builders number them, lists in
// brackets behind their counts. A list that is null shows no brackets.
template <typename Record>
void Append(std::ostream& out, const Record& one);

template <typename Record>
void AppendList(std::ostream& out, int count, const Record* records) {
    out << count;
    if (records != nullptr) {
        out << "[";
        for (int i = 0; i < count; ++i) Append(out, records[i]);
        out << "]";
    }
    out << " ";
}

template <typename Record>
void Append(std::ostream& out, const Record& one) {
#define FIELD(field) \
    if constexpr (requires { one.field; }) out << one.field << " ";
#define LIST(count, field) \
    if constexpr (requires { one.field; }) AppendList(out, one.count, one.field);
    FIELD(nKeywordIndex)
    FIELD(szText)
    FIELD(pszText)
    FIELD(nStartTime)
    FIELD(nEndTime)
    FIELD(nScore)
    FIELD(nPosInText)
    FIELD(nCountInText)
    FIELD(nFlag)
    FIELD(fSpeed)
    FIELD(nEmotion)
    FIELD(nRole)
    LIST(nElementCount, pElementList)
    LIST(nResultCount, pSentenceResults)
    LIST(nResultCount, pElementListResults)
    LIST(nEmotionCount, pEmotionResults)
    LIST(nKeywordCount, pKeywordResults)
    LIST(nSilenceCount, pSilenceResults)
    LIST(nSegmentCount, pSegmentList)
    LIST(nSegmentCount, pSegmentResults)
#undef FIELD
#undef LIST
}

std::string TextOf(const Lexo_RecogResult* result) {
    std::ostringstream out;
    switch (result->nEngineType) {
        case LEXO_ENGINE_FREETALK:
            Append(out, result->sFreetalkResult);
            break;
        case LEXO_ENGINE_GRAMMAR:
            Append(out, result->sGrammarResult);
            break;
        case LEXO_ENGINE_KEYWORDSPOT:
            Append(out, result->sKeywordspotResult);
            break;
        case LEXO_ENGINE_ANALYSIS:
            Append(out, result->sAnalysisResult);
            break;
    }
    return out.str();
}

class ResultTest : public HostTest {};

LexoResponseMessage WithSegments(LexoResponseMessage message, int count) {
    message.mutable_sfreetalkresult()->set_nsegmentcount(count);
    return message;
}

// Role and emotion outside their enumerations, and a text that looks like an engine type.
LexoResponseMessage WithUnknownFields() {
    LexoResponseMessage message = scripted::AnalysisResult(0, 1, 0, 0, 1, 0);
    auto* segment = message.mutable_sanalysisresult()->mutable_psegmentresults(0);
    segment->clear_nrole();
    segment->mutable_unknown_fields()->append("\x18\x09");
    segment->mutable_pemotionresults(0)->clear_nemotion();
    segment->mutable_pemotionresults(0)->mutable_unknown_fields()->append("\x20\x09");
    message.mutable_unknown_fields()->append("\x7A\x02\x30\x04");
    return message;
}

TEST_F(ResultTest, EveryFieldArrivesAndTheRecordIsReleased) {
    const struct {
        LexoResponseMessage sent;
        std::string text, released;
    } cases[] = {
        {scripted::FreetalkResult(2, 1, 2),
         "2[101 102 1[sentence 103 104 ] 1[2[105 106 107 108 109 110 111 112 113 114 "
         "115 116 ] ] 117 118 1[sentence 119 120 ] 1[2[121 122 123 124 125 126 127 "
         "128 129 130 131 132 ] ] ] ",
         "0 "},
        {scripted::FreetalkResult(1, 2, 0), "1[101 102 2[sentence 103 104 sentence 105 106 ] 2 ] ",
         "0 "},
        {scripted::FreetalkResult(0, 0, 0), "0 ", "0 "},
        {WithSegments(scripted::FreetalkResult(2, 0, 0), 1), "1[101 102 0 0 ] ", "0 "},
        {WithSegments(scripted::FreetalkResult(2, 0, 0), -4), "-4 ", "0 "},
        {LexoResponseMessage(), "0 ", "0 "},
        {scripted::GrammarResult(2, 2),
         "2[101 102 2[sentence 103 104 sentence 105 106 ] 107 108 2[sentence 109 110 "
         "sentence 111 112 ] ] ",
         "0 "},
        {scripted::KeywordResult(2), "2[101 keyword 102 103 104 105 106 keyword 107 108 109 110 ] ",
         "0 "},
        {scripted::AnalysisResult(2, 2, 1, 1, 2, 1),
         "2[101 102 103 104 ] 2[105 106 0 1[sentence 107 108 109.25 ] 1[1[110 111 "
         "112 113 114 115 ] ] 2[116 117 118 0 119 120 121 1 ] 1[122 keyword 123 124 "
         "125 126 ] 127 128 1 1[sentence 129 130 131.25 ] 1[1[132 133 134 135 136 "
         "137 ] ] 2[138 139 140 0 141 142 143 1 ] 1[144 keyword 145 146 147 148 ] ] ",
         "0 0 "},
        {WithUnknownFields(), "0 1[101 102 0 0 0 1[103 104 105 0 ] 0 ] ", "0 0 "},
        {scripted::AnalysisResult(0, 1, 0, 0, 0, 0), "0 1[101 102 0 0 0 0 0 ] ", "0 0 "},
    };
    Session session("freetalk");
    for (const auto& one : cases) {
        const Lexo_RecogResult* result = Deliver(session, one.sent);
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(static_cast<int>(result->nEngineType), static_cast<int>(one.sent.nenginetype()));
        EXPECT_EQ(TextOf(result), one.text);
        EXPECT_EQ(session.GetResult(), result) << "asking again gives the same address";
        EXPECT_EQ(session.FreeResult(), LEXO_ERR_NONE);
        EXPECT_EQ(TextOf(result), one.released);
    }
}

TEST_F(ResultTest, TextsPassUnchangedButKeywordsAreCutAt255Bytes) {
    Session session("freetalk");
    for (const std::string& text :
         {std::string(), std::string("\xC4\xE3\xBA\xC3 \xFF %s"), std::string("u\0u", 3),
          std::string(255, 'v'), std::string(256, 'w'), std::string(1 << 20, 'x')}) {
        LexoResponseMessage sent = scripted::FreetalkResult(1, 1, 0);
        auto* segment = sent.mutable_sfreetalkresult()->mutable_psegmentlist(0);
        segment->mutable_psentenceresults(0)->set_psztext(text);
        const Lexo_RecogResult* result = Deliver(session, sent);
        EXPECT_STREQ(result->sFreetalkResult.pSegmentList[0].pSentenceResults[0].pszText,
                     text.c_str());
        EXPECT_EQ(session.FreeResult(), LEXO_ERR_NONE);
        sent = scripted::KeywordResult(1);
        sent.mutable_skeywordspotresult()->mutable_pkeywordresults(0)->set_sztext(text);
        result = Deliver(session, sent);
        std::string array = text.substr(0, 255).c_str();
        array.resize(256);  // with zeros
        EXPECT_EQ(std::string(result->sKeywordspotResult.pKeywordResults[0].szText, 256), array);
        EXPECT_EQ(session.FreeResult(), LEXO_ERR_NONE);
    }
}

TEST_F(ResultTest, OnlyTheLentAddressIsTakenBack) {
    Session session("grammar");
    Session other("grammar");
    Lexo_RecogResult copy = {};
    Lexo_RecogResult* lent = &copy;
    EXPECT_EQ(orvx_proxy_GetRecogResult(session.Handle(), &lent), LEXO_ERR_GET_RECOG_RESULT_FAILED);
    EXPECT_EQ(lent, &copy);
    EXPECT_EQ(orvx_proxy_FreeRecogResult(session.Handle(), &lent),
              LEXO_ERR_FREE_RECOG_RESULT_FAILED);
    EXPECT_EQ(Logged(), (Lines{"No result", "No result"}));

    const LexoResponseMessage sent = scripted::GrammarResult(1, 2);
    const Lexo_RecogResult* result = Deliver(session, sent);
    copy = *result;
    Lexo_RecogResult* const foreign[] = {&copy, nullptr,
                                         const_cast<Lexo_RecogResult*>(Deliver(other, sent))};
    for (Lexo_RecogResult* one : foreign)
        EXPECT_EQ(orvx_proxy_FreeRecogResult(session.Handle(), &one), LEXO_ERR_PARAM_INVALID);
    EXPECT_EQ(Logged(), Lines{});
    EXPECT_EQ(TextOf(result), TextOf(&copy));
    lent = session.GetResult();
    lent->nEngineType = static_cast<Lexo_EngineType>(4);  // which a host must not do
    EXPECT_EQ(orvx_proxy_FreeRecogResult(session.Handle(), &lent), LEXO_ERR_UNKNOWN);
    EXPECT_EQ(Logged(), Lines{"Unknown result type[4]"});
    lent->nEngineType = LEXO_ENGINE_GRAMMAR;
    EXPECT_EQ(orvx_proxy_FreeRecogResult(session.Handle(), &lent), LEXO_ERR_NONE);
    EXPECT_EQ(lent, result) << "the host's pointer is not changed";
    EXPECT_EQ(orvx_proxy_FreeRecogResult(session.Handle(), &lent),
              LEXO_ERR_FREE_RECOG_RESULT_FAILED);
}

}  // namespace
