#include "RequestDecoder.h"

#include <climits>

#include "CapbilityAccess.pb.h"
#include "LogText.h"
#include "MessageHeader.pb.h"

namespace orvx {
namespace {

using quorlan::protocol::LexoRequestMessage;
using quorlan::protocol::MessageHeader;
using quorlan::protocol::capbility::CapbilityAccessMessage;

Failure Refuse(const std::string& what) {
    return {LEXO_ERR_PARAM_INVALID, what};
}

std::optional<Failure> CheckLength(const std::string& where, bool is_given, int length,
                                   std::size_t actual) {
    if (is_given && length >= 0 && static_cast<std::size_t>(length) == actual) return std::nullopt;
    return Refuse(where + "data_len is " + (is_given ? std::to_string(length) : "missing") +
                  ", but data holds " + std::to_string(actual) + " bytes");
}

std::optional<Failure> CheckAccess(const MessageHeader& header,
                                   const CapbilityAccessMessage& access) {
    if (header.message_type() != MessageHeader::LexoRecogRequest || !header.has_message_type()) {
        return Failure{LEXO_ERR_NOT_SUPPORT,
                       "only messages of type 31 (LexoRecogRequest) are served"};
    }
    if (!header.HasExtension(quorlan::protocol::capbility::capbility_access_message)) {
        return Refuse("the header carries no capbility_access_message");
    }
    if (!access.has_data()) return Refuse("capbility_access_message: data is missing");
    return CheckLength("capbility_access_message: ", access.has_data_len(), access.data_len(),
                       access.data().size());
}

// It is kept with an open utterance, and in every answer.
std::optional<Failure> CheckIdentify(const LexoRequestMessage& request) {
    constexpr std::size_t kMostBytes = std::size_t{64} << 10;
    const std::size_t bytes = request.identify().size();
    if (bytes <= kMostBytes) return std::nullopt;
    return Refuse("identify has " + std::to_string(bytes) + " bytes, above " +
                  std::to_string(kMostBytes));
}

// What is said twice must be said alike.
std::optional<Failure> CompareLayers(const CapbilityAccessMessage& access,
                                     const LexoRequestMessage& request) {
    if (access.has_capkey() && access.capkey() != request.cap_name()) {
        return Refuse("capkey is " + Quote(access.capkey()) + ", but the request's cap_name is " +
                      Quote(request.cap_name()));
    }
    if (access.has_identify() && access.identify() != request.identify()) {
        return Refuse("identify is " + Quote(access.identify()) + ", but the request's is " +
                      Quote(request.identify()));
    }
    if (access.has_chunk_no() && access.chunk_no() != request.chunk_no()) {
        return Refuse("chunk_no is " + std::to_string(access.chunk_no()) +
                      ", but the request's is " + std::to_string(request.chunk_no()));
    }
    return std::nullopt;
}

}  // namespace

DecodedFrame DecodeFrame(std::string_view body) {
    MessageHeader header;
    if (body.size() > INT_MAX ||
        !header.ParseFromArray(body.data(), static_cast<int>(body.size()))) {
        return UndecodableFrame{};
    }
    const CapbilityAccessMessage& access =
        header.GetExtension(quorlan::protocol::capbility::capbility_access_message);
    if (const auto failure = CheckAccess(header, access)) return *failure;
    LexoRequestMessage request;
    if (!request.ParseFromString(access.data())) {
        return Refuse("capbility_access_message: data is no LexoRequestMessage");
    }
    if (const auto failure = CheckIdentify(request)) return *failure;
    if (const auto failure = CompareLayers(access, request)) return *failure;
    return request;
}

std::optional<Failure> CheckRequest(const LexoRequestMessage& request) {
    if (request.identify().empty()) return Refuse("identify is missing");
    if (request.cap_name().empty()) return Refuse("cap_name is missing");
    if (request.chunk_no() == 0 || request.chunk_no() == INT_MIN) {
        return Refuse(
            "chunk_no is missing or no chunk number; -1 is a one-shot request, 1, 2, ... are "
            "chunks of "
            "a real-time utterance, and -n is its closing chunk");
    }
    // 1 MB of names kept a thread busy for 0.1 s.
    constexpr std::size_t kMostConfigBytes = std::size_t{64} << 10;
    if (request.task_config().size() > kMostConfigBytes) {
        return Refuse("task_config has " + std::to_string(request.task_config().size()) +
                      " bytes, above " + std::to_string(kMostConfigBytes));
    }
    return CheckLength("", request.has_data_len(), request.data_len(), request.data().size());
}

}  // namespace orvx
