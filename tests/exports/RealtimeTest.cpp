// Real-time utterances: chunk numbers, tokens, identities, and the server they are tied to.
#include <future>
#include <string>
#include <vector>

#include "ResultBuilders.h"
#include "TestHost.h"

namespace {

using quorlan::protocol::LexoRequestMessage;
using quorlan::protocol::LexoResponseMessage;
using namespace scripted;

Reaction AnswerToken(const std::string& token) {
    return Answer(Echo([token](LexoResponseMessage& m) { m.set_result_token(token); }));
}

class RealtimeTest : public HostTest {
  protected:
    RealtimeTest() { server_.Otherwise(AnswerToken("token")); }

    // The inner request of that number.
    LexoRequestMessage Inner(std::size_t index) const { return server_.Requests().at(index).inner; }
};

// A session in real-time mode.
struct Stream : Session {
    Stream() : Session("freetalk") { EXPECT_EQ(SetNumber(LEXO_PARAM_STREAM, 1), LEXO_ERR_NONE); }
};

TEST_F(RealtimeTest, ChunkNumbers) {
    const struct {
        const char* steps;  // r: a chunk, c: the closing one, a digit: the stream parameter
        std::vector<int> numbers;
    } cases[] = {
        {"rrrcr", {1, 2, 3, -4, 1}}, {"ccr", {-1, -1, 1}},   {"r0r1r", {1, -1, 2}},
        {"0r2r3r4r", {-1, 1, 2, 3}}, {"r0c1c", {1, -1, -2}},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.steps);
        const std::size_t before = server_.RequestCount();
        Stream session;
        for (const char step : std::string(one.steps)) {
            if (step >= '0' && step <= '4') {
                EXPECT_EQ(session.SetNumber(LEXO_PARAM_STREAM, step - '0'), LEXO_ERR_NONE);
                continue;
            }
            EXPECT_EQ(step == 'r' ? session.Recognize() : session.Close("audio"), kGood);
        }
        const std::vector<int> all = ChunkNumbers();
        EXPECT_EQ(std::vector<int>(all.begin() + static_cast<long>(before), all.end()),
                  one.numbers);
    }
    EXPECT_TRUE(Inner(9).has_task_config()) << "a one-shot call in between is complete";
    EXPECT_NE(Inner(5).identify(), Inner(6).identify());
    EXPECT_EQ(Inner(10).identify(), Inner(9).identify()) << "a session has one identity at once";
}

TEST_F(RealtimeTest, ParametersOfAnOpenUtteranceReachTheNextOne) {
    Stream session;
    EXPECT_EQ(session.Recognize(), kGood);
    session.SetNumber(LEXO_PARAM_VAD_HEAD, 77);
    session.SetText(LEXO_PARAM_PROPERTY_DOMAIN, "law");
    EXPECT_EQ(session.Close(), kGood);
    EXPECT_EQ(server_.LastRequest().access.property(), "chinese_8k_law,need_nlu=no");
    EXPECT_EQ(session.Recognize(), kGood);
    EXPECT_EQ(Inner(2).task_config().substr(0, 12), "vad_head=77,");
    EXPECT_NE(Inner(2).identify(), Inner(0).identify());
    EXPECT_THAT(Logged("DEBUG"),
                ::testing::IsSupersetOf({"is_realtime_:true,is_first_of_realtime_:true",
                                         "is_realtime_:true,is_first_of_realtime_:false"}));
}

TEST_F(RealtimeTest, WhatMakesASessionRealTime) {
    for (const auto& [settings, number] : {std::pair{"[default]\nstream = 4\nmode = 1\n", 1},
                                           {"", -1},
                                           {"[default]\nstream = 5\nmode = 2\n", -1}}) {
        home_.WriteFile("conf/Lexo_SDK.conf", settings);
        ASSERT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE);
        for (const char* capability : kCapabilities) {
            SCOPED_TRACE(std::string(capability) + settings);
            Session session(capability);
            EXPECT_EQ(Sent(session).inner.chunk_no(), number);
        }
    }
    Session analysis("analysis");
    EXPECT_EQ(analysis.SetNumber(LEXO_PARAM_MODE, 1), LEXO_ERR_NONE);
    EXPECT_EQ(Sent(analysis).inner.chunk_no(), 1);
    EXPECT_EQ(analysis.SetNumber(LEXO_PARAM_MODE, 0), LEXO_ERR_NONE);
    EXPECT_EQ(Sent(analysis).inner.chunk_no(), -1);
}

