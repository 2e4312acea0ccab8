// Every way an answer can be bad: the code, the status, the log, and what becomes of an open
// utterance.
#include <string>
#include <vector>

#include "ResultBuilders.h"
#include "TestHost.h"

namespace {

using quorlan::protocol::LexoResponseMessage;
using scripted::Answer;
using scripted::AnswerPart;
using scripted::Bytes;
using scripted::Echo;
using scripted::EchoAccess;
using scripted::HangUp;
using scripted::LengthPrefix;
using scripted::Logged;
using scripted::Reaction;
using scripted::Sequence;

struct FailureCase {
    std::string name;
    scripted::Reaction reaction;
    Outcome outcome;
    std::string error;  // the log record; {id} and {port} stand for the request's
    bool closes;        // whether an open utterance is lost
};

FailureCase ServerError(int number, int code, bool closes, const std::string& description = "") {
    const std::string name = "response error " + std::to_string(number);
    return {name,
            Answer(Echo([=](LexoResponseMessage& m) {
                m.set_error_no(number);
                m.set_recog_status(5);
                m.set_error_desc(description);
            })),
            {code, 1},
            "Server " + name + ", " + description,
            closes};
}

Reaction AccessError(int number, const std::string& description) {
    return Answer(EchoAccess([=](auto& access) {
        access.set_error_no(number);
        access.set_error_desc(description);
    }));
}

Reaction InnerBytes(const std::string& bytes, int length) {
    return Answer(EchoAccess([=](auto& access) {
        access.set_data(bytes);
        access.set_data_len(length);
    }));
}

Reaction InnerLength(int length) {
    return Answer(EchoAccess([=](auto& access) { access.set_data_len(length); }));
}

FailureCase TransportCase(const std::string& name, Reaction reaction) {
    return {name,
            std::move(reaction),
            {LEXO_ERR_NETWORK_FAILED, 1},
            "Network Error: Recog request to [127.0.0.1:{port}] faield(1)",
            true};
}

Reaction OtherIdentity(const std::string& identity) {
    return Answer(Echo([=](LexoResponseMessage& m) { m.set_identify(identity); }));
}

// A number outside the enumeration can only be written as a field the schema does not know.
FailureCase EngineTypeCase(const std::string& varint, int status, int type) {
    const std::string name = "Unsupported result type:[" + std::to_string(type) + "]";
    return {name,
            Answer(Echo([=](LexoResponseMessage& m) {
                m.mutable_unknown_fields()->append("\x30" + varint);
                m.set_recog_status(status);
            })),
            {LEXO_ERR_UNKNOWN, status},
            name,
            false};
}

// The server answers in an orderly way, but not well.
std::vector<FailureCase> ProtocolCases() {
    const std::string mismatch =
        "Result not match request, Verification failed!cap_name=asr.cloud.freetalk, error_no=0, "
        "{id}<>";
    const Outcome failed = {LEXO_ERR_RECOG_FAILED, 1};
    const Outcome foreign = {LEXO_ERR_ENGINE_FAILED, 1};
    return {
        {"refused", AccessError(5, "busy %s"), failed, "Server response:5:[busy %s]", true},
        {"refused below 0", AccessError(-1, ""), failed, "Server response:-1:[]", true},
        {"not a message", InnerBytes("\xFF\xFF", 2), failed,
         "parse from array failed(message_len=2).", false},
        {"length above the data", InnerLength(1000000), failed,
         "parse from array failed(message_len=1000000).", false},
        {"length below 0", InnerLength(-5), failed, "parse from array failed(message_len=-5).",
         false},
        {"length 0", InnerLength(0), foreign, mismatch, false},
        {"another identity", OtherIdentity("other"), foreign, mismatch + "other", false},
        {"no identity", OtherIdentity(""), foreign, mismatch, false},
        {"empty frame", Answer(scripted::Body("")), foreign, mismatch, false},
        {"no answer in the header", Answer(scripted::Body("\x08\x20")), foreign, mismatch, false},
        ServerError(-3, LEXO_ERR_UNKNOWN, false, "odd"),
        ServerError(1, 1, false),
        ServerError(13, 13, true, "no"),
        ServerError(14, 14, false),
        ServerError(26, 26, false),
        ServerError(32, 32, false),
        ServerError(33, 33, true),
        ServerError(34, 34, true),
        ServerError(123456, 123456, false),
        EngineTypeCase("\x04", 8, 4),
        EngineTypeCase("\xAC\x02", 1, 300),
        EngineTypeCase("\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01", 0, -1),
    };
}

// There is no whole answer.
std::vector<FailureCase> TransportCases() {
    const auto cut = [](std::size_t bytes) {
        return Sequence({AnswerPart(Echo(), 0, bytes), HangUp()});
    };
    return {
        TransportCase("hang up at once", HangUp()),
        TransportCase("hang up inside the prefix", cut(2)),
        TransportCase("hang up behind the prefix", cut(4)),
        TransportCase("hang up inside the body", cut(11)),
        TransportCase("one byte above the largest body", Answer(Bytes(LengthPrefix(0x4000001)))),
        TransportCase("a length below 0", Answer(Bytes(LengthPrefix(0xFFFFFFFF)))),
        TransportCase("a large length, then the end",
                      Sequence({Answer(Bytes(LengthPrefix(0x4000000) + "x")), HangUp()})),
        TransportCase("a body that is no message", Answer(scripted::Body("\xFF\xFF\xFF"))),
        TransportCase("another protocol", Answer(Bytes("HTTP/1.1 400 Bad Request\r\n\r\n"))),
    };
}

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
        const std::size_t requests = server_.RequestCount();
        server_.Then(one.reaction);
        home_.NewLog();
        EXPECT_EQ(session.Send("audio", is_data_over), one.outcome);
        EXPECT_EQ(server_.RequestCount(), requests + 1) << "a chunk is never sent twice";
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

TEST_F(FailureTest, AnUnknownKindOfResultWithTheResultBitIsHeldAndNeitherOpensNorCloses) {
    const struct {
        int stream, first_chunks, is_data_over, next_chunk;
    } cases[] = {{0, 0, 0, -1}, {1, 0, 0, 1}, {1, 1, 1, 3}};
    for (const auto& one : cases) {
        Session session("freetalk");
        session.SetNumber(LEXO_PARAM_STREAM, one.stream);
        if (one.first_chunks == 1) {
            EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NONE, 0}));
        }
        server_.Then(EngineTypeCase("\x09", 2, 9).reaction);
        EXPECT_EQ(session.Send("audio", one.is_data_over), (Outcome{LEXO_ERR_UNKNOWN, 2}));
        EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_RESULT_NOT_FREE, kUntouched}));
        EXPECT_EQ(session.FreeResult(), LEXO_ERR_NONE);
        EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NONE, 0}));
        EXPECT_EQ(server_.LastRequest().inner.chunk_no(), one.next_chunk);
    }
}

TEST_F(FailureTest, TheStatusIsTheServersOnGoodAnswers) {
    const struct {
        int error, status;
        const char* log;
    } cases[] = {{0, 5, "0x5"}, {0, 2, "0x2"}, {0, -3, "0xFFFFFFFD"}, {12, 6, "0x6"}};
    for (const auto& one : cases) {
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

}  // namespace
