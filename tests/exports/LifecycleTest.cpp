// Init and End: what they print, log and return, what they keep, and how sessions are numbered.
#include <cstdlib>
#include <string>

#include "FullListener.h"
#include "TestHost.h"

namespace {

using scripted::ScriptedServer;
using ::testing::Contains;
using ::testing::IsSupersetOf;

class LifecycleTest : public BareHostTest {
  protected:
    void Init() { ASSERT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE); }
    std::string ConfFileLine() const { return "conf_file=" + home_.LogSettingsPath() + "\n"; }
};

TEST_F(LifecycleTest, TheHomeMustExist) {
    const std::string missing = home_.Path() + "/missing";
    for (const int engines : {0, 4}) {
        ::unsetenv("QUORLAN_HOME");
        InitOutcome init = InitProxy(server_.Address());
        EXPECT_EQ(init.code, LEXO_ERR_ENV_NOT_FOUND);
        EXPECT_EQ(init.out,
                  "fatal: env QUORLAN_HOME is not found, pls set QUORLAN_HOME first, try again\n");
        ::setenv("QUORLAN_HOME", missing.c_str(), 1);
        init = InitProxy(server_.Address());
        EXPECT_EQ(init.code, LEXO_ERR_ENV_NOT_VALID);
        EXPECT_EQ(init.out, "fatal: env QUORLAN_HOME is not valid, " + missing + "\n");
        EXPECT_EQ(CapabilityCount(), engines) << "a refused Init touches no engine list";

        ::setenv("QUORLAN_HOME", home_.Path().c_str(), 1);
        init = InitProxy(server_.Address());
        EXPECT_EQ(init.code, LEXO_ERR_NONE);
        EXPECT_EQ(init.out, ConfFileLine() + "out fire. connect error, errno = 0\n");
        EXPECT_EQ(init.err, "");
        EXPECT_THAT(Logged("INFO"),
                    Contains("Not found [,] in pcszLibPath[" + home_.SettingsPath() + "]"));
    }
}

TEST_F(LifecycleTest, TheProbeSaysWhatItMet) {
    const FullListener full;
    server_.Stop();
    const struct {
        std::string address, out, err;
    } cases[] = {
        {"127.0.0.1:" + std::to_string(full.Port()), "",
         "select timeout.\n: Connection timed out\n"},
        {"not.an.address:80", "", "connect remote server fail.\n"},
        {server_.Address(),
         "in fire. connect error, errno = 111\nout fire. connect error, errno = 0\n", ""},
    };
    for (const auto& one : cases) {
        const InitOutcome init = InitProxy(one.address);
        EXPECT_EQ(init.code, LEXO_ERR_PARAM_INVALID);
        EXPECT_EQ(init.out, ConfFileLine() + one.out);
        EXPECT_EQ(init.err.substr(0, one.err.size()), one.err);
        EXPECT_EQ(Logged(), Lines{"connect to [" + one.address + "] failed!"});
        if (one.err != cases[0].err) {  // a connection attempt takes seconds there
            EXPECT_EQ(Session("freetalk").Recognize(), (Outcome{LEXO_ERR_NETWORK_FAILED, 1}));
            EXPECT_EQ(Logged(),
                      Lines{"Network Error: Recog request to [" + one.address + "] faield(4)"});
        }
    }
    server_.Start();
    EXPECT_EQ(Session("freetalk").Recognize(), kGood) << "it may come up later";
}

TEST_F(LifecycleTest, FormsOfTheArgument) {
    const std::string path = home_.WriteFile("a,b:c.conf", "[default]\nvad_tail = 777\n");
    const std::string port = std::to_string(server_.Port());
    const struct {
        std::string argument;
        int code, vad_tail;
        Lines errors;
    } cases[] = {
        {"127.0.0.1:" + std::to_string(server_.Port() + 65536), LEXO_ERR_NONE, 500, {}},
        {server_.Address() + "abc:1", LEXO_ERR_NONE, 500, {}},
        {server_.Address() + "," + path, LEXO_ERR_NONE, 777, {}},
        {"127.0.0.1", LEXO_ERR_UNKNOWN, 500, {"Not found [:] in ip_port[127.0.0.1]"}},
        {"127.0.0.1," + path, LEXO_ERR_UNKNOWN, 777, {"Not found [:] in ip_port[127.0.0.1]"}},
        {"", LEXO_ERR_UNKNOWN, 500, {"Not found [:] in ip_port[]"}},
        {":" + port, LEXO_ERR_PARAM_INVALID, 500, {"connect to [:" + port + "] failed!"}},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.argument);
        EXPECT_EQ(InitProxy(one.argument).code, one.code);
        EXPECT_EQ(Logged(), one.errors);
        EXPECT_EQ(Session("freetalk").GetNumber(LEXO_PARAM_VAD_TAIL), one.vad_tail)
            << "the settings are read before the address is looked at";
    }
    EXPECT_EQ(orvx_proxy_Init(nullptr), LEXO_ERR_UNKNOWN);
    InitProxy("," + path);
    EXPECT_THAT(Logged("INFO"), Contains("User custom path"));
}

