#include "TcpClientUser.h"

#include <array>
#include <climits>

#include "MessageHeader.pb.h"
#include "RecognitionMessages.h"

using quorlan::protocol::MessageHeader;

namespace {

// Messages keep, for each place in them, the most that was ever there: an answer of many words
// takes some three times its bytes, and answers of ever other shapes add up.
constexpr std::size_t kCommonExchangeBytes = std::size_t{256} << 10;
constexpr std::size_t kMostExchangedBytes = std::size_t{4} << 20;

}  // namespace

TcpClientUser::TcpClientUser(const char* ip, unsigned int port)
    : request_message_(std::make_unique<MessageHeader>()),
      response_message_(std::make_unique<MessageHeader>()),
      recognition_(std::make_unique<RecognitionMessages>()),
      ip_(ip),
      port_(port) {}

TcpClientUser::~TcpClientUser() = default;

void TcpClientUser::Reset() {
    exchanged_bytes_ += exchange_bytes_;
    if (exchange_bytes_ > kCommonExchangeBytes || exchanged_bytes_ > kMostExchangedBytes) {
        RenewMessages();
    }
    exchange_bytes_ = 0;
    request_body_.Clear();
    request_message_->Clear();
    response_message_->Clear();
    recognition_->Clear();
}

// In place: new ones would lie behind the memory of the former on the heap, and keep the process
// from giving that back to the system.
void TcpClientUser::RenewMessages() {
    *request_message_ = MessageHeader();
    *response_message_ = MessageHeader();
    *recognition_ = RecognitionMessages();
    exchanged_bytes_ = 0;
}

int TcpClientUser::SendRequestAndRecvMessage(int timeout) {
    // Settles the connection on every way out, an allocation failure included: a connection whose
    // exchange broke off would hand its late answer to the next request.
    struct Settlement {
        TcpClientUser& client;
        TcpStatus status = kTcpUnkown;
        ~Settlement() { client.Settle(status); }
    } settlement{*this};
    settlement.status = Exchange(Deadline(std::chrono::milliseconds(timeout)));
    return settlement.status;
}

void TcpClientUser::Settle(TcpStatus status) {
    // Bytes behind the answer belong to no request: the connection is out of step.
    if (status != kTcpOK || reader_.HasBytesBehindFrame()) {
        connection_.Close();
    }
    reader_.Clear();
    is_usable_ = status == kTcpOK;
    last_error_ = status;
}

TcpStatus TcpClientUser::Exchange(const Deadline& deadline) {
    const TcpStatus status = SendRequest(deadline);
    return status == kTcpOK ? ReceiveResponse(deadline) : status;
}

TcpStatus TcpClientUser::SendRequest(const Deadline& deadline) {
    constexpr int kBodyField = quorlan::protocol::capbility::kCapbilityAccessMessageFieldNumber;
    if (!request_body_.Wrap(*request_message_, kBodyField) || request_body_.Bytes() > INT_MAX) {
        return kTcpUnkown;
    }
    std::array<char, kFramePrefixBytes> prefix;
    EncodeFramePrefix(static_cast<std::uint32_t>(request_body_.Bytes()), prefix.data());
    request_body_.Prepend({prefix.data(), prefix.size()});
    exchange_bytes_ = request_body_.TextBytes();
    if (!connection_.IsReadyForRequest()) {
        const TcpStatus status = connection_.Connect(ip_, port_, deadline);
        if (status != kTcpOK) {
            return status;
        }
    }
    return connection_.Send(request_body_.Pieces(), deadline);
}

TcpStatus TcpClientUser::ReceiveResponse(const Deadline& deadline) {
    while (reader_.GetStatus() == FrameReader::Status::kNeedMore) {
        std::size_t received = 0;
        const TcpStatus status = connection_.Receive(reader_.WritableArea(), &received, deadline);
        if (status != kTcpOK) {
            return status;
        }
        reader_.Commit(received);
    }
    if (reader_.GetStatus() == FrameReader::Status::kTooLarge) {
        return kTcpErrorData;
    }
    const std::string_view body = reader_.Body();
    exchange_bytes_ += body.size();
    const bool parsed =
        response_message_->ParseFromArray(body.data(), static_cast<int>(body.size()));
    return parsed ? kTcpOK : kTcpErrorData;
}
