// What the server answers, over the socket, with an engine whose results are known beforehand.
#include <gtest/gtest.h>

#include <future>
#include <new>

#include "FakeEngine.h"
#include "FrameCodec.h"
#include "Server.h"
#include "TestAudio.h"
#include "TestServer.h"

namespace orvx::test {
namespace {

const std::string kContinue = kPcm16 + ",stream_recog=continue";

class ServerTest : public testing::Test {
  protected:
    void Start() { server_.emplace(options_, engine_.Factory()); }
    Answer Ask(const LexoRequestMessage& request) { return server_->Ask(request); }
    static void ExpectRefused(const Answer& answer, int error_no, const std::string& says) {
        EXPECT_EQ(answer.access.error_no(), 0);
        EXPECT_EQ(answer.Error(), error_no);
        EXPECT_EQ(answer.Status(), 0);
        EXPECT_NE(answer.response.error_desc().find(says), std::string::npos)
            << answer.response.error_desc();
    }

    FakeEngine engine_;
    Options options_ = DefaultOptions(2);
    std::optional<TestServer> server_;
};

TEST_F(ServerTest, AnswersOneRequestAfterAnotherAlsoThoseSentAhead) {
    Start();
    TestClient client(server_->Port());
    std::vector<LexoRequestMessage> requests;
    std::string frames;
    for (int i = 0; i < 4; ++i) {
        requests.push_back(MakeRequest(kPcm16, Voice(1000 * i + 1000)));
        frames += Frame(Wrap(requests.back()));
    }
    client.Send(frames + Frame(MessageHeader()));
    for (std::size_t i = 0; i < 4; ++i) {
        const Answer answer = *client.Receive();
        EXPECT_EQ(answer.header.message_type(), MessageHeader::LexoRecogResponse);
        EXPECT_EQ(answer.header.name(), "CapbilityAccessResponseMessage");
        EXPECT_EQ(answer.response.identify(), requests[i].identify());
        EXPECT_EQ(answer.Text(), Words(i + 1));
        EXPECT_FALSE(answer.response.has_result_token());
    }
    const Answer refused = *client.Receive();  // what is no recognition request
    EXPECT_NE(refused.access.error_no(), 0);
    EXPECT_FALSE(refused.access.has_data());
    EXPECT_EQ(client.Ask(requests[0]).Text(), "word");
}

TEST_F(ServerTest, RefusesRequestsWithAReason) {
    Start();
    const std::string audio = Voice(1000);
    LexoRequestMessage unknown = MakeRequest("", audio);
    unknown.set_cap_name("tts.cloud\n");
    ExpectRefused(Ask(unknown), LEXO_ERR_CAPABILITY_NOT_EXIST, "\"tts.cloud\\x0A\"");
    ExpectRefused(Ask(MakeRequest("vad_tail=x", audio)), LEXO_ERR_PARAM_INVALID, "vad_tail");
    ExpectRefused(Ask(MakeRequest("add_punc=yes", audio)), LEXO_ERR_NOT_SUPPORT, "add_punc");
    ExpectRefused(Ask(MakeRequest("", "")), LEXO_ERR_PARAM_INVALID, "needs audio");
    ExpectRefused(Ask(MakeRequest("", audio, 1)), LEXO_ERR_PARAM_INVALID, "stream_recog is no");
    ExpectRefused(Ask(MakeRequest(kContinue, audio, 2)), LEXO_ERR_REALTIME_SESSION_TIMEOUT,
                  "without the result_token");
}

TEST_F(ServerTest, AStreamMayUseManyConnectionsButNoStrangerMayUseIt) {
    Start();
    TestStream stream(server_->Port(), kContinue);
    EXPECT_EQ(stream.Send(Voice(1000)).Status(), kMoreAudioWanted);
    LexoRequestMessage stranger = MakeRequest("", Voice(1000), 2);
    stranger.set_result_token(stream.Token());
    ExpectRefused(Ask(stranger), LEXO_ERR_PARAM_INVALID, "identify");
    stranger.set_result_token(std::string(32, '0'));
    ExpectRefused(Ask(stranger), LEXO_ERR_REALTIME_SESSION_TIMEOUT, "result_token");
    const Answer second = Ask(stream.NextRequest(Pause(1000)));
    EXPECT_EQ(second.Text(), "word");
    EXPECT_EQ(second.response.result_token(), stream.Token());
    EXPECT_EQ(Ask(stream.NextRequest(Voice(2000))).Status(), kMoreAudioWanted);
    EXPECT_EQ(Ask(stream.NextRequest("", true)).Text(), Words(2));
    ExpectRefused(stream.Send(Voice(1000)), LEXO_ERR_REALTIME_SESSION_TIMEOUT, "closed");
}

TEST_F(ServerTest, OpenUtterancesAreLimitedAndIdleOnesGivenUp) {
    options_.service.max_utterances = 1;
    options_.service.utterance_idle_timeout = std::chrono::milliseconds(300);
    Start();
    TestStream stream(server_->Port(), kContinue);
    stream.Send(Voice(1000));
    ExpectRefused(Ask(MakeRequest(kContinue, "", 1)), LEXO_ERR_ALL_SESSION_BUSY,
                  "1 real-time utterance open");
    EXPECT_EQ(Ask(MakeRequest(kPcm16, Voice(1000))).Text(), "word") << "recordings still go";
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    for (int opened = 0; opened < 3;) {  // each as soon as the one before is given up
        const int error = Ask(MakeRequest(kContinue, Voice(500), 1)).Error();
        ASSERT_TRUE(error == 0 || error == LEXO_ERR_ALL_SESSION_BUSY);
        if (error == 0) ++opened;
        ASSERT_LT(std::chrono::steady_clock::now(), end);
    }
    ExpectRefused(stream.Send(Voice(1000)), LEXO_ERR_REALTIME_SESSION_TIMEOUT, "idle");
}

// Whoever waits for it would wait for ever.
TEST_F(ServerTest, AnAnswerThatMemoryDoesNotHoldIsToldAsNone) {
    RecognitionService service(options_.service, engine_.Factory());
    for (const std::string& config : {kPcm16, std::string("nonsense"), kContinue}) {
        const LexoRequestMessage request =
            MakeRequest(config, Voice(1000), config == kContinue ? 1 : -1);
        const std::string body = Wrap(request).SerializeAsString();
        const auto none = std::make_shared<std::promise<void>>();
        service.Handle(body, "peer", [none](const std::vector<char>& frame) {
            if (!frame.empty()) throw std::bad_alloc();
            none->set_value();
        });
        EXPECT_EQ(none->get_future().wait_for(std::chrono::minutes(1)), std::future_status::ready);
    }
}

// The threads of a service with one thread, and one more, while the object lives.
class HeldUpThreads {
  public:
    HeldUpThreads(RecognitionService* service, const std::string& body) {
        for (int i = 0; i < 2; ++i) {
            service->Handle(body, "peer",
                            [held_up = held_up_](const auto& /*frame*/) { held_up.wait(); });
        }
    }
    ~HeldUpThreads() { go_on_.set_value(); }
    HeldUpThreads(const HeldUpThreads&) = delete;
    HeldUpThreads& operator=(const HeldUpThreads&) = delete;

