// One client against peers that behave badly: what depends on time, signals and broken connections.
#include <gtest/gtest.h>
#include <pthread.h>

#include <chrono>
#include <climits>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include "Deadline.h"
#include "Footprint.h"
#include "MessageHeader.pb.h"
#include "Reactions.h"
#include "RecognitionMessages.h"
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

// A wait of 0 ms before the time is over would spin.
TEST(DeadlineTest, NothingIsLeftOnlyWhenItHasPassed) {
    const auto start = steady_clock::now();
    const Deadline deadline(5ms);
    while (deadline.RemainingMilliseconds() > 0) std::this_thread::yield();
    EXPECT_GE(steady_clock::now() - start, 5ms);
    EXPECT_EQ(Deadline(std::chrono::hours(24 * 365)).RemainingMilliseconds(), INT_MAX);
    EXPECT_LE(Deadline(1min).CappedAt(1000ms).RemainingMilliseconds(), 1000);
}

class ClientFaultsTest : public ::testing::Test {
  protected:
    // One exchange; gives the status.
    int Exchange(int timeout = kPatience, std::size_t request_bytes = 0) {
        client_.Reset();
        client_.request_message_->set_name(std::string(request_bytes, 'a'));
        const int status = client_.SendRequestAndRecvMessage(timeout);
        EXPECT_EQ(client_.last_error_, status);
        EXPECT_EQ(client_.is_usable_, status == kTcpOK);
        return status;
    }

    // An exchange that is as good as ever, over this connection.
    void ExpectGoodExchange(int connection) {
        EXPECT_EQ(Exchange(), kTcpOK);
        EXPECT_EQ(server_.LastRequest().connection, connection);
    }

    scripted::ScriptedServer server_;
    TcpClientUser client_{"127.0.0.1", static_cast<unsigned int>(server_.Port())};
};

// Each peer fails one exchange; the next one connects anew. Bytes that keep coming do not prolong
// an exchange, with pauses between them or without.
TEST_F(ClientFaultsTest, TheTimeOutHoldsHoweverThePeerIsSlow) {
    using namespace scripted;
    const auto endless = [](std::chrono::milliseconds pause) {
        return Sequence({Answer(Bytes(LengthPrefix(64u << 20))), [pause](auto&, auto& connection) {
                             while (connection.Send("x")) connection.Pause(pause);
                         }});
    };
    const std::pair<const char*, Reaction> cases[] = {
        {"silent", StaySilent()},
        {"silent within the answer", Answer(Echo(), 5)},
        {"trickling", endless(10ms)},
        {"flooding", endless(0ms)},
    };
    int connection = 0;
    for (const auto& [peer, reaction] : cases) {
        SCOPED_TRACE(peer);
        server_.Then(reaction);
        ExpectFailureAfter(100, kTcpErrorTimeOut, [&](int timeout) { return Exchange(timeout); });
        ExpectGoodExchange(++connection);
    }
}

// Each answer has its one long text at another place. What messages keep of that would add up.
TEST_F(ClientFaultsTest, AnswersOfEverOtherShapesDoNotAddUp) {
    const std::string text(200'000, 'a');
    server_.StopRecording();
    EXPECT_EQ(Exchange(), kTcpOK);
    const std::size_t before = scripted::BytesInUse();
    for (int place = 0; place < 200; ++place) {
        server_.Then(scripted::Answer(scripted::Echo([&](auto& response) {
            auto* const segment = response.mutable_sfreetalkresult()->add_psegmentlist();
            for (int i = 0; i < place; ++i) segment->add_psentenceresults();
            segment->add_psentenceresults()->set_psztext(text);
        })));
        ASSERT_EQ(Exchange(), kTcpOK);
        const auto& access = client_.response_message_->GetExtension(
            quorlan::protocol::capbility::capbility_access_response_message);
        ASSERT_TRUE(client_.recognition_->response.ParseFromString(access.data()));
    }
    client_.Reset();
    EXPECT_LT(scripted::BytesInUse(), before + (std::size_t{8} << 20));
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
        EXPECT_EQ(Exchange(kPatience, std::size_t{32} << 20), kTcpErrorSend);
    }
}

TEST_F(ClientFaultsTest, PeerThatStopsReading) {
    server_.Then(scripted::Sequence({scripted::Answer(), scripted::Pause(1min)}));
    EXPECT_EQ(Exchange(), kTcpOK);
    ExpectFailureAfter(150, kTcpErrorTimeOut,
                       [&](int timeout) { return Exchange(timeout, std::size_t{16} << 20); });
}

volatile std::sig_atomic_t g_interruptions = 0;

// The client's waits are interrupted every few milliseconds.
TEST_F(ClientFaultsTest, SignalsNeitherEndNorProlongAnExchange) {
    struct sigaction action {};
    action.sa_handler = [](int) { g_interruptions = g_interruptions + 1; };  // no SA_RESTART
    ::sigaction(SIGUSR1, &action, nullptr);
    const std::jthread interrupter([client = ::pthread_self()](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            ::pthread_kill(client, SIGUSR1);
            std::this_thread::sleep_for(3ms);
        }
    });
    server_.Then(scripted::Sequence({scripted::Pause(100ms), scripted::Answer()}));
    EXPECT_EQ(Exchange(), kTcpOK);
    server_.Then(scripted::StaySilent());
    ExpectFailureAfter(200, kTcpErrorTimeOut, [&](int timeout) { return Exchange(timeout); });
    EXPECT_GT(g_interruptions, 10);
}

}  // namespace
