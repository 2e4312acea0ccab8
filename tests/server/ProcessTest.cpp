// The program: its options, its exit statuses, its signals, what it prints and logs.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <thread>

#include "ServerProcess.h"
#include "TestAudio.h"
#include "TestServer.h"

namespace orvx::test {
namespace {

TEST(ProcessTest, ServesLogsWhatItDoesAndEndsWithStatus0) {
    const auto port_file = std::filesystem::temp_directory_path() / std::to_string(::getpid());
    ServerProcess server({"--port-file", port_file.string()});
    const std::uint16_t port = server.AwaitReady();
    ASSERT_NE(port, 0) << server.Errors();
    int written = 0;
    std::ifstream(port_file) >> written;
    EXPECT_EQ(written, port);
    std::filesystem::remove(port_file);
    {
        TestClient client(port);
        LexoRequestMessage request = MakeRequest(kPcm16, Bytes(Load(kGoForward.file)));
        request.set_identify("line\n2026-01-01 00:00:00,000 INFO forged");
        EXPECT_EQ(client.Ask(request).Text(), kGoForward.said);
        request.set_cap_name("cap\r\nforged");
        EXPECT_EQ(client.Ask(request).Error(), LEXO_ERR_CAPABILITY_NOT_EXIST);
        TestStream stream(port, kPcm16 + ",stream_recog=yes");
        stream.Send(Pause(500));
        stream.Close();
    }
    EXPECT_EQ(server.End(SIGINT), 0);
    EXPECT_EQ(server.Output(), "orvx-server ready on 127.0.0.1:" + std::to_string(port) + "\n");
    const std::string log = server.Errors();
    for (
        const char* const line :
        {"loaded 1 decoder in .* s: .* MB, ",
         R"(recognition: peer=127.0.0.1:.* identify="line\\x0A2026-01-01.*bytes=89160 audio=2.79s )"
         "took=.*ms error=0 status=2 segments=1",
         R"(refused: .*capability="cap\\x0D\\x0Aforged".*error=6)",
         "utterance: .*chunks=2 bytes=16000 audio=0.50s .*error=12",
         "connection: peer=.*requests=2 .*end=closed by the client"}) {
        EXPECT_TRUE(std::regex_search(log, std::regex(line))) << line << "\n" << log;
    }
    EXPECT_EQ(log.find("\n2026-01-01"), std::string::npos) << log;
    EXPECT_EQ(log.find("-hmm"), std::string::npos) << "the engine's own messages are not wanted";
}

TEST(ProcessTest, AFirstSignalWaitsForTheRecognitionUnderWayASecondDoesNot) {
    for (const bool is_second : {false, true}) {
        ServerProcess server({"--drain-timeout", "1000", "--verbose"});
        const std::uint16_t port = server.AwaitReady();
        ASSERT_NE(port, 0);
        Samples speech = Load(kGoForward.file);
        for (int i = 0; i < 5; ++i) speech = is_second ? Join({speech, speech}) : speech;
        TestClient client(port);
        client.Send(MakeRequest(kPcm16, Bytes(speech)));
        // The request has arrived when others that were sent later are answered.
        for (int i = 0; i < 5; ++i) TestClient(port).Ask(MakeRequest(kPcm16, Pause(100)));
        server.Signal(SIGTERM);
        while (is_second && server.Errors().find("finishing what is") == std::string::npos) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        if (!is_second) {
            EXPECT_EQ(client.Receive()->Text(), kGoForward.said);
        }
        EXPECT_EQ(server.End(is_second ? SIGTERM : 0), is_second ? 128 + SIGTERM : 0);
        EXPECT_NE(server.Errors().find("-hmm"), std::string::npos) << "the engine speaks";
    }
}

TEST(ProcessTest, NobodyNeedsToReadItsLog) {
    int pipe_ends[2];
    ASSERT_EQ(::pipe2(pipe_ends, O_CLOEXEC), 0);
    ServerProcess server({}, pipe_ends[1]);
    const std::uint16_t port = server.AwaitReady();
    ASSERT_NE(port, 0);
    for (int i = 0; i < 300; ++i) {  // log lines that no pipe holds
        EXPECT_EQ(TestClient(port).Ask(MakeRequest(kPcm16, Pause(10))).Error(), 12);
    }
    EXPECT_EQ(server.End(SIGTERM), 0);
    char line[10] = {};
    EXPECT_EQ(::read(pipe_ends[0], line, 3), 3) << "the first lines are there";
    ::close(pipe_ends[0]);
    ::close(pipe_ends[1]);
}

TEST(ProcessTest, WhatCannotStartSaysWhy) {
    ServerProcess first;
    const std::string used = "127.0.0.1:" + std::to_string(first.AwaitReady());
    const struct {
        std::vector<std::string> arguments;
        int status;
        std::string says;
    } cases[] = {
        {{"--listen=" + used}, 1, "cannot listen on " + used + ": Address already in use"},
        {{"--listen=192.0.2.1:0"}, 1, "listen on 192.0.2.1:0: Cannot assign requested address"},
        {{"--model-dir=/nowhere"}, 1, "no acoustic model at /nowhere/en-us/mdef"},
        {{"--dictionary=/nowhere"}, 1, "no dictionary at /nowhere"},
        {{"--dictionary=/tmp"}, 1, "the dictionary /tmp is no file"},
        {{"--dictionary=/etc/passwd"}, 1, "the dictionary /etc/passwd holds no word"},
        {{"--language-model=/etc/passwd"}, 1, "with the language model /etc/passwd"},
        {{"--port-file=/nowhere/p"}, 1, "cannot write the port file /nowhere/p: No such file"},
        {{"--port-file=/tmp"}, 1, "cannot write the port file /tmp: Is a directory"},
        {{"--workers=0"}, 2, "--workers: must be a number from 1 to 256"}};
    for (const auto& bad : cases) {
        ServerProcess server(bad.arguments);
        EXPECT_EQ(server.End(), bad.status) << bad.says;
        EXPECT_NE(server.Errors().find("orvx-server: "), std::string::npos);
        EXPECT_NE(server.Errors().find(bad.says), std::string::npos) << server.Errors();
        EXPECT_EQ(server.Output(), "");
    }
}

}  // namespace
}  // namespace orvx::test
