// What the server answers, over the socket, with an engine whose results are known beforehand.
#include <gtest/gtest.h>

#include <thread>

#include "FakeEngine.h"
#include "Server.h"
#include "TestAudio.h"
#include "TestClient.h"
#include "TestServer.h"
#include "TestStream.h"

namespace orvx::test {
namespace {

const std::string kPcm16 = "audio_format=pcm16k16bit";
const std::string kContinue = kPcm16 + ",stream_recog=continue";

std::string Voice(int ms) {
    return Bytes(Syllables(ms));
}
std::string Pause(int ms) {
    return Bytes(Silence(ms));
}

class ServerTest : public testing::Test {
  protected:
    void Start() { server_.emplace(options_, engine_.Factory()); }
    Answer Ask(const LexoRequestMessage& request) {
        return TestClient(server_->Port()).Ask(request);
    }
    static void ExpectRefused(const Answer& answer, int error_no, const std::string& says) {
        EXPECT_EQ(answer.access.error_no(), 0);
        EXPECT_EQ(answer.Error(), error_no);
        EXPECT_EQ(answer.Status() & kResultPresent, 0);
        EXPECT_NE(answer.response.error_desc().find(says), std::string::npos)
            << answer.response.error_desc();
    }

    FakeEngine engine_;
    Options options_ = DefaultOptions(2);
    std::optional<TestServer> server_;
};

TEST_F(ServerTest, AnswersRequestAfterRequestOnOneConnection) {
    Start();
    TestClient client(server_->Port());
    for (int i = 1; i <= 3; ++i) {
        const LexoRequestMessage request = MakeRequest(kPcm16, Voice(1000 * i));
        const Answer answer = client.Ask(request);
        EXPECT_EQ(answer.response.identify(), request.identify());
        EXPECT_EQ(answer.Text(), FakeEngine::Text(static_cast<std::size_t>(i) * 16000));
        EXPECT_FALSE(answer.response.has_result_token());
    }
}

TEST_F(ServerTest, AnswersRequestsThatWereSentAhead) {
    Start();
    TestClient client(server_->Port());
    std::string frames;
    for (int i = 1; i <= 5; ++i) frames += Frame(Wrap(MakeRequest(kPcm16, Voice(1000 * i))));
    client.Send(frames);
    for (std::size_t i = 1; i <= 5; ++i) {
        EXPECT_EQ(client.Receive()->Text(), FakeEngine::Text(i * 16000));
    }
}

TEST_F(ServerTest, RefusesWhatIsNoRecognitionRequestAndGoesOn) {
    Start();
    TestClient client(server_->Port());
    MessageHeader header;
    header.set_message_type(MessageHeader::QuorTask);
    for (const MessageHeader& wrong : {header, MessageHeader()}) {
        const Answer answer = client.Ask(wrong);
        EXPECT_EQ(answer.header.message_type(), MessageHeader::LexoRecogResponse);
        EXPECT_NE(answer.access.error_no(), 0);
        EXPECT_FALSE(answer.access.error_desc().empty());
        EXPECT_FALSE(answer.access.has_data());
    }
    EXPECT_EQ(client.Ask(MakeRequest(kPcm16, Voice(1000))).Text(), "word");
}

TEST_F(ServerTest, RefusesRequestsWithAReason) {
    Start();
    const std::string audio = Voice(1000);
    LexoRequestMessage request = MakeRequest("", audio);
    request.set_cap_name("asr.cloud.grammar");
    ExpectRefused(Ask(request), LEXO_ERR_NOT_SUPPORT, "does not offer asr.cloud.grammar");
    request.set_cap_name("tts.cloud\n");
    ExpectRefused(Ask(request), LEXO_ERR_CAPABILITY_NOT_EXIST, "\"tts.cloud\\x0A\"");
    request = MakeRequest("", audio);
    request.set_resource_buildin(0);
    request.set_resource_data("word");
    request.set_resource_type(LexoRequestMessage::LEXO_RESOURCE_FREETALK_USERWORD);
    ExpectRefused(Ask(request), LEXO_ERR_NOT_SUPPORT, "no resources");
    ExpectRefused(Ask(MakeRequest("vad_tail=x", audio)), LEXO_ERR_PARAM_INVALID, "vad_tail");
    ExpectRefused(Ask(MakeRequest("add_punc=yes", audio)), LEXO_ERR_NOT_SUPPORT, "add_punc");
    ExpectRefused(Ask(MakeRequest("", "")), LEXO_ERR_PARAM_INVALID, "needs audio");
    ExpectRefused(Ask(MakeRequest("", audio, 1)), LEXO_ERR_PARAM_INVALID, "stream_recog is no");
    ExpectRefused(Ask(MakeRequest(kContinue, audio, 2)), LEXO_ERR_REALTIME_SESSION_TIMEOUT,
                  "without the result_token");
    request = MakeRequest("", audio);
    request.set_data_len(1);
    ExpectRefused(Ask(request), LEXO_ERR_PARAM_INVALID, "data_len is 1");
}

TEST_F(ServerTest, AStreamMayUseManyConnections) {
    Start();
    TestStream stream(server_->Port(), kContinue);
    EXPECT_EQ(stream.Send(Voice(1000)).Status(), kMoreAudioWanted);
    ASSERT_EQ(stream.Token().size(), 32U);
    const Answer second = Ask(stream.NextRequest(Pause(1000)));
    EXPECT_EQ(second.Text(), "word");
    EXPECT_EQ(second.response.result_token(), stream.Token());
    EXPECT_EQ(Ask(stream.NextRequest(Voice(2000))).Status(), kMoreAudioWanted);
    EXPECT_EQ(Ask(stream.NextRequest("", true)).Text(), "word word");
}

TEST_F(ServerTest, AClosedOrUnknownTokenIsToldApartFromAnOpenOne) {
    Start();
    TestStream stream(server_->Port(), kContinue);
    stream.Send(Voice(1000));
    const std::string token = stream.Token();
    LexoRequestMessage stranger = MakeRequest("", Voice(1000), 2);
    stranger.set_result_token(token);
    ExpectRefused(Ask(stranger), LEXO_ERR_PARAM_INVALID, "identify");
    stranger.set_result_token(std::string(32, '0'));
    ExpectRefused(Ask(stranger), LEXO_ERR_REALTIME_SESSION_TIMEOUT, "result_token");
    EXPECT_EQ(stream.Close().Text(), "word") << "strangers must not have harmed it";
    ExpectRefused(stream.Send(Voice(1000)), LEXO_ERR_REALTIME_SESSION_TIMEOUT, "closed");
}

TEST_F(ServerTest, AnEmptyTokenIsNone) {
    Start();
    LexoRequestMessage first = MakeRequest(kContinue, Voice(1000), 1);
    first.set_result_token("");
    EXPECT_EQ(Ask(first).response.result_token().size(), 32U);
    first.set_chunk_no(2);
    ExpectRefused(Ask(first), LEXO_ERR_REALTIME_SESSION_TIMEOUT, "without");
}

TEST_F(ServerTest, AStreamThatOnlyClosesHeardNothing) {
    Start();
    for (const char* const mode : {"yes", "continue", "continue-rt", "yes-rt"}) {
        const std::string task_config = kPcm16 + ",stream_recog=" + mode;
        ExpectRefused(Ask(MakeRequest(task_config, "", -1)), LEXO_ERR_NO_VOICE_INPUT, "");
    }
}

TEST_F(ServerTest, WrongNumbersEndTheUtterance) {
    Start();
    TestStream stream(server_->Port(), kContinue);
    stream.Send(Voice(1000));
    stream.NextRequest("");  // is lost
    ExpectRefused(stream.Send(Voice(1000)), LEXO_ERR_RECOG_FAILED, "chunk 2 was due");
    ExpectRefused(stream.Send(Voice(1000)), LEXO_ERR_REALTIME_SESSION_TIMEOUT, "");
}

TEST_F(ServerTest, OpenUtterancesAreLimited) {
    options_.service.max_utterances = 2;
    Start();
    TestStream first(server_->Port(), kContinue);
    TestStream second(server_->Port(), kContinue);
    first.Send(Voice(1000));
    second.Send(Voice(1000));
    ExpectRefused(Ask(MakeRequest(kContinue, Voice(1000), 1)), LEXO_ERR_ALL_SESSION_BUSY,
                  "2 real-time utterances");
    EXPECT_EQ(Ask(MakeRequest(kPcm16, Voice(1000))).Text(), "word") << "recordings still go";
    first.Close();
    EXPECT_EQ(Ask(MakeRequest(kContinue, Voice(1000), 1)).Error(), 0);
}

TEST_F(ServerTest, AnIdleUtteranceIsGivenUp) {
    options_.service.utterance_idle_timeout = std::chrono::milliseconds(200);
    options_.service.max_utterances = 1;
    Start();
    TestStream stream(server_->Port(), kContinue);
    stream.Send(Voice(1000));
    int error = LEXO_ERR_ALL_SESSION_BUSY;
    while (error == LEXO_ERR_ALL_SESSION_BUSY) {  // until its place is free
        error = Ask(MakeRequest(kContinue, "", 1)).Error();
    }
    EXPECT_EQ(error, 0);
    ExpectRefused(stream.Send(Voice(1000)), LEXO_ERR_REALTIME_SESSION_TIMEOUT, "idle");
}

TEST_F(ServerTest, AbandonedUtterancesDoNotPileUp) {
    options_.service.max_utterances = 20;
    options_.service.utterance_idle_timeout = std::chrono::milliseconds(50);
    Start();
    TestClient client(server_->Port());
    for (int opened = 0; opened < 200;) {  // ten times as many as there are places
        const Answer answer = client.Ask(MakeRequest(kContinue, Voice(500), 1));
        ASSERT_TRUE(answer.Error() == 0 || answer.Error() == LEXO_ERR_ALL_SESSION_BUSY);
        if (answer.Error() == 0) ++opened;
    }
    EXPECT_EQ(Ask(MakeRequest(kPcm16, Voice(1000))).Text(), "word");
}

TEST_F(ServerTest, AStreamIsAnsweredWhileEveryDecoderIsBusy) {
    Start();
    engine_.HoldUp();
    TestClient first(server_->Port());
    TestClient second(server_->Port());
    first.Send(Frame(Wrap(MakeRequest(kPcm16, Voice(1000)))));
    second.Send(Frame(Wrap(MakeRequest(kPcm16, Voice(1000)))));
    engine_.WaitFor([](const FakeEngine& e) { return e.HeldUp() == 2; });
    TestStream stream(server_->Port(), kContinue);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(stream.Send(Voice(1000)).Status(), kMoreAudioWanted);
    engine_.GoOn();
    EXPECT_EQ(first.Receive()->Text(), "word");
    EXPECT_EQ(second.Receive()->Text(), "word");
    EXPECT_EQ(stream.Close().Text(), "word word word word");
}

TEST_F(ServerTest, ClientsAtTheSameTimeGetEachTheirOwnAnswers) {
    Start();
    std::vector<std::thread> clients;
    for (int i = 0; i < 6; ++i) {
        clients.emplace_back([this, i] {
            const std::string text = FakeEngine::Text(static_cast<std::size_t>(i) * 16000);
            for (int round = 0; round < 3; ++round) {
                TestStream stream(server_->Port(), kContinue);
                stream.SendAll(Voice(1000 * i));
                EXPECT_EQ(stream.Close().Text(), text);
                EXPECT_EQ(Ask(MakeRequest(kPcm16, Pause(500) + Voice(1000 * i))).Text(), text);
            }
        });
    }
    for (std::thread& client : clients) client.join();
}

TEST_F(ServerTest, DrainingAnswersWhatIsUnderWay) {
    Start();
    engine_.HoldUp();
    TestClient busy(server_->Port());
    TestClient idle(server_->Port());
    idle.Ask(MakeRequest(kPcm16, Pause(100)));
    busy.Send(Frame(Wrap(MakeRequest(kPcm16, Voice(1000)))));
    engine_.WaitFor([](const FakeEngine& e) { return e.HeldUp() == 1; });
    server_->Drain();
    EXPECT_TRUE(idle.IsClosedByServer());
    EXPECT_THROW(
        {
            TestClient late(server_->Port());
            if (late.IsClosedByServer()) throw std::runtime_error("refused");
        },
        std::exception);
    engine_.GoOn();
    EXPECT_EQ(busy.Receive()->Text(), "word");
    EXPECT_TRUE(busy.IsClosedByServer());
    server_->Join();
}

TEST_F(ServerTest, DrainingDoesNotWaitForEver) {
    options_.drain_timeout = std::chrono::milliseconds(100);
    Start();
    engine_.HoldUp();
    TestClient busy(server_->Port());
    busy.Send(Frame(Wrap(MakeRequest(kPcm16, Voice(1000)))));
    engine_.WaitFor([](const FakeEngine& e) { return e.HeldUp() == 1; });
    server_->Drain();
    EXPECT_TRUE(busy.IsClosedByServer());
    engine_.GoOn();  // the engine itself cannot be interrupted
    server_->Join();
}

TEST_F(ServerTest, AnAddressInUseIsAnError) {
    Start();
    options_.listen.port(server_->Port());
    EXPECT_THROW(Server(options_, engine_.Factory()), std::system_error);
}

}  // namespace
}  // namespace orvx::test
