// One client against peers that behave badly or not at all.
#include <gtest/gtest.h>
#include <sys/time.h>

#include <chrono>
#include <csignal>
#include <future>
#include <string>
#include <vector>

#include "ClientTest.h"
#include "FullListener.h"

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

using ClientFaultsTest = ClientTest;

// Each peer fails one exchange; the next one connects anew and is as good as ever.
TEST_F(ClientFaultsTest, PeersThatFailAnExchange) {
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

TEST_F(ClientFaultsTest, RefusedUntilTheServerIsBack) {
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

TEST_F(ClientFaultsTest, AddressesThatAreNone) {
    for (const char* ip : {"", "localhost", "256.1.1.1", "::1"}) {
        TcpClientUser client(ip, static_cast<unsigned int>(server_.Port()));
        EXPECT_EQ(client.SendRequestAndRecvMessage(kPatience), kTcpErrorConnect) << ip;
        EXPECT_FALSE(client.is_usable_);
    }
}

TEST_F(ClientFaultsTest, SilentPeerTakesTheWholeTimeAndNoMore) {
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
TEST_F(ClientFaultsTest, BusyPeerIsBoundedByTheSameDeadline) {
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

// A peer that goes away while the request is still on its way, with a reset alone or with a reset
// behind the end of its stream: the second kind raises SIGPIPE in a careless client.
TEST_F(ClientFaultsTest, RequestThatCannotBeSent) {
    for (const auto leave : {&scripted::Connection::Reset, &scripted::Connection::Interrupt}) {
        server_.OnConnect([leave](scripted::Connection& connection) {
            std::vector<char> start(1000);
            connection.Receive(start);
            (connection.*leave)();
        });
        EXPECT_EQ(Exchange("lost", kPatience, std::size_t{32} << 20), kTcpErrorSend);
    }
}

TEST_F(ClientFaultsTest, PeerThatStopsReading) {
    server_.Then(scripted::Sequence({scripted::Answer(), scripted::Pause(1min)}));
    EXPECT_EQ(Exchange("first"), kTcpOK);
    const auto start = steady_clock::now();
    EXPECT_EQ(Exchange("stuck", 150, std::size_t{16} << 20), kTcpErrorTimeOut);
    EXPECT_GE(steady_clock::now() - start, 150ms);
    EXPECT_LT(steady_clock::now() - start, 3s);
}

// The answer that comes after its time-out finds its connection closed.
TEST_F(ClientFaultsTest, LateAnswer) {
    std::promise<void> gate;
    server_.Then(
        scripted::Sequence({scripted::WaitFor(gate.get_future().share()), scripted::Answer()}));
    EXPECT_EQ(Exchange("late", 50), kTcpErrorTimeOut);
    gate.set_value();
    EXPECT_EQ(Exchange("next"), kTcpOK);
    EXPECT_EQ(Answered(), "next");
    EXPECT_EQ(LastConnection(), 1);
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
