// The program: its options, its exit statuses, its signals, what it prints and logs.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "ServerProcess.h"
#include "TestAudio.h"
#include "TestClient.h"
#include "TestStream.h"
#include "Utterance.h"

namespace orvx::test {
namespace {

const std::string kPcm16 = "audio_format=pcm16k16bit";

std::vector<std::string> FreePort(const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments{"--listen", "127.0.0.1:0", "--workers", "1"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

// Whether a line of `log` has these pieces in this order.
bool HasLine(const std::string& log, const std::vector<std::string>& pieces) {
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        std::size_t at = 0;
        for (const std::string& piece : pieces) {
            if (at != std::string::npos) at = line.find(piece, at);
        }
        if (at != std::string::npos) return true;
    }
    return false;
}

TEST(ProcessTest, SaysWhereItIsServesAndEndsWithStatus0) {
    const std::string port_file =
        (std::filesystem::temp_directory_path() / ("port" + std::to_string(getpid()))).string();
    ServerProcess server(FreePort({"--port-file", port_file}));
    const std::uint16_t port = server.AwaitReady();
    ASSERT_NE(port, 0) << server.Errors();
    int written = 0;
    std::ifstream(port_file) >> written;
    EXPECT_EQ(written, port);
    std::filesystem::remove(port_file);
    EXPECT_EQ(TestClient(port).Ask(MakeRequest(kPcm16, Bytes(Load(kGoForward.file)))).Text(),
              kGoForward.said);
    server.Signal(SIGINT);
    EXPECT_EQ(server.AwaitEnd(), 0);
    EXPECT_EQ(server.Output(), "orvx-server ready on 127.0.0.1:" + std::to_string(port) + "\n");
}

TEST(ProcessTest, LogsWhatItDoesAndNoClientForgesALine) {
    ServerProcess server(FreePort());
    const std::uint16_t port = server.AwaitReady();
    ASSERT_NE(port, 0);
    {
        TestClient client(port);
        LexoRequestMessage request = MakeRequest(kPcm16, Bytes(Load(kGoForward.file)));
        request.set_identify("line\n2026-01-01 00:00:00,000 INFO forged");
        EXPECT_EQ(client.Ask(request).Text(), kGoForward.said);
        request.set_cap_name("cap\r\nforged");
        EXPECT_EQ(client.Ask(request).Error(), LEXO_ERR_CAPABILITY_NOT_EXIST);
        TestStream stream(port, kPcm16 + ",stream_recog=yes");
        stream.Send(Bytes(Silence(500)));
        stream.Close();
    }
    server.Signal(SIGTERM);
    EXPECT_EQ(server.AwaitEnd(), 0);
    const std::string log = server.Errors();
    EXPECT_TRUE(HasLine(log, {"loaded 1 decoders in ", " s: ", " MB, "})) << log;
    EXPECT_TRUE(HasLine(log, {"recognition: peer=127.0.0.1:", "identify=\"line\\x0A2026-01-01",
                              "capability=\"asr.cloud.freetalk\" bytes=89160 audio=2.79s took=",
                              "ms error=0 status=2 segments=1"}))
        << log;
    EXPECT_TRUE(HasLine(log, {"refused: ", "capability=\"cap\\x0D\\x0Aforged\"", "error=6"}));
    EXPECT_TRUE(HasLine(log, {"utterance: ", "chunks=2 bytes=16000 audio=0.50s ", "error=12"}));
    EXPECT_TRUE(HasLine(log, {"connection: peer=", "requests=2 ", "end=closed by the client"}));
    EXPECT_EQ(log.find("\n2026-01-01"), std::string::npos) << log;
    EXPECT_EQ(log.find("-hmm"), std::string::npos) << "the engine's own messages are not wanted";
}

TEST(ProcessTest, SigtermWaitsForTheRecognitionUnderWay) {
    ServerProcess server(FreePort());
    const std::uint16_t port = server.AwaitReady();
    ASSERT_NE(port, 0);
    const Recording sentence = BookSentences()[3];
    TestClient client(port);
    client.Send(Frame(Wrap(MakeRequest(kPcm16, Bytes(Load(sentence.file))))));
    // The request has arrived when others that were sent later are answered.
    for (int i = 0; i < 5; ++i) TestClient(port).Ask(MakeRequest(kPcm16, Bytes(Silence(100))));
    server.Signal(SIGTERM);
    const auto [heard, said] = WordsHeard(sentence.said, client.Receive()->Text());
    EXPECT_GT(heard, said / 2);
    EXPECT_EQ(server.AwaitEnd(), 0);
}

TEST(ProcessTest, ASecondSignalEndsItAtOnce) {
    ServerProcess server(FreePort({"--drain-timeout", "1000"}));
    const std::uint16_t port = server.AwaitReady();
    ASSERT_NE(port, 0);
    Samples speech;
    for (int i = 0; i < 20; ++i) speech = Join({speech, Load(BookSentences()[0].file)});
    TestClient client(port);
    client.Send(Frame(Wrap(MakeRequest(kPcm16, Bytes(speech)))));
    TestClient(port).Ask(MakeRequest(kPcm16, Bytes(Silence(100))));
    server.Signal(SIGTERM);
    while (server.Errors().find("finishing what is under way") == std::string::npos) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    server.Signal(SIGTERM);
    EXPECT_EQ(server.AwaitEnd(), 128 + SIGTERM);
}

TEST(ProcessTest, TheEngineSpeaksWhereAskedTo) {
    ServerProcess server(FreePort({"--verbose"}));
    ASSERT_NE(server.AwaitReady(), 0);
    EXPECT_NE(server.Errors().find("-hmm"), std::string::npos);
}

TEST(ProcessTest, WhatCannotStartSaysWhy) {
    ServerProcess first(FreePort());
    const std::uint16_t port = first.AwaitReady();
    ASSERT_NE(port, 0);
    const struct {
        std::vector<std::string> arguments;
        int status;
        const char* says;
    } cases[] = {
        {{"--listen", "127.0.0.1:" + std::to_string(port)}, 1, "Address already in use"},
        {{"--listen", "192.0.2.1:0"}, 1, "Cannot assign requested address"},
        {FreePort({"--model-dir", "/nowhere"}), 1, "no acoustic model at /nowhere/en-us/mdef"},
        {FreePort({"--dictionary", "/nowhere"}), 1, "no dictionary at /nowhere"},
        {FreePort({"--port-file", "/nowhere/port"}), 1, "cannot write /nowhere/port"},
        {{"--listen", "nonsense"}, 2, "--listen: must be ADDRESS:PORT"},
        {{"--workers", "0"}, 2, "--workers: must be a number from 1 to 256"},
        {{"--frobnicate"}, 2, "--frobnicate"},
    };
    for (const auto& bad : cases) {
        ServerProcess server(bad.arguments);
        EXPECT_EQ(server.AwaitEnd(), bad.status) << bad.says;
        EXPECT_NE(server.Errors().find(bad.says), std::string::npos) << server.Errors();
        EXPECT_EQ(server.Output(), "");
    }
}

}  // namespace
}  // namespace orvx::test
