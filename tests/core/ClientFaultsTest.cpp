// One client against peers that behave badly: what depends on time, signals and broken connections.
#include <gtest/gtest.h>
#include <sys/time.h>

#include <chrono>
#include <csignal>
#include <future>
#include <string>
#include <vector>

#include "CapbilityAccess.pb.h"
#include "FullListener.h"
#include "LexoMessage.pb.h"
#include "MessageHeader.pb.h"
#include "Reactions.h"
#include "ScriptedServer.h"
#include "TcpClientUser.h"

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr int kPatience = 10000;  // milliseconds; only a failure ever takes so long

// Whether the exchange fails with this status, not before `timeout` milliseconds have passed and
// not long after.
template <typename Send>
void ExpectFailureAfter(int timeout, int status, const Send& send) {
    const auto start = steady_clock::now();
    EXPECT_EQ(send(timeout), status);
    EXPECT_GE(steady_clock::now() - start, std::chrono::milliseconds(timeout));
    EXPECT_LT(steady_clock::now() - start, 3s);
}

class ClientFaultsTest : public ::testing::Test {
  protected:
    // One exchange with an identity that the answer repeats; gives the status.
    int Exchange(const std::string& identify, int timeout = kPatience,
                 std::size_t audio_bytes = 0) {
        quorlan::protocol::LexoRequestMessage inner;
        inner.set_identify(identify);
        client_.Reset();
        auto* access = client_.request_message_->MutableExtension(
            quorlan::protocol::capbility::capbility_access_message);
        access->set_identify(std::string(audio_bytes, 'a'));
        access->set_data(inner.SerializeAsString());
        const int status = client_.SendRequestAndRecvMessage(timeout);
        EXPECT_EQ(client_.last_error_, status);
        EXPECT_EQ(client_.is_usable_, status == kTcpOK);
        return status;
    }

    // An exchange that is as good as ever, over this connection.
    void ExpectGoodExchange(int connection) {
        EXPECT_EQ(Exchange("good"), kTcpOK);
        quorlan::protocol::LexoResponseMessage response;
        response.ParseFromString(
            client_.response_message_
                ->GetExtension(quorlan::protocol::capbility::capbility_access_response_message)
                .data());
        EXPECT_EQ(response.identify(), "good");
        EXPECT_EQ(server_.LastRequest().connection, connection);
    }

    scripted::ScriptedServer server_;
    TcpClientUser client_{"127.0.0.1", static_cast<unsigned int>(server_.Port())};
};

// Each peer fails one exchange; the next one connects anew. Bytes that keep coming do not prolong
// an exchange, with pauses between them or without.
TEST_F(ClientFaultsTest, TheTimeOutHoldsHoweverThePeerIsSlow) {
    using namespace scripted;
    const Reaction flood = [](const Request&, Connection& connection) {
        while (connection.Send("x")) {
        }
    };
    const std::pair<const char*, Reaction> cases[] = {
        {"silent", StaySilent()},
        {"silent within the answer", AnswerPart(Echo(), 0, 5)},
        {"trickling", Trickle(Body(std::string(10000, 'x')), 1, 10ms)},
        {"flooding", Sequence({Answer(Bytes(LengthPrefix(64u << 20))), flood})},
    };
    int connection = 0;
    for (const auto& [peer, reaction] : cases) {
        SCOPED_TRACE(peer);
        server_.Then(reaction);
        ExpectFailureAfter(100, kTcpErrorTimeOut,
                           [&](int timeout) { return Exchange("slow", timeout); });
        ExpectGoodExchange(++connection);
    }
}

TEST_F(ClientFaultsTest, PeerThatResets) {
    server_.Then(scripted::Reset());
    EXPECT_EQ(Exchange("bad"), kTcpUnkown);
    ExpectGoodExchange(1);
}

TEST(UnansweredClientTest, ConnectingIsBoundedByTheDeadline) {
    const FullListener listener;
    TcpClientUser client("127.0.0.1", static_cast<unsigned int>(listener.Port()));
    ExpectFailureAfter(150, kTcpErrorConnect,
                       [&](int timeout) { return client.SendRequestAndRecvMessage(timeout); });
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
    ExpectFailureAfter(150, kTcpErrorTimeOut, [&](int timeout) {
        return Exchange("stuck", timeout, std::size_t{16} << 20);
    });
}

// The answer that comes after its time-out finds its connection closed.
TEST_F(ClientFaultsTest, LateAnswer) {
    std::promise<void> gate;
    server_.Then(
        scripted::Sequence({scripted::WaitFor(gate.get_future().share()), scripted::Answer()}));
    EXPECT_EQ(Exchange("late", 50), kTcpErrorTimeOut);
    gate.set_value();
    ExpectGoodExchange(1);
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
    ExpectFailureAfter(200, kTcpErrorTimeOut,
                       [&](int timeout) { return client.SendRequestAndRecvMessage(timeout); });
    EXPECT_GT(Interruptions::interruptions, 10);
}

}  // namespace
