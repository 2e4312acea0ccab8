// The probe of Init: its result and every line that it prints.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "CapturedOutput.h"
#include "FullListener.h"
#include "ManyDescriptors.h"
#include "ScriptedServer.h"
#include "test_connection_state.h"

namespace {

using std::chrono::steady_clock;

struct Outcome {
    int result;
    std::string out;
    std::string err;
};

Outcome Probe(const char* ip, int port) {
    const scripted::CapturedOutput out(stdout);
    const scripted::CapturedOutput err(stderr);
    const int result = test_connection_state(ip, port);
    return {result, out.Text(), err.Text()};
}

auto OpenDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

constexpr const char* kAccepted = "out fire. connect error, errno = 0\n";

TEST(ConnectionProbeTest, ListeningServer) {
    const scripted::ScriptedServer server;
    // Of the port the low 16 bits count.
    for (const int port : {server.Port(), server.Port() + 0x10000, server.Port() - 0x10000}) {
        const Outcome outcome = Probe("127.0.0.1", port);
        EXPECT_EQ(outcome.result, 0);
        EXPECT_EQ(outcome.out, kAccepted);
        EXPECT_EQ(outcome.err, "");
    }
    EXPECT_TRUE(server.WaitForOpenConnections(0));
    EXPECT_EQ(server.RequestCount(), 0u);
}

// The first reading of the socket's error clears it.
TEST(ConnectionProbeTest, RefusedConnection) {
    scripted::ScriptedServer server;
    server.Stop();
    const Outcome outcome = Probe("127.0.0.1", server.Port());
    EXPECT_EQ(outcome.result, ECONNREFUSED);
    EXPECT_EQ(outcome.out,
              "in fire. connect error, errno = 111\nout fire. connect error, errno = 0\n");
    EXPECT_EQ(outcome.err, "");
}

TEST(ConnectionProbeTest, NoAnswer) {
    const FullListener listener;
    const auto start = steady_clock::now();
    const Outcome outcome = Probe("127.0.0.1", listener.Port());
    const auto elapsed = steady_clock::now() - start;
    EXPECT_EQ(outcome.result, 110);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "select timeout.\n: Connection timed out\n");
    EXPECT_GE(elapsed, std::chrono::milliseconds(299));
    EXPECT_LT(elapsed, std::chrono::seconds(3));
}

TEST(ConnectionProbeTest, AddressThatIsNone) {
    for (const char* ip : {"", "no address", "300.1.1.1"}) {
        const Outcome outcome = Probe(ip, 80);
        EXPECT_EQ(outcome.result, -1) << ip;
        EXPECT_EQ(outcome.out, "");
        EXPECT_TRUE(outcome.err.starts_with("connect remote server fail.\n: ")) << outcome.err;
    }
}

TEST(ConnectionProbeTest, AmongThousandsOfDescriptors) {
    const scripted::ScriptedServer server;
    const ManyDescriptors descriptors;
    ASSERT_TRUE(descriptors.AreHeld());
    const Outcome outcome = Probe("127.0.0.1", server.Port());
    EXPECT_EQ(outcome.result, 0);
    EXPECT_EQ(outcome.out, kAccepted);
}

TEST(ConnectionProbeTest, LeavesNoSocketOpen) {
    scripted::ScriptedServer server;
    const auto before = OpenDescriptors();
    server.OnConnect([](scripted::Connection& connection) { connection.HangUp(); });
    Probe("127.0.0.1", server.Port());
    Probe("no address", 80);
    ASSERT_TRUE(server.WaitForOpenConnections(0));
    EXPECT_EQ(OpenDescriptors(), before);
}

}  // namespace
