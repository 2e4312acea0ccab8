// What a recognition server may send: from the bytes of its stream to the released result.
#include <cstring>
#include <string_view>

#include "CapbilityAccess.pb.h"
#include "FrameCodec.h"
#include "LexoMessage.pb.h"
#include "MessageHeader.pb.h"
#include "RecogResult.h"

namespace {

using quorlan::protocol::LexoResponseMessage;

template <typename List>
bool IsAbove(int count, const List& list) {
    return count > list.size();
}

template <typename Segment>
bool HasBrokenLists(const Segment& segment) {
    if (IsAbove(segment.nresultcount(), segment.psentenceresults()) ||
        IsAbove(segment.nresultcount(), segment.pelementlistresults())) {
        return true;
    }
    for (const auto& list : segment.pelementlistresults()) {
        if (IsAbove(list.nelementcount(), list.pelementlist())) return true;
    }
    return false;
}

// A count above its list ends the process: that is the answer to a server's broken promise, and no
// finding.
bool BreaksPromise(const LexoResponseMessage& response) {
    const auto& talk = response.sfreetalkresult();
    const auto& grammar = response.sgrammarresult();
    const auto& spotted = response.skeywordspotresult();
    const auto& call = response.sanalysisresult();
    if (IsAbove(talk.nsegmentcount(), talk.psegmentlist()) ||
        IsAbove(grammar.nresultcount(), grammar.psegmentresults()) ||
        IsAbove(spotted.nkeywordcount(), spotted.pkeywordresults()) ||
        IsAbove(call.nsilencecount(), call.psilenceresults()) ||
        IsAbove(call.nsegmentcount(), call.psegmentresults())) {
        return true;
    }
    for (const auto& segment : talk.psegmentlist()) {
        if (HasBrokenLists(segment)) return true;
    }
    for (const auto& segment : grammar.psegmentresults()) {
        if (IsAbove(segment.nresultcount(), segment.psentenceresults())) return true;
    }
    for (const auto& segment : call.psegmentresults()) {
        if (HasBrokenLists(segment) ||
            IsAbove(segment.nemotioncount(), segment.pemotionresults()) ||
            IsAbove(segment.nkeywordcount(), segment.pkeywordresults())) {
            return true;
        }
    }
    return false;
}

// As many bytes as the reader has room for, again and again, as from a socket.
void Receive(std::string_view stream, FrameReader* reader) {
    while (!stream.empty() && reader->GetStatus() == FrameReader::Status::kNeedMore) {
        const std::span<char> area = reader->WritableArea();
        const std::size_t count = std::min(area.size(), stream.size());
        std::memcpy(area.data(), stream.data(), count);
        reader->Commit(count);
        stream.remove_prefix(count);
    }
}

void Convert(const LexoResponseMessage& response) {
    static Lexo_RecogResult result{};  // converted over, as a session does
    EngineTypeInAnswer(response);
    if (BreaksPromise(response)) return;
    if (ParseResponse(response, &result) && response.error_no() % 2 == 0) ReleaseResult(&result);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FrameReader reader;
    Receive({reinterpret_cast<const char*>(data), size}, &reader);
    if (reader.GetStatus() != FrameReader::Status::kComplete) return 0;
    const std::string_view body = reader.Body();
    quorlan::protocol::MessageHeader header;
    if (!header.ParseFromArray(body.data(), static_cast<int>(body.size()))) return 0;
    const auto& access =
        header.GetExtension(quorlan::protocol::capbility::capbility_access_response_message);
    LexoResponseMessage response;
    if (response.ParseFromString(access.data())) Convert(response);
    return 0;
}
