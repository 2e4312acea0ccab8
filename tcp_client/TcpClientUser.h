// A client of one recognition server: it sends a request message and waits for the response
// message, over one connection that is kept between exchanges. Made for one thread at a time; only
// is_usable_ may be touched by another.
//
// Construction costs no system call: the connection is made within the first exchange, because the
// pool constructs clients while it holds its lock. Nothing is ever sent twice: a chunk of audio is
// not idempotent. A connection is therefore looked at before it is used again, and made anew if the
// peer has hung up meanwhile or bytes of an earlier exchange wait in it.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "FrameCodec.h"
#include "GatheredMessage.h"
#include "TcpConnection.h"

struct RecognitionMessages;

namespace quorlan::protocol {
class MessageHeader;
}

class TcpClientUser {
  public:
    // `ip` in dotted IPv4 form; of `port` the low 16 bits count.
    TcpClientUser(const char* ip, unsigned int port);
    ~TcpClientUser();
    TcpClientUser(const TcpClientUser&) = delete;
    TcpClientUser& operator=(const TcpClientUser&) = delete;

    // Clears the messages, ready for the next exchange. Their memory is kept for it, but not what
    // an uncommonly large exchange has taken, and not for ever.
    void Reset();

    // Replaces the messages by new ones, without allocating. For those that an allocation failure
    // has left half-made: they can be destroyed, but not cleared.
    void RenewMessages();

    // Sends request_message_ around request_body_, which is used up, and fills response_message_,
    // all within `timeout` milliseconds. Returns a TcpStatus, which last_error_ keeps. After every
    // status but kTcpOK the connection is closed and the next exchange connects anew.
    int SendRequestAndRecvMessage(int timeout);

    // For an answer that was not the request's own: the connection is out of step, and the next
    // exchange connects anew.
    void Disconnect() { connection_.Close(); }

    const std::unique_ptr<quorlan::protocol::MessageHeader> request_message_;
    // The access message of the request, if there is one. The extension for it is present and empty
    // in request_message_.
    GatheredMessage request_body_;
    const std::unique_ptr<quorlan::protocol::MessageHeader> response_message_;
    // The user's, and cleared with the others.
    const std::unique_ptr<RecognitionMessages> recognition_;
    std::atomic<bool> is_usable_{true};  // cleared when an exchange fails, set by the pool
    int last_error_ = kTcpOK;

  private:
    TcpStatus Exchange(const Deadline& deadline);
    TcpStatus SendRequest(const Deadline& deadline);
    TcpStatus ReceiveResponse(const Deadline& deadline);
    void Settle(TcpStatus status);

    const std::string ip_;
    const unsigned int port_;
    TcpConnection connection_;
    FrameReader reader_;
    std::size_t exchange_bytes_ = 0;   // what the last exchange put into the messages
    std::size_t exchanged_bytes_ = 0;  // what all have, since the messages were new
};
