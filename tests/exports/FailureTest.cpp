// Every way an answer can be bad: the code, the status, the log, and what becomes of an open
// utterance.
#include <pthread.h>

#include <atomic>
#include <climits>
#include <functional>
#include <string>

#include "ResultBuilders.h"
#include "TestHost.h"

namespace {

using quorlan::protocol::LexoRequestMessage;
using quorlan::protocol::LexoResponseMessage;
using quorlan::protocol::capbility::CapbilityAccessResponseMessage;
using namespace scripted;

struct FailureCase {
    Reaction reaction;
    Outcome outcome;
    std::string error;      // the log record; {id} and {port} stand for the request's
    bool closes;            // whether an open utterance is lost
    bool accepted = false;  // whether the utterance went on before the failure
};

FailureCase ServerError(int number, int code, bool closes, const std::string& description = "") {
    LexoResponseMessage answer;
    answer.set_error_no(number);
    answer.set_error_desc(description);
    return {Answer(EchoResult(answer, 5)),
            {code, 1},
            "Server response error " + std::to_string(number) + ", " + description.c_str(),
            closes};
}

// The access layer is altered.
FailureCase Altered(const std::string& error, bool closes,
                    std::function<void(CapbilityAccessResponseMessage&)> change) {
    return {Answer(EchoAccess(std::move(change))), {LEXO_ERR_RECOG_FAILED, 1}, error, closes};
}

FailureCase Foreign(FrameMaker frame, const std::string& identity = "") {
    return {Answer(std::move(frame)),
            {LEXO_ERR_ENGINE_FAILED, 1},
            "Result not match request, Verification failed!cap_name=asr.cloud.freetalk, "
            "error_no=0, {id}<>" +
                identity,
            false};
}

FailureCase Transport(Reaction reaction, int status = 1) {
    return {
        std::move(reaction),
        {LEXO_ERR_NETWORK_FAILED, 1},
        "Network Error: Recog request to [127.0.0.1:{port}] faield(" + std::to_string(status) + ")",
        true};
}

// A number outside the enumeration can only be written as a field the schema does not know.
FailureCase UnknownEngine(const std::string& fields, int status, int type) {
    LexoResponseMessage answer = FreetalkResult(1, 1, 0);
    answer.clear_nenginetype();
    answer.mutable_unknown_fields()->append(fields);
    return {Answer(EchoResult(answer, status)),
            {LEXO_ERR_UNKNOWN, status},
            "Unsupported result type:[" + std::to_string(type) + "]",
            false,
            true};
}

Reaction Cut(std::size_t bytes, const Reaction& end = HangUp()) {
    return Sequence({Answer(Echo(), bytes), end});
}

// The good answer behind the prefix of one that is so much longer.
FrameMaker Misprefixed(int excess) {
    return [excess](const Request& request) {
        const std::string body = Echo()(request).substr(4);
        return LengthPrefix(static_cast<std::uint32_t>(body.size()) + excess) + body;
    };
}

void Trickle(const Request& request, Connection& connection) {
    for (const char byte : Echo()(request)) connection.Send({&byte, 1});
}

const FailureCase kCases[] = {
    // The server answers in an orderly way, but not well.
    Altered("Server response:5:[busy %s]", true,
            [](auto& access) {
                access.set_error_no(5);
                access.set_error_desc("busy %s");
            }),
    Altered("Server response:-1:[]", true, [](auto& access) { access.set_error_no(-1); }),
    Altered("parse from array failed(message_len=7).", false,
            [](auto& access) { access.set_data_len(7); }),
    Altered("parse from array failed(message_len=1000000).", false,
            [](auto& access) { access.set_data_len(1000000); }),
    Altered("parse from array failed(message_len=-5).", false,
            [](auto& access) { access.set_data_len(-5); }),
    Altered("parse from array failed(message_len=4).", false,
            [](auto& access) {
                access.set_data("\xFF\xFF\xFF\xFF");
                access.set_data_len(4);
            }),
    Foreign(EchoAccess([](auto& access) { access.set_data_len(0); })),
    Foreign(Echo([](auto& m) { m.set_identify("other"); }), "other"),
    Foreign(Body("")),
    Foreign(Body("\x08\x20")),
    ServerError(-3, LEXO_ERR_UNKNOWN, false, "odd"),
    ServerError(1, 1, false),
    ServerError(13, 13, true, "no"),
    ServerError(14, 14, false, std::string("\xC4\xE3 %n\0x", 7)),
    ServerError(33, 33, true),
    ServerError(34, 34, true),
    ServerError(123456, 123456, false, std::string(1 << 20, 'd')),
    UnknownEngine("\x30\x04", 8, 4),
    UnknownEngine("\x78\x05\x7A\x01\x30\x30\xAC\x02", 1, 300),
    UnknownEngine("\x30\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01", 0, -1),
    // There is no whole answer: the end, a bad length, no message, another protocol.
    Transport(HangUp()),
    Transport(Cut(2)),
    Transport(Cut(4)),
    Transport(Cut(11)),
    Transport(Reset(), -1),
    Transport(Cut(2, Reset()), -1),
    Transport(Cut(4, Reset()), -1),
    Transport(Cut(11, Reset()), -1),
    Transport(Answer(Misprefixed(-1))),
    Transport(Sequence({Answer(Misprefixed(1)), HangUp()})),
    Transport(Answer(Bytes(LengthPrefix(0x4000001)))),
    Transport(Answer(Bytes(LengthPrefix(0xFFFFFFFF)))),
    Transport(Sequence({Answer(Bytes(LengthPrefix(0x4000000) + "x")), HangUp()})),
    Transport(Answer(Body("\xFF\xFF\xFF"))),
    Transport(Answer(Bytes("HTTP/1.1 400 Bad Request\r\n\r\n"))),
};

class FailureTest : public HostTest {
  protected:
    LexoRequestMessage Last() const { return server_.LastRequest().inner; }

