#include "FailureCases.h"

using quorlan::protocol::LexoResponseMessage;
using scripted::Answer;
using scripted::AnswerPart;
using scripted::Bytes;
using scripted::Echo;
using scripted::EchoAccess;
using scripted::HangUp;
using scripted::LengthPrefix;
using scripted::Reaction;
using scripted::Sequence;

namespace {

Reaction ServerError(int number, const std::string& description = "") {
    return Answer(Echo([=](LexoResponseMessage& m) {
        m.set_error_no(number);
        m.set_recog_status(5);
        if (!description.empty()) {
            m.set_error_desc(description);
        }
    }));
}

Reaction AccessError(int number, const std::string& description) {
    return Answer(EchoAccess([=](auto& access) {
        access.set_error_no(number);
        access.set_error_desc(description);
    }));
}

Reaction InnerBytes(const std::string& bytes, int length) {
    return Answer(EchoAccess([=](auto& access) {
        access.set_data(bytes);
        access.set_data_len(length);
    }));
}

Reaction InnerLength(int length) {
    return Answer(EchoAccess([=](auto& access) { access.set_data_len(length); }));
}

FailureCase TransportCase(const std::string& name, Reaction reaction) {
    return {name,
            std::move(reaction),
            {LEXO_ERR_NETWORK_FAILED, 1},
            "Network Error: Recog request to [127.0.0.1:{port}] faield(1)",
            true};
}

}  // namespace

Reaction OtherIdentity(const std::string& identity) {
    return Answer(Echo([=](LexoResponseMessage& m) { m.set_identify(identity); }));
}

// A number outside the enumeration can only be written as a field the schema does not know.
Reaction EngineType(const std::string& varint, int status) {
    return Answer(Echo([=](LexoResponseMessage& m) {
        m.mutable_unknown_fields()->append("\x30" + varint);
        m.set_recog_status(status);
    }));
}

std::vector<FailureCase> ProtocolCases() {
    const std::string mismatch =
        "Result not match request, Verification failed!cap_name=asr.cloud.freetalk, error_no=0, "
        "{id}<>";
    const Outcome failed = {LEXO_ERR_RECOG_FAILED, 1};
    const Outcome foreign = {LEXO_ERR_ENGINE_FAILED, 1};
    return {
        {"refused", AccessError(5, "busy %s"), failed, "Server response:5:[busy %s]", true},
        {"refused below 0", AccessError(-1, ""), failed, "Server response:-1:[]", true},
        {"not a message", InnerBytes("\xFF\xFF", 2), failed,
         "parse from array failed(message_len=2).", false},
        {"length above the data", InnerLength(1000000), failed,
         "parse from array failed(message_len=1000000).", false},
        {"length below 0", InnerLength(-5), failed, "parse from array failed(message_len=-5).",
         false},
        {"length 0", InnerLength(0), foreign, mismatch, false},
        {"another identity", OtherIdentity("other"), foreign, mismatch + "other", false},
        {"no identity", OtherIdentity(""), foreign, mismatch, false},
        {"empty frame", Answer(scripted::Body("")), foreign, mismatch, false},
        {"no answer in the header", Answer(scripted::Body("\x08\x20")), foreign, mismatch, false},
        {"error below 0",
         ServerError(-3, "odd"),
         {LEXO_ERR_UNKNOWN, 1},
         "Server response error -3, odd",
         false},
        {"error 1",
         ServerError(1),
         {LEXO_ERR_PARAM_INVALID, 1},
         "Server response error 1, ",
         false},
        {"error 13", ServerError(13, "no"), failed, "Server response error 13, no", true},
        {"error 14",
         ServerError(14),
         {LEXO_ERR_RESULT_NOT_FREE, 1},
         "Server response error 14, ",
         false},
        {"error 32",
         ServerError(32),
         {LEXO_ERR_NETWORK_FAILED, 1},
         "Server response error 32, ",
         false},
        {"error 33",
         ServerError(33),
         {LEXO_ERR_REALTIME_SESSION_TIMEOUT, 1},
         "Server response error 33, ",
         true},
        {"error 34",
         ServerError(34),
         {LEXO_ERR_ALL_SESSION_BUSY, 1},
         "Server response error 34, ",
         true},
        {"error 26", ServerError(26), {26, 1}, "Server response error 26, ", false},
        {"error of its own",
         ServerError(123456),
         {123456, 1},
         "Server response error 123456, ",
         false},
        {"engine type 4",
         EngineType("\x04", 8),
         {LEXO_ERR_UNKNOWN, 8},
         "Unsupported result type:[4]",
         false},
        {"engine type 300",
         EngineType("\xAC\x02", 1),
         {LEXO_ERR_UNKNOWN, 1},
         "Unsupported result type:[300]",
         false},
        {"engine type below 0",
         EngineType("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01", 0),
         {LEXO_ERR_UNKNOWN, 0},
         "Unsupported result type:[-1]",
         false},
    };
}

std::vector<FailureCase> TransportCases() {
    const auto cut = [](std::size_t bytes) {
        return Sequence({AnswerPart(Echo(), 0, bytes), HangUp()});
    };
    return {
        TransportCase("hang up at once", HangUp()),
        TransportCase("hang up inside the prefix", cut(2)),
        TransportCase("hang up behind the prefix", cut(4)),
        TransportCase("hang up inside the body", cut(11)),
        TransportCase("one byte above the largest body", Answer(Bytes(LengthPrefix(0x4000001)))),
        TransportCase("a length below 0", Answer(Bytes(LengthPrefix(0xFFFFFFFF)))),
        TransportCase("a large length, then the end",
                      Sequence({Answer(Bytes(LengthPrefix(0x4000000) + "x")), HangUp()})),
        TransportCase("a body that is no message", Answer(scripted::Body("\xFF\xFF\xFF"))),
        TransportCase("another protocol", Answer(Bytes("HTTP/1.1 400 Bad Request\r\n\r\n"))),
    };
}
