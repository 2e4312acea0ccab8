// The configuration files that are shipped with the engine.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>

#include "ChildProcess.h"
#include "Logger.h"

namespace {

const std::string kConfDir = ORVX_CONF_DIR "/";
constexpr char kWarning[] = ") a \xE8\xAD\xA6\xE5\x91\x8A\n";

// As it stands the file sets nothing.
TEST(ShippedConf, ShowsEveryKeyWithItsDefault) {
    std::string shown;
    std::istringstream lines(ReadAll(kConfDir + "Lexo_SDK.conf"));
    for (std::string line; std::getline(lines, line);) {
        EXPECT_TRUE(line.empty() || line[0] == '#' || line[0] == '[') << line;
        if (line.starts_with('#') && line.size() > 1 && line[1] != ' ')
            shown += line.substr(1) + "; ";
    }
    EXPECT_EQ(shown,
              "sample_rate = 8000; vad_head = 10000; vad_tail = 500; max_seconds = 30; "
              "audio_format = 0; vad_threshold = 10; property_language = chinese; "
              "property_model_type = 0; property_domain = common; nbest_result = 0; "
              "add_punc = 0; stream = 0; result_type = 0; mode = 0; channel_type = 0; ");
}

ChildResult LogWithShippedFile(const TempDir& home, const std::string& xml) {
    return RunInChild([&] {
        setenv("QUORLAN_HOME", home.Path("").c_str(), 1);
        const std::string name = xml.substr(0, xml.find("_log"));
        if (!g_logger.Init((kConfDir + xml).c_str(), name.c_str())) std::puts("not started");
        ORVX_LOG_INFO("an info");
        ORVX_LOG_WARNING("a \xE8\xAD\xA6\xE5\x91\x8A");
    });
}

// The engine's file does so only if its log cannot be opened, for warnings alone.
TEST(ShippedConf, LogsToStandardError) {
    const TempDir dir;
    dir.Write("log", "a file where the folder should be");
    for (const std::string xml : {"Lexo_SDK_log.xml", "orvx-server_log.xml"}) {
        SCOPED_TRACE(xml);
        const ChildResult child = LogWithShippedFile(dir, xml);
        EXPECT_TRUE(child.exited_normally);
        EXPECT_EQ(child.out, "");
        EXPECT_NE(child.err.find(kWarning), std::string::npos) << child.err;
        EXPECT_EQ(child.err.find(") an info\n") != std::string::npos, xml != "Lexo_SDK_log.xml");
    }
}

// A host's folder may hold log4cxx settings of its own, here ones that would empty its log.
TEST(ShippedConf, EngineLogsWarningsIntoAFolderItCreatesAndLeavesOtherSettingsAlone) {
    const TempDir dir;
    const std::string others_log = dir.Write("others.log", "theirs");
    dir.Write("log4cxx.properties",
              "log4j.rootLogger=DEBUG, A\nlog4j.appender.A=org.apache.log4j.FileAppender\n"
              "log4j.appender.A.layout=org.apache.log4j.SimpleLayout\n"
              "log4j.appender.A.Append=false\nlog4j.appender.A.File=" +
                  others_log + "\n");
    const std::filesystem::path former = std::filesystem::current_path();
    std::filesystem::current_path(dir.Path(""));
    for (int starts = 1; starts <= 2; ++starts) {
        const ChildResult child = LogWithShippedFile(dir, "Lexo_SDK_log.xml");
        EXPECT_TRUE(child.exited_normally);
        EXPECT_EQ(child.out + child.err, "");
        const std::string log = ReadAll(dir.Path("log/Lexo_SDK.log"));
        EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), starts) << "warnings, appended";
        EXPECT_TRUE(log.ends_with(kWarning)) << log;
    }
    std::filesystem::current_path(former);
    EXPECT_EQ(ReadAll(others_log), "theirs");
}

}  // namespace
