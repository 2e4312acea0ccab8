// Every way an answer can be bad: the code, the status, the log, and what becomes of an open
// utterance.
#include <string>
#include <vector>

#include "FailureCases.h"
#include "ResultBuilders.h"
#include "TestHost.h"

namespace {

using quorlan::protocol::LexoResponseMessage;
using scripted::Answer;
using scripted::Echo;
using scripted::EchoAccess;
using scripted::Logged;

class FailureTest : public HostTest {
  protected:
    void Check(const std::vector<FailureCase>& cases) {
        for (const FailureCase& one : cases) {
            SCOPED_TRACE(one.name);
            CheckOneShot(one);
            CheckFirstChunk(one);
            CheckLaterChunk(one, 0);
            CheckLaterChunk(one, 1);
        }
    }

  private:
    int LastChunk() const { return server_.LastRequest().inner.chunk_no(); }
    std::string LastIdentity() const { return server_.LastRequest().inner.identify(); }

    // The call that meets the failure.
    void Fail(const FailureCase& one, Session& session, int is_data_over) {
        server_.Then(one.reaction);
        home_.NewLog();
        EXPECT_EQ(session.Send("audio", is_data_over), one.outcome);
        std::string error = one.error;
        for (const auto& [mark, text] :
             {std::pair<std::string, std::string>{"{id}", LastIdentity()},
              {"{port}", std::to_string(server_.Port())}}) {
            const std::size_t at = error.find(mark);
            if (at != std::string::npos) {
                error.replace(at, mark.size(), text);
            }
        }
        EXPECT_TRUE(Logged(home_.NewLog(), "ERROR", error));
        Lexo_RecogResult* result = nullptr;
        EXPECT_EQ(orvx_proxy_GetRecogResult(session.Handle(), &result),
                  LEXO_ERR_GET_RECOG_RESULT_FAILED);
    }

    void ExpectGoodCall(Session& session) {
        EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NONE, 0})) << "the next call recovers";
    }

    void CheckOneShot(const FailureCase& one) {
        Session session("freetalk");
        Fail(one, session, 0);
        ExpectGoodCall(session);
        EXPECT_EQ(LastChunk(), -1);
    }

    // An unknown kind of result without a result bit binds the utterance all the same.
    void CheckFirstChunk(const FailureCase& one) {
        Session session("freetalk");
        session.SetNumber(LEXO_PARAM_STREAM, 1);
        Fail(one, session, 0);
        const std::string identity = LastIdentity();
        ExpectGoodCall(session);
        const bool is_bound = one.error.rfind("Unsupported", 0) == 0;
        EXPECT_EQ(LastChunk(), is_bound ? 2 : 1);
        EXPECT_EQ(LastIdentity() == identity, is_bound);
    }

    // A closing call that the server does not accept leaves the utterance open; an unknown kind
    // of result came with an acceptance.
    void CheckLaterChunk(const FailureCase& one, int is_data_over) {
        SCOPED_TRACE(is_data_over);
        Session session("freetalk");
        session.SetNumber(LEXO_PARAM_STREAM, 1);
        ExpectGoodCall(session);
        const std::string identity = LastIdentity();
        Fail(one, session, is_data_over);
        EXPECT_EQ(LastChunk(), is_data_over == 1 ? -2 : 2);
        ExpectGoodCall(session);
        const bool is_closed =
            one.closes || (is_data_over == 1 && one.error.rfind("Unsupported", 0) == 0);
        EXPECT_EQ(LastChunk(), is_closed ? 1 : 3);
        EXPECT_EQ(LastIdentity() == identity, !is_closed);
    }
};

TEST_F(FailureTest, AnswersOfTheServer) {
    Check(ProtocolCases());
}

TEST_F(FailureTest, Transport) {
    Check(TransportCases());
}

TEST_F(FailureTest, AnUnknownKindOfResultWithTheResultBitIsHeld) {
    for (const int stream : {0, 1}) {
        Session session("freetalk");
        session.SetNumber(LEXO_PARAM_STREAM, stream);
        server_.Then(EngineType("\x09", 2));
        EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_UNKNOWN, 2}));
        EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_RESULT_NOT_FREE, kUntouched}));
        EXPECT_EQ(session.FreeResult(), LEXO_ERR_NONE);
        EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NONE, 0}));
        EXPECT_EQ(server_.LastRequest().inner.chunk_no(), stream == 1 ? 1 : -1)
            << "the utterance was never opened";
    }
}

TEST_F(FailureTest, AnUnknownKindOfResultDoesNotCloseWithTheResultBit) {
    Session session("freetalk");
    session.SetNumber(LEXO_PARAM_STREAM, 1);
    EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NONE, 0}));
    server_.Then(EngineType("\x09", 2));
    EXPECT_EQ(session.Close(), (Outcome{LEXO_ERR_UNKNOWN, 2}));
    EXPECT_EQ(session.FreeResult(), LEXO_ERR_NONE);
    EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NONE, 0}));
    EXPECT_EQ(server_.LastRequest().inner.chunk_no(), 3);
}

