// A client that speaks the wire protocol, well or badly, over a loopback socket.
#pragma once

#include <asio/ip/tcp.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "CapbilityAccess.pb.h"
#include "LexoMessage.pb.h"
#include "MessageHeader.pb.h"

namespace orvx::test {

using quorlan::protocol::LexoRequestMessage;
using quorlan::protocol::LexoResponseMessage;
using quorlan::protocol::MessageHeader;
using quorlan::protocol::capbility::CapbilityAccessMessage;
using quorlan::protocol::capbility::CapbilityAccessResponseMessage;

struct Answer {
    MessageHeader header;
    CapbilityAccessResponseMessage access;
    LexoResponseMessage response;

    // The best sentences of all segments, joined by blanks.
    std::string Text() const;
    const LexoResponseMessage::Lexo_Freetalk_Segment& Segment(int index) const;
    int Error() const { return response.error_no(); }
    int Status() const { return response.recog_status(); }
};

// Free talk with a fresh identity.
LexoRequestMessage MakeRequest(const std::string& task_config, const std::string& audio,
                               int chunk_no = -1);
CapbilityAccessMessage* Access(MessageHeader* header);
MessageHeader Wrap(const LexoRequestMessage& request);
std::string Frame(const MessageHeader& header);
std::string Frame(const std::string& body);
std::string Prefix(std::size_t body_bytes);
Answer ParseAnswer(const std::string& body);

class TestClient {
  public:
    // Connects, or throws std::system_error.
    explicit TestClient(std::uint16_t port);

    // False when the server takes no more for `ms`, or has closed.
    bool Send(std::string_view bytes, int ms = 60000);
    void Send(const LexoRequestMessage& request) { Send(Frame(Wrap(request))); }
    // Empty when the server closed the connection; fails the test after a minute.
    std::optional<Answer> Receive();
    // Sends and receives; fails the test if no answer comes.
    Answer Ask(const MessageHeader& header);
    Answer Ask(const LexoRequestMessage& request) { return Ask(Wrap(request)); }

    // Whether the server closes the connection within `ms`, without sending anything.
    bool IsClosedByServer(int ms = 60000);
    void CloseSendingSide() { socket_.shutdown(socket_.shutdown_send); }
    void Reset() { socket_.set_option(asio::socket_base::linger(true, 0)), socket_.close(); }

  private:
    bool IsReady(short events, int ms);
    std::string ReceiveBytes(std::size_t count);

    asio::ip::tcp::socket socket_;
};

}  // namespace orvx::test
