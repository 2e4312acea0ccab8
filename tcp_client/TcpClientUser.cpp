#include "TcpClientUser.h"

#include "MessageHeader.pb.h"

TcpClientUser::TcpClientUser(const char* ip, unsigned int port)
    : request_message_(std::make_unique<quorlan::protocol::MessageHeader>()),
      response_message_(std::make_unique<quorlan::protocol::MessageHeader>()),
      ip_(ip),
      port_(port) {}

TcpClientUser::~TcpClientUser() = default;

void TcpClientUser::Reset() {
    request_message_->Clear();
    response_message_->Clear();
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
    std::vector<char> frame;
    if (!EncodeFrame(*request_message_, &frame)) {
        return kTcpUnkown;
    }
    if (!connection_.IsReadyForRequest()) {
        const TcpStatus status = connection_.Connect(ip_, port_, deadline);
        if (status != kTcpOK) {
            return status;
        }
    }
    return connection_.Send(frame, deadline);
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
    const bool parsed =
        response_message_->ParseFromArray(body.data(), static_cast<int>(body.size()));
    return parsed ? kTcpOK : kTcpErrorData;
}
