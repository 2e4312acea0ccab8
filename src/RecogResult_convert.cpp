#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/wire_format_lite.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "LexoMessage.pb.h"
#include "RecogResult.h"
#include "StreamPrint.h"

namespace {

using quorlan::protocol::LexoResponseMessage;

// Converts a repeated field into an array of `count` records, each filled by `convert`, and hands
// the array to `*list` before the first record is filled, so that a failure half-way leaks nothing.
template <typename Record, typename Field, typename Convert>
void ConvertList(int count, const Field& field, Record** list, Convert convert) {
    if (count < 1) {
        return;
    }
    if (count > field.size()) {
        PrintOn(stderr, "CHECK failed: (index) < (size()): \n");
        std::abort();
    }
    *list = new Record[static_cast<std::size_t>(count)]();
    for (int i = 0; i < count; ++i) {
        convert(field.Get(i), &(*list)[i]);
    }
}

// Not with strdup: in a host with an allocator of its own that loads the library with
// RTLD_DEEPBIND, the C library would allocate there, and free here would be the C library's own.
char* CopyText(const std::string& text) {
    const std::size_t bytes = std::strlen(text.c_str()) + 1;
    void* const copy = std::malloc(bytes);
    if (copy == nullptr) {
        throw std::bad_alloc();
    }
    return static_cast<char*>(std::memcpy(copy, text.c_str(), bytes));
}

template <typename Message, typename Record>
void ConvertElement(const Message& message, Record* record) {
    record->nStartTime = message.nstarttime();
    record->nEndTime = message.nendtime();
    record->nScore = message.nscore();
    record->nPosInText = message.nposintext();
    record->nCountInText = message.ncountintext();
    record->nFlag = message.nflag();
}

template <typename Message, typename Record>
void ConvertElementList(const Message& message, Record* record) {
    record->nElementCount = message.nelementcount();
    ConvertList(record->nElementCount, message.pelementlist(), &record->pElementList,
                [](const auto& from, auto* to) { ConvertElement(from, to); });
}

// One element list for each sentence, but only if the server sent any.
template <typename Message, typename Record>
void ConvertElementLists(const Message& message, Record* record) {
    if (message.pelementlistresults_size() > 0) {
        ConvertList(record->nResultCount, message.pelementlistresults(),
                    &record->pElementListResults,
                    [](const auto& from, auto* to) { ConvertElementList(from, to); });
    }
}

template <typename Message, typename Record>
void ConvertSentence(const Message& message, Record* record) {
    record->pszText = CopyText(message.psztext());
    record->nScore = message.nscore();
}

// What the segments of free talk, grammar and analysis have in common.
template <typename Message, typename Record>
void ConvertSegmentSentences(const Message& message, Record* record) {
    record->nStartTime = message.nstarttime();
    record->nEndTime = message.nendtime();
    record->nResultCount = message.nresultcount();
    ConvertList(record->nResultCount, message.psentenceresults(), &record->pSentenceResults,
                [](const auto& from, auto* to) { ConvertSentence(from, to); });
}

// A text that does not fit the fixed array is cut; zeros follow the end of one that does.
void ConvertKeyword(const LexoResponseMessage::Lexo_Keyword& message, Lexo_Keyword* record) {
    record->nKeywordIndex = message.nkeywordindex();
    std::strncpy(record->szText, message.sztext().c_str(), sizeof record->szText - 1);
    record->nStartTime = message.nstarttime();
    record->nEndTime = message.nendtime();
    record->nScore = message.nscore();
}

void ConvertFreetalk(const LexoResponseMessage::Lexo_Freetalk_Result& message,
                     Lexo_Freetalk_Result* record) {
    record->nSegmentCount = message.nsegmentcount();
    ConvertList(record->nSegmentCount, message.psegmentlist(), &record->pSegmentList,
                [](const auto& from, auto* to) {
                    ConvertSegmentSentences(from, to);
                    ConvertElementLists(from, to);
                });
}

void ConvertGrammar(const LexoResponseMessage::Lexo_Grammar_Result& message,
                    Lexo_Grammar_Result* record) {
    record->nSegmentCount = message.nresultcount();
    ConvertList(record->nSegmentCount, message.psegmentresults(), &record->pSegmentResults,
                [](const auto& from, auto* to) { ConvertSegmentSentences(from, to); });
}

void ConvertKeywordspot(const LexoResponseMessage::Lexo_Keywordspot_Result& message,
                        Lexo_Keywordspot_Result* record) {
    record->nKeywordCount = message.nkeywordcount();
    ConvertList(record->nKeywordCount, message.pkeywordresults(), &record->pKeywordResults,
                ConvertKeyword);
}

void ConvertSilence(const LexoResponseMessage::Lexo_Analysis_Silence_Result& message,
                    Lexo_Analysis_Silence_Result* record) {
    record->nStartTime = message.nstarttime();
    record->nEndTime = message.nendtime();
}

void ConvertEmotion(const LexoResponseMessage::Lexo_Analysis_Emotion& message,
                    Lexo_Analysis_Emotion* record) {
    record->nStartTime = message.nstarttime();
    record->nEndTime = message.nendtime();
    record->nScore = message.nscore();
    record->nEmotion = static_cast<Lexo_EmotionType>(message.nemotion());
}

void ConvertAnalysisSegment(const LexoResponseMessage::Lexo_Analysis_Segment& message,
                            Lexo_Analysis_Segment* record) {
    // A role or an emotion that is not known reads as 0 already.
    record->nRole = static_cast<Lexo_RoleType>(message.nrole());
    ConvertSegmentSentences(message, record);
    for (int i = 0; i < record->nResultCount; ++i) {
        record->pSentenceResults[i].fSpeed = message.psentenceresults(i).fspeed();
    }
    ConvertElementLists(message, record);
    record->nEmotionCount = message.nemotioncount();
    ConvertList(record->nEmotionCount, message.pemotionresults(), &record->pEmotionResults,
                ConvertEmotion);
    record->nKeywordCount = message.nkeywordcount();
    ConvertList(record->nKeywordCount, message.pkeywordresults(), &record->pKeywordResults,
                ConvertKeyword);
}

void ConvertAnalysis(const LexoResponseMessage::Lexo_Analysis_Result& message,
                     Lexo_Analysis_Result* record) {
    record->nSilenceCount = message.nsilencecount();
    ConvertList(record->nSilenceCount, message.psilenceresults(), &record->pSilenceResults,
                ConvertSilence);
    record->nSegmentCount = message.nsegmentcount();
    ConvertList(record->nSegmentCount, message.psegmentresults(), &record->pSegmentResults,
                ConvertAnalysisSegment);
}

void Convert(const LexoResponseMessage& response, Lexo_RecogResult* result) {
    switch (result->nEngineType) {
        case LEXO_ENGINE_FREETALK:
            ConvertFreetalk(response.sfreetalkresult(), &result->sFreetalkResult);
            break;
        case LEXO_ENGINE_GRAMMAR:
            ConvertGrammar(response.sgrammarresult(), &result->sGrammarResult);
            break;
        case LEXO_ENGINE_KEYWORDSPOT:
            ConvertKeywordspot(response.skeywordspotresult(), &result->sKeywordspotResult);
            break;
        case LEXO_ENGINE_ANALYSIS:
            ConvertAnalysis(response.sanalysisresult(), &result->sAnalysisResult);
            break;
    }
}

}  // namespace

