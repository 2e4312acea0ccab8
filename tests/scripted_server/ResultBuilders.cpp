#include "ResultBuilders.h"

#include <string>

namespace scripted {
namespace {

using quorlan::protocol::LexoResponseMessage;

// Sets whatever a record has of its plain fields to the next numbers, and texts that contain them.
template <typename Message>
void Fill(Message* message, int* last) {
#define FILL_IF_PRESENT(field, value) \
    if constexpr (requires { message->set_##field(value); }) message->set_##field(value);
    FILL_IF_PRESENT(nkeywordindex, ++*last)
    FILL_IF_PRESENT(sztext, "keyword " + std::to_string(++*last))
    FILL_IF_PRESENT(psztext, "sentence " + std::to_string(++*last))
    FILL_IF_PRESENT(nstarttime, ++*last)
    FILL_IF_PRESENT(nendtime, ++*last)
    FILL_IF_PRESENT(nscore, ++*last)
    FILL_IF_PRESENT(nposintext, ++*last)
    FILL_IF_PRESENT(ncountintext, ++*last)
    FILL_IF_PRESENT(nflag, ++*last)
    FILL_IF_PRESENT(fspeed, static_cast<float>(++*last) + 0.25F)
#undef FILL_IF_PRESENT
}

template <typename List>
void FillList(List* list, int count, int* last) {
    for (int i = 0; i < count; ++i) Fill(list->Add(), last);
}

template <typename Segment>
void FillSegment(Segment* segment, int sentences, int elements, int* last) {
    Fill(segment, last);
    segment->set_nresultcount(sentences);
    FillList(segment->mutable_psentenceresults(), sentences, last);
    if constexpr (requires { segment->add_pelementlistresults(); }) {
        for (int i = 0; elements > 0 && i < sentences; ++i) {
            auto* list = segment->add_pelementlistresults();
            list->set_nelementcount(elements);
            FillList(list->mutable_pelementlist(), elements, last);
        }
    }
}

LexoResponseMessage OfType(quorlan::protocol::LexoResponseMessage_Lexo_EngineType type) {
    LexoResponseMessage response;
    response.set_nenginetype(type);
    return response;
}

}  // namespace

LexoResponseMessage FreetalkResult(int segments, int sentences, int elements) {
    int last = 100;
    LexoResponseMessage response = OfType(LexoResponseMessage::LEXO_ENGINE_FREETALK);
    auto* result = response.mutable_sfreetalkresult();
    result->set_nsegmentcount(segments);
    for (int i = 0; i < segments; ++i)
        FillSegment(result->add_psegmentlist(), sentences, elements, &last);
    return response;
}

LexoResponseMessage GrammarResult(int segments, int sentences) {
    int last = 100;
    LexoResponseMessage response = OfType(LexoResponseMessage::LEXO_ENGINE_GRAMMAR);
    auto* result = response.mutable_sgrammarresult();
    result->set_nresultcount(segments);
    for (int i = 0; i < segments; ++i)
        FillSegment(result->add_psegmentresults(), sentences, 0, &last);
    return response;
}

LexoResponseMessage KeywordResult(int keywords) {
    int last = 100;
    LexoResponseMessage response = OfType(LexoResponseMessage::LEXO_ENGINE_KEYWORDSPOT);
    auto* result = response.mutable_skeywordspotresult();
    result->set_nkeywordcount(keywords);
    FillList(result->mutable_pkeywordresults(), keywords, &last);
    return response;
}

LexoResponseMessage AnalysisResult(int silences, int segments, int sentences, int elements,
                                   int emotions, int keywords) {
    int last = 100;
    LexoResponseMessage response = OfType(LexoResponseMessage::LEXO_ENGINE_ANALYSIS);
    auto* result = response.mutable_sanalysisresult();
    result->set_nsilencecount(silences);
    FillList(result->mutable_psilenceresults(), silences, &last);
    result->set_nsegmentcount(segments);
    for (int i = 0; i < segments; ++i) {
        auto* segment = result->add_psegmentresults();
        segment->set_nrole(LexoResponseMessage::Lexo_RoleType(i % 3));
        FillSegment(segment, sentences, elements, &last);
        segment->set_nemotioncount(emotions);
        FillList(segment->mutable_pemotionresults(), emotions, &last);
        for (int j = 0; j < emotions; ++j) {
            segment->mutable_pemotionresults(j)->set_nemotion(
                LexoResponseMessage::Lexo_EmotionType(j % 4));
        }
        segment->set_nkeywordcount(keywords);
        FillList(segment->mutable_pkeywordresults(), keywords, &last);
    }
    return response;
}

}  // namespace scripted