    // The call that meets the failure.
    void Fail(const FailureCase& one, Session& session, int is_data_over) {
        const std::size_t requests = server_.RequestCount();
        server_.Then(one.reaction);
        Logged();
        EXPECT_EQ(session.Send("audio", is_data_over), one.outcome);
        EXPECT_EQ(server_.RequestCount(), requests + 1) << "a chunk is never sent twice";
        std::string error = one.error;
        for (const auto& [mark, text] :
             {std::pair<std::string, std::string>{"{id}", Last().identify()},
              {"{port}", std::to_string(server_.Port())}}) {
            const std::size_t at = error.find(mark);
            if (at != std::string::npos) error.replace(at, mark.size(), text);
        }
        EXPECT_EQ(Logged(), Lines{error});
        Lexo_RecogResult* result = nullptr;
        EXPECT_EQ(orvx_proxy_GetRecogResult(session.Handle(), &result),
                  LEXO_ERR_GET_RECOG_RESULT_FAILED);
    }
};

// On a one-shot call, the first chunk, a later one and the closing one, each followed by a good
// call. A closing call that the server does not accept leaves the utterance open.
TEST_F(FailureTest, WhateverTheAnswer) {
    Session other("grammar");
    for (const FailureCase& one : kCases) {
        const int lost = one.closes ? 1 : 3;
        const struct {
            int stream, chunks_before, is_data_over, failing, next;
        } calls[] = {{0, 0, 0, -1, -1},
                     {1, 0, 0, 1, one.accepted ? 2 : 1},
                     {1, 1, 0, 2, lost},
                     {1, 1, 1, -2, one.accepted ? 1 : lost}};
        for (const auto& call : calls) {
            SCOPED_TRACE(std::to_string(&one - kCases) + ", chunk " + std::to_string(call.failing));
            Session session("freetalk");
            session.SetNumber(LEXO_PARAM_STREAM, call.stream);
            for (int i = 0; i < call.chunks_before; ++i) EXPECT_EQ(session.Recognize(), kGood);
            Fail(one, session, call.is_data_over);
            const std::string identity = Last().identify();
            EXPECT_EQ(Last().chunk_no(), call.failing);
            EXPECT_EQ(session.Recognize(), kGood) << "the next call recovers";
            EXPECT_EQ(Last().chunk_no(), call.next);
            EXPECT_EQ(Last().identify() == identity, call.next > 1);
            EXPECT_EQ(other.Recognize(), kGood) << "and no other session is touched";
        }
    }
}

// The right answer may still come, and would then meet the next request.
TEST_F(FailureTest, AConnectionThatBroughtAForeignAnswerIsNotUsedAgain) {
    Session session("freetalk");
    for (const auto& frame : {Echo(), Echo([](auto& m) { m.set_identify("other"); })})
        server_.Then(Answer(frame));
    std::vector<int> connections;
    for (const int code : {LEXO_ERR_NONE, LEXO_ERR_ENGINE_FAILED, LEXO_ERR_NONE}) {
        EXPECT_EQ(session.Recognize().code, code);
        connections.push_back(server_.LastRequest().connection);
    }
    EXPECT_EQ(connections[0], connections[1]);
    EXPECT_NE(connections[1], connections[2]);
}

// Before its call or within it: the exchange is given up, and the session goes on.
TEST_F(FailureTest, ACancelledThreadLeavesAllInOrder) {
    static std::atomic<bool> is_early;
    Session session("freetalk");
    for (const bool early : {true, false}) {
        is_early = early;
        server_.Otherwise(StaySilent());
        const std::size_t requests = server_.RequestCount();
        const auto call = [](void* argument) -> void* {
            if (is_early) pthread_cancel(pthread_self());
            static_cast<Session*>(argument)->Recognize();
            return nullptr;
        };
        pthread_t thread;
        ASSERT_EQ(pthread_create(&thread, nullptr, call, &session), 0);
        EXPECT_TRUE(early || server_.WaitForRequests(requests + 1));
        pthread_cancel(thread);
        void* end = nullptr;
        pthread_join(thread, &end);
        EXPECT_EQ(end, PTHREAD_CANCELED);
        server_.Otherwise(Answer());
        EXPECT_EQ(session.Recognize(), kGood);
    }
}

TEST_F(FailureTest, AnUnknownKindOfResultWithTheResultBitIsHeldAndNeitherOpensNorCloses) {
    const struct {
        int stream, first_chunks, is_data_over, next_chunk;
    } cases[] = {{0, 0, 0, -1}, {1, 0, 0, 1}, {1, 1, 1, 3}};
    for (const auto& one : cases) {
        Session session("freetalk");
        session.SetNumber(LEXO_PARAM_STREAM, one.stream);
        if (one.first_chunks == 1) {
            EXPECT_EQ(session.Recognize(), kGood);
        }
        server_.Then(UnknownEngine("\x30\x09", 2, 9).reaction);
        EXPECT_EQ(session.Send("audio", one.is_data_over), (Outcome{LEXO_ERR_UNKNOWN, 2}));
        EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_RESULT_NOT_FREE, kUntouched}));
        EXPECT_EQ(session.FreeResult(), LEXO_ERR_NONE);
        EXPECT_EQ(session.Recognize(), kGood);
        EXPECT_EQ(server_.LastRequest().inner.chunk_no(), one.next_chunk);
    }
}

