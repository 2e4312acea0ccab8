// One client against peers that behave well, badly and not at all.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <chrono>
#include <csignal>
#include <future>
#include <string>

#include "CapbilityAccess.pb.h"
#include "FrameCodec.h"
#include "FullListener.h"
#include "LexoMessage.pb.h"
#include "ManyDescriptors.h"
#include "MessageHeader.pb.h"
#include "Reactions.h"
#include "ScriptedServer.h"
#include "TcpClientUser.h"

namespace {

using namespace std::chrono_literals;
using quorlan::protocol::capbility::capbility_access_message;
using quorlan::protocol::capbility::capbility_access_response_message;
using std::chrono::steady_clock;

constexpr int kPatience = 10000;  // milliseconds; only a failure ever takes so long

class TcpClientUserTest : public ::testing::Test {
  protected:
    // One exchange with an identity that the answer repeats; gives the status.
    int Exchange(const std::string& identify = "id", int timeout = kPatience,
                 std::size_t audio_bytes = 0) {
        quorlan::protocol::LexoRequestMessage inner;
        inner.set_identify(identify);
        client_.Reset();
        auto* access = client_.request_message_->MutableExtension(capbility_access_message);
        access->set_identify(std::string(audio_bytes, 'a'));
        access->set_data(inner.SerializeAsString());
        const int status = client_.SendRequestAndRecvMessage(timeout);
        EXPECT_EQ(client_.last_error_, status);
        EXPECT_EQ(client_.is_usable_, status == kTcpOK);
        return status;
    }

    // The identity that came back with the last answer.
    std::string Answered() const {
        quorlan::protocol::LexoResponseMessage response;
        response.ParseFromString(
            client_.response_message_->GetExtension(capbility_access_response_message).data());
        return response.identify();
    }

    int LastConnection() const { return server_.LastRequest().connection; }

    scripted::ScriptedServer server_;
    TcpClientUser client_{"127.0.0.1", static_cast<unsigned int>(server_.Port())};
};

TEST_F(TcpClientUserTest, KeepsItsConnectionFromExchangeToExchange) {
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

// Each peer fails one exchange; the next one connects anew and is as good as ever.
TEST_F(TcpClientUserTest, PeersThatFailAnExchange) {
    using namespace scripted;
    const std::string whole = LengthPrefix(100) + std::string(100, 'x');
    const struct {
        const char* peer;
        Reaction reaction;
        int status;
    } cases[] = {
        {"hangs up", HangUp(), kTcpErrorData},
        {"hangs up within the prefix", Sequence({Answer(Bytes(whole.substr(0, 3))), HangUp()}),
         kTcpErrorData},
        {"hangs up behind the prefix", Sequence({Answer(Bytes(whole.substr(0, 4))), HangUp()}),
         kTcpErrorData},
        {"hangs up one byte early", Sequence({Answer(Bytes(whole.substr(0, 103))), HangUp()}),
         kTcpErrorData},
        {"announces too much", Answer(Bytes(LengthPrefix((64u << 20) + 1))), kTcpErrorData},
        {"announces far too much", Answer(Bytes("\xFF\xFF\xFF\xFF")), kTcpErrorData},
        {"answers garbage", Answer(Body(std::string(50, '\xFF'))), kTcpErrorData},
        {"speaks another protocol", Answer(Bytes("HTTP/1.1 400 Bad Request\r\n\r\n")),
         kTcpErrorData},
        {"resets", Reset(), kTcpUnkown},
    };
    int connection = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.peer);
        server_.Then(c.reaction);
        EXPECT_EQ(Exchange("bad"), c.status);
        EXPECT_EQ(LastConnection(), connection);
        EXPECT_EQ(Exchange("good"), kTcpOK);
        EXPECT_EQ(Answered(), "good");
        EXPECT_EQ(LastConnection(), ++connection);
    }
    // The last request of a failed exchange was never sent twice.
    EXPECT_EQ(server_.RequestCount(), 2 * std::size(cases));
}

TEST_F(TcpClientUserTest, RefusedUntilTheServerIsBack) {
    server_.Stop();
    EXPECT_EQ(Exchange(), kTcpErrorConnect);
    EXPECT_EQ(Exchange(), kTcpErrorConnect);
    server_.Start();
    EXPECT_EQ(Exchange("up"), kTcpOK);
    EXPECT_EQ(Answered(), "up");
    server_.Stop();
    EXPECT_EQ(Exchange(), kTcpErrorConnect);
}

