// The server of the rows that speak the project's protocol. It does next to nothing, and the same
// for each of them, so that they differ in the client's work alone: it finds the identity and the
// audio without parsing or copying the rest, and sends an answer made beforehand, into which it
// puts the identity and the stamp.
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/wire_format_lite.h>

#include <atomic>
#include <latch>
#include <map>
#include <mutex>
#include <optional>

#include "Audio.h"
#include "CapbilityAccess.pb.h"
#include "FrameSocket.h"
#include "LexoMessage.pb.h"
#include "Messages.h"
#include "ServerProcess.h"

namespace exchange {
namespace {

using google::protobuf::internal::WireFormatLite;
using quorlan::protocol::LexoRequestMessage;
using quorlan::protocol::capbility::CapbilityAccessMessage;

Run options;

// Reads the fields of nested messages in the order in which they were written.
class Fields {
  public:
    explicit Fields(std::string_view body)
        : body_(body),
          in_(reinterpret_cast<const std::uint8_t*>(body.data()), static_cast<int>(body.size())) {}

    // Goes to the content of the next field with this number; returns its length.
    std::size_t Enter(int number) {
        std::uint32_t length = 0;
        std::uint32_t tag = in_.ReadTag();
        while (tag != 0 && WireFormatLite::GetTagFieldNumber(tag) != number) {
            Require(WireFormatLite::SkipField(&in_, tag), "a frame of another kind");
            tag = in_.ReadTag();
        }
        Require(tag != 0 && in_.ReadVarint32(&length), "a field is missing");
        return length;
    }
    std::string_view Read(int number) {
        const std::size_t length = Enter(number);
        const auto place = static_cast<std::size_t>(in_.CurrentPosition());
        Require(in_.Skip(static_cast<int>(length)), "a field that is cut off");
        return body_.substr(place, length);
    }

  private:
    std::string_view body_;
    google::protobuf::io::CodedInputStream in_;
};

struct Request {
    std::string_view identify;
    std::string_view audio;
};

Request Look(std::string_view body) {
    Fields fields(body);
    Request request;
    fields.Enter(quorlan::protocol::capbility::kCapbilityAccessMessageFieldNumber);
    request.identify = fields.Read(CapbilityAccessMessage::kIdentifyFieldNumber);
    fields.Enter(CapbilityAccessMessage::kDataFieldNumber);
    request.audio = fields.Read(LexoRequestMessage::kDataFieldNumber);
    return request;
}

// Of the first requests and the last: that the whole frame is what the message classes read.
void CheckWhole(std::string_view body, const Request& seen) {
    quorlan::protocol::MessageHeader header;
    LexoRequestMessage inner;
    Require(header.ParseFromArray(body.data(), static_cast<int>(body.size())),
            "a frame that does not parse");
    const auto& access =
        header.GetExtension(quorlan::protocol::capbility::capbility_access_message);
    Require(inner.ParseFromString(access.data()) && inner.data() == seen.audio &&
                inner.identify() == seen.identify && access.identify() == seen.identify &&
                inner.chunk_no() == -1,
            "a request with other content");
}

// Made once for each length of an identity, as that takes long; each connection has a copy.
AnswerFrame AnswerFor(std::size_t identify_bytes) {
    static std::mutex mutex;
    static std::map<std::size_t, AnswerFrame> made;
    const std::lock_guard<std::mutex> lock(mutex);
    return made.try_emplace(identify_bytes, options.answer_bytes, identify_bytes).first->second;
}

void Serve(FrameSocket& socket) {
    static const AudioCheck check(options.audio_bytes);
    // None of the first requests is answered before all are there: as many connections are made.
    static std::latch all_connected(options.idle);
    static std::atomic<unsigned> connections{0};
    std::optional<AnswerFrame> answer;
    for (std::string_view body = socket.Receive(); !body.empty(); body = socket.Receive()) {
        const Request request = Look(body);
        const Stamp stamp = check.Of(request.audio);
        if (!answer && connections++ < options.idle) {
            all_connected.arrive_and_wait();
        }
        if ((stamp & kCheckEveryByte) != 0) {
            CheckWhole(body, request);
        }
        if (!answer || answer->identify_bytes != request.identify.size()) {
            answer.emplace(AnswerFor(request.identify.size()));
        }
        answer->Patch(request.identify, stamp);
        iovec part{answer->bytes.data(), answer->bytes.size()};
        socket.Send({&part, 1});
    }
}

}  // namespace
}  // namespace exchange

using namespace exchange;

int main(int argc, char** argv) {
    options = ReadRun(argc, argv);
    ServeOn(ServeFrames(Serve));
}
