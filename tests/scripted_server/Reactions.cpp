#include "Reactions.h"

#include <algorithm>

#include "FrameCodec.h"

namespace scripted {
namespace {

namespace protocol = quorlan::protocol;
using protocol::LexoResponseMessage;
using protocol::capbility::CapbilityAccessResponseMessage;

LexoResponseMessage GoodResponse(const Request& request) {
    LexoResponseMessage response;
    response.set_identify(request.inner.identify());
    response.set_error_no(0);
    response.set_recog_status(0);
    return response;
}

CapbilityAccessResponseMessage Wrap(const LexoResponseMessage& response) {
    CapbilityAccessResponseMessage access;
    access.set_error_no(0);
    access.set_process_time(7);
    access.set_data(response.SerializeAsString());
    access.set_data_len(static_cast<int>(access.data().size()));
    return access;
}

std::string FrameOf(const CapbilityAccessResponseMessage& access) {
    protocol::MessageHeader header;
    header.set_message_type(protocol::MessageHeader_QuorMessageType_LexoRecogResponse);
    header.set_name("CapbilityAccessResponseMessage");
    *header.MutableExtension(protocol::capbility::capbility_access_response_message) = access;
    std::vector<char> frame;
    EncodeFrame(header, &frame);
    return {frame.begin(), frame.end()};
}

}  // namespace

FrameMaker Echo(std::function<void(LexoResponseMessage&)> change) {
    return [change = std::move(change)](const Request& request) {
        LexoResponseMessage response = GoodResponse(request);
        if (change) {
            change(response);
        }
        return FrameOf(Wrap(response));
    };
}

FrameMaker EchoWith(LexoResponseMessage message) {
    return Echo([message = std::move(message)](LexoResponseMessage& response) {
        response.MergeFrom(message);
    });
}

FrameMaker EchoResult(LexoResponseMessage result) {
    result.set_recog_status(2);
    return EchoWith(std::move(result));
}

FrameMaker EchoAccess(std::function<void(CapbilityAccessResponseMessage&)> change) {
    return [change = std::move(change)](const Request& request) {
        CapbilityAccessResponseMessage access = Wrap(GoodResponse(request));
        change(access);
        return FrameOf(access);
    };
}

FrameMaker Body(std::string body) {
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

Reaction Answer(FrameMaker frame) {
    return [frame = std::move(frame)](const Request& request, Connection& connection) {
        connection.Send(frame(request));
    };
}

Reaction AnswerPart(FrameMaker frame, std::size_t from, std::size_t count) {
    return [=](const Request& request, Connection& connection) {
        const std::string bytes = frame(request);
        connection.Send(std::string_view(bytes).substr(std::min(from, bytes.size()), count));
    };
}

Reaction Trickle(FrameMaker frame, std::size_t step, std::chrono::milliseconds pause) {
    return [=](const Request& request, Connection& connection) {
        const std::string bytes = frame(request);
        for (std::size_t from = 0; from < bytes.size(); from += step) {
            connection.Send(std::string_view(bytes).substr(from, step));
            connection.Pause(pause);
        }
    };
}

Reaction StaySilent() {
    return [](const Request&, Connection&) {};
}

Reaction Pause(std::chrono::milliseconds time) {
    return [time](const Request&, Connection& connection) { connection.Pause(time); };
}

Reaction WaitFor(std::shared_future<void> gate) {
    return [gate = std::move(gate)](const Request&, Connection&) { gate.wait(); };
}

Reaction HangUp() {
    return [](const Request&, Connection& connection) { connection.HangUp(); };
}

Reaction Reset() {
    return [](const Request&, Connection& connection) { connection.Reset(); };
}

Reaction Sequence(std::vector<Reaction> reactions) {
    return [reactions = std::move(reactions)](const Request& request, Connection& connection) {
        for (const Reaction& reaction : reactions) {
            reaction(request, connection);
        }
    };
}

}  // namespace scripted
