// Clients that misbehave: each is cut off, and none harms another.
#include <gtest/gtest.h>

#include <deque>
#include <random>

#include "FakeEngine.h"
#include "TestAudio.h"
#include "TestServer.h"

namespace orvx::test {
namespace {

using std::chrono::milliseconds;

LexoRequestMessage GoodRequest() {
    return MakeRequest(kPcm16, Voice(1000));
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
        AwaitService(GoodRequest());
    }
    // Tries new connections until one is served.
    void AwaitService(const LexoRequestMessage& request) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        for (bool is_served = false; !is_served; std::this_thread::yield()) {
            ASSERT_LT(std::chrono::steady_clock::now(), end);
            TestClient client(server_->Port());
            client.Send(Frame(Wrap(request)), 1000);
            is_served = client.Receive().has_value();
        }
    }
    // What is decoded last of the request, which says Words(2), and another one that comes later.
    std::string LastDecoded(const LexoRequestMessage& request, bool is_half_closed) {
        engine_.HoldUp();
        TestClient first(server_->Port());
        first.Send(GoodRequest());
        engine_.WaitForHeldUp(1);
        TestClient client(server_->Port());
        client.Send(request);
        if (is_half_closed) client.CloseSendingSide();
        EXPECT_FALSE(client.IsClosedByServer(250)) << "time in which the server looks at it";
        TestClient other(server_->Port());
        other.Send(MakeRequest(kPcm16, Voice(3000)));
        EXPECT_FALSE(other.IsClosedByServer(250)) << "time in which its request arrives";
        engine_.GoOn();
        EXPECT_EQ(client.Receive()->Text(), Words(2));
        EXPECT_EQ(client.IsClosedByServer(is_half_closed ? 60000 : 0), is_half_closed);
        EXPECT_EQ(other.Receive()->Text(), Words(3));
        return engine_.Get().finished.back();
    }

    FakeEngine engine_;
    Options options_ = DefaultOptions(1);
    std::optional<TestServer> server_;
    std::optional<TestClient> witness_;
};

TEST_F(BadClientTest, Garbage) {
    options_.connection.max_frame_bytes = 100000;
    Start();
    std::vector<std::string> ends = {"GET / HTTP/1.1\r\nHost: localhost\r\n\r\n",
                                     Frame("\xFF\xFF\xFF\xFF"), Prefix(100001) + "x"};
    for (const std::string& bytes : ends) {
        TestClient client(server_->Port());
        client.Send(bytes);
        EXPECT_TRUE(client.IsClosedByServer());
    }
    std::mt19937 random(3);
    const std::string good = Wrap(GoodRequest()).SerializeAsString();
    for (int i = 0; i < 100; ++i) {
        std::string noise(random() % 300, '\0');
        for (char& byte : noise) byte = static_cast<char>(random());
        std::string mutated = good;
        for (int j = 0; j < 3; ++j) mutated[random() % 200] = static_cast<char>(random());
        TestClient client(server_->Port());
        client.Send(Frame(noise));
        const std::optional<Answer> answer = client.Receive();
        EXPECT_TRUE(!answer || answer->access.error_no() != 0);
        TestClient other(server_->Port());
        other.Send(Frame(mutated));
        other.Receive();  // an answer or the end, but soon
    }
}

TEST_F(BadClientTest, ManyUnfinishedLargeFrames) {
    options_.connection.max_received_bytes = 1 << 20;
    Start();
    std::vector<TestClient> clients;
    for (int i = 0; i < 3; ++i)
        clients.emplace_back(server_->Port()).Send(Prefix(1 << 20) + std::string(300 << 10, 'x'));
    const LexoRequestMessage request = MakeRequest(kPcm16, Voice(5000));
    for (int i = 0; i < 10; ++i)  // till all of the others' bytes have come, and a little longer
        EXPECT_EQ(server_->Ask(request).Text(), Words(5)) << "the largest goes, not the last one";
    const auto is_closed = [](TestClient& client) { return client.IsClosedByServer(10); };
    EXPECT_EQ(std::count_if(clients.begin(), clients.end(), is_closed), 1);
    clients.clear();  // what they took is given back
    AwaitService(MakeRequest(kPcm16, Pause(20000)));
}

TEST_F(BadClientTest, ALargeRequestThatIsServedLeavesTheOthersTheirShares) {
    options_.connection.max_received_bytes = 1 << 20;
    options_.max_connections = 4;
    Start();
    engine_.HoldUp();
    TestClient large(server_->Port());
    large.Send(MakeRequest(kPcm16, Voice(32000)));
    engine_.WaitForHeldUp(1);
    EXPECT_EQ(server_->Ask(MakeRequest(kPcm16, Pause(8000))).Error(), LEXO_ERR_NO_VOICE_INPUT);
    TestClient greedy(server_->Port());
    greedy.Send(MakeRequest(kPcm16, Pause(9000)));
    EXPECT_TRUE(greedy.IsClosedByServer());
    engine_.GoOn();
    EXPECT_EQ(large.Receive()->Error(), 0);
}

