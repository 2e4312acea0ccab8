#include "ResponseBuilder.h"

#include "CapbilityAccess.pb.h"
#include "FrameCodec.h"
#include "MessageHeader.pb.h"
#include "ResponseResults.h"

namespace orvx {
namespace {

using quorlan::protocol::LexoResponseMessage;
using quorlan::protocol::MessageHeader;
using quorlan::protocol::capbility::CapbilityAccessResponseMessage;

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
    access.set_data_len(static_cast<int>(access.data().size()));
    return BuildFrame(std::move(access), processing);
}

std::vector<char> BuildRefusal(const Failure& failure, std::chrono::milliseconds processing) {
    CapbilityAccessResponseMessage access;
    access.set_error_no(failure.error_no);
    access.set_error_desc(failure.text);
    return BuildFrame(std::move(access), processing);
}

LexoResponseMessage BuildResponse(const std::string& identify, const std::string& token,
                                  const ResultForm& form, const Outcome& outcome) {
    LexoResponseMessage response;
    response.set_identify(identify);
    response.set_error_no(outcome.failure ? outcome.failure->error_no : LEXO_ERR_NONE);
    if (outcome.failure) response.set_error_desc(outcome.failure->text);
    response.set_recog_status(outcome.recog_status);
    if (!token.empty()) response.set_result_token(token);
    AddResult(form, outcome, &response);
    return response;
}

}  // namespace orvx
