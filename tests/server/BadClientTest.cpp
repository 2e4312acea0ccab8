// Clients that misbehave: each is cut off, and none harms another.
#include <gtest/gtest.h>

#include <random>

#include "FakeEngine.h"
#include "TestAudio.h"
#include "TestClient.h"
#include "TestServer.h"
#include "TestStream.h"

namespace orvx::test {
namespace {

using std::chrono::milliseconds;

const std::string kPcm16 = "audio_format=pcm16k16bit";

LexoRequestMessage GoodRequest() {
    return MakeRequest(kPcm16, Bytes(Syllables(1000)));
}

class BadClientTest : public testing::Test {
  protected:
    void Start() {
        server_.emplace(options_, engine_.Factory());
        witness_.emplace(server_->Port());
    }
    // After each test a client that was there from the start must still be served, and a new one.
    void TearDown() override {
        EXPECT_EQ(witness_->Ask(GoodRequest()).Text(), "word");
        EXPECT_EQ(TestClient(server_->Port()).Ask(GoodRequest()).Text(), "word");
    }
    // Tries new connections until one is served.
    void AwaitFreePlace(const LexoRequestMessage& request = GoodRequest()) {
        const auto is_served = [this, &request] {
            TestClient client(server_->Port());
            client.TrySend(Frame(Wrap(request)), 1000);
            return client.Receive().has_value();
        };
        while (!is_served()) std::this_thread::yield();
    }

