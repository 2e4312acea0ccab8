#include "ResponseBuilder.h"

#include "CapbilityAccess.pb.h"
#include "FrameCodec.h"
#include "MessageHeader.pb.h"

namespace orvx {
namespace {

using quorlan::protocol::LexoResponseMessage;
using quorlan::protocol::MessageHeader;
using quorlan::protocol::capbility::CapbilityAccessResponseMessage;

template <typename List>
int Count(const List& list) {
    return static_cast<int>(list.size());
}

void AddWords(const RecognisedSentence& sentence,
              LexoResponseMessage::Lexo_Freetalk_ElementList* list) {
    list->set_nelementcount(Count(sentence.words));
    for (const RecognisedWord& word : sentence.words) {
        LexoResponseMessage::Lexo_Freetalk_Element* const element = list->add_pelementlist();
        element->set_nstarttime(word.start_ms);
        element->set_nendtime(word.end_ms);
        element->set_nscore(word.score);
        element->set_nposintext(static_cast<int>(word.position));
        element->set_ncountintext(static_cast<int>(word.length));
        element->set_nflag(0);
    }
}

void AddSegment(const Segment& segment, bool has_words,
                LexoResponseMessage::Lexo_Freetalk_Segment* message) {
    message->set_nstarttime(segment.start_ms);
    message->set_nendtime(segment.end_ms);
    message->set_nresultcount(Count(segment.sentences));
    for (const RecognisedSentence& sentence : segment.sentences) {
        LexoResponseMessage::Lexo_Freetalk_Sentence* const text = message->add_psentenceresults();
        text->set_psztext(sentence.text);
        text->set_nscore(sentence.score);
        if (has_words) AddWords(sentence, message->add_pelementlistresults());
    }
}

std::vector<char> BuildFrame(CapbilityAccessResponseMessage access,
                             std::chrono::milliseconds processing) {
    access.set_process_time(static_cast<int>(processing.count()));
    MessageHeader header;
    header.set_message_type(MessageHeader::LexoRecogResponse);
    header.set_name("CapbilityAccessResponseMessage");
    *header.MutableExtension(quorlan::protocol::capbility::capbility_access_response_message) =
        std::move(access);
    std::vector<char> frame;
    EncodeFrame(header, &frame);  // fails above 2 GiB only; no answer comes near
    return frame;
}

}  // namespace

std::vector<char> BuildAnswer(const LexoResponseMessage& response,
                              std::chrono::milliseconds processing) {
    CapbilityAccessResponseMessage access;
    access.set_error_no(LEXO_ERR_NONE);
    access.set_data(response.SerializeAsString());
    access.set_data_len(Count(access.data()));
    return BuildFrame(std::move(access), processing);
}

std::vector<char> BuildRefusal(const Failure& failure, std::chrono::milliseconds processing) {
    CapbilityAccessResponseMessage access;
    access.set_error_no(failure.error_no);
    access.set_error_desc(failure.text);
    return BuildFrame(std::move(access), processing);
}

LexoResponseMessage BuildFreeTalkResponse(const std::string& identify, const std::string& token,
                                          const Outcome& outcome, bool has_words) {
    LexoResponseMessage response;
    response.set_identify(identify);
    response.set_error_no(outcome.failure ? outcome.failure->error_no : LEXO_ERR_NONE);
    if (outcome.failure) response.set_error_desc(outcome.failure->text);
    response.set_recog_status(outcome.recog_status);
    if (!token.empty()) response.set_result_token(token);
    response.set_nenginetype(LexoResponseMessage::LEXO_ENGINE_FREETALK);
    if (outcome.segments.empty()) return response;
    LexoResponseMessage::Lexo_Freetalk_Result* const result = response.mutable_sfreetalkresult();
    result->set_nsegmentcount(Count(outcome.segments));
    for (const Segment& segment : outcome.segments) {
        AddSegment(segment, has_words, result->add_psegmentlist());
    }
    return response;
}

}  // namespace orvx
