// The connections as the server and the log see them: reuse, order, and kept connections that went
// bad while idle.
#include <chrono>
#include <future>
#include <string>

#include "TestHost.h"

namespace {

using scripted::Answer;
using scripted::Bytes;
using scripted::Echo;
using scripted::LoggedLike;
using scripted::Sequence;

const Outcome kGood = {LEXO_ERR_NONE, 0};

class PoolTest : public HostTest {
  protected:
    int LastConnection() const { return server_.LastRequest().connection; }
};

TEST_F(PoolTest, RentingIsLogged) {
    Session session("freetalk");
    EXPECT_EQ(session.Recognize(), kGood);
    const auto log = home_.NewLog();
    const std::string key = "\\[" + server_.Address() + "\\]=\\[";
    EXPECT_TRUE(
        LoggedLike(log, "INFO", "xxxx--Create a new connection" + key + "0x[0-9a-f]+\\] to use"));
    const std::string address = key + "[0-9A-F]+\\] to ";
    EXPECT_TRUE(LoggedLike(log, "INFO", "xxxx--Giveback a connection " + address + "list"));
    EXPECT_EQ(session.Recognize(), kGood);
    EXPECT_TRUE(LoggedLike(home_.NewLog(), "INFO", "xxxx--Rent a connection " + address + "use"));
}

TEST_F(PoolTest, AConnectionClosedWhileIdleIsOpenedAnew) {
    Session session("freetalk");
    session.SetNumber(LEXO_PARAM_STREAM, 1);
    EXPECT_EQ(session.Recognize(), kGood);
    const int connection = LastConnection();
    server_.CloseConnections();
    EXPECT_EQ(session.Recognize(), kGood) << "without the host noticing";
    EXPECT_NE(LastConnection(), connection);
    EXPECT_EQ(server_.LastRequest().inner.chunk_no(), 2);
    server_.Stop();
    server_.Start();
    EXPECT_EQ(session.Recognize(), kGood) << "nor when the server was restarted";
    EXPECT_EQ(server_.RequestCount(), 3u);
}

const scripted::FrameMaker kStray = Echo([](auto& m) { m.set_error_no(98); });

// The good answer and, in the same piece, the first bytes of an answer that nobody asked for.
scripted::FrameMaker EchoAndStray(std::size_t stray_bytes) {
    return [stray_bytes](const scripted::Request& request) {
        return Echo()(request) + kStray(request).substr(0, stray_bytes);
    };
}

TEST_F(PoolTest, BytesThatNobodyAskedForNeverReachTheNextRequest) {
    // Long enough for the answer before it to be read on its own.
    const scripted::Reaction pause = scripted::Pause(std::chrono::milliseconds(10));
    const std::pair<const char*, scripted::Reaction> cases[] = {
        {"answered twice", Sequence({Answer(), Answer()})},
        {"answered twice, later", Sequence({Answer(), pause, Answer()})},
        {"a stray answer", Sequence({Answer(), pause, Answer(kStray)})},
        {"in one piece", Answer(EchoAndStray(1000))},
        {"half of one", Answer(EchoAndStray(7))},
        {"garbage", Sequence({Answer(), pause, Answer(Bytes("garbage"))})},
        {"then the end", Sequence({Answer(), pause, Answer(), scripted::HangUp()})},
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

}  // namespace
