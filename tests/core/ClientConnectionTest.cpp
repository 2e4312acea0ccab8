// The life of one client's connection: kept, looked at before it is used again, and made anew.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <future>
#include <string>

#include "ClientTest.h"
#include "ManyDescriptors.h"

namespace {

using namespace std::chrono_literals;
using quorlan::protocol::capbility::capbility_access_response_message;

using ClientConnectionTest = ClientTest;

TEST_F(ClientConnectionTest, KeepsItsConnectionFromExchangeToExchange) {
    EXPECT_TRUE(client_.is_usable_);
    for (const char* identify : {"one", "two", "three"}) {
        EXPECT_EQ(Exchange(identify), kTcpOK);
        EXPECT_EQ(Answered(), identify);
        EXPECT_EQ(LastConnection(), 0);
    }
    client_.Reset();
    EXPECT_EQ(client_.request_message_->ByteSizeLong(), 0u);
    EXPECT_EQ(client_.response_message_->ByteSizeLong(), 0u);
}

TEST_F(ClientConnectionTest, PortsCountWithTheirLow16Bits) {
    TcpClientUser client("127.0.0.1", static_cast<unsigned int>(server_.Port()) + 0x50000);
    EXPECT_EQ(client.SendRequestAndRecvMessage(kPatience), kTcpOK);
}

TEST_F(ClientConnectionTest, AnswerInSmallPieces) {
    server_.Then(scripted::Trickle(scripted::Echo(), 1, 0ms));
    EXPECT_EQ(Exchange("pieces"), kTcpOK);
    EXPECT_EQ(Answered(), "pieces");
    EXPECT_EQ(Exchange("next"), kTcpOK);
    EXPECT_EQ(LastConnection(), 0);
}

TEST_F(ClientConnectionTest, EmptyAnswerIsAnAnswer) {
    server_.Then(scripted::Answer(scripted::Body("")));
    EXPECT_EQ(Exchange(), kTcpOK);
    EXPECT_EQ(client_.response_message_->ByteSizeLong(), 0u);
}

TEST_F(ClientConnectionTest, LargeMessagesBothWays) {
    constexpr std::size_t kBytes = std::size_t{8} << 20;
    server_.Then(scripted::Answer(scripted::EchoAccess(
        [](auto& access) { access.set_error_desc(std::string(kBytes, 'd')); })));
    EXPECT_EQ(Exchange("large", kPatience, kBytes), kTcpOK);
    EXPECT_EQ(Answered(), "large");
    EXPECT_EQ(server_.LastRequest().access.identify().size(), kBytes);
    EXPECT_EQ(client_.response_message_->GetExtension(capbility_access_response_message)
                  .error_desc()
                  .size(),
              kBytes);
}

TEST_F(ClientConnectionTest, PeerThatClosedAnIdleConnection) {
    EXPECT_EQ(Exchange("first"), kTcpOK);
    server_.CloseConnections();
    ASSERT_TRUE(server_.WaitForOpenConnections(0));
    EXPECT_EQ(Exchange("second"), kTcpOK);
    EXPECT_EQ(Answered(), "second");
    EXPECT_EQ(LastConnection(), 1);
    EXPECT_EQ(server_.RequestCount(), 2u);
}

// Bytes that no request asked for must not become the next request's answer.
TEST_F(ClientConnectionTest, SecondAnswerToOneRequest) {
    using namespace scripted;
    const FrameMaker twice = [](const Request& request) {
        return Echo()(request) + Echo()(request);
    };
    server_.Then(Answer(twice));
    EXPECT_EQ(Exchange("first"), kTcpOK);
    EXPECT_EQ(Answered(), "first");
    EXPECT_EQ(Exchange("second"), kTcpOK);
    EXPECT_EQ(Answered(), "second");
    EXPECT_EQ(LastConnection(), 1);
}

TEST_F(ClientConnectionTest, StaleBytesOnAnIdleConnection) {
    std::promise<void> gate;
    std::promise<void> sent;
    server_.Then(scripted::Sequence(
        {scripted::Answer(), scripted::WaitFor(gate.get_future().share()), scripted::Answer(),
         [&sent](const scripted::Request&, scripted::Connection&) { sent.set_value(); }}));
    EXPECT_EQ(Exchange("first"), kTcpOK);
    gate.set_value();
    sent.get_future().wait();
    EXPECT_EQ(Exchange("second"), kTcpOK);
    EXPECT_EQ(Answered(), "second");
    EXPECT_EQ(LastConnection(), 1);
}

TEST_F(ClientConnectionTest, AmongThousandsOfDescriptors) {
    const ManyDescriptors descriptors;
    ASSERT_TRUE(descriptors.AreHeld());
    EXPECT_EQ(Exchange("many"), kTcpOK);
    EXPECT_EQ(Answered(), "many");
}

// The descriptor that is connected to this port of the loopback interface, or -1.
int SocketTo(int port) {
    for (int fd = 3; fd < 1000; ++fd) {
        sockaddr_in peer{};
        socklen_t length = sizeof peer;
        if (::getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &length) == 0 &&
            peer.sin_family == AF_INET && ntohs(peer.sin_port) == port) {
            return fd;
        }
    }
    return -1;
}

// A peer that died without a word is noticed long before the time-out of an exchange.
TEST_F(ClientConnectionTest, SocketOptions) {
    ASSERT_EQ(Exchange(), kTcpOK);
    const int fd = SocketTo(server_.Port());
    ASSERT_GE(fd, 0);
    EXPECT_NE(::fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
    const struct {
        int level, name, value;
    } options[] = {{SOL_SOCKET, SO_KEEPALIVE, 1},          {IPPROTO_TCP, TCP_KEEPIDLE, 10},
                   {IPPROTO_TCP, TCP_KEEPINTVL, 5},        {IPPROTO_TCP, TCP_KEEPCNT, 3},
                   {IPPROTO_TCP, TCP_USER_TIMEOUT, 25000}, {IPPROTO_TCP, TCP_NODELAY, 1}};
    for (const auto& option : options) {
        int value = 0;
        socklen_t length = sizeof value;
        EXPECT_EQ(::getsockopt(fd, option.level, option.name, &value, &length), 0);
        EXPECT_EQ(value, option.value) << option.name;
    }
}

TEST_F(ClientConnectionTest, ConnectionEndsWithTheClient) {
    {
        TcpClientUser client("127.0.0.1", static_cast<unsigned int>(server_.Port()));
        EXPECT_EQ(client.SendRequestAndRecvMessage(kPatience), kTcpOK);
        ASSERT_TRUE(server_.WaitForOpenConnections(1));
    }
    EXPECT_TRUE(server_.WaitForOpenConnections(0));
}

}  // namespace
