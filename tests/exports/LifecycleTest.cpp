// Init and End: what they print, log and return, what they keep, and how sessions are numbered.
#include <unistd.h>

#include <cstdlib>
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

int CapabilityCount() {
    Lexo_CapabilityInfoList list = {-1, nullptr};
    EXPECT_EQ(orvx_proxy_GetCapabilityInfoList(&list), LEXO_ERR_NONE);
    const int count = list.nCapabilityCount;
    EXPECT_EQ(orvx_proxy_ReleaseCapabilityInfoList(&list), LEXO_ERR_NONE);
    return count;
}

class LifecycleTest : public ::testing::Test {
  protected:
    void TearDown() override { EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_NONE); }

    TestHome home_;
    ScriptedServer server_;
};

TEST_F(LifecycleTest, InitPrintsTheLogSettingsAndTheProbe) {
    const std::string expected = "conf_file=" + home_.LogSettingsPath() +
                                 "\n"
                                 "out fire. connect error, errno = 0\n";
    for (const char* slash : {"", "/"}) {
        ::setenv("QUORLAN_HOME", (home_.Path() + slash).c_str(), 1);
        const InitOutcome init = InitProxy(server_.Address());
        EXPECT_EQ(init.code, LEXO_ERR_NONE);
        EXPECT_EQ(init.out, expected);
        EXPECT_EQ(init.err, "");
        EXPECT_TRUE(Logged(home_.NewLog(), "INFO",
                           "Not found [,] in pcszLibPath[" + home_.SettingsPath() + "]"));
    }
}

TEST_F(LifecycleTest, InitWantsAnExistingHome) {
    ::unsetenv("QUORLAN_HOME");
    InitOutcome init = InitProxy(server_.Address());
    EXPECT_EQ(init.code, LEXO_ERR_ENV_NOT_FOUND);
    EXPECT_EQ(init.out,
              "fatal: env QUORLAN_HOME is not found, pls set QUORLAN_HOME first, try again\n");

    const std::string missing = home_.Path() + "/missing";
    ::setenv("QUORLAN_HOME", missing.c_str(), 1);
    init = InitProxy(server_.Address());
    EXPECT_EQ(init.code, LEXO_ERR_ENV_NOT_VALID);
    EXPECT_EQ(init.out, "fatal: env QUORLAN_HOME is not valid, " + missing + "\n");
    EXPECT_EQ(CapabilityCount(), 0) << "a refused Init builds no engine list";
}

TEST_F(LifecycleTest, ARefusedInitKeepsTheEngineList) {
    ASSERT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE);
    ::unsetenv("QUORLAN_HOME");
    EXPECT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_ENV_NOT_FOUND);
    EXPECT_EQ(CapabilityCount(), 4);
}

struct AddressCase {
    std::string argument;
    int code;
    std::string error;  // the log record, "" for none
};

TEST_F(LifecycleTest, AddressForms) {
    const int port = server_.Port();
    const std::string good = server_.Address();
    const std::string high_port = "127.0.0.1:" + std::to_string(port + 65536);
    const std::vector<AddressCase> cases = {
        {good, LEXO_ERR_NONE, ""},
        {high_port, LEXO_ERR_NONE, ""},
        {good + "abc", LEXO_ERR_NONE, ""},
        {good + ":1", LEXO_ERR_NONE, ""},
        {"127.0.0.1: " + std::to_string(port), LEXO_ERR_NONE, ""},
        {"127.0.0.1", LEXO_ERR_UNKNOWN, "Not found [:] in ip_port[127.0.0.1]"},
        {"", LEXO_ERR_UNKNOWN, "Not found [:] in ip_port[]"},
        {"127.0.0.1:letters", LEXO_ERR_PARAM_INVALID, "connect to [127.0.0.1:letters] failed!"},
        {":" + std::to_string(port), LEXO_ERR_PARAM_INVALID,
         "connect to [:" + std::to_string(port) + "] failed!"},
        {"no.address:" + std::to_string(port), LEXO_ERR_PARAM_INVALID,
         "connect to [no.address:" + std::to_string(port) + "] failed!"},
    };
    for (const AddressCase& one : cases) {
        SCOPED_TRACE(one.argument);
        EXPECT_EQ(InitProxy(one.argument).code, one.code);
        const auto log = home_.NewLog();
        if (one.error.empty()) {
            EXPECT_TRUE(scripted::NothingLogged(log, "ERROR"));
        } else {
            EXPECT_TRUE(Logged(log, "ERROR", one.error));
        }
        EXPECT_EQ(CapabilityCount(), 4) << "the engine list stands before the address is looked at";
    }
}

