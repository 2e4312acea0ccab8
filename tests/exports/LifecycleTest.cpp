// Init and End: what they print, log and return, what they keep, and how sessions are numbered.
#include <cstdlib>
#include <string>

#include "../core/FullListener.h"
#include "TestHost.h"

namespace {

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

TEST_F(LifecycleTest, TheProbeSaysWhatItMet) {
    const FullListener full;
    const std::string port = std::to_string(server_.Port());
    server_.Stop();
    const struct {
        std::string address, out, err;
    } cases[] = {
        {server_.Address(),
         "in fire. connect error, errno = 111\nout fire. connect error, errno = 0\n", ""},
        {"127.0.0.1:" + std::to_string(full.Port()), "",
         "select timeout.\n: Connection timed out\n"},
        {"not.an.address:" + port, "", "connect remote server fail.\n"},
    };
    for (const auto& one : cases) {
        const InitOutcome init = InitProxy(one.address);
        EXPECT_EQ(init.code, LEXO_ERR_PARAM_INVALID);
        EXPECT_EQ(init.out, "conf_file=" + home_.LogSettingsPath() + "\n" + one.out);
        EXPECT_EQ(init.err.substr(0, one.err.size()), one.err);
        EXPECT_TRUE(Logged(home_.NewLog(), "ERROR", "connect to [" + one.address + "] failed!"));
    }
    EXPECT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_PARAM_INVALID);
    Session session("freetalk");
    EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NETWORK_FAILED, 1}));
    server_.Start();
    EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NONE, 0})) << "it may come up later";
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

TEST_F(LifecycleTest, AddressForms) {
    const std::string port = std::to_string(server_.Port());
    const struct {
        std::string argument;
        int code;
        std::string error;  // the log record, "" for none
    } cases[] = {
        {"127.0.0.1:" + std::to_string(server_.Port() + 65536), LEXO_ERR_NONE, ""},
        {server_.Address() + "abc:1", LEXO_ERR_NONE, ""},
        {"127.0.0.1", LEXO_ERR_UNKNOWN, "Not found [:] in ip_port[127.0.0.1]"},
        {"", LEXO_ERR_UNKNOWN, "Not found [:] in ip_port[]"},
        {":" + port, LEXO_ERR_PARAM_INVALID, "connect to [:" + port + "] failed!"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.argument);
        EXPECT_EQ(InitProxy(one.argument).code, one.code);
        EXPECT_EQ(one.error.empty() || Logged(home_.NewLog(), "ERROR", one.error), true);
        EXPECT_EQ(CapabilityCount(), 4) << "the engine list stands before the address is looked at";
    }
    EXPECT_EQ(InitProxy(static_cast<const char*>(nullptr)).code, LEXO_ERR_UNKNOWN);
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
    for (const std::string& path : {home_.Path(), std::string()}) {
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

TEST_F(LifecycleTest, EndRefusesWhileSessionsWorkButClosesThePool) {
    ASSERT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE);
    ASSERT_TRUE(server_.WaitForOpenConnections(0)) << "the probe keeps no connection";
    {
        Session one("freetalk");
        const Session two("grammar");
        EXPECT_EQ(one.Recognize().code, LEXO_ERR_NONE);
        EXPECT_TRUE(server_.WaitForOpenConnections(1));
        home_.NewLog();
        EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_ACTIVE_SESSION_EXIST);
        const auto log = home_.NewLog();
        EXPECT_TRUE(Logged(log, "ERROR", "There're still 2 sessions working."));
        EXPECT_TRUE(Logged(log, "DEBUG", "xxxx--Shutdown connection to " + server_.Address()));
        EXPECT_TRUE(server_.WaitForOpenConnections(0));
        EXPECT_EQ(CapabilityCount(), 4);
        EXPECT_EQ(Session("analysis").Number(), one.Number() + 2) << "the count goes on";
        EXPECT_EQ(one.Recognize().code, LEXO_ERR_NONE) << "a fresh pool serves the session";
    }
    EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_NONE);
    EXPECT_EQ(CapabilityCount(), 0);
    EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_NONE) << "nothing left to end";
}

TEST_F(LifecycleTest, EndRefusesWhileResourcesAreLoaded) {
    ASSERT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE);
    unsigned int id = 0;
    ASSERT_EQ(orvx_proxy_LoadResource("keywordspot", LEXO_RESOURCE_BUFFER, "one\ntwo", 7,
                                      LEXO_RESOURCE_KEYWORD_LIST, &id),
              LEXO_ERR_NONE);
    EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_RESOURCE_NEED_UNLOAD);
    EXPECT_TRUE(Logged(home_.NewLog(), "ERROR",
                       "Resource for [asr.cloud.keywordspot] not unload, [1] remaining."));
    EXPECT_EQ(orvx_proxy_UnloadResource("keywordspot", id), LEXO_ERR_NONE);
}

TEST_F(LifecycleTest, CallsAreTracedAtDebugLevel) {
    ASSERT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE);
    home_.NewLog();
    CapabilityCount();
    EXPECT_TRUE(scripted::LoggedLike(home_.NewLog(), "DEBUG", ".*GetCapabilityInfoList.*"));
}

}  // namespace