TEST(UnansweredClientTest, ConnectingIsBoundedByTheDeadline) {
    const FullListener listener;
    TcpClientUser client("127.0.0.1", static_cast<unsigned int>(listener.Port()));
    const auto start = steady_clock::now();
    EXPECT_EQ(client.SendRequestAndRecvMessage(150), kTcpErrorConnect);
    EXPECT_GE(steady_clock::now() - start, 150ms);
    EXPECT_LT(steady_clock::now() - start, 3s);
}

TEST_F(TcpClientUserTest, AddressesThatAreNone) {
    for (const char* ip : {"", "localhost", "256.1.1.1", "::1"}) {
        TcpClientUser client(ip, static_cast<unsigned int>(server_.Port()));
        EXPECT_EQ(client.SendRequestAndRecvMessage(kPatience), kTcpErrorConnect) << ip;
        EXPECT_FALSE(client.is_usable_);
    }
}

TEST_F(TcpClientUserTest, PortsCountWithTheirLow16Bits) {
    TcpClientUser client("127.0.0.1", static_cast<unsigned int>(server_.Port()) + 0x50000);
    EXPECT_EQ(client.SendRequestAndRecvMessage(kPatience), kTcpOK);
}

TEST_F(TcpClientUserTest, SilentPeerTakesTheWholeTimeAndNoMore) {
    server_.Then(scripted::StaySilent());
    server_.Then(scripted::AnswerPart(scripted::Echo(), 0, 5));
    for (int i = 0; i < 2; ++i) {
        const auto start = steady_clock::now();
        EXPECT_EQ(Exchange("silent", 150), kTcpErrorTimeOut);
        EXPECT_GE(steady_clock::now() - start, 150ms);
        EXPECT_LT(steady_clock::now() - start, 3s);
    }
    EXPECT_EQ(Exchange("back"), kTcpOK);
    EXPECT_EQ(LastConnection(), 2);
}

// Bytes that keep coming do not prolong an exchange, with pauses between them or without.
TEST_F(TcpClientUserTest, BusyPeerIsBoundedByTheSameDeadline) {
    using namespace scripted;
    const Reaction flood = [](const Request&, Connection& connection) {
        while (connection.Send("x")) {
        }
    };
    for (const Reaction& reaction : {Trickle(Body(std::string(10000, 'x')), 1, 10ms),
                                     Sequence({Answer(Bytes(LengthPrefix(64u << 20))), flood})}) {
        server_.Then(reaction);
        const auto start = steady_clock::now();
        EXPECT_EQ(Exchange("slow", 200), kTcpErrorTimeOut);
        EXPECT_LT(steady_clock::now() - start, 3s);
    }
}

TEST_F(TcpClientUserTest, AnswerInSmallPieces) {
    server_.Then(scripted::Trickle(scripted::Echo(), 1, 0ms));
    EXPECT_EQ(Exchange("pieces"), kTcpOK);
    EXPECT_EQ(Answered(), "pieces");
    EXPECT_EQ(Exchange("next"), kTcpOK);
    EXPECT_EQ(LastConnection(), 0);
}

TEST_F(TcpClientUserTest, EmptyAnswerIsAnAnswer) {
    server_.Then(scripted::Answer(scripted::Body("")));
    EXPECT_EQ(Exchange(), kTcpOK);
    EXPECT_EQ(client_.response_message_->ByteSizeLong(), 0u);
}