TEST_F(BadClientTest, TooSlowOrIdleForTooLong) {
    options_.connection.idle_timeout = milliseconds(500);
    options_.connection.read_timeout = milliseconds(150);
    options_.connection.write_timeout = milliseconds(200);
    Start();
    TestClient trickle(server_->Port());
    const std::string frame = Frame(Wrap(GoodRequest()));
    const auto start = std::chrono::steady_clock::now();
    std::size_t sent = 0;
    while (sent < frame.size() && trickle.Send(frame.substr(sent++, 1), 10))
        std::this_thread::sleep_for(milliseconds(5));
    EXPECT_LT(sent, frame.size());
    const auto patience = std::chrono::steady_clock::now() - start;
    EXPECT_GE(patience, milliseconds(150));
    EXPECT_LT(patience, milliseconds(5000));
    TestClient deaf(server_->Port());
    LexoRequestMessage request = GoodRequest();
    request.set_identify(std::string(60000, 'i'));  // which the answer repeats
    // Requests are taken only while answers are, so at last sending fails.
    int taken = 0;
    while (taken < 1000 && deaf.Send(Frame(Wrap(request)), 5000)) ++taken;
    EXPECT_LT(taken, 1000);
    EXPECT_TRUE(witness_->IsClosedByServer());
    witness_.emplace(server_->Port());
}

TEST_F(BadClientTest, HalfClosed) {
    Start();
    TestClient within_a_frame(server_->Port());
    within_a_frame.Send(Prefix(1000) + "abc");
    within_a_frame.CloseSendingSide();
    EXPECT_TRUE(within_a_frame.IsClosedByServer());
    EXPECT_EQ(LastDecoded(MakeRequest(kPcm16, Voice(2000)), /*is_half_closed=*/true), Words(2))
        << "the others first";
}

TEST_F(BadClientTest, HalfClosedByEachChunkOfAStream) {
    Start();
    TestStream stream(server_->Port(), kPcm16 + ",stream_recog=continue");
    stream.Send(Pause(500));
    for (const bool is_closed : {true, false}) {
        const auto chunk = stream.NextRequest(Voice(2000) + Pause(1000));
        EXPECT_EQ(LastDecoded(chunk, is_closed), Words(is_closed ? 2 : 3));
    }
}

TEST_F(BadClientTest, TooManyConnectionsAndHangingUpDuringRecognition) {
    options_.max_connections = 2;
    Start();
    {
        TestClient second(server_->Port());
        EXPECT_EQ(second.Ask(GoodRequest()).Text(), "word");
        EXPECT_TRUE(TestClient(server_->Port()).IsClosedByServer()) << "one too many";
    }
    AwaitService(GoodRequest());
    const Samples stretch = Join({Syllables(2000), Silence(1000)});
    const std::string audio = Bytes(Join({stretch, stretch, stretch}));
    const std::pair<const char*, int> kinds[] = {{"no", -1}, {"continue", -1}, {"continue", 1}};
    for (const auto& [mode, chunk] : kinds) {
        const std::size_t finished = engine_.Get().finished.size();
        engine_.HoldUp();
        TestClient client(server_->Port());
        client.Send(MakeRequest(kPcm16 + ",stream_recog=" + mode, audio, chunk));
        engine_.WaitForHeldUp(1);
        client.Reset();
        AwaitService(MakeRequest(kPcm16, Pause(500)));  // its place is free
        engine_.GoOn();
        EXPECT_EQ(witness_->Ask(GoodRequest()).Text(), "word");
        EXPECT_EQ(engine_.Get().finished.size(), finished + 2) << "nobody wants the others";
    }
}

TEST_F(BadClientTest, ResourcesThatTakeLongToReadHoldUpTheirLikesOnly) {
    Start();
    std::string rules = "#JSGF V1.0; grammar g; public <r0> = <r1>; <r7> = <VOID>;";
    for (int i = 1; i < 7; ++i) {
        const std::string next = "<r" + std::to_string(i + 1) + ">";
        rules += "<r" + std::to_string(i) + "> = " + next;
        for (int k = 0; k < 9; ++k) rules += "|" + next;
        rules += ";";
    }
    LexoRequestMessage request = GoodRequest();
    request.set_cap_name("asr.cloud.grammar");
    request.set_resource_data(rules);
    request.set_resource_data_len(static_cast<int>(rules.size()));
    request.set_resource_type(LexoRequestMessage::LEXO_RESOURCE_GRAMMAR_JSGF);
    std::deque<TestClient> clients;
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 10; ++i) clients.emplace_back(server_->Port()).Send(request);
    EXPECT_EQ(witness_->Ask(GoodRequest()).Text(), "word");
    const auto others = std::chrono::steady_clock::now() - start;
    for (TestClient& client : clients) EXPECT_EQ(client.Receive()->Error(), 17);
    EXPECT_LT(2 * others, std::chrono::steady_clock::now() - start);
}

}  // namespace
}  // namespace orvx::test
