#include "ResultBuilders.h"

#include <string>

namespace scripted {
namespace {

using quorlan::protocol::LexoResponseMessage;
using Keyword = quorlan::protocol::LexoResponseMessage_Lexo_Keyword;

// Numbers and texts that never repeat within one result.
class Values {
  public:
    int Number() { return ++last_; }
    std::string Text(const char* what) { return std::string(what) + std::to_string(Number()); }

  private:
    int last_ = 100;
};

LexoResponseMessage OfType(quorlan::protocol::LexoResponseMessage_Lexo_EngineType type) {
    LexoResponseMessage response;
    response.set_nenginetype(type);
    return response;
}

template <typename Message>
void FillSpan(Message* message, Values& values) {
    message->set_nstarttime(values.Number());
    message->set_nendtime(values.Number());
}

template <typename ElementList>
void FillElementList(ElementList* list, int elements, Values& values) {
    list->set_nelementcount(elements);
    for (int i = 0; i < elements; ++i) {
        auto* element = list->add_pelementlist();
        FillSpan(element, values);
        element->set_nscore(values.Number());
        element->set_nposintext(values.Number());
        element->set_ncountintext(values.Number());
        element->set_nflag(values.Number());
    }
}

template <typename Segment>
void FillSentences(Segment* segment, int sentences, Values& values) {
    segment->set_nresultcount(sentences);
    for (int i = 0; i < sentences; ++i) {
        auto* sentence = segment->add_psentenceresults();
        sentence->set_psztext(values.Text("sentence "));
        sentence->set_nscore(values.Number());
    }
}

template <typename Segment>
void FillElementLists(Segment* segment, int sentences, int elements, Values& values) {
    for (int i = 0; elements > 0 && i < sentences; ++i) {
        FillElementList(segment->add_pelementlistresults(), elements, values);
    }
}

void FillKeyword(Keyword* keyword, Values& values) {
    keyword->set_nkeywordindex(values.Number());
    keyword->set_sztext(values.Text("keyword "));
    FillSpan(keyword, values);
    keyword->set_nscore(values.Number());
}

void FillAnalysisSegment(quorlan::protocol::LexoResponseMessage_Lexo_Analysis_Segment* segment,
                         const AnalysisShape& shape, int index, Values& values) {
    FillSpan(segment, values);
    segment->set_nrole(
        static_cast<quorlan::protocol::LexoResponseMessage_Lexo_RoleType>(index % 3));
    FillSentences(segment, shape.sentences, values);
    for (auto& sentence : *segment->mutable_psentenceresults()) {
        sentence.set_fspeed(static_cast<float>(values.Number()) + 0.25F);
    }
    FillElementLists(segment, shape.sentences, shape.elements, values);
    segment->set_nemotioncount(shape.emotions);
    for (int i = 0; i < shape.emotions; ++i) {
        auto* emotion = segment->add_pemotionresults();
        FillSpan(emotion, values);
        emotion->set_nscore(values.Number());
        emotion->set_nemotion(
            static_cast<quorlan::protocol::LexoResponseMessage_Lexo_EmotionType>(i % 4));
    }
    segment->set_nkeywordcount(shape.keywords);
    for (int i = 0; i < shape.keywords; ++i) {
        FillKeyword(segment->add_pkeywordresults(), values);
    }
}

}  // namespace

LexoResponseMessage FreetalkResult(int segments, int sentences, int elements) {
    Values values;
    LexoResponseMessage response = OfType(LexoResponseMessage::LEXO_ENGINE_FREETALK);
    auto* result = response.mutable_sfreetalkresult();
    result->set_nsegmentcount(segments);
    for (int i = 0; i < segments; ++i) {
        auto* segment = result->add_psegmentlist();
        FillSpan(segment, values);
        FillSentences(segment, sentences, values);
        FillElementLists(segment, sentences, elements, values);
    }
    return response;
}

LexoResponseMessage GrammarResult(int segments, int sentences) {
    Values values;
    LexoResponseMessage response = OfType(LexoResponseMessage::LEXO_ENGINE_GRAMMAR);
    auto* result = response.mutable_sgrammarresult();
    result->set_nresultcount(segments);
    for (int i = 0; i < segments; ++i) {
        auto* segment = result->add_psegmentresults();
        FillSpan(segment, values);
        FillSentences(segment, sentences, values);
    }
    return response;
}

LexoResponseMessage KeywordResult(int keywords) {
    Values values;
    LexoResponseMessage response = OfType(LexoResponseMessage::LEXO_ENGINE_KEYWORDSPOT);
    auto* result = response.mutable_skeywordspotresult();
    result->set_nkeywordcount(keywords);
    for (int i = 0; i < keywords; ++i) {
        FillKeyword(result->add_pkeywordresults(), values);
    }
    return response;
}

LexoResponseMessage AnalysisResult(const AnalysisShape& shape) {
    Values values;
    LexoResponseMessage response = OfType(LexoResponseMessage::LEXO_ENGINE_ANALYSIS);
    auto* result = response.mutable_sanalysisresult();
    result->set_nsilencecount(shape.silences);
    for (int i = 0; i < shape.silences; ++i) {
        FillSpan(result->add_psilenceresults(), values);
    }
    result->set_nsegmentcount(shape.segments);
    for (int i = 0; i < shape.segments; ++i) {
        FillAnalysisSegment(result->add_psegmentresults(), shape, i, values);
    }
    return response;
}

}  // namespace scripted
