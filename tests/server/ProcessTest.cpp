// The program: its options, its exit statuses, its signals, what it prints and logs.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <regex>
#include <thread>

#include "Children.h"
#include "ServerProcess.h"
#include "TestAudio.h"
#include "TestServer.h"

namespace orvx::test {
namespace {

// Leaves it this many bytes of addresses besides those that it has.
[[maybe_unused]] void LimitMemory(const ServerProcess& server, rlim_t bytes) {
    rlim_t pages = 0;
    std::ifstream("/proc/" + std::to_string(server.Pid()) + "/statm") >> pages;
    const rlim_t most = pages * static_cast<rlim_t>(::getpagesize()) + bytes;
    const rlimit limit{most, most};
    ASSERT_EQ(::prlimit(server.Pid(), RLIMIT_AS, &limit, nullptr), 0);
}

TEST(ProcessTest, ServesLogsWhatItDoesAndEndsWithStatus0) {
    const TempDir dir;
    ServerProcess server("--port-file " + dir.Path("port"));
    const std::uint16_t port = server.AwaitReady();
    EXPECT_EQ(ReadAll(dir.Path("port")), std::to_string(port) + "\n");
    {
        TestClient client(port);
        LexoRequestMessage request = MakeRequest(kPcm16, Bytes(Load(kGoForward)));
        request.set_identify("line\n2026-01-01 00:00:00,000 INFO forged");
        EXPECT_EQ(client.Ask(request).Text(), "go forward ten meters");
        request.set_cap_name("cap\r\nforged");
        EXPECT_EQ(client.Ask(request).Error(), LEXO_ERR_CAPABILITY_NOT_EXIST);
        TestStream stream(port, kPcm16 + ",stream_recog=yes");
        stream.Send(Pause(500));
        stream.Close();
    }
    EXPECT_EQ(server.End(SIGINT), 0);
    EXPECT_EQ(ReadAll(server.Output()),
              "orvx-server ready on 127.0.0.1:" + std::to_string(port) + "\n");
    const std::string log = ReadAll(server.Errors());
    for (
        const char* const line :
        {"decoder [0-9]+: [0-9]+ MB", "loaded 1 decoder in .* s",
         R"(recognition: peer=127.0.0.1:.* identify="line\\x0A2026-01-01.*bytes=89160 audio=2.79s )"
         "took=.*ms error=0 status=2 segments=1",
         R"(refused: .*capability="cap\\x0D\\x0Aforged".*error=6)",
         "utterance: .*chunks=2 bytes=16000 audio=0.50s .*error=12",
         "connection: peer=.*requests=2 .*end=closed by the client"})
        EXPECT_TRUE(std::regex_search(log, std::regex(line))) << line << "\n" << log;
    EXPECT_EQ(log.find("\n2026-01-01"), std::string::npos) << log;
    EXPECT_EQ(log.find("-hmm"), std::string::npos) << "the engine's own messages are not wanted";
}

TEST(ProcessTest, WritesThePortToAPipeThatIsThere) {
    const TempDir dir;
    const std::string fifo = dir.Path("fifo");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    ServerProcess server("--port-file " + fifo + " 2>&- <&-");
    const std::string written = ReadAll(fifo);
    EXPECT_EQ(written, std::to_string(server.AwaitReady()) + "\n");
    EXPECT_EQ(server.End(SIGTERM), 0);
}

TEST(ProcessTest, AFirstSignalWaitsForTheRecognitionUnderWayASecondDoesNot) {
    for (const bool is_second : {false, true}) {
        ServerProcess server("--drain-timeout 1000 --verbose");
        const std::uint16_t port = server.AwaitReady();
        Samples speech = Load(kGoForward);
        for (int i = 0; i < 5; ++i) speech = is_second ? Join({speech, speech}) : speech;
        TestClient client(port);
        client.Send(MakeRequest(kPcm16, Bytes(speech)));
        // The request has arrived when others that were sent later are answered.
        for (int i = 0; i < 5; ++i) TestClient(port).Ask(MakeRequest(kPcm16, Pause(100)));
        server.Signal(SIGTERM);
        Await([&] { return ReadAll(server.Errors()).find("finishing") != std::string::npos; });
        if (!is_second) {
            EXPECT_EQ(client.Receive()->Text(), "go forward ten meters");
        }
        EXPECT_EQ(server.End(is_second ? SIGTERM : 0), is_second ? 128 + SIGTERM : 0);
        EXPECT_NE(ReadAll(server.Errors()).find("-hmm"), std::string::npos);
    }
}

TEST(ProcessTest, DecodersAreReplacedUnderTheServerAndEndWithIt) {
    ServerProcess server;
    TestClient client(server.AwaitReady());
    const Samples speech = Load(kGoForward);
    client.Send(MakeRequest(kPcm16, Bytes(Join({speech, speech, speech, speech}))));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));  // it decodes, or will
    const std::vector<pid_t> killed = Children(server.Pid());
    ASSERT_EQ(killed.size(), 1U);
    ::kill(killed[0], SIGKILL);
    EXPECT_EQ(client.Receive()->Text(),
              "go forward ten meters go forward ten meters "
              "go forward ten meters go forward ten meters");
    const std::vector<pid_t> children = Children(server.Pid());
    ASSERT_EQ(children.size(), 1U);
    EXPECT_NE(children, killed);
    server.End(SIGKILL);
    Await([&] {  // also where nobody fetches its status
        return ReadAll("/proc/" + std::to_string(children[0]) + "/cmdline").empty();
    });
}

