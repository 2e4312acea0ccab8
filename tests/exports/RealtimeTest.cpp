// Real-time utterances: chunk numbers, tokens, identities, and the server they are tied to.
#include <string>
#include <vector>

#include "ResultBuilders.h"
#include "TestHost.h"

namespace {

using quorlan::protocol::LexoRequestMessage;
using quorlan::protocol::LexoResponseMessage;
using scripted::Answer;
using scripted::Echo;
using scripted::Logged;
using scripted::Reaction;

const Outcome kGood = {LEXO_ERR_NONE, 0};

Reaction AnswerToken(const std::string& token) {
    return Answer(Echo([token](LexoResponseMessage& m) { m.set_result_token(token); }));
}

class RealtimeTest : public HostTest {
  protected:
    RealtimeTest() { server_.Otherwise(AnswerToken("token")); }

    // The inner requests so far.
    std::vector<LexoRequestMessage> Inner() const {
        std::vector<LexoRequestMessage> inner;
        for (const auto& request : server_.Requests()) {
            inner.push_back(request.inner);
        }
        return inner;
    }

    std::vector<int> ChunkNumbers() const {
        std::vector<int> numbers;
        for (const auto& request : server_.Requests()) {
            EXPECT_EQ(request.access.chunk_no(), request.inner.chunk_no());
            EXPECT_EQ(request.access.identify(), request.inner.identify());
            numbers.push_back(request.inner.chunk_no());
        }
        return numbers;
    }
};

// A session in real-time mode.
struct Stream : Session {
    explicit Stream(const char* capability = "freetalk", int mode = 1) : Session(capability) {
        EXPECT_EQ(SetNumber(LEXO_PARAM_STREAM, mode), LEXO_ERR_NONE);
    }
};

TEST_F(RealtimeTest, AnUtteranceFromFirstToLastChunk) {
    Stream session;
    for (const std::string audio : {"one", "two", "three"}) {
        EXPECT_EQ(session.Recognize(audio), kGood);
        EXPECT_TRUE(Logged(home_.NewLog(), "DEBUG",
                           std::string("is_realtime_:true,is_first_of_realtime_:") +
                               (audio == "one" ? "true" : "false")));
    }
    EXPECT_EQ(session.Close("not sent"), kGood);
    EXPECT_EQ(ChunkNumbers(), (std::vector<int>{1, 2, 3, -4}));

    const auto inner = Inner();
    EXPECT_FALSE(inner[0].has_result_token());
    EXPECT_TRUE(inner[0].has_task_config());
    EXPECT_EQ(inner[0].data(), "one");
    for (std::size_t i = 1; i < inner.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(inner[i].identify(), inner[0].identify());
        EXPECT_EQ(inner[i].result_token(), "token");
        EXPECT_EQ(inner[i].cap_name(), "asr.cloud.freetalk");
        EXPECT_FALSE(inner[i].has_task_config()) << "sent once";
    }
    EXPECT_EQ(inner[2].data(), "three");
    EXPECT_TRUE(inner[3].has_data() && inner[3].has_data_len());
    EXPECT_EQ(inner[3].data(), "");
    EXPECT_EQ(inner[3].data_len(), 0);

    EXPECT_EQ(session.Recognize("next"), kGood);
    EXPECT_EQ(Inner().back().chunk_no(), 1) << "a new utterance";
    EXPECT_NE(Inner().back().identify(), inner[0].identify());
    EXPECT_FALSE(Inner().back().has_result_token());
    EXPECT_TRUE(Inner().back().has_task_config());
}

TEST_F(RealtimeTest, AClosingCallNeedsNoData) {
    Stream session;
    int status = kUntouched;
    EXPECT_EQ(session.Recognize(), kGood);
    EXPECT_EQ(orvx_proxy_Recognize(session.Handle(), nullptr, 0, 1, &status), LEXO_ERR_NONE);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(orvx_proxy_Recognize(session.Handle(), "x", -3, 1, &status), LEXO_ERR_NONE);
    EXPECT_EQ(orvx_proxy_Recognize(session.Handle(), nullptr, 0, 0, &status),
              LEXO_ERR_PARAM_INVALID);
    EXPECT_EQ(orvx_proxy_Recognize(session.Handle(), nullptr, 0, 2, &status),
              LEXO_ERR_PARAM_INVALID)
        << "only 1 closes";
    EXPECT_EQ(session.Send("x", 2), kGood);
    EXPECT_EQ(ChunkNumbers(), (std::vector<int>{1, -2, -1, 1}));
}

TEST_F(RealtimeTest, AFirstChunkThatIsAlsoTheLastLeavesNothingOpen) {
    Stream session;
    EXPECT_EQ(session.Close(), kGood);
    EXPECT_EQ(session.Close(), kGood);
    EXPECT_EQ(session.Recognize(), kGood);
    EXPECT_EQ(ChunkNumbers(), (std::vector<int>{-1, -1, 1}));
    EXPECT_TRUE(Inner()[0].has_task_config());
    EXPECT_FALSE(Inner()[0].has_result_token());
    EXPECT_NE(Inner()[0].identify(), Inner()[1].identify());
}

TEST_F(RealtimeTest, TheTokenIsThatOfTheFirstAnswer) {
    Stream session;
    server_.Then(AnswerToken("first"));
    server_.Then(AnswerToken("second"));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(session.Recognize(), kGood);
    }
    EXPECT_EQ(Inner()[1].result_token(), "first");
    EXPECT_EQ(Inner()[2].result_token(), "first");
}

