// The configuration files that are shipped with the engine.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <sstream>
#include <string>

#include "ChildProcess.h"
#include "ConfigFile.h"
#include "Logger.h"
#include "TaskConfig.h"
#include "TempDir.h"

namespace {

const std::string kConfDir = ORVX_CONF_DIR "/";
constexpr char kWarning[] = ") a \xE8\xAD\xA6\xE5\x91\x8A\n";

const std::map<std::string, std::string> kDefaults =
    TaskConfig(
        "vad_head=10000,vad_tail=500,max_seconds=30,audio_format=0,vad_threshold=10,"
        "nbest_result=0,add_punc=0,stream=0,result_type=0,mode=0,channel_type=0,"
        "property_language=chinese,property_domain=common,property_model_type=0")
        .GetMapConfig();

// Without the "#" before each "key = value".
std::string Uncommented(const std::string& text) {
    std::string result;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const bool is_entry = line.starts_with('#') && line.find(' ') != 1;
        result += line.substr(is_entry ? 1 : 0) + "\n";
    }
    return result;
}

TEST(ShippedConf, ShowsEveryKeyWithItsDefault) {
    const TempDir dir;
    ConfigFile shipped;
    ASSERT_TRUE(shipped.LoadFromFile((kConfDir + "Lexo_SDK.conf").c_str()));
    const std::string text = Uncommented(ReadAll(kConfDir + "Lexo_SDK.conf"));
    ConfigFile file;
    ASSERT_TRUE(file.LoadFromFile(dir.Write("x.conf", text).c_str()));
    EXPECT_EQ(file.ReadInt("engine", "sample_rate", -1), 8000);
    for (const auto& [key, value] : kDefaults) {
        EXPECT_EQ(file.ReadString("default", key.c_str(), "absent"), value) << key;
        EXPECT_EQ(shipped.ReadString("default", key.c_str(), "absent"), "absent") << key;
    }
}

ChildResult LogWithShippedFile(const std::string& home, const char* xml, const char* name) {
    return RunInChild([=] {
        setenv("QUORLAN_HOME", home.c_str(), 1);
        if (!g_logger.Init((kConfDir + xml).c_str(), name)) std::puts("not started");
        ORVX_LOG_INFO("an info");
        ORVX_LOG_WARNING("a \xE8\xAD\xA6\xE5\x91\x8A");
    });
}

TEST(ShippedConf, EngineLogsWarningsIntoAFolderItCreatesAndAppends) {
    const TempDir dir;
    for (int i = 0; i < 2; ++i) {
        const ChildResult child = LogWithShippedFile(dir.Path(""), "Lexo_SDK_log.xml", "Lexo_SDK");
        EXPECT_TRUE(child.exited_normally);
        EXPECT_EQ(child.out + child.err, "");
    }
    const std::string log = ReadAll(dir.Path("log/Lexo_SDK.log"));
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 2);
    EXPECT_NE(log.find(kWarning), std::string::npos) << log;
}

TEST(ShippedConf, EngineLogsToStandardErrorIfTheFileCannotBeOpened) {
    const TempDir dir;
    dir.Write("log", "a file where the folder should be");
    const ChildResult child = LogWithShippedFile(dir.Path(""), "Lexo_SDK_log.xml", "Lexo_SDK");
    EXPECT_TRUE(child.exited_normally);
    EXPECT_EQ(child.out, "");
    EXPECT_NE(child.err.find(kWarning), std::string::npos) << child.err;
    EXPECT_EQ(child.err.find("an info"), std::string::npos);
}

// A host's folder may hold log4cxx settings of its own, here ones that would empty its log.
TEST(ShippedConf, SettingsInTheCurrentFolderAreLeftAlone) {
    const TempDir dir;
    const std::string others_log = dir.Write("others.log", "theirs");
    dir.Write("log4cxx.properties",
              "log4j.rootLogger=DEBUG, A\nlog4j.appender.A=org.apache.log4j.FileAppender\n"
              "log4j.appender.A.layout=org.apache.log4j.SimpleLayout\n"
              "log4j.appender.A.Append=false\nlog4j.appender.A.File=" +
                  others_log + "\n");
    const ChildResult child = RunInChild([&] {
        ASSERT_EQ(chdir(dir.Path("").c_str()), 0);
        setenv("QUORLAN_HOME", dir.Path("").c_str(), 1);
        g_logger.Init((kConfDir + "Lexo_SDK_log.xml").c_str(), "Lexo_SDK");
        ORVX_LOG_WARNING("ours");
    });
    EXPECT_TRUE(child.exited_normally);
    EXPECT_EQ(ReadAll(others_log), "theirs");
    EXPECT_NE(ReadAll(dir.Path("log/Lexo_SDK.log")).find("ours"), std::string::npos);
}

TEST(ShippedConf, ServerLogsInfoToStandardError) {
    const TempDir dir;
    const ChildResult child =
        LogWithShippedFile(dir.Path(""), "orvx-server_log.xml", "orvx-server");
    EXPECT_TRUE(child.exited_normally);
    EXPECT_EQ(child.out, "");
    EXPECT_NE(child.err.find(") an info\n"), std::string::npos) << child.err;
    EXPECT_NE(child.err.find(kWarning), std::string::npos) << child.err;
}

}  // namespace