    FakeEngine engine_;
    Options options_ = DefaultOptions(2);
    std::optional<TestServer> server_;
    std::optional<TestClient> witness_;
};

TEST_F(BadClientTest, Garbage) {
    Start();
    TestClient web(server_->Port());
    web.Send("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n");  // "GET " is a length of 1.2 GB
    EXPECT_TRUE(web.IsClosedByServer());
    TestClient undecodable(server_->Port());
    undecodable.Send(Prefix(4) + "\xFF\xFF\xFF\xFF");
    EXPECT_TRUE(undecodable.IsClosedByServer());
    std::mt19937 random(3);
    for (int i = 0; i < 50; ++i) {
        std::string body(random() % 300, '\0');
        for (char& byte : body) byte = static_cast<char>(random());
        TestClient client(server_->Port());
        client.Send(Prefix(static_cast<std::uint32_t>(body.size())) + body);
        const std::optional<Answer> answer = client.Receive();
        EXPECT_TRUE(!answer || answer->access.error_no() != 0);
    }
}

TEST_F(BadClientTest, MutatedRequests) {
    Start();
    std::mt19937 random(5);
    const std::string good = Frame(Wrap(GoodRequest())).substr(4);
    for (int i = 0; i < 100; ++i) {
        std::string body = good;
        for (int j = 0; j < 3; ++j) body[random() % 200] = static_cast<char>(random());
        TestClient client(server_->Port());
        client.Send(Prefix(static_cast<std::uint32_t>(body.size())) + body);
        client.Receive();  // an answer or the end, but soon
    }
}

TEST_F(BadClientTest, FrameAboveTheLimit) {
    options_.connection.max_frame_bytes = 100000;
    Start();
    TestClient client(server_->Port());
    client.Send(Prefix(100001) + "x");
    EXPECT_TRUE(client.IsClosedByServer());
    TestClient allowed(server_->Port());
    const Answer answer = allowed.Ask(MakeRequest(kPcm16, Bytes(Silence(3000))));
    EXPECT_EQ(answer.Error(), LEXO_ERR_NO_VOICE_INPUT);
}

TEST_F(BadClientTest, ManyUnfinishedLargeFrames) {
    options_.connection.max_received_bytes = 1 << 20;
    Start();
    const std::string half = Prefix(1 << 20) + std::string(400 << 10, 'x');
    std::vector<TestClient> clients;
    for (int i = 0; i < 3; ++i) {
        clients.emplace_back(server_->Port());
        clients.back().TrySend(half, 1000);
    }
    const auto is_closed = [](TestClient& client) { return client.IsClosedByServer(10); };
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (std::none_of(clients.begin(), clients.end(), is_closed)) {
        ASSERT_LT(std::chrono::steady_clock::now(), end);
    }
    EXPECT_EQ(TestClient(server_->Port()).Ask(GoodRequest()).Text(), "word");
    clients.clear();  // what they took is given back
    const std::string large = Bytes(Join({Silence(20000), Syllables(1000)}));
    Answer answer;
    while (answer.Text().empty() && std::chrono::steady_clock::now() < end) {
        TestClient client(server_->Port());
        client.TrySend(Frame(Wrap(MakeRequest(kPcm16 + ",vad_head=30000", large))), 1000);
        answer = client.Receive().value_or(Answer{});
    }
    EXPECT_EQ(answer.Text(), "word");
}

TEST_F(BadClientTest, SlowTrickle) {
    options_.connection.read_timeout = milliseconds(150);
    Start();
    TestClient client(server_->Port());
    const std::string frame = Frame(Wrap(GoodRequest()));
    std::size_t sent = 0;
    const auto start = std::chrono::steady_clock::now();
    while (sent < frame.size() && client.TrySend(frame.substr(sent, 1), 10)) {
        ++sent;
        std::this_thread::sleep_for(milliseconds(5));
    }
    EXPECT_LT(sent, frame.size());
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(150));
}

TEST_F(BadClientTest, IdleForTooLong) {
    options_.connection.idle_timeout = milliseconds(150);
    Start();
    TestClient client(server_->Port());
    EXPECT_TRUE(client.IsClosedByServer());
    EXPECT_TRUE(witness_->IsClosedByServer());
    witness_.emplace(server_->Port());
}

TEST_F(BadClientTest, HalfClosed) {
    Start();
    TestClient within_a_frame(server_->Port());
    within_a_frame.Send(Prefix(1000) + "abc");
    within_a_frame.CloseSendingSide();
    EXPECT_TRUE(within_a_frame.IsClosedByServer());
    TestClient behind_its_request(server_->Port());
    behind_its_request.Send(Frame(Wrap(GoodRequest())));
    behind_its_request.CloseSendingSide();
    EXPECT_EQ(behind_its_request.Receive()->Text(), "word");
    EXPECT_TRUE(behind_its_request.IsClosedByServer());
}

TEST_F(BadClientTest, NeverReadsItsAnswers) {
    options_.connection.write_timeout = milliseconds(200);
    Start();
    TestClient client(server_->Port());
    LexoRequestMessage request = GoodRequest();
    request.set_identify(std::string(1 << 20, 'i'));  // which the answer repeats
    const std::string frame = Frame(Wrap(request));
    // Requests are taken only while answers are, so at last sending fails.
    int taken = 0;
    while (taken < 100 && client.TrySend(frame, 5000)) ++taken;
    EXPECT_LT(taken, 100);
}

TEST_F(BadClientTest, HangsUpDuringRecognition) {
    options_ = DefaultOptions(1);
    options_.max_connections = 2;
    Start();
    engine_.HoldUp();
    const Samples stretch = Join({Syllables(2000), Silence(1000)});
    const std::string recording = Bytes(Join({stretch, stretch, stretch}));
    LexoRequestMessage closing = MakeRequest(kPcm16 + ",stream_recog=continue", recording, -1);
    for (const auto& request : {MakeRequest(kPcm16, recording), closing}) {
        const std::size_t finished = engine_.Finished().size();
        TestClient client(server_->Port());
        client.Send(Frame(Wrap(request)));
        engine_.WaitFor([](const FakeEngine& e) { return e.HeldUp() == 1; });
        client.HangUp();
        AwaitFreePlace(MakeRequest(kPcm16, Bytes(Silence(500))));
        engine_.GoOn();
        EXPECT_EQ(witness_->Ask(GoodRequest()).Text(), "word");
        EXPECT_EQ(engine_.Finished().size(), finished + 2) << "nobody wants the other stretches";
        engine_.HoldUp();
    }
    engine_.GoOn();
}

TEST_F(BadClientTest, HangsUpBetweenTheChunksOfAnUtterance) {
    Start();
    engine_.HoldUp();
    TestStream stream(server_->Port(), kPcm16 + ",stream_recog=continue");
    stream.Send(Bytes(Syllables(1000)));
    {
        TestClient client(server_->Port());
        client.Send(Frame(Wrap(stream.NextRequest(Bytes(Silence(1000))))));
        engine_.WaitFor([](const FakeEngine& e) { return e.HeldUp() == 1; });
        client.HangUp();
    }
    engine_.GoOn();
    EXPECT_EQ(stream.Send(Bytes(Join({Syllables(2000), Silence(1000)}))).Text(), "word word");
}

TEST_F(BadClientTest, TooManyConnections) {
    options_.max_connections = 4;
    Start();
    std::vector<TestClient> clients;
    for (int i = 0; i < 3; ++i) clients.emplace_back(server_->Port());
    for (TestClient& client : clients) EXPECT_EQ(client.Ask(GoodRequest()).Text(), "word");
    EXPECT_TRUE(TestClient(server_->Port()).IsClosedByServer());
    EXPECT_EQ(clients[0].Ask(GoodRequest()).Text(), "word");
    clients.clear();
    AwaitFreePlace();
}

}  // namespace
}  // namespace orvx::test