  private:
    std::promise<void> go_on_;
    const std::shared_future<void> held_up_ = go_on_.get_future().share();
};

std::string BodyOf(const LexoRequestMessage& request) {
    return Wrap(request).SerializeAsString();
}

// Hands it to the service; the client may be gone before it is read.
std::future<std::string> Handle(RecognitionService* service, const std::string& body,
                                bool is_client_gone = false) {
    const auto answered = std::make_shared<std::promise<std::string>>();
    const auto ticket = service->Handle(body, "peer", [answered](const std::vector<char>& frame) {
        answered->set_value({frame.begin(), frame.end()});
    });
    if (is_client_gone) RecognitionService::Tell(ticket, RecognitionService::ClientState::kGone);
    return answered->get_future();
}

// What is begun for a crowd that only asks and resets would keep its places.
TEST_F(ServerTest, ARequestWhoseClientHasGoneBeginsNothing) {
    options_.service.request_threads = 1;
    const std::string body = BodyOf(MakeRequest("vad_tail=x", "audio"));
    RecognitionService service(options_.service, engine_.Factory());
    std::future<std::string> gone;
    std::future<std::string> there;
    {
        const HeldUpThreads threads(&service, body);
        gone = Handle(&service, body, true);
        there = Handle(&service, body);
    }
    EXPECT_EQ(gone.get(), "");
    EXPECT_NE(there.get(), "");
}

TEST_F(ServerTest, AChunkWhoseClientHasGoneEndsItsUtterance) {
    options_.service.request_threads = 1;
    LexoRequestMessage request = MakeRequest(kContinue, Voice(1000), 1);
    const std::string first = BodyOf(request);
    request.set_chunk_no(2);
    std::string second;
    RecognitionService service(options_.service, engine_.Factory());
    const std::string answer = Handle(&service, first).get();
    request.set_result_token(ParseAnswer(answer.substr(kFramePrefixBytes)).response.result_token());
    second = BodyOf(request);
    EXPECT_EQ(service.OpenUtterances(), 1U);
    std::future<std::string> gone;
    {
        const HeldUpThreads threads(&service, first);
        gone = Handle(&service, second, true);
    }
    gone.get();
    EXPECT_EQ(service.OpenUtterances(), 2U) << "those of the requests that held the threads up";
}

TEST_F(ServerTest, ClientsAtTheSameTimeGetEachTheirOwnAnswers) {
    Start();
    std::vector<std::thread> clients;
    for (std::size_t i = 0; i < 6; ++i) {
        clients.emplace_back([this, i] {
            const std::string audio = Voice(1000 * static_cast<int>(i));
            for (int round = 0; round < 3; ++round) {
                TestStream stream(server_->Port(), kContinue);
                stream.SendAll(audio);
                EXPECT_EQ(stream.Close().Text(), Words(i));
                EXPECT_EQ(Ask(MakeRequest(kPcm16, Pause(500) + audio)).Text(), Words(i));
            }
        });
    }
    for (std::thread& client : clients) client.join();
}

TEST_F(ServerTest, DrainingAnswersWhatIsUnderWayButDoesNotWaitForEver) {
    for (const bool is_patient : {true, false}) {
        options_.drain_timeout = std::chrono::milliseconds(is_patient ? 60000 : 100);
        Start();
        engine_.HoldUp();
        TestClient busy(server_->Port());
        TestClient idle(server_->Port());
        idle.Ask(MakeRequest(kPcm16, Pause(100)));
        busy.Send(MakeRequest(kPcm16, Voice(1000)));
        engine_.WaitForHeldUp(1);
        server_->Drain();
        EXPECT_TRUE(idle.IsClosedByServer());
        EXPECT_THROW(TestClient(server_->Port()), std::system_error);
        if (!is_patient) {
            EXPECT_TRUE(busy.IsClosedByServer());
        }
        engine_.GoOn();  // the engine itself cannot be interrupted
        EXPECT_EQ(busy.Receive().value_or(Answer{}).Text(), is_patient ? "word" : "");
        server_->Join();
    }
}

}  // namespace
}  // namespace orvx::test
