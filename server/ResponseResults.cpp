#include "ResponseResults.h"

namespace orvx {
namespace {

using quorlan::protocol::LexoResponseMessage;

constexpr double kMsPerMinute = 60000;

template <typename List>
int Count(const List& list) {
    return static_cast<int>(list.size());
}

template <typename Stretch, typename Message>
void SetTimes(const Stretch& stretch, Message* message) {
    message->set_nstarttime(stretch.start_ms);
    message->set_nendtime(stretch.end_ms);
}

// Free talk and analysis have the same element lists under two names.
template <typename ElementList>
void AddWords(const RecognisedSentence& sentence, ElementList* list) {
    list->set_nelementcount(Count(sentence.words));
    for (const RecognisedWord& word : sentence.words) {
        auto* const element = list->add_pelementlist();
        SetTimes(word, element);
        element->set_nscore(word.score);
        element->set_nposintext(static_cast<int>(word.position));
        element->set_ncountintext(static_cast<int>(word.length));
        element->set_nflag(0);
    }
}

template <typename Sentence>
void SetText(const RecognisedSentence& sentence, Sentence* message) {
    message->set_psztext(sentence.text);
    message->set_nscore(sentence.score);
}

void AddFreeTalk(const Outcome& outcome, bool has_words,
                 LexoResponseMessage::Lexo_Freetalk_Result* result) {
    result->set_nsegmentcount(Count(outcome.segments));
    for (const Segment& segment : outcome.segments) {
        auto* const message = result->add_psegmentlist();
        SetTimes(segment, message);
        message->set_nresultcount(Count(segment.sentences));
        for (const RecognisedSentence& sentence : segment.sentences) {
            SetText(sentence, message->add_psentenceresults());
            if (has_words) AddWords(sentence, message->add_pelementlistresults());
        }
    }
}

void AddGrammar(const Outcome& outcome, LexoResponseMessage::Lexo_Grammar_Result* result) {
    result->set_nresultcount(Count(outcome.segments));
    for (const Segment& segment : outcome.segments) {
        auto* const message = result->add_psegmentresults();
        SetTimes(segment, message);
        message->set_nresultcount(Count(segment.sentences));
        for (const RecognisedSentence& sentence : segment.sentences) {
            SetText(sentence, message->add_psentenceresults());
        }
    }
}

void SetKeyword(const SpottedKeyword& keyword, LexoResponseMessage::Lexo_Keyword* message) {
    message->set_nkeywordindex(keyword.index);
    message->set_sztext(keyword.text);
    SetTimes(keyword, message);
    message->set_nscore(keyword.score);
}

void AddKeywords(const Outcome& outcome, LexoResponseMessage::Lexo_Keywordspot_Result* result) {
    for (const Segment& segment : outcome.segments) {
        for (const SpottedKeyword& keyword : segment.keywords) {
            SetKeyword(keyword, result->add_pkeywordresults());
        }
    }
    result->set_nkeywordcount(result->pkeywordresults_size());
}

// In words a minute, from the first word's start to the last one's end.
float SpeakingRate(const RecognisedSentence& sentence) {
    if (sentence.words.empty()) return 0;
    const int duration_ms = sentence.words.back().end_ms - sentence.words.front().start_ms;
    if (duration_ms <= 0) return 0;
    return static_cast<float>(Count(sentence.words) * kMsPerMinute / duration_ms);
}

LexoResponseMessage::Lexo_RoleType RoleOf(Role role) {
    switch (role) {
        case Role::kAgent:
            return LexoResponseMessage::LEXO_ROLE_AGENT;
        case Role::kUser:
            return LexoResponseMessage::LEXO_ROLE_USER;
        default:
            return LexoResponseMessage::LEXO_ROLE_UNKNOWN;
    }
}

// Analysis is about words, so their elements are always there. There is no model of emotions.
void AddAnalysed(const Segment& segment, LexoResponseMessage::Lexo_Analysis_Segment* message) {
    SetTimes(segment, message);
    message->set_nrole(RoleOf(segment.role));
    message->set_nresultcount(Count(segment.sentences));
    for (const RecognisedSentence& sentence : segment.sentences) {
        auto* const text = message->add_psentenceresults();
        SetText(sentence, text);
        text->set_fspeed(SpeakingRate(sentence));
        AddWords(sentence, message->add_pelementlistresults());
    }
    message->set_nemotioncount(0);
    message->set_nkeywordcount(Count(segment.keywords));
    for (const SpottedKeyword& keyword : segment.keywords) {
        SetKeyword(keyword, message->add_pkeywordresults());
    }
}

void AddAnalysis(const Outcome& outcome, LexoResponseMessage::Lexo_Analysis_Result* result) {
    result->set_nsilencecount(Count(outcome.silences));
    for (const Silence& silence : outcome.silences)
        SetTimes(silence, result->add_psilenceresults());
    result->set_nsegmentcount(Count(outcome.segments));
    for (const Segment& segment : outcome.segments) {
        AddAnalysed(segment, result->add_psegmentresults());
    }
}

}  // namespace

void AddResult(const ResultForm& form, const Outcome& outcome, LexoResponseMessage* response) {
    response->set_nenginetype(
        static_cast<LexoResponseMessage::Lexo_EngineType>(static_cast<int>(form.capability)));
    if ((outcome.recog_status & kResultPresent) == 0) return;
    switch (form.capability) {
        case Capability::kFreeTalk:
            return AddFreeTalk(outcome, form.has_words, response->mutable_sfreetalkresult());
        case Capability::kGrammar:
            return AddGrammar(outcome, response->mutable_sgrammarresult());
        case Capability::kKeywordSpot:
            return AddKeywords(outcome, response->mutable_skeywordspotresult());
        case Capability::kAnalysis:
            return AddAnalysis(outcome, response->mutable_sanalysisresult());
    }
}

}  // namespace orvx
