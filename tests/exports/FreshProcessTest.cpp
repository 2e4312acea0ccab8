// What can be seen only in a process that has not used the library before.
#include <unistd.h>

#include <sstream>
#include <string>
#include <vector>

#include "CapturedOutput.h"
#include "FreshProcess.h"
#include "Pattern.h"
#include "TestHost.h"

namespace {

using scripted::CapturedOutput;
using scripted::Logged;
using scripted::ScriptedServer;
using scripted::TestHome;

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
    EXPECT_EQ(first.Recognize(), (Outcome{LEXO_ERR_NONE, 0})) << "and null is a handle";
    EXPECT_EQ(Session("freetalk").Number(), 1);
}

void CheckCallsBeforeInit() {
    const CapturedOutput out(stdout);
    Lexo_Handle handle = nullptr;
    Lexo_RecogResult* result = nullptr;
    Lexo_ParamValue value = nullptr;
    int status = kUntouched;
    unsigned int id = 77;
    EXPECT_EQ(CapabilityCount(), 0);
    EXPECT_EQ(orvx_proxy_SessionStart("freetalk", &handle), LEXO_ERR_CAPABILITY_NOT_EXIST);
    EXPECT_EQ(orvx_proxy_SessionStart("nonsense", &handle), LEXO_ERR_PARAM_INVALID);
    EXPECT_EQ(orvx_proxy_SessionStop(handle), LEXO_ERR_SESSION_INVALID);
    EXPECT_EQ(orvx_proxy_Recognize(handle, "x", 1, 0, &status), LEXO_ERR_SESSION_INVALID);
    EXPECT_EQ(status, kUntouched);
    EXPECT_EQ(orvx_proxy_GetRecogResult(handle, &result), LEXO_ERR_SESSION_INVALID);
    EXPECT_EQ(orvx_proxy_FreeRecogResult(handle, &result), LEXO_ERR_SESSION_INVALID);
    EXPECT_EQ(orvx_proxy_SetParam(handle, LEXO_PARAM_STREAM, nullptr), LEXO_ERR_SESSION_INVALID);
    EXPECT_EQ(orvx_proxy_GetParam(handle, LEXO_PARAM_STREAM, &value), LEXO_ERR_SESSION_INVALID);
    EXPECT_EQ(orvx_proxy_LoadResource("freetalk", LEXO_RESOURCE_BUFFER, "x", 1,
                                      LEXO_RESOURCE_FREETALK_USERWORD, &id),
              LEXO_ERR_CAPABILITY_NOT_EXIST);
    EXPECT_EQ(id, 0u);
    EXPECT_EQ(orvx_proxy_UnloadResource("freetalk", 2), LEXO_ERR_CAPABILITY_NOT_EXIST);
    EXPECT_EQ(orvx_proxy_ActiveResource(handle, 2), LEXO_ERR_SESSION_INVALID);
    EXPECT_EQ(orvx_proxy_ActivePreloadResource(handle, "x"), LEXO_ERR_SESSION_INVALID);
    EXPECT_EQ(orvx_proxy_DeactiveResource(handle), LEXO_ERR_SESSION_INVALID);
    EXPECT_EQ(orvx_proxy_SaveCompiledResource("x", 1, "x"), LEXO_ERR_NOT_SUPPORT);
    EXPECT_EQ(orvx_proxy_PreLoad("x"), LEXO_ERR_NOT_SUPPORT);
    EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_NONE);

    // Nothing started the logger: each message is one prefixed line on standard output, and the
    // tracers are silent.
    std::vector<std::string> texts;
    const std::string prefix = std::to_string(::getpid()) + " : (";
    std::istringstream lines(out.Text());
    for (std::string line; std::getline(lines, line);) {
        EXPECT_EQ(line.substr(0, prefix.size()), prefix) << line;
        texts.push_back(line.substr(line.find(") ") + 2));
    }
    ASSERT_GE(texts.size(), 5u) << out.Text();
    EXPECT_EQ(texts[0], "No engine found.");
    EXPECT_EQ(texts[1], "Engine[asr.cloud.freetalk] not found.");
    EXPECT_EQ(texts[2], "capkey name is invalid[nonsense].");
    EXPECT_EQ(texts[3], "capkey name is invalid[nonsense].");
    EXPECT_EQ(texts[4], "Session [(nil)] not found in session list.");
}

void CheckInitWithoutLogSettings() {
    scripted::HomeOptions options;
    options.has_log = false;
    TestHome home(options);
    ScriptedServer server;
    const InitOutcome init = InitProxy(server.Address());
    EXPECT_EQ(init.code, LEXO_ERR_NONE);
    const std::string any_prefix = std::to_string(::getpid()) + " : \\([^:)]+:[0-9]+\\) ";
    const std::string pattern =
        "conf_file=" + home.LogSettingsPath() + "\n" + any_prefix +
        "Not found \\[,\\] in pcszLibPath\\[" + home.SettingsPath() + "\\]\n.*" + any_prefix +
        "Default params for engine :.*\t=\t.*\nout fire. connect error, errno = 0\n";
    EXPECT_FALSE(scripted::MatchWhole(init.out, pattern).empty()) << init.out;
}

TEST(FreshProcessTest, SessionsAreNumberedFrom10000AndAfterEndFrom0) {
    IN_FRESH_PROCESS(CheckNumbering());
}

TEST(FreshProcessTest, EveryCallBeforeInitReturnsItsOwnCode) {
    IN_FRESH_PROCESS(CheckCallsBeforeInit());
}

TEST(FreshProcessTest, WithoutLogSettingsMessagesArePrinted) {
    IN_FRESH_PROCESS(CheckInitWithoutLogSettings());
}

}  // namespace
