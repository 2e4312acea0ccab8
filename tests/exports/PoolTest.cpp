// The connections as the server and the log see them: reuse, order, and kept connections that went
// bad while idle.
#include <chrono>
#include <future>
#include <set>
#include <string>
#include <vector>

#include "Pattern.h"
#include "TestHost.h"

namespace {

using scripted::Answer;
using scripted::AnswerPart;
using scripted::Bytes;
using scripted::Echo;
using scripted::LoggedLike;
using scripted::Sequence;
using scripted::WaitFor;

const Outcome kGood = {LEXO_ERR_NONE, 0};

class PoolTest : public HostTest {
  protected:
    int LastConnection() const { return server_.LastRequest().connection; }

    // Three exchanges at once, of which the one that arrived first ends first, and so on. Returns
    // their connections in that order, which is the order of the idle list afterwards.
    std::vector<int> ThreeAtOnce() {
        std::promise<void> gates[3];
        Session sessions[3] = {Session("freetalk"), Session("grammar"), Session("analysis")};
        std::future<Outcome> exchanges[3];
        const std::size_t before = server_.RequestCount();
        for (std::size_t i = 0; i < 3; ++i) {
            server_.Then(Sequence({WaitFor(gates[i].get_future().share()), Answer()}));
            Session* session = &sessions[i];
            exchanges[i] =
                std::async(std::launch::async, [session] { return session->Recognize(); });
            EXPECT_TRUE(server_.WaitForRequests(before + i + 1));
        }
        for (std::size_t i = 0; i < 3; ++i) {
            gates[i].set_value();
            EXPECT_EQ(exchanges[i].get(), kGood);
        }
        std::vector<int> connections;
        for (const scripted::Request& request : server_.Requests()) {
            connections.push_back(request.connection);
        }
        return {connections.end() - 3, connections.end()};
    }
};

TEST_F(PoolTest, OneConnectionServesRequestAfterRequest) {
    Session one("freetalk");
    Session two("analysis");
    EXPECT_EQ(one.Recognize(), kGood);
    const int connection = LastConnection();
    for (Session* session : {&one, &two, &one}) {
        EXPECT_EQ(session->Recognize(), kGood);
        EXPECT_EQ(LastConnection(), connection);
    }
    Session(kCapabilities[1]).Recognize();
    EXPECT_EQ(LastConnection(), connection) << "a session leaves its connection behind";
}

TEST_F(PoolTest, IdleConnectionsAreUsedInTurn) {
    const std::vector<int> idle = ThreeAtOnce();
    ASSERT_EQ(std::set<int>(idle.begin(), idle.end()).size(), 3u);
    Session session("freetalk");
    for (std::size_t i = 0; i < 7; ++i) {
        EXPECT_EQ(session.Recognize(), kGood);
        EXPECT_EQ(LastConnection(), idle[i % 3]) << i;
    }
    ThreeAtOnce();
    EXPECT_TRUE(server_.WaitForOpenConnections(3)) << "no fourth one was needed";
}

TEST_F(PoolTest, EachServerHasItsOwnConnections) {
    scripted::ScriptedServer other;
    Session session("freetalk");
    EXPECT_EQ(session.Recognize(), kGood);
    const int connection = LastConnection();
    ASSERT_EQ(InitProxy(other.Address()).code, LEXO_ERR_NONE);
    EXPECT_EQ(session.Recognize(), kGood);
    ASSERT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE);
    EXPECT_EQ(session.Recognize(), kGood);
    EXPECT_EQ(LastConnection(), connection);
    EXPECT_EQ(other.RequestCount(), 1u);
}

// The records of the pool among the others.
std::vector<std::string> PoolRecords(const scripted::LogRecords& log) {
    std::vector<std::string> texts;
    for (const auto& record : log) {
        if (record.text.rfind("xxxx--", 0) == 0) {
            EXPECT_EQ(record.level, "INFO");
            texts.push_back(record.text);
        }
    }
    return texts;
}

TEST_F(PoolTest, RentingIsLogged) {
    Session session("freetalk");
    EXPECT_EQ(session.Recognize(), kGood);
    EXPECT_EQ(session.Recognize(), kGood);
    const auto texts = PoolRecords(home_.NewLog());
    ASSERT_EQ(texts.size(), 4u);
    const std::string key = "\\[" + server_.Address() + "\\]=\\[";
    const std::string patterns[] = {
        "xxxx--Create a new connection" + key + "0x([0-9a-f]+)\\] to use",
        "xxxx--Giveback a connection " + key + "([0-9A-F]+)\\] to list",
        "xxxx--Rent a connection " + key + "([0-9A-F]+)\\] to use",
        "xxxx--Giveback a connection " + key + "([0-9A-F]+)\\] to list",
    };
    std::vector<unsigned> addresses;
    for (std::size_t i = 0; i < 4; ++i) {
        const auto groups = scripted::MatchWhole(texts[i], patterns[i]);
        ASSERT_FALSE(groups.empty()) << texts[i];
        addresses.push_back(static_cast<unsigned>(std::stoull(groups[1], nullptr, 16)));
    }
    EXPECT_EQ(addresses, std::vector<unsigned>(4, addresses[0])) << "one client all along";
}

