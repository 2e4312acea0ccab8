#include "Messages.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "CapbilityAccess.pb.h"
#include "LexoMessage.pb.h"
#include "MessageHeader.pb.h"

namespace exchange {

namespace {

using quorlan::protocol::LexoRequestMessage;
using quorlan::protocol::LexoResponseMessage;
using quorlan::protocol::MessageHeader;

constexpr std::size_t kPrefixBytes = 4;
constexpr std::size_t kBytesWithoutWords = 200;
// Times take more bytes the later they are.
constexpr std::size_t kBytesOfWord = 20;
constexpr std::size_t kBytesOfLateWord = 22;
constexpr std::size_t kLargeAnswerBytes = 50'000;
constexpr std::size_t kBytesOfLengths = 24;

std::string Framed(const MessageHeader& header) {
    const auto size = htonl(static_cast<std::uint32_t>(header.ByteSizeLong()));
    std::string frame(reinterpret_cast<const char*>(&size), kPrefixBytes);
    header.AppendToString(&frame);
    return frame;
}

RequestFrame SplitAt(const std::string& audio) {
    LexoRequestMessage request;
    request.set_identify(kIdentify);
    request.set_cap_name(kCapability);
    request.set_data(audio);
    request.set_data_len(static_cast<int>(audio.size()));
    request.set_task_config(kTaskConfig);
    request.set_chunk_no(-1);

    MessageHeader header;
    header.set_message_type(MessageHeader::LexoRecogRequest);
    header.set_name("CapbilityAccessMessage");
    auto* const access =
        header.MutableExtension(quorlan::protocol::capbility::capbility_access_message);
    FillAccess(access);
    request.SerializeToString(access->mutable_data());
    access->set_data_len(static_cast<int>(access->data().size()));
    const std::string frame = Framed(header);
    const std::size_t place = frame.find(audio);
    Require(place != std::string::npos, "a request without its audio");
    return {frame.substr(0, place), frame.substr(place + audio.size())};
}

LexoResponseMessage Response(const std::string& identify, const std::string& text, int words) {
    LexoResponseMessage response;
    response.set_identify(identify);
    response.set_error_no(0);
    response.set_recog_status(2);
    response.set_nenginetype(LexoResponseMessage::LEXO_ENGINE_FREETALK);
    response.mutable_sfreetalkresult()->set_nsegmentcount(1);
    auto* const segment = response.mutable_sfreetalkresult()->add_psegmentlist();
    segment->set_nstarttime(0);
    segment->set_nendtime(words * kWordMs);
    segment->set_nresultcount(1);
    segment->add_psentenceresults()->set_psztext(text);
    segment->mutable_psentenceresults(0)->set_nscore(kScore);
    auto* const list = segment->add_pelementlistresults();
    list->set_nelementcount(words);
    for (int i = 0; i < words; ++i) {
        auto* const word = list->add_pelementlist();
        word->set_nstarttime(i * kWordMs);
        word->set_nendtime((i + 1) * kWordMs);
        word->set_nscore(kScore);
        word->set_nposintext(i);
        word->set_ncountintext(1);
        word->set_nflag(0);
    }
    return response;
}

MessageHeader Answer(const std::string& identify, const std::string& text, int words) {
    MessageHeader header;
    header.set_message_type(MessageHeader::LexoRecogResponse);
    auto* const access =
        header.MutableExtension(quorlan::protocol::capbility::capbility_access_response_message);
    access->set_error_no(0);
    access->set_process_time(1);
    Response(identify, text, words).SerializeToString(access->mutable_data());
    access->set_data_len(static_cast<int>(access->data().size()));
    return header;
}

}  // namespace

StampText TextOf(Stamp stamp) {
    StampText text;
    for (char& digit : text) {
        digit = "0123456789abcdef"[stamp >> 60];
        stamp <<= 4;
    }
    return text;
}

int WordsOf(std::size_t body_bytes) {
    return static_cast<int>((body_bytes - kBytesWithoutWords) /
                            (body_bytes < kLargeAnswerBytes ? kBytesOfWord : kBytesOfLateWord));
}

void FillAccess(quorlan::protocol::capbility::CapbilityAccessMessage* access) {
    access->set_capkey(kCapability);
    access->set_property("chinese_8k_common,need_nlu=no");
    access->set_sdk_version("3.5");
    access->set_identify(kIdentify);
    access->set_chunk_no(-1);
    access->set_udid_type(30);
    access->set_udid("0:0242ac110002000000000000000");
}

const RequestFrame& FrameAround(std::size_t audio_bytes) {
    static const RequestFrame frame = SplitAt(Pattern(audio_bytes));
    return frame;
}

AnswerFrame::AnswerFrame(std::size_t body_bytes, std::size_t identify_length)
    : identify_bytes(identify_length) {
    // No byte of a length or a tag is like these.
    const std::string identify(identify_bytes, '\xFF');
    const std::string stamp(kStampTextBytes, '\xFE');
    std::string text = stamp;
    const auto missing = [&] {
        const std::size_t size = Answer(identify, text, WordsOf(body_bytes)).ByteSizeLong();
        return size < body_bytes ? body_bytes - size : 0;
    };
    // Not all at once, as the lengths within the message grow too.
    for (std::size_t rest = missing(); rest > 0; rest = missing()) {
        text.append(rest - std::min(kBytesOfLengths, rest / 2), kFiller);
    }
    bytes = Framed(Answer(identify, text, WordsOf(body_bytes)));
    Require(bytes.size() == kPrefixBytes + body_bytes, "no answer has this size");
    identify_at_ = bytes.find(identify);
    stamp_at_ = bytes.find(stamp);
}

void AnswerFrame::Patch(std::string_view identify, Stamp stamp) {
    Require(identify.size() == identify_bytes, "an identity of another length");
    identify.copy(bytes.data() + identify_at_, identify_bytes);
    std::memcpy(bytes.data() + stamp_at_, TextOf(stamp).data(), kStampTextBytes);
}

}  // namespace exchange