TEST_F(FailureTest, TheLengthOfTheAnswerMayLeaveBytesOut) {
    Session session("freetalk");
    server_.Then(Answer(EchoAccess([](auto& access) {
        access.mutable_data()->append("\xFF\xFF\xFF");  // no message with these
    })));
    EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NONE, 0}));
}

TEST_F(FailureTest, AnAnswerToAnEarlierRequestIsRefused) {
    Session session("freetalk");
    ASSERT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NONE, 0}));
    const std::string earlier = server_.LastRequest().inner.identify();
    server_.Then(OtherIdentity(earlier));
    EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_ENGINE_FAILED, 1}));
    server_.Then(Answer(Echo([](LexoResponseMessage& m) { m.mutable_identify()->back() = 'E'; })));
    EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_ENGINE_FAILED, 1})) << "one letter differs";
}

TEST_F(FailureTest, TheStatusIsTheServersOnGoodAnswers) {
    struct Case {
        int error;
        int status;
        const char* log;
    };
    for (const Case& one : {Case{0, 0, "0x0"}, Case{0, 5, "0x5"}, Case{0, 2, "0x2"},
                            Case{0, 0x7FFFFFFF, "0x7FFFFFFF"}, Case{0, -1, "0xFFFFFFFF"},
                            Case{0, -3, "0xFFFFFFFD"}, Case{12, 0, "0x0"}, Case{12, 6, "0x6"}}) {
        SCOPED_TRACE(one.log);
        Session session("keywordspot");
        LexoResponseMessage answer = scripted::KeywordResult(1);
        answer.set_error_no(one.error);
        answer.set_recog_status(one.status);
        server_.Then(Answer(scripted::EchoWith(answer)));
        home_.NewLog();
        EXPECT_EQ(session.Recognize(), (Outcome{one.error, one.status}));
        EXPECT_TRUE(Logged(home_.NewLog(), "INFO", std::string("Recog status [") + one.log + "]"));
        Lexo_RecogResult* result = nullptr;
        EXPECT_EQ(orvx_proxy_GetRecogResult(session.Handle(), &result),
                  (one.status & 2) != 0 ? LEXO_ERR_NONE : LEXO_ERR_GET_RECOG_RESULT_FAILED);
    }
}

TEST_F(FailureTest, NoServerAtAll) {
    Session one_shot("freetalk");
    Session stream("freetalk");
    stream.SetNumber(LEXO_PARAM_STREAM, 1);
    EXPECT_EQ(stream.Recognize(), (Outcome{LEXO_ERR_NONE, 0}));
    server_.Stop();
    const std::string error =
        "Network Error: Recog request to [127.0.0.1:" + std::to_string(server_.Port()) +
        "] faield(4)";
    for (Session* session : {&one_shot, &stream}) {
        home_.NewLog();
        EXPECT_EQ(session->Recognize(), (Outcome{LEXO_ERR_NETWORK_FAILED, 1}));
        EXPECT_TRUE(Logged(home_.NewLog(), "ERROR", error));
    }
    server_.Start();
    EXPECT_EQ(one_shot.Recognize(), (Outcome{LEXO_ERR_NONE, 0}));
    EXPECT_EQ(stream.Recognize(), (Outcome{LEXO_ERR_NONE, 0}));
    EXPECT_EQ(server_.LastRequest().inner.chunk_no(), 1) << "the utterance is lost";
}

TEST_F(FailureTest, AServerThatDoesNotTakeTheRequest) {
    Session session("freetalk");
    server_.OnConnect([](scripted::Connection& connection) {
        char head[100];
        connection.Receive(head);
        connection.Reset();
    });
    home_.NewLog();
    EXPECT_EQ(session.Recognize(std::string(std::size_t{16} << 20, 'a')),
              (Outcome{LEXO_ERR_NETWORK_FAILED, 1}));
    EXPECT_TRUE(Logged(home_.NewLog(), "ERROR",
                       "Network Error: Recog request to [127.0.0.1:" +
                           std::to_string(server_.Port()) + "] faield(3)"));
    server_.OnConnect({});
    EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NONE, 0}));
}

TEST_F(FailureTest, AResetInsteadOfAnAnswer) {
    Session session("freetalk");
    server_.Then(scripted::Reset());
    home_.NewLog();
    EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NETWORK_FAILED, 1}));
    EXPECT_TRUE(scripted::LoggedLike(
        home_.NewLog(), "ERROR",
        "Network Error: Recog request to \\[127\\.0\\.0\\.1:" + std::to_string(server_.Port()) +
            "\\] faield\\((1|-1)\\)"));
    EXPECT_EQ(server_.RequestCount(), 1u) << "a chunk is never sent twice";
    EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NONE, 0}));
}

}  // namespace
