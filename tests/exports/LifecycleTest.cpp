// Init and End: what they print, log and return, what they keep, and how sessions are numbered.
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "CapturedOutput.h"
#include "TestHost.h"

namespace {

using scripted::CapturedOutput;
using scripted::Logged;
using scripted::ScriptedServer;
using scripted::TestHome;

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

}  // namespace