int EngineTypeInAnswer(const LexoResponseMessage& response) {
    // The parser moves a number outside the enumeration to the unknown fields, and the getter then
    // says 0, which would read as free talk. The raw number is the one to judge.
    using google::protobuf::internal::WireFormatLite;
    const std::string& unknown = response.unknown_fields();
    google::protobuf::io::CodedInputStream input(
        reinterpret_cast<const google::protobuf::uint8*>(unknown.data()),
        static_cast<int>(unknown.size()));
    int engine_type = response.nenginetype();
    while (const google::protobuf::uint32 tag = input.ReadTag()) {
        if (tag == WireFormatLite::MakeTag(LexoResponseMessage::kNenginetypeFieldNumber,
                                           WireFormatLite::WIRETYPE_VARINT)) {
            google::protobuf::uint64 number = 0;
            input.ReadVarint64(&number);
            engine_type = static_cast<int>(number);
        } else if (!WireFormatLite::SkipField(&input, tag)) {
            break;
        }
    }
    return engine_type;
}

bool ParseResponse(const LexoResponseMessage& response, Lexo_RecogResult* result) {
    const int engine_type = EngineTypeInAnswer(response);
    if (engine_type < LEXO_ENGINE_FREETALK || engine_type > LEXO_ENGINE_ANALYSIS) {
        return false;
    }
    // An answer that came without a result could not be fetched, and hangs there still.
    ReleaseResult(result);
    std::memset(result, 0, sizeof *result);  // all of the union, not its first member alone
    result->nEngineType = static_cast<Lexo_EngineType>(engine_type);
    try {
        Convert(response, result);
    } catch (const std::bad_alloc&) {
        ReleaseResult(result);  // the host may fetch it: an empty one, no half
        throw;
    }
    return true;
}
