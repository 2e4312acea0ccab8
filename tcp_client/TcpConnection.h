// One TCP socket to one IPv4 server: connect, send, receive, each bounded by a deadline. It knows
// nothing of messages. Made for one thread at a time.
//
// A send or a receive waits in the kernel for up to a second and only then, or when less than that
// is left, with poll(): so the common exchange costs one call each way, and a deadline holds to the
// millisecond all the same.
//
// A peer that died without a word is noticed by keep-alive probes and the user time-out within
// 25 s; so is a live one that leaves part of a request unread in the network for as long. No signal
// is raised, no signal disposition changed, and no descriptor passes to a child program.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "Deadline.h"
#include "OwnSocket.h"

// How an exchange ended; the numbers appear in the log.
enum TcpStatus {
    kTcpUnkown = -1,       // none of the below
    kTcpOK = 0,            //
    kTcpErrorData = 1,     // end of stream, or a frame that cannot be read
    kTcpErrorTimeOut = 2,  // the deadline passed
    kTcpErrorSend = 3,     // the request could not be sent
    kTcpErrorConnect = 4   // no connection
};

class TcpConnection {
  public:
    bool IsOpen() const { return socket_.IsOpen(); }
    void Close() { socket_.Close(); }

    // Whether a request may be sent on the kept socket: it is open, the peer has not hung up, and
    // no unread bytes of an earlier exchange wait.
    bool IsReadyForRequest() const;

    // Connects anew to `ip` (dotted IPv4) and the low 16 bits of `port`, within 5 s of `deadline`.
    TcpStatus Connect(const std::string& ip, unsigned int port, const Deadline& deadline);

    // Sends all bytes of all `pieces`, none of which is empty, in order and without copying them.
    // The list is used up.
    TcpStatus Send(std::span<std::string_view> pieces, const Deadline& deadline);

    // Waits for bytes and puts at least one into `room`; `*received` says how many.
    TcpStatus Receive(std::span<char> room, std::size_t* received, const Deadline& deadline);

  private:
    TcpStatus Open(const std::string& ip, unsigned int port, const Deadline& deadline);
    bool FinishConnect(const Deadline& deadline) const;

    OwnSocket socket_;
};