TEST_F(LifecycleTest, ANullArgumentReadsAsEmpty) {
    EXPECT_EQ(InitProxy(static_cast<const char*>(nullptr)).code, LEXO_ERR_UNKNOWN);
    EXPECT_TRUE(Logged(home_.NewLog(), "ERROR", "Not found [:] in ip_port[]"));
}

TEST_F(LifecycleTest, TheTextBehindTheFirstCommaIsTheSettingsPath) {
    const std::string path = home_.WriteFile("a,b:c.conf", "[default]\nvad_tail = 777\n");
    EXPECT_EQ(InitProxy(server_.Address() + "," + path).code, LEXO_ERR_NONE);
    EXPECT_TRUE(Logged(home_.NewLog(), "INFO", "User custom path"));
    EXPECT_EQ(Session("freetalk").GetNumber(LEXO_PARAM_VAD_TAIL), 777);

    EXPECT_EQ(InitProxy("127.0.0.1," + path).code, LEXO_ERR_UNKNOWN)
        << "a colon behind the comma is none of the address";
    EXPECT_TRUE(Logged(home_.NewLog(), "ERROR", "Not found [:] in ip_port[127.0.0.1]"));
}

TEST_F(LifecycleTest, UnreadableSettingsEndInitWithoutEngines) {
    for (const std::string& path : {home_.Path() + "/missing.conf", home_.Path(), std::string()}) {
        SCOPED_TRACE(path);
        ASSERT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE);
        home_.NewLog();
        const InitOutcome init = InitProxy(server_.Address() + "," + path);
        EXPECT_EQ(init.code, LEXO_ERR_INIT_FAILED);
        EXPECT_EQ(init.out, "conf_file=" + home_.LogSettingsPath() +
                                "\n"
                                "config file load from (" +
                                path + ") failed\n");
        EXPECT_TRUE(Logged(home_.NewLog(), "INFO", "Init path: [" + path + "]"));
        EXPECT_EQ(CapabilityCount(), 0);
        Lexo_Handle handle = nullptr;
        EXPECT_EQ(orvx_proxy_SessionStart("grammar", &handle), LEXO_ERR_CAPABILITY_NOT_EXIST);
        EXPECT_TRUE(Logged(home_.NewLog(), "ERROR", "Engine[asr.cloud.grammar] not found."));
    }
}

TEST_F(LifecycleTest, InitMayBeRepeatedAndRedoesEverything) {
    ASSERT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE);
    Session session("keywordspot");
    home_.WriteFile("conf/Lexo_SDK.conf", "[default]\nvad_head = 1234\n");
    ScriptedServer other;
    EXPECT_EQ(InitProxy(other.Address()).code, LEXO_ERR_NONE);
    EXPECT_EQ(session.GetNumber(LEXO_PARAM_VAD_HEAD), 10000) << "sessions keep their parameters";
    EXPECT_EQ(Session("keywordspot").GetNumber(LEXO_PARAM_VAD_HEAD), 1234);
    EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NONE, 0}));
    EXPECT_EQ(other.RequestCount(), 1u) << "but go to the new server";
    EXPECT_EQ(server_.RequestCount(), 0u);
}

TEST_F(LifecycleTest, AnUnreachableServerIsReportedAndMayComeUpLater) {
    server_.Stop();
    EXPECT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_PARAM_INVALID);
    EXPECT_TRUE(Logged(home_.NewLog(), "ERROR", "connect to [" + server_.Address() + "] failed!"));
    Session session("freetalk");
    EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NETWORK_FAILED, 1}));
    server_.Start();
    EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NONE, 0}));
}

TEST_F(LifecycleTest, EndRefusesWhileSessionsWork) {
    ASSERT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE);
    {
        const Session one("freetalk");
        const Session two("grammar");
        home_.NewLog();
        EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_ACTIVE_SESSION_EXIST);
        EXPECT_TRUE(Logged(home_.NewLog(), "ERROR", "There're still 2 sessions working."));
        EXPECT_EQ(CapabilityCount(), 4);
        EXPECT_EQ(Session("analysis").Number(), one.Number() + 2) << "the count goes on";
    }
    EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_NONE);
    EXPECT_EQ(CapabilityCount(), 0);
    EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_NONE) << "nothing left to end";
}

TEST_F(LifecycleTest, EndRefusesWhileResourcesAreLoaded) {
    ASSERT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE);
    unsigned int ids[2] = {};
    for (unsigned int& id : ids) {
        ASSERT_EQ(orvx_proxy_LoadResource("keywordspot", LEXO_RESOURCE_BUFFER, "one\ntwo", 7,
                                          LEXO_RESOURCE_KEYWORD_LIST, &id),
                  LEXO_ERR_NONE);
    }
    home_.NewLog();
    EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_RESOURCE_NEED_UNLOAD);
    EXPECT_TRUE(Logged(home_.NewLog(), "ERROR",
                       "Resource for [asr.cloud.keywordspot] not unload, [2] remaining."));
    for (const unsigned int id : ids) {
        EXPECT_EQ(orvx_proxy_UnloadResource("keywordspot", id), LEXO_ERR_NONE);
    }
}

