#include <cstdlib>

#include "RecogResult.h"

namespace {

template <typename Record, typename Release>
void ReleaseList(int* count, Record** list, Release release) {
    if (*list != nullptr) {
        for (int i = 0; i < *count; ++i) {
            release(&(*list)[i]);
        }
        delete[] * list;
    }
    *list = nullptr;
    *count = 0;
}

template <typename Segment>
void ReleaseSentences(Segment* segment) {
    int count = segment->nResultCount;
    ReleaseList(&count, &segment->pSentenceResults,
                [](auto* sentence) { std::free(sentence->pszText); });
}

template <typename Segment>
void ReleaseElementLists(Segment* segment) {
    int count = segment->nResultCount;
    ReleaseList(&count, &segment->pElementListResults,
                [](auto* list) { delete[] list->pElementList; });
}

void ReleaseAnalysisSegment(Lexo_Analysis_Segment* segment) {
    ReleaseElementLists(segment);
    ReleaseSentences(segment);
    delete[] segment->pEmotionResults;
    delete[] segment->pKeywordResults;
}

void ReleaseFreetalkSegment(Lexo_Freetalk_Segment* segment) {
    ReleaseElementLists(segment);
    ReleaseSentences(segment);
}

}  // namespace

bool ReleaseResult(Lexo_RecogResult* result) {
    switch (result->nEngineType) {
        case LEXO_ENGINE_FREETALK: {
            Lexo_Freetalk_Result& freetalk = result->sFreetalkResult;
            ReleaseList(&freetalk.nSegmentCount, &freetalk.pSegmentList, ReleaseFreetalkSegment);
            return true;
        }
        case LEXO_ENGINE_GRAMMAR: {
            Lexo_Grammar_Result& grammar = result->sGrammarResult;
            ReleaseList(&grammar.nSegmentCount, &grammar.pSegmentResults,
                        ReleaseSentences<Lexo_Grammar_Segment_Result>);
            return true;
        }
        case LEXO_ENGINE_KEYWORDSPOT: {
            Lexo_Keywordspot_Result& keywords = result->sKeywordspotResult;
            ReleaseList(&keywords.nKeywordCount, &keywords.pKeywordResults, [](auto*) {});
            return true;
        }
        case LEXO_ENGINE_ANALYSIS: {
            Lexo_Analysis_Result& analysis = result->sAnalysisResult;
            ReleaseList(&analysis.nSilenceCount, &analysis.pSilenceResults, [](auto*) {});
            ReleaseList(&analysis.nSegmentCount, &analysis.pSegmentResults, ReleaseAnalysisSegment);
            return true;
        }
        default:
            return false;
    }
}