TEST_F(LifecycleTest, UnreadableSettingsEndInitWithoutEngines) {
    for (const std::string& path : {home_.Path(), std::string()}) {
        Init();
        home_.NewLog();
        const InitOutcome init = InitProxy(server_.Address() + "," + path);
        EXPECT_EQ(init.code, LEXO_ERR_INIT_FAILED);
        EXPECT_EQ(init.out, ConfFileLine() + "config file load from (" + path + ") failed\n");
        Lexo_Handle handle = nullptr;
        EXPECT_EQ(orvx_proxy_SessionStart("grammar", &handle), LEXO_ERR_CAPABILITY_NOT_EXIST);
        EXPECT_EQ(CapabilityCount(), 0);
        EXPECT_THAT(home_.NewLog(),
                    IsSupersetOf(Lines{"INFO Init path: [" + path + "]", "WARN No engine found.",
                                       "ERROR Engine[asr.cloud.grammar] not found."}));
    }
}

TEST_F(LifecycleTest, EndRefusesWhileSessionsWorkButClosesThePool) {
    Init();
    ASSERT_TRUE(server_.WaitForOpenConnections(0)) << "the probe keeps no connection";
    ScriptedServer other("127.0.0.2");
    {
        Session one("freetalk");
        const Session two("grammar");
        EXPECT_EQ(one.Recognize(), kGood);
        ASSERT_EQ(InitProxy(other.Address()).code, LEXO_ERR_NONE);
        EXPECT_EQ(one.Recognize(), kGood);
        EXPECT_TRUE(server_.WaitForOpenConnections(1));
        home_.NewLog();
        EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_ACTIVE_SESSION_EXIST);
        EXPECT_THAT(home_.NewLog(),
                    IsSupersetOf(Lines{"ERROR There're still 2 sessions working.",
                                       "DEBUG xxxx--Shutdown connection to " + server_.Address(),
                                       "DEBUG xxxx--Shutdown connection to " + other.Address()}));
        EXPECT_TRUE(server_.WaitForOpenConnections(0));
        EXPECT_EQ(Session("analysis").Number(), one.Number() + 2) << "the count goes on";
        EXPECT_EQ(one.Recognize(), kGood) << "a fresh pool serves the session";
    }
    EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_NONE);
    EXPECT_EQ(CapabilityCount(), 0);
    Lexo_Handle handle = nullptr;
    EXPECT_EQ(orvx_proxy_SessionStart("grammar", &handle), LEXO_ERR_CAPABILITY_NOT_EXIST);
    EXPECT_EQ(LoadBuffer("grammar", LEXO_RESOURCE_GRAMMAR_JSGF).code,
              LEXO_ERR_CAPABILITY_NOT_EXIST);
    EXPECT_EQ(orvx_proxy_UnloadResource("grammar", 2), LEXO_ERR_CAPABILITY_NOT_EXIST);
}

TEST_F(LifecycleTest, EndRefusesWhileResourcesAreLoaded) {
    Init();
    const unsigned int id = LoadBuffer("keywordspot", LEXO_RESOURCE_KEYWORD_LIST).id;
    LoadBuffer("grammar", LEXO_RESOURCE_GRAMMAR_JSGF);
    home_.NewLog();
    EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_RESOURCE_NEED_UNLOAD);
    EXPECT_EQ(orvx_proxy_UnloadResource("grammar", 2), LEXO_ERR_NONE) << "nothing was released";
    EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_RESOURCE_NEED_UNLOAD);
    EXPECT_EQ(Logged(), (Lines{"Resource for [asr.cloud.grammar] not unload, [1] remaining.",
                               "Resource for [asr.cloud.keywordspot] not unload, [1] remaining."}));
    EXPECT_EQ(orvx_proxy_UnloadResource("keywordspot", id), LEXO_ERR_NONE);
}

}  // namespace
