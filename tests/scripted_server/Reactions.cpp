#include "Reactions.h"

#include "FrameCodec.h"

namespace scripted {
namespace {

namespace protocol = quorlan::protocol;
using protocol::LexoResponseMessage;
using protocol::capbility::CapbilityAccessResponseMessage;

// The frame of an answer; each layer may be altered before the next is wrapped around it.
std::string FrameOf(const Request& request,
                    const std::function<void(LexoResponseMessage&)>& change_inner,
                    const std::function<void(CapbilityAccessResponseMessage&)>& change_access) {
    LexoResponseMessage response;
    response.set_identify(request.inner.identify());
    response.set_error_no(0);
    response.set_recog_status(0);
    if (change_inner) change_inner(response);
    protocol::MessageHeader header;
    header.set_message_type(protocol::MessageHeader_QuorMessageType_LexoRecogResponse);
    header.set_name("CapbilityAccessResponseMessage");
    auto* access = header.MutableExtension(protocol::capbility::capbility_access_response_message);
    access->set_error_no(0);
    access->set_process_time(7);
    access->set_data(response.SerializeAsString());
    access->set_data_len(static_cast<int>(access->data().size()));
    if (change_access) change_access(*access);
    std::vector<char> frame;
    EncodeFrame(header, &frame);
    return {frame.begin(), frame.end()};
}

}  // namespace

FrameMaker Echo(std::function<void(LexoResponseMessage&)> change) {
    return [=](const Request& request) { return FrameOf(request, change, {}); };
}

FrameMaker EchoResult(LexoResponseMessage result, int status) {
    result.set_recog_status(status);
    return Echo([=](LexoResponseMessage& response) { response.MergeFrom(result); });
}

FrameMaker EchoAccess(std::function<void(CapbilityAccessResponseMessage&)> change) {
    return [=](const Request& request) { return FrameOf(request, {}, change); };
}

FrameMaker Body(const std::string& body) {
    return Bytes(LengthPrefix(static_cast<std::uint32_t>(body.size())) + body);
}

FrameMaker Bytes(std::string bytes) {
    return [bytes = std::move(bytes)](const Request&) { return bytes; };
}

std::string LengthPrefix(std::uint32_t length) {
    std::string prefix(kFramePrefixBytes, '\0');
    EncodeFramePrefix(length, prefix.data());
    return prefix;
}

Reaction Answer(FrameMaker frame, std::size_t bytes) {
    return [=](const Request& request, Connection& connection) {
        connection.Send(frame(request).substr(0, bytes));
    };
}

Reaction Sequence(std::vector<Reaction> reactions) {
    return [reactions = std::move(reactions)](const Request& request, Connection& connection) {
        for (const Reaction& reaction : reactions) reaction(request, connection);
    };
}

}  // namespace scripted
