// What tells requests apart: the identity of each, and the numbers of an utterance's chunks.
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <climits>
#include <string>
#include <vector>

#include "MessagesOf.h"
#include "Reactions.h"
#include "ScriptedServer.h"
#include "TestAccess.h"
#include "TestEngine.h"

namespace {

using Access = ProxySessionTestAccess;

class RequestIdentityTest : public ::testing::Test {
  protected:
    void TearDown() override { ConnectionPool::DestroyInstance(); }

    int Recognize(int is_over = 0, const char* data = "audio", int length = 5) {
        status_ = -77;
        return session_.RecognizeStream("127.0.0.1", server_.Port(), data, length, is_over,
                                        &status_);
    }
    void SetStream(int value) { session_.SetParam(LEXO_PARAM_STREAM, WordOf(value)); }

    scripted::ScriptedServer server_;
    TestEngine engine_{LEXO_ENGINE_GRAMMAR};
    ProxySession session_{LEXO_ENGINE_GRAMMAR, "asr.cloud.grammar", "", engine_.default_params};
    int status_ = 0;
};

TEST(IdentityTest, SaysWhoAskedWhen) {
    Access::IdentifyIndex() = 17;
    const std::string identify = Access::NewIdentify();
    const std::string start =
        std::to_string(::getpid()) + "_" + std::to_string(::pthread_self()) + "_";
    const std::string end = "_17,task=recognise";
    ASSERT_TRUE(identify.starts_with(start) && identify.ends_with(end)) << identify;
    std::string time = identify.substr(start.size(), identify.size() - start.size() - end.size());
    for (char& character : time) {
        character = character >= '0' && character <= '9' ? '9' : character;
    }
    EXPECT_EQ(time, "9999-99-99T99:99:99");
    EXPECT_EQ(Access::IdentifyIndex(), 18);
}

std::string IndexOf(const std::string& identify) {
    const std::size_t start = identify.rfind('_') + 1;
    return identify.substr(start, identify.find(',') - start);
}

TEST_F(RequestIdentityTest, IndexRunsToTheLargestButOneAndBeginsAnew) {
    const struct {
        int start;
        const char* indices[3];
    } cases[] = {
        {1, {"1", "2", "3"}},
        {2147483645, {"2147483645", "2147483646", "1"}},
        {2147483646, {"2147483646", "1", "2"}},
    };
    for (const auto& c : cases) {
        Access::IdentifyIndex() = c.start;
        for (const char* index : c.indices) {
            EXPECT_EQ(Recognize(), LEXO_ERR_NONE);
            const scripted::Request request = server_.LastRequest();
            EXPECT_EQ(IndexOf(request.inner.identify()), index);
            EXPECT_EQ(request.access.identify(), request.inner.identify());
            EXPECT_EQ(request.inner.chunk_no(), -1);
            EXPECT_EQ(request.access.chunk_no(), -1);
            EXPECT_FALSE(request.inner.has_result_token());
        }
    }
}

// A refused call takes no number; one that fails behind the identity does.
TEST_F(RequestIdentityTest, CallsThatSendNothing) {
    Access::IdentifyIndex() = 100;
    EXPECT_EQ(Recognize(0, nullptr, 5), LEXO_ERR_PARAM_INVALID);
    EXPECT_EQ(Recognize(0, "audio", 0), LEXO_ERR_PARAM_INVALID);
    EXPECT_EQ(Recognize(1, "audio", -1), LEXO_ERR_PARAM_INVALID);
    EXPECT_EQ(status_, -77);
    EXPECT_EQ(session_.RecognizeStream("127.0.0.1", 1, "audio", 5, 0, nullptr),
              LEXO_ERR_PARAM_INVALID);
    EXPECT_EQ(Access::IdentifyIndex(), 100);

    SetStream(1);
    session_.SetResourceData("words", 5, LEXO_RESOURCE_FREETALK_OLM, 2);
    int code = LEXO_ERR_NONE;
    const Messages logged = MessagesOf([&] { code = Recognize(); });
    EXPECT_EQ(code, LEXO_ERR_PARAM_INVALID);
    EXPECT_NE(std::find(logged.begin(), logged.end(), "Resource Format Type Inviaid, res_type_=7"),
              logged.end());
    EXPECT_EQ(status_, 1);
    EXPECT_EQ(IndexOf(Access::Identify(session_)), "100");
    EXPECT_EQ(Access::NextChunk(session_), 1);
    EXPECT_EQ(server_.RequestCount(), 0u);
    EXPECT_EQ(ConnectionPoolTestAccess::Idle().begin()->second.size(), 1u) << "given back";
}

// Chunks count from 1, the closing one is negative, and all share the first one's identity.
TEST_F(RequestIdentityTest, ChunksOfUtterances) {
    SetStream(3);
    server_.Otherwise(scripted::Answer(
        scripted::Echo([](auto& response) { response.set_result_token("token"); })));
    struct Chunk {
        int is_over;
        int number;
        bool is_continued;
        bool is_open;  // the utterance, afterwards
    };
    const Chunk chunks[] = {
        {0, 1, false, true},  {0, 2, true, true},    {7, 3, true, true},  // only 1 is the end
        {1, -4, true, false}, {1, -1, false, false}, {0, 1, false, true}, {1, -2, true, false},
    };
    std::string identify;
    for (const Chunk& c : chunks) {
        SCOPED_TRACE(c.number);
        EXPECT_EQ(Recognize(c.is_over), LEXO_ERR_NONE);
        const scripted::Request request = server_.LastRequest();
        EXPECT_EQ(request.inner.chunk_no(), c.number);
        EXPECT_EQ(request.access.chunk_no(), c.number);
        EXPECT_EQ(request.inner.has_result_token(), c.is_continued);
        EXPECT_EQ(request.inner.result_token(), c.is_continued ? "token" : "");
        EXPECT_EQ(request.inner.has_task_config(), !c.is_continued);
        EXPECT_EQ(request.inner.identify() == identify, c.is_continued);
        EXPECT_EQ(request.inner.data(), c.is_over == 1 ? "" : "audio");
        EXPECT_EQ(request.inner.data_len(), c.is_over == 1 ? 0 : 5);
        EXPECT_EQ(session_.InRealTimeRecog(), c.is_open);
        identify = request.inner.identify();
    }
}

// A chunk that fails on the server still counts; one that closes the utterance starts anew.
TEST_F(RequestIdentityTest, ChunksThatFail) {
    SetStream(1);
    const struct {
        int error;
        int next_chunk;
    } cases[] = {{0, 2}, {23, 3}, {12, 4}, {-5, 5}, {13, 1}, {0, 2}, {33, 1}, {0, 2}, {34, 1}};
    for (const auto& c : cases) {
        server_.Then(scripted::Answer(
            scripted::Echo([&](auto& response) { response.set_error_no(c.error); })));
        EXPECT_EQ(Recognize(), c.error < 0 ? LEXO_ERR_UNKNOWN : c.error);
        EXPECT_EQ(Access::NextChunk(session_), c.next_chunk) << c.error;
        EXPECT_EQ(session_.InRealTimeRecog(), c.next_chunk > 1) << c.error;
    }
    EXPECT_EQ(Recognize(), LEXO_ERR_NONE);
    server_.Then(scripted::HangUp());
    EXPECT_EQ(Recognize(), LEXO_ERR_NETWORK_FAILED);
    EXPECT_FALSE(session_.InRealTimeRecog());
    EXPECT_EQ(Access::NextChunk(session_), 1);
}

}  // namespace