TEST_F(LifecycleTest, EndClosesThePoolEvenWhenItRefuses) {
    ASSERT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE);
    ASSERT_TRUE(server_.WaitForOpenConnections(0)) << "the probe keeps no connection";
    Session session("freetalk");
    EXPECT_EQ(session.Recognize().code, LEXO_ERR_NONE);
    EXPECT_TRUE(server_.WaitForOpenConnections(1));
    home_.NewLog();
    EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_ACTIVE_SESSION_EXIST);
    EXPECT_TRUE(server_.WaitForOpenConnections(0));
    EXPECT_TRUE(
        Logged(home_.NewLog(), "DEBUG", "xxxx--Shutdown connection to " + server_.Address()));
    EXPECT_EQ(session.Recognize().code, LEXO_ERR_NONE) << "a fresh pool serves the session";
}

TEST_F(LifecycleTest, TheLogObeysItsLevel) {
    struct LevelCase {
        const char* level;
        bool has_debug, has_info, has_error;
    };
    for (const LevelCase& one :
         {LevelCase{"debug", true, true, true}, LevelCase{"info", false, true, true},
          LevelCase{"error", false, false, true}}) {
        SCOPED_TRACE(one.level);
        scripted::HomeOptions options;
        options.level = one.level;
        TestHome home(options);
        EXPECT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE);
        Session("freetalk").Recognize({});
        const auto log = home.NewLog();
        EXPECT_EQ(!scripted::NothingLogged(log, "DEBUG"), one.has_debug);
        EXPECT_EQ(!scripted::NothingLogged(log, "INFO"), one.has_info);
        EXPECT_EQ(!scripted::NothingLogged(log, "ERROR"), one.has_error);
        for (const auto& record : log) {
            EXPECT_EQ(record.process, ::getpid()) << record;
        }
    }
}

TEST_F(LifecycleTest, WhatIsNotOffered) {
    ASSERT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE);
    home_.NewLog();
    const CapturedOutput out(stdout);
    EXPECT_EQ(orvx_proxy_PreLoad(nullptr), LEXO_ERR_NOT_SUPPORT);
    EXPECT_EQ(orvx_proxy_PreLoad("asr.cloud.freetalk"), LEXO_ERR_NOT_SUPPORT);
    EXPECT_TRUE(home_.NewLog().empty()) << "not even a trace";
    EXPECT_EQ(orvx_proxy_SaveCompiledResource(nullptr, 0, nullptr), LEXO_ERR_NOT_SUPPORT);
    EXPECT_EQ(orvx_proxy_SaveCompiledResource("grammar", 2, "/tmp/x"), LEXO_ERR_NOT_SUPPORT);
    EXPECT_EQ(out.Text(), "");
}

TEST_F(LifecycleTest, CallsAreTracedAtDebugLevel) {
    ASSERT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE);
    home_.NewLog();
    CapabilityCount();
    EXPECT_TRUE(scripted::LoggedLike(home_.NewLog(), "DEBUG", ".*GetCapabilityInfoList.*"));
}

// ---- In a process of their own -----------------------------------------------------------------

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

void CheckAFailedSecondLoggerStart() {
    ScriptedServer server;
    TestHome first;
    ASSERT_EQ(InitProxy(server.Address()).code, LEXO_ERR_NONE);
    first.NewLog();
    scripted::HomeOptions options;
    options.has_log = false;
    const TestHome second(options);
    EXPECT_EQ(InitProxy(server.Address()).out,
              "conf_file=" + second.LogSettingsPath() + "\nout fire. connect error, errno = 0\n");
    EXPECT_TRUE(Logged(first.NewLog(), "INFO",
                       "Not found [,] in pcszLibPath[" + second.SettingsPath() + "]"))
        << "the former log goes on";
}

void CheckEndBeforeAnything() {
    EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_NONE);
    TestHome home;
    ScriptedServer server;
    ASSERT_EQ(InitProxy(server.Address()).code, LEXO_ERR_NONE);
    EXPECT_EQ(Session("freetalk").Number(), 0);
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

TEST(FreshProcessTest, AFailedSecondLoggerStartKeepsTheFirst) {
    IN_FRESH_PROCESS(CheckAFailedSecondLoggerStart());
}

TEST(FreshProcessTest, AnEndThatEndsNothingStillResetsTheNumbering) {
    IN_FRESH_PROCESS(CheckEndBeforeAnything());
}

}  // namespace