TEST(ProcessTest, NobodyNeedsToReadItsLog) {
    int pipe_ends[2];
    ASSERT_EQ(::pipe2(pipe_ends, O_CLOEXEC), 0);
    ServerProcess server("", pipe_ends[1]);
    const std::uint16_t port = server.AwaitReady();
    for (int i = 0; i < 300; ++i)  // log lines that no pipe holds
        ASSERT_EQ(TestClient(port).Ask(MakeRequest(kPcm16, Pause(10))).Error(), 12);
    EXPECT_EQ(server.End(SIGTERM), 0);
    char line[10] = {};
    EXPECT_EQ(::read(pipe_ends[0], line, 3), 3) << "the first lines are there";
    ::close(pipe_ends[0]);
    ::close(pipe_ends[1]);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // they need more addresses
TEST(ProcessTest, ARequestThatMemoryDoesNotHoldCostsItsConnectionAlone) {
    ServerProcess server;
    const std::uint16_t port = server.AwaitReady();
    LimitMemory(server, 20 << 20);
    TestClient large(port);
    large.Send(Prefix(60 << 20) + std::string(60 << 20, 'x'), 10000);
    EXPECT_TRUE(large.IsClosedByServer());
    EXPECT_EQ(TestClient(port).Ask(MakeRequest(kPcm16, Pause(100))).Error(), 12);
    EXPECT_EQ(server.End(SIGTERM), 0);
}
#endif

TEST(ProcessTest, WhatCannotStartSaysWhy) {
    ServerProcess first;
    const std::string used = "127.0.0.1:" + std::to_string(first.AwaitReady());
    const std::tuple<std::string, int, std::string> cases[] = {
        {"--listen " + used, 1, "cannot listen on " + used + ": Address already in use"},
        {"--listen 192.0.2.1:0", 1, "listen on 192.0.2.1:0: Cannot assign requested address"},
        {"--model-dir /nowhere", 1, "no acoustic model at /nowhere/en-us/mdef"},
        {"--dictionary /nowhere", 1, "no dictionary at /nowhere"},
        {"--dictionary /tmp", 1, "the dictionary /tmp is no file"},
        {"--dictionary /etc/passwd", 1, "the dictionary /etc/passwd holds no word"},
        {"--language-model /etc/passwd", 1, "with the language model /etc/passwd"},
        {"--port-file /nowhere/p", 1, "cannot write the port file /nowhere/p: No such file"},
        {"--port-file /tmp", 1, "cannot write the port file /tmp: Is a directory"},
        {"--workers 0", 2, "--workers: must be a number from 1 to 256"}};
    for (const auto& [options, status, says] : cases) {
        ServerProcess server(options);
        EXPECT_EQ(server.End(), status) << says;
        const std::string errors = ReadAll(server.Errors());
        EXPECT_NE(errors.find("orvx-server: "), std::string::npos) << errors;
        EXPECT_NE(errors.find(says), std::string::npos) << errors;
        EXPECT_EQ(ReadAll(server.Output()), "");
    }
}

}  // namespace
}  // namespace orvx::test
