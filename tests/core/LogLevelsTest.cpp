// The levels of messages, which only a started logger shows. It can never be stopped again, so the
// test runs in a process of its own.
#include <gtest/gtest.h>

#include <string>

#include "CapabilityKey.h"
#include "FreshProcess.h"
#include "Logger.h"
#include "TestAccess.h"
#include "TestEngine.h"
#include "TestHome.h"

namespace {

using scripted::Logged;
using scripted::LoggedLike;
using scripted::LogRecords;

void ExpectLevelsOfTheParameterStore(scripted::TestHome& home) {
    TestEngine engine(LEXO_ENGINE_FREETALK);
    ProxySession session(LEXO_ENGINE_FREETALK, "cap", "", engine.default_params);
    const LogRecords built = home.NewLog();
    EXPECT_TRUE(Logged(built, "DEBUG", "engine_type:0"));
    EXPECT_TRUE(Logged(built, "DEBUG", "12:chinese"));
    EXPECT_TRUE(scripted::NothingLogged(built, "ERROR"));

    session.GetConfig();
    const LogRecords config = home.NewLog();
    EXPECT_TRUE(Logged(config, "DEBUG", "GetConfig  LEXO_PARAM_POST_PROCESS"));
    EXPECT_TRUE(
        Logged(config, "DEBUG", "GetConfig LEXO_PARAM_FT_POST_PROCESS LEXO_FT_POST_PROCESS_NONE"));
    EXPECT_TRUE(LoggedLike(config, "INFO", "Config for \\[cap\\] is \\[vad_head=10000,.*\\]"));

    session.SetParam(LEXO_PARAM_MODE, WordOf(1));
    session.SetParam(LEXO_PARAM_STREAM, WordOf(9));
    Lexo_RecogResult* result = nullptr;
    session.GetRecogResult(&result);
    std::string name, remainder;
    ParseCapKeyName("nothing", name, remainder);
    const LogRecords errors = home.NewLog();
    EXPECT_TRUE(Logged(errors, "ERROR", "Param type [10] unsupported in capability [cap][0]"));
    EXPECT_TRUE(Logged(errors, "ERROR", "Param value [8=9] invalid."));
    EXPECT_TRUE(Logged(errors, "ERROR", "No result"));
    EXPECT_TRUE(Logged(errors, "ERROR", "capkey name is invalid[nothing]."));
}

void ExpectLevelsOfThePool(scripted::TestHome& home) {
    ConnectionPool* const pool = ConnectionPool::GetInstance();
    pool->GiveBackHandle("h", 1, pool->RentHandle("h", 1));
    pool->GiveBackHandle("h", 1, pool->RentHandle("h", 1));
    ConnectionPool::DestroyInstance();
    const LogRecords records = home.NewLog();
    EXPECT_TRUE(LoggedLike(records, "INFO", "xxxx--Create a new connection\\[h:1\\]=.*"));
    EXPECT_TRUE(LoggedLike(records, "INFO", "xxxx--Rent a connection \\[h:1\\]=.*"));
    EXPECT_TRUE(LoggedLike(records, "INFO", "xxxx--Giveback a connection \\[h:1\\]=.*"));
    EXPECT_TRUE(Logged(records, "DEBUG", "xxxx--Shutdown connection to h:1"));
}

void ExpectLevels() {
    scripted::TestHome home;
    ASSERT_TRUE(g_logger.Init(home.LogSettingsPath().c_str(), "Lexo_SDK"));
    ExpectLevelsOfTheParameterStore(home);
    ExpectLevelsOfThePool(home);
}

TEST(LogLevelsDeathTest, MessagesOfEveryLevel) {
    IN_FRESH_PROCESS(ExpectLevels());
}

}  // namespace
