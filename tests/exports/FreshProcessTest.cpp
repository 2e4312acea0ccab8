// What can be seen only in a process that has not used the library before, the C host among them.
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <map>
#include <set>
#include <string>

#include "CapturedOutput.h"
#include "FreshProcess.h"
#include "ResultBuilders.h"
#include "TempDir.h"
#include "TestHost.h"

namespace {

using scripted::CapturedOutput;
using scripted::ScriptedServer;
using scripted::TestHome;
using ::testing::MatchesRegex;

void CheckNumbering() {
    TestHome home;
    ScriptedServer server;
    ASSERT_EQ(InitProxy(server.Address()).code, LEXO_ERR_NONE);
    EXPECT_EQ(Session("freetalk").Number(), 10000);
    EXPECT_EQ(Session("freetalk").Number(), 10001) << "numbers are not used again";
    EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_NONE);
    ASSERT_EQ(InitProxy(server.Address()).code, LEXO_ERR_NONE);
    Session first("freetalk");
    EXPECT_EQ(first.Handle(), nullptr) << "an End starts again from 0, not from 10000";
    EXPECT_EQ(first.Recognize(), kGood) << "and null is a handle";
    EXPECT_EQ(Session("freetalk").Number(), 1);
}

void CheckCallsBeforeInit() {
    const CapturedOutput out(stdout);
    Lexo_Handle handle = nullptr;
    EXPECT_EQ(CapabilityCount(), 0);
    EXPECT_EQ(orvx_proxy_SessionStart("freetalk", &handle), LEXO_ERR_CAPABILITY_NOT_EXIST);
    EXPECT_EQ(orvx_proxy_SessionStart("nonsense", &handle), LEXO_ERR_PARAM_INVALID);
    EXPECT_THAT(CallsWith(handle), ::testing::Each(LEXO_ERR_SESSION_INVALID));
    const Loaded loaded = LoadBuffer("freetalk", LEXO_RESOURCE_FREETALK_USERWORD);
    EXPECT_EQ(loaded.code, LEXO_ERR_CAPABILITY_NOT_EXIST);
    EXPECT_EQ(loaded.id, 0u);
    EXPECT_EQ(orvx_proxy_UnloadResource("freetalk", 2), LEXO_ERR_CAPABILITY_NOT_EXIST);
    EXPECT_EQ(orvx_proxy_SaveCompiledResource("x", 1, "x"), LEXO_ERR_NOT_SUPPORT);
    EXPECT_EQ(orvx_proxy_PreLoad("x"), LEXO_ERR_NOT_SUPPORT);
    EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_NONE);

    // Nothing started the logger: each message is one prefixed line on standard output, and the
    // tracers are silent.
    const std::pair<int, const char*> texts[] = {
        {1, "No engine found\\."},
        {1, "Engine\\[asr.cloud.freetalk\\] not found\\."},
        {2, "capkey name is invalid\\[nonsense\\]\\."},
        {8, "Session \\[0\\] not found in session list\\."},
        {1, "Engine freetalk doesn't need resource\\."},
        {1, "Session \\[\\(nil\\)\\] not found in session list\\."},
        {2, "Engine\\[asr.cloud.freetalk\\] not found\\."}};
    std::string pattern;
    for (const auto& [count, text] : texts)
        pattern += "(" + std::to_string(::getpid()) + " : \\([A-Za-z_]+\\.cpp:[0-9]+\\) " + text +
                   "\n){" + std::to_string(count) + "}";
    EXPECT_THAT(out.Text(), MatchesRegex(pattern));
    const TestHome home({.has_log = false});
    ScriptedServer server;
    const InitOutcome init = InitProxy(server.Address());
    EXPECT_EQ(init.code, LEXO_ERR_NONE);
    EXPECT_THAT(init.out, ::testing::HasSubstr(") Default params for engine :\n"))
        << "nor does an Init without log settings";
    EXPECT_EQ(Session("freetalk").Number(), 0) << "the End counts, though nothing was begun";
}

void RecognizeMoreThanWasSent() {
    TestHome home;
    ScriptedServer server;
    auto result = scripted::FreetalkResult(2, 1, 0);
    result.mutable_sfreetalkresult()->set_nsegmentcount(3);
    server.Then(scripted::Answer(scripted::EchoResult(result)));
    InitProxy(server.Address());
    Session("freetalk").Recognize();
}

TEST(FreshProcessDeathTest, ACountAboveItsListEndsTheHost) {
    const TempDir left_behind;  // a host that aborts removes nothing
    ::setenv("TEST_TMPDIR", left_behind.Path("").c_str(), 1);
    EXPECT_FRESH_EXIT(RecognizeMoreThanWasSent(), ::testing::KilledBySignal(SIGABRT),
                      "CHECK failed: \\(index\\) < \\(size\\(\\)\\): ");
    ::unsetenv("TEST_TMPDIR");
}

TEST(FreshProcessTest, SessionsAreNumberedFrom10000AndAfterEndFrom0) {
    IN_FRESH_PROCESS(CheckNumbering());
}

TEST(FreshProcessTest, EveryCallBeforeInitReturnsItsOwnCode) {
    IN_FRESH_PROCESS(CheckCallsBeforeInit());
}

class CHostTest : public BareHostTest {};

TEST_F(CHostTest, WorksWithAServer) {
    server_.Then(scripted::Answer(scripted::EchoResult(scripted::FreetalkResult(1, 2, 3))));
    EXPECT_EQ(std::system((ORVX_C_HOST " " + server_.Address()).c_str()), 0);
    EXPECT_EQ(ChunkNumbers(), (std::vector<int>{-1, 1, -2}));
    EXPECT_EQ(server_.LastRequest().access.property(), "english_8k_common,need_nlu=no");
}

// What the library prints must not reach the server over a socket that took standard output's
// place.
TEST_F(CHostTest, WorksWithoutStandardOutput) {
    std::filesystem::remove(home_.LogSettingsPath());
    server_.Then(scripted::Answer(scripted::EchoResult(scripted::FreetalkResult(1, 2, 3))));
    EXPECT_EQ(std::system(("timeout 20 " ORVX_C_HOST " " + server_.Address() + " >&-").c_str()), 0);
    EXPECT_EQ(ChunkNumbers(), (std::vector<int>{-1, 1, -2}));
}

// A thousand times loaded and unloaded; then children that start anew beside their busy parent.
TEST_F(CHostTest, ComesAndGoesAsAPluginAndSurvivesAFork) {
    constexpr int kTurns = 1000;
    const std::string command = ORVX_PLUGIN_HOST " " ORVX_LIBRARY " " + server_.Address() + " " +
                                std::to_string(kTurns) + " >" + home_.Path() + "/out";
    EXPECT_EQ(std::system(command.c_str()), 0);
    std::map<std::string, std::set<int>> connections;  // by who used them
    for (const auto& request : server_.Requests())
        connections[request.inner.data() == "child" ? "child" : "parent"].insert(
            request.connection);
    EXPECT_EQ(connections["child"].size(), 30u);
    for (const int connection : connections["child"])
        EXPECT_FALSE(connections["parent"].contains(connection))
            << "two processes on one connection";
}

}  // namespace