TEST_F(RealtimeTest, AResultOnTheClosingCallClosesToo) {
    Stream session;
    EXPECT_EQ(session.Recognize(), kGood);
    server_.Then(Answer(scripted::EchoResult(scripted::FreetalkResult(1, 1, 0))));
    EXPECT_EQ(session.Close(), (Outcome{LEXO_ERR_NONE, 2}));
    EXPECT_EQ(session.FreeResult(), LEXO_ERR_NONE);
    EXPECT_EQ(session.Recognize(), kGood);
    EXPECT_EQ(ChunkNumbers(), (std::vector<int>{1, -2, 1}));
}

TEST_F(RealtimeTest, WhatMakesASessionRealTime) {
    struct Case {
        const char* capability;
        Lexo_ParamKey key;
        int value;
        bool is_realtime;
    };
    for (const Case& one : {Case{"freetalk", LEXO_PARAM_STREAM, 0, false},
                            {"grammar", LEXO_PARAM_STREAM, 1, true},
                            {"keywordspot", LEXO_PARAM_STREAM, 2, true},
                            {"freetalk", LEXO_PARAM_STREAM, 3, true},
                            {"freetalk", LEXO_PARAM_STREAM, 4, true},
                            {"analysis", LEXO_PARAM_MODE, 0, false},
                            {"analysis", LEXO_PARAM_MODE, 1, true}}) {
        SCOPED_TRACE(std::string(one.capability) + " " + std::to_string(one.value));
        Session session(one.capability);
        EXPECT_EQ(session.SetNumber(one.key, one.value), LEXO_ERR_NONE);
        EXPECT_EQ(session.Recognize(), kGood);
        EXPECT_EQ(Inner().back().chunk_no(), one.is_realtime ? 1 : -1);
    }
}

TEST_F(RealtimeTest, AOneShotCallInBetweenLeavesTheUtteranceOpen) {
    Stream session;
    EXPECT_EQ(session.Recognize(), kGood);
    EXPECT_EQ(session.SetNumber(LEXO_PARAM_STREAM, 0), LEXO_ERR_NONE);
    EXPECT_EQ(session.Recognize(), kGood);
    EXPECT_EQ(session.SetNumber(LEXO_PARAM_STREAM, 1), LEXO_ERR_NONE);
    EXPECT_EQ(session.Recognize(), kGood);
    EXPECT_EQ(ChunkNumbers(), (std::vector<int>{1, -1, 2}));
    EXPECT_TRUE(Inner()[1].has_task_config());
    EXPECT_FALSE(Inner()[1].has_result_token());
    EXPECT_EQ(Inner()[2].result_token(), "token");
    EXPECT_EQ(Inner()[2].identify(), Inner()[1].identify()) << "a session has one identity at once";
}

TEST_F(RealtimeTest, TheResourceIsSentWithTheFirstChunkOnly) {
    Stream session("keywordspot");
    ASSERT_EQ(orvx_proxy_ActivePreloadResource(session.Handle(), "words"), LEXO_ERR_NONE);
    EXPECT_EQ(session.Recognize(), kGood);
    EXPECT_EQ(session.Recognize(), kGood);
    EXPECT_EQ(Inner()[0].proload_resource(), "words");
    EXPECT_FALSE(Inner()[1].has_proload_resource() || Inner()[1].has_resource_buildin());
}

TEST_F(RealtimeTest, AnUtteranceStaysWithItsServer) {
    Stream session;
    scripted::ScriptedServer other("127.0.0.2");
    EXPECT_EQ(session.Recognize(), kGood);
    ASSERT_EQ(InitProxy(other.Address()).code, LEXO_ERR_NONE);
    EXPECT_EQ(session.Recognize(), kGood);
    EXPECT_EQ(session.Close(), kGood);
    EXPECT_EQ(ChunkNumbers(), (std::vector<int>{1, 2, -3}));
    EXPECT_EQ(other.RequestCount(), 0u);
    EXPECT_EQ(session.Recognize(), kGood);
    EXPECT_EQ(other.LastRequest().inner.chunk_no(), 1) << "the next one goes to the new server";
    EXPECT_EQ(server_.RequestCount(), 3u);
}

TEST_F(RealtimeTest, AResultInTheMiddleHoldsUpTheUtteranceOnly) {
    Stream session;
    auto result = scripted::FreetalkResult(1, 1, 0);
    result.set_result_token("of the result");
    server_.Then(Answer(scripted::EchoResult(result)));
    EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NONE, 2}));
    home_.NewLog();
    EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_RESULT_NOT_FREE, kUntouched}));
    EXPECT_EQ(session.Close(), (Outcome{LEXO_ERR_RESULT_NOT_FREE, kUntouched}));
    EXPECT_TRUE(Logged(home_.NewLog(), "ERROR", "Last recog result not free."));
    EXPECT_EQ(session.FreeResult(), LEXO_ERR_NONE);
    EXPECT_EQ(session.Recognize(), kGood);
    EXPECT_EQ(ChunkNumbers(), (std::vector<int>{1, 2})) << "refused calls are not counted";
    EXPECT_EQ(Inner()[1].result_token(), "of the result");
}

TEST_F(RealtimeTest, NoVoiceInputIsAGoodAnswer) {
    Stream session;
    server_.Then(Answer(Echo([](LexoResponseMessage& m) {
        m.set_error_no(LEXO_ERR_NO_VOICE_INPUT);
        m.set_recog_status(9);
        m.set_result_token("quiet");
    })));
    EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NO_VOICE_INPUT, 9}));
    EXPECT_EQ(session.Recognize(), kGood);
    EXPECT_EQ(ChunkNumbers(), (std::vector<int>{1, 2}));
    EXPECT_EQ(Inner()[1].result_token(), "quiet");
}

}  // namespace