TEST_F(RealtimeTest, AnUtteranceStaysWithItsServer) {
    Stream session;
    ScriptedServer other("127.0.0.2");
    EXPECT_EQ(session.Recognize(), kGood);
    home_.WriteFile("conf/Lexo_SDK.conf", "[default]\nvad_tail = 7\n");
    ASSERT_EQ(InitProxy(other.Address()).code, LEXO_ERR_NONE);
    EXPECT_EQ(session.GetNumber(LEXO_PARAM_VAD_TAIL), 500) << "and with its parameters";
    EXPECT_EQ(session.Recognize(), kGood);
    EXPECT_EQ(session.Close(), kGood);
    EXPECT_EQ(ChunkNumbers(), (std::vector<int>{1, 2, -3}));
    EXPECT_EQ(session.Recognize(), kGood);
    EXPECT_EQ(other.RequestCount(), 1u) << "only the next one goes to the new server";
    EXPECT_EQ(other.LastRequest().inner.chunk_no(), 1);
}

TEST_F(RealtimeTest, AServerThatRestartsLosesTheUtteranceOnly) {
    Stream session;
    EXPECT_EQ(session.Recognize(), kGood);
    server_.Then(StaySilent());
    auto call = std::async(std::launch::async, [&] { return session.Recognize(); });
    ASSERT_TRUE(server_.WaitForRequests(2));
    server_.Stop();
    EXPECT_EQ(call.get(), (Outcome{LEXO_ERR_NETWORK_FAILED, 1}));
    EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NETWORK_FAILED, 1})) << "still down";
    server_.Start();
    EXPECT_EQ(session.Recognize(), kGood);
    EXPECT_EQ(session.Recognize(), kGood);
    EXPECT_EQ(ChunkNumbers(), (std::vector<int>{1, 2, 1, 2}));
}

TEST_F(RealtimeTest, AResultHoldsUpTheUtteranceOnly) {
    Stream session;
    auto result = FreetalkResult(1, 1, 0);
    result.set_result_token("of the result");
    Deliver(session, result);
    EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_RESULT_NOT_FREE, kUntouched}));
    EXPECT_EQ(session.Close(), (Outcome{LEXO_ERR_RESULT_NOT_FREE, kUntouched}));
    EXPECT_EQ(Logged(), Lines(2, "Last recog result not free."));
    EXPECT_EQ(session.FreeResult(), LEXO_ERR_NONE);
    EXPECT_EQ(session.Recognize(), kGood);
    EXPECT_EQ(Inner(1).result_token(), "of the result");
    server_.Then(Answer(EchoResult(result)));
    EXPECT_EQ(session.Close(), (Outcome{LEXO_ERR_NONE, 2}));
    EXPECT_EQ(session.FreeResult(), LEXO_ERR_NONE);
    EXPECT_EQ(session.Recognize(), kGood);
    EXPECT_EQ(ChunkNumbers(), (std::vector<int>{1, 2, -3, 1})) << "refused calls are not counted";
}

TEST_F(RealtimeTest, NoVoiceInputIsAGoodAnswer) {
    Stream session;
    LexoResponseMessage quiet;
    quiet.set_error_no(LEXO_ERR_NO_VOICE_INPUT);
    quiet.set_result_token("quiet");
    server_.Then(Answer(EchoResult(quiet, 9)));
    EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NO_VOICE_INPUT, 9}));
    EXPECT_EQ(session.Recognize(), kGood);
    EXPECT_EQ(Inner(1).result_token(), "quiet");
}

}  // namespace
