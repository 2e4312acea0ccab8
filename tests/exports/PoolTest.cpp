// The connections as the server and the log see them: reuse, order, and kept connections that went
// bad while idle.
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <deque>
#include <future>
#include <string>

#include "ChildProcess.h"
#include "TestHost.h"
#include "Threads.h"

namespace {

using namespace scripted;
using ::testing::MatchesRegex;

class PoolTest : public HostTest {};

TEST_F(PoolTest, RentingIsLogged) {
    Session session("freetalk");
    EXPECT_EQ(session.Recognize(), kGood);
    EXPECT_EQ(session.Recognize(), kGood);
    const std::string key = "\\[" + server_.Address() + "\\]=\\[";
    const std::string address = key + "[0-9A-F]+\\] to ";
    const auto given = MatchesRegex("xxxx--Giveback a connection " + address + "list");
    EXPECT_THAT(Logged("INFO"),
                ::testing::IsSupersetOf(
                    {MatchesRegex("xxxx--Create a new connection" + key + "0x[0-9a-f]+\\] to use"),
                     given, MatchesRegex("xxxx--Rent a connection " + address + "use"), given}));
}

TEST_F(PoolTest, AConnectionClosedWhileIdleIsOpenedAnew) {
    Session session("freetalk");
    session.SetNumber(LEXO_PARAM_STREAM, 1);
    const int connection = Sent(session).connection;
    server_.CloseConnections();
    EXPECT_NE(Sent(session).connection, connection) << "without the host noticing";
    server_.Stop();
    server_.Start();
    EXPECT_EQ(session.Recognize(), kGood) << "nor when the server was restarted";
    EXPECT_EQ(ChunkNumbers(), (std::vector<int>{1, 2, 3}));
}

TEST_F(PoolTest, AChildKeepsNoConnectionOpen) {
    pid_t child = -1;
    std::promise<void> gate;
    server_.Then(Sequence({WaitFor(gate.get_future().share()), Answer()}));
    {
        Session idle("freetalk");
        Session busy("freetalk");
        auto answer = std::async(std::launch::async, [&] { return busy.Recognize(); });
        ASSERT_TRUE(server_.WaitForRequests(1));
        EXPECT_EQ(idle.Recognize(), kGood);
        child = ::fork();
        if (child == 0) ::pause();
        gate.set_value();
        EXPECT_EQ(answer.get(), kGood);
    }
    EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_NONE);
    EXPECT_TRUE(server_.WaitForOpenConnections(0)) << "the server sees its end";
    ::kill(child, SIGKILL);
    StatusOf(child);
}

TEST_F(PoolTest, AChildGetsNoSocketThatAsksForTheMachine) {
    std::atomic<bool> is_over = false;
    int inherited = 0;
    server_.StopRecording();
    InThreads(8, [&](int i) {
        Session session("freetalk");
        while (i > 0 && !is_over) session.Recognize();
        for (int forks = 0; i == 0 && forks < 200; ++forks) {
            const pid_t child = ::fork();
            int count = 0;
            for (int fd = 3, type = 0; child == 0 && fd < 100; ++fd, type = 0) {
                socklen_t bytes = sizeof type;
                ::getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &bytes);
                count += type == SOCK_DGRAM ? 1 : 0;
            }
            if (child == 0) ::_exit(count);
            inherited += StatusOf(child);
        }
        if (i == 0) is_over = true;
    });
    EXPECT_EQ(inherited, 0);
}

TEST_F(PoolTest, AHundredConnectionsClosedAtOnceAreOpenedAnew) {
    constexpr int kCount = 100;
    std::deque<Session> sessions;
    for (int i = 0; i < kCount; ++i) sessions.emplace_back("freetalk");
    const auto exchange_at_once = [&] {
        std::atomic<int> good{0};
        InThreads(kCount, [&](int i) {
            const Outcome outcome = sessions[static_cast<std::size_t>(i)].Recognize();
            good += outcome == kGood ? 1 : 0;
        });
        return good.load();
    };
    std::promise<void> gate;
    const auto open = gate.get_future().share();
    server_.Otherwise(Sequence({WaitFor(open), Answer()}));
    std::jthread opener([&] {
        EXPECT_TRUE(server_.WaitForRequests(kCount)) << "each on a connection of its own";
        gate.set_value();
    });
    EXPECT_EQ(exchange_at_once(), kCount);
    server_.CloseConnections();
    EXPECT_EQ(exchange_at_once(), kCount);
}

const FrameMaker kStray = Echo([](auto& m) { m.set_error_no(98); });

// The good answer and, in the same piece, the first bytes of an answer that nobody asked for.
FrameMaker EchoAndStray(std::size_t stray_bytes) {
    return [stray_bytes](const Request& request) {
        return Echo()(request) + kStray(request).substr(0, stray_bytes);
    };
}

TEST_F(PoolTest, BytesThatNobodyAskedForNeverReachTheNextRequest) {
    // Long enough for the answer before it to be read on its own.
    const Reaction pause = Pause(std::chrono::milliseconds(10));
    const std::pair<const char*, Reaction> cases[] = {
        {"answered twice", Sequence({Answer(), Answer()})},
        {"a stray answer", Sequence({Answer(), pause, Answer(kStray)})},
        {"in one piece", Answer(EchoAndStray(1000))},
        {"half of one", Answer(EchoAndStray(7))},
        {"garbage", Sequence({Answer(), pause, Answer(Bytes("garbage"))})},
        {"then the end", Sequence({Answer(), pause, Answer(), HangUp()})},
    };
    Session session("freetalk");
    for (const auto& [name, reaction] : cases) {
        SCOPED_TRACE(name);
        std::promise<void> sent;
        server_.Then(Sequence({reaction, [&](const auto&, auto&) { sent.set_value(); }}));
        EXPECT_EQ(session.Recognize(), kGood);
        sent.get_future().wait();
        EXPECT_EQ(session.Recognize(), kGood);
        EXPECT_EQ(session.Recognize(), kGood);
    }
}

// An idle connection keeps its messages, but not what a long name has taken in them.
TEST_F(PoolTest, ALargeRequestLeavesNoMemoryTaken) {
    server_.StopRecording();
    const auto recognize_with = [](const std::string& name) {
        Session session("grammar");
        EXPECT_EQ(session.Bind(name.c_str()), LEXO_ERR_NONE);
        EXPECT_EQ(session.Recognize(), kGood);
    };
    recognize_with("small");
    const std::size_t before = BytesInUse();
    recognize_with(std::string(8 << 20, 'n'));
    recognize_with("small");  // by then the server has dropped its copy
    EXPECT_LT(BytesInUse(), before + (1 << 20));
}

}  // namespace