TEST_F(PoolTest, AFailedRequestGivesItsConnectionBack) {
    Session session("freetalk");
    server_.Then(scripted::HangUp());
    EXPECT_EQ(session.Recognize().code, LEXO_ERR_NETWORK_FAILED);
    server_.Then(Answer(Echo([](auto& m) { m.set_error_no(99); })));
    EXPECT_EQ(session.Recognize().code, 99);
    EXPECT_EQ(session.Recognize(), kGood);
    const auto texts = PoolRecords(home_.NewLog());
    ASSERT_EQ(texts.size(), 6u);
    EXPECT_EQ(texts[0].rfind("xxxx--Create", 0), 0u);
    for (std::size_t i = 1; i < 6; ++i) {
        EXPECT_EQ(texts[i].rfind(i % 2 == 1 ? "xxxx--Giveback" : "xxxx--Rent", 0), 0u) << texts[i];
    }
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

TEST_F(PoolTest, AnAnswerThatRunsOverEndsItsConnection) {
    Session session("freetalk");
    server_.Then(Answer(EchoAndStray(7)));
    EXPECT_EQ(session.Recognize(), kGood);
    const int connection = LastConnection();
    // What is left of the stray answer comes when the next request is under way.
    server_.Then([connection](const scripted::Request& request, scripted::Connection& now) {
        if (now.Number() == connection) {
            now.Send(kStray(request).substr(7));
        }
        now.Send(Echo()(request));
    });
    EXPECT_EQ(session.Recognize(), kGood);
    EXPECT_NE(LastConnection(), connection);
}

TEST_F(PoolTest, AnAnswerMayArriveInAnyPieces) {
    Session session("keywordspot");
    const scripted::FrameMaker frame = Echo([](auto& m) { m.set_recog_status(64); });
    ASSERT_EQ(session.Recognize(), kGood);
    const std::size_t bytes = frame(server_.LastRequest()).size();
    for (std::size_t cut = 1; cut < bytes; cut += cut < 16 ? 1 : 13) {
        server_.Then(
            Sequence({AnswerPart(frame, 0, cut), scripted::Pause(std::chrono::milliseconds(2)),
                      AnswerPart(frame, cut)}));
        EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NONE, 64})) << "cut at " << cut;
    }
    server_.Then(scripted::Trickle(frame, 1, std::chrono::milliseconds(1)));
    EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NONE, 64}));
}

TEST_F(PoolTest, ALargeAnswerArrivesWhole) {
    Session session("freetalk");
    const std::string text(std::size_t{20} << 20, 't');
    server_.Then(Answer(Echo([&](auto& m) {
        m.set_recog_status(2);
        m.mutable_sfreetalkresult()->set_nsegmentcount(1);
        auto* segment = m.mutable_sfreetalkresult()->add_psegmentlist();
        segment->set_nresultcount(1);
        segment->add_psentenceresults()->set_psztext(text);
    })));
    ASSERT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NONE, 2}));
    const auto* segments = session.GetResult()->sFreetalkResult.pSegmentList;
    EXPECT_TRUE(text == segments[0].pSentenceResults[0].pszText);
}

TEST_F(PoolTest, ASlowServerIsWaitedFor) {
    Session session("freetalk");
    server_.Then(Sequence({scripted::Pause(std::chrono::milliseconds(700)), Answer()}));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(session.Recognize(), kGood);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(700));
}

TEST_F(PoolTest, AHalfSentAnswerIsWaitedForToo) {
    std::promise<void> gate;
    Session session("freetalk");
    server_.Then(Sequence(
        {AnswerPart(Echo(), 0, 9), WaitFor(gate.get_future().share()), AnswerPart(Echo(), 9)}));
    auto exchange = std::async(std::launch::async, [&] { return session.Recognize(); });
    EXPECT_EQ(exchange.wait_for(std::chrono::milliseconds(300)), std::future_status::timeout);
    gate.set_value();
    EXPECT_EQ(exchange.get(), kGood);
}

}  // namespace