TEST_F(TcpClientUserTest, LargeMessagesBothWays) {
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

// A peer that goes away while the request is still on its way, with a reset alone or with a reset
// behind the end of its stream: the second kind raises SIGPIPE in a careless client.
TEST_F(TcpClientUserTest, RequestThatCannotBeSent) {
    for (const auto leave : {&scripted::Connection::Reset, &scripted::Connection::Interrupt}) {
        server_.OnConnect([leave](scripted::Connection& connection) {
            std::vector<char> start(1000);
            connection.Receive(start);
            (connection.*leave)();
        });
        EXPECT_EQ(Exchange("lost", kPatience, std::size_t{32} << 20), kTcpErrorSend);
    }
}

TEST_F(TcpClientUserTest, PeerThatStopsReading) {
    server_.Then(scripted::Sequence({scripted::Answer(), scripted::Pause(1min)}));
    EXPECT_EQ(Exchange("first"), kTcpOK);
    const auto start = steady_clock::now();
    EXPECT_EQ(Exchange("stuck", 150, std::size_t{16} << 20), kTcpErrorTimeOut);
    EXPECT_GE(steady_clock::now() - start, 150ms);
    EXPECT_LT(steady_clock::now() - start, 3s);
}

TEST_F(TcpClientUserTest, PeerThatClosedAnIdleConnection) {
    EXPECT_EQ(Exchange("first"), kTcpOK);
    server_.CloseConnections();
    ASSERT_TRUE(server_.WaitForOpenConnections(0));
    EXPECT_EQ(Exchange("second"), kTcpOK);
    EXPECT_EQ(Answered(), "second");
    EXPECT_EQ(LastConnection(), 1);
    EXPECT_EQ(server_.RequestCount(), 2u);
}

// Bytes that no request asked for must not become the next request's answer.
TEST_F(TcpClientUserTest, SecondAnswerToOneRequest) {
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

TEST_F(TcpClientUserTest, StaleBytesOnAnIdleConnection) {
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

// The answer that comes after its time-out finds its connection closed.
TEST_F(TcpClientUserTest, LateAnswer) {
    std::promise<void> gate;
    server_.Then(
        scripted::Sequence({scripted::WaitFor(gate.get_future().share()), scripted::Answer()}));
    EXPECT_EQ(Exchange("late", 50), kTcpErrorTimeOut);
    gate.set_value();
    EXPECT_EQ(Exchange("next"), kTcpOK);
    EXPECT_EQ(Answered(), "next");
    EXPECT_EQ(LastConnection(), 1);
}

TEST_F(TcpClientUserTest, AmongThousandsOfDescriptors) {
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
TEST_F(TcpClientUserTest, SocketOptions) {
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

TEST_F(TcpClientUserTest, ConnectionEndsWithTheClient) {
    {
        TcpClientUser client("127.0.0.1", static_cast<unsigned int>(server_.Port()));
        EXPECT_EQ(client.SendRequestAndRecvMessage(kPatience), kTcpOK);
        ASSERT_TRUE(server_.WaitForOpenConnections(1));
    }
    EXPECT_TRUE(server_.WaitForOpenConnections(0));
}

// Interrupts this thread's waits every few milliseconds; the threads of a server that is built
// while the signal is blocked are left alone.
class Interruptions {
  public:
    Interruptions() {
        struct sigaction action {};
        action.sa_handler = [](int) { interruptions = interruptions + 1; };  // no SA_RESTART
        ::sigaction(SIGALRM, &action, &former_);
        const itimerval every = {{0, 3000}, {0, 3000}};
        ::setitimer(ITIMER_REAL, &every, nullptr);
    }
    ~Interruptions() {
        const itimerval never = {};
        ::setitimer(ITIMER_REAL, &never, nullptr);
        ::sigaction(SIGALRM, &former_, nullptr);
    }
    Interruptions(const Interruptions&) = delete;
    Interruptions& operator=(const Interruptions&) = delete;

    static inline volatile sig_atomic_t interruptions = 0;

  private:
    struct sigaction former_ {};
};

TEST(InterruptedClientTest, SignalsNeitherEndNorProlongAnExchange) {
    sigset_t alarm;
    sigemptyset(&alarm);
    sigaddset(&alarm, SIGALRM);
    ::pthread_sigmask(SIG_BLOCK, &alarm, nullptr);
    scripted::ScriptedServer server;
    server.Then(scripted::Sequence({scripted::Pause(100ms), scripted::Answer()}));
    server.Then(scripted::StaySilent());
    ::pthread_sigmask(SIG_UNBLOCK, &alarm, nullptr);
    TcpClientUser client("127.0.0.1", static_cast<unsigned int>(server.Port()));
    const Interruptions interruptions;
    EXPECT_EQ(client.SendRequestAndRecvMessage(kPatience), kTcpOK);
    const auto start = steady_clock::now();
    EXPECT_EQ(client.SendRequestAndRecvMessage(200), kTcpErrorTimeOut);
    EXPECT_GE(steady_clock::now() - start, 200ms);
    EXPECT_LT(steady_clock::now() - start, 3s);
    EXPECT_GT(Interruptions::interruptions, 10);
}

}  // namespace