TEST_F(FailureTest, TheStatusIsTheServersOnGoodAnswers) {
    const struct {
        int error, status;
        const char* log;
    } cases[] = {{0, 5, "0x5"}, {0, 2, "0x2"}, {0, -3, "0xFFFFFFFD"}, {12, 6, "0x6"}};
    for (const auto& one : cases) {
        Session session("keywordspot");
        LexoResponseMessage answer = KeywordResult(1);
        answer.set_error_no(one.error);
        server_.Then(Answer(EchoResult(answer, one.status)));
        EXPECT_EQ(session.Recognize(), (Outcome{one.error, one.status}));
        EXPECT_THAT(Logged("INFO"),
                    ::testing::Contains(std::string("Recog status [") + one.log + "]"));
        Lexo_RecogResult* result = nullptr;
        EXPECT_EQ(orvx_proxy_GetRecogResult(session.Handle(), &result),
                  (one.status & 2) != 0 ? LEXO_ERR_NONE : LEXO_ERR_GET_RECOG_RESULT_FAILED);
    }
}

TEST_F(FailureTest, EveryErrorNumberIsTheCallsCode) {
    Session session("freetalk");
    for (int number = -3; number <= 200; ++number) {
        if (number == LEXO_ERR_NONE || number == LEXO_ERR_NO_VOICE_INPUT) continue;
        Fail(ServerError(number, number < 0 ? LEXO_ERR_UNKNOWN : number, false), session, 0);
    }
    Fail(ServerError(INT_MIN, LEXO_ERR_UNKNOWN, false), session, 0);
    EXPECT_EQ(session.Recognize(), kGood);
}

TEST_F(FailureTest, AnAnswerMayComeByteByByte) {
    server_.Then(Trickle);
    EXPECT_EQ(Session("freetalk").Recognize(), kGood);
}

// The good answer, made so many bytes long by a field that nobody knows.
FrameMaker EchoOfBytes(std::size_t body_bytes) {
    return [body_bytes](const Request& request) {
        std::string body = Echo()(request).substr(4);
        const std::size_t padding = body_bytes - body.size() - 6;
        body += "\xC2\x3E";  // field 1000, a text
        for (int shift = 0; shift < 28; shift += 7)
            body += static_cast<char>((padding >> shift & 0x7F) | (shift < 21 ? 0x80 : 0));
        return Body(body.append(padding, ' '))(request);
    };
}

TEST_F(FailureTest, AnAnswerMayHave64MiBAndNotAByteMore) {
    constexpr std::size_t kMost = std::size_t{64} << 20;
    Session session("freetalk");
    server_.Then(Answer(EchoOfBytes(kMost - 1)));
    EXPECT_EQ(session.Recognize(), kGood);
    server_.Then(Answer(EchoOfBytes(kMost)));
    EXPECT_EQ(session.Recognize(), kGood);
    server_.Then(Answer(EchoOfBytes(kMost + 1)));
    EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NETWORK_FAILED, 1}));
    EXPECT_EQ(session.Recognize(), kGood);
}

}  // namespace
