// gather: the floor of the protocol. What is around the audio is serialised into a small buffer,
// one call gathers the parts and sends them without a copy, and the answer is parsed into messages
// that are reused. There is no session, no pool, no new identity, and no result record.
//
// The message classes write what is around the audio: fields are serialised in the order of their
// numbers, so a message without its audio can be written as two, of what is before it and behind.
#include <arpa/inet.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/wire_format_lite.h>

#include <cstring>
#include <mutex>

#include "CapbilityAccess.pb.h"
#include "FrameSocket.h"
#include "LexoMessage.pb.h"
#include "Measure.h"
#include "Messages.h"

namespace exchange {
namespace {

using google::protobuf::internal::WireFormatLite;
using google::protobuf::io::CodedOutputStream;
using quorlan::protocol::LexoRequestMessage;
using quorlan::protocol::LexoResponseMessage;
using quorlan::protocol::MessageHeader;
using quorlan::protocol::capbility::CapbilityAccessMessage;

// The bytes of a field before its content.
std::size_t LeadOf(int number, std::size_t length) {
    return CodedOutputStream::VarintSize32(
               WireFormatLite::MakeTag(number, WireFormatLite::WIRETYPE_LENGTH_DELIMITED)) +
           CodedOutputStream::VarintSize32(static_cast<std::uint32_t>(length));
}

class SmallBuffer {
  public:
    void Clear() { end_ = bytes_; }
    void PutPrefix(std::size_t length) {
        const std::uint32_t prefix = htonl(static_cast<std::uint32_t>(length));
        end_ = CodedOutputStream::WriteRawToArray(&prefix, sizeof prefix, end_);
    }
    void PutLead(int number, std::size_t length) {
        end_ = WireFormatLite::WriteTagToArray(number, WireFormatLite::WIRETYPE_LENGTH_DELIMITED,
                                               end_);
        end_ = CodedOutputStream::WriteVarint32ToArray(static_cast<std::uint32_t>(length), end_);
    }
    // Its size must have been asked for.
    void Put(const google::protobuf::MessageLite& message) {
        end_ = message.SerializeWithCachedSizesToArray(end_);
    }
    iovec Part() { return {bytes_, static_cast<std::size_t>(end_ - bytes_)}; }
    std::string Text() const {
        return {reinterpret_cast<const char*>(bytes_), static_cast<std::size_t>(end_ - bytes_)};
    }

  private:
    std::uint8_t bytes_[1024] = {};
    std::uint8_t* end_ = bytes_;
};

class GatherClient final : public Client {
  public:
    GatherClient(const Run& run, int port) : socket_(FrameSocket::Connect(port)), run_(run) {
        FillAccess(&access_);
        static std::once_flag checked;
        std::call_once(checked, [this] {
            Write(run_.audio_bytes);
            Require(RequestFrame{before_.Text(), after_.Text()} == FrameAround(run_.audio_bytes),
                    "other bytes than those of the message classes");
        });
    }

    void Exchange(std::string_view audio, Stamp stamp) override {
        Write(audio.size());
        iovec parts[] = {
            before_.Part(), {const_cast<char*>(audio.data()), audio.size()}, after_.Part()};
        socket_.Send(parts);
        const std::string_view body = socket_.Receive();
        Require(answer_.ParseFromArray(body.data(), static_cast<int>(body.size())),
                "an answer that does not parse");
        const std::string& data =
            answer_.GetExtension(quorlan::protocol::capbility::capbility_access_response_message)
                .data();
        Require(response_.ParseFromString(data), "an answer without a response");
        Check(stamp);
    }

  private:
    void Write(std::size_t audio_bytes) {
        header_.set_message_type(MessageHeader::LexoRecogRequest);
        header_.set_name("CapbilityAccessMessage");
        front_.set_identify(kIdentify);
        front_.set_cap_name(kCapability);
        back_.set_data_len(static_cast<int>(audio_bytes));
        back_.set_task_config(kTaskConfig);
        back_.set_chunk_no(-1);
        const int audio_field = LexoRequestMessage::kDataFieldNumber;
        const std::size_t inner = front_.ByteSizeLong() + LeadOf(audio_field, audio_bytes) +
                                  audio_bytes + back_.ByteSizeLong();
        access_.set_identify(kIdentify);
        access_.set_data_len(static_cast<int>(inner));
        const int data_field = CapbilityAccessMessage::kDataFieldNumber;
        const std::size_t middle = access_.ByteSizeLong() + LeadOf(data_field, inner) + inner;
        const int access_field = quorlan::protocol::capbility::kCapbilityAccessMessageFieldNumber;
        before_.Clear();
        before_.PutPrefix(header_.ByteSizeLong() + LeadOf(access_field, middle) + middle);
        before_.Put(header_);
        before_.PutLead(access_field, middle);
        before_.Put(access_);
        before_.PutLead(data_field, inner);
        before_.Put(front_);
        before_.PutLead(audio_field, audio_bytes);
        after_.Clear();
        after_.Put(back_);
    }
    void Check(Stamp stamp) const {
        const auto& segment = response_.sfreetalkresult().psegmentlist(0);
        const auto& words = segment.pelementlistresults(0).pelementlist();
        bool is_right = response_.identify() == kIdentify &&
                        words.size() == WordsOf(run_.answer_bytes) &&
                        std::memcmp(segment.psentenceresults(0).psztext().data(),
                                    TextOf(stamp).data(), kStampTextBytes) == 0;
        for (int i = 0; i < words.size(); ++i) {
            is_right &= words[i].nstarttime() == i * kWordMs;
        }
        Require(is_right, "another answer");
    }

    FrameSocket socket_;
    const Run& run_;
    MessageHeader header_, answer_;
    CapbilityAccessMessage access_;
    LexoRequestMessage front_, back_;  // the request's fields around its audio
    LexoResponseMessage response_;
    SmallBuffer before_, after_;
};

}  // namespace
}  // namespace exchange

using namespace exchange;

int main(int argc, char** argv) {
    const Run run = ReadRun(argc, argv);
    Measure(run, Beside("orvx_exchange_server"),
            [&](int port) { return std::make_unique<GatherClient>(run, port); });
}
