// Starting the logger: which files are accepted, and what a later start changes.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "ChildProcess.h"
#include "LogConfiguration.h"
#include "Logger.h"
#include "TempDir.h"

namespace {

class LoggerStartTest : public testing::Test {
  protected:
    bool Start(const std::string& name) const {
        return g_logger.Init(dir_.Path(name).c_str(), "Lexo_SDK");
    }

    const TempDir dir_;
    const std::string first_log_ = dir_.Path("first.log");
    const std::string second_log_ = dir_.Path("second.log");
};

void WriteBadFiles(const TempDir& dir) {
    std::string binary;
    for (int i = 0; i < 5000; ++i) binary.push_back(static_cast<char>(i * 37 + i / 256));
    dir.Write("empty", "");
    dir.Write("binary", binary);
    dir.Write("text", "level = debug\n");
    dir.Write("cut.xml", LogXml(dir.Path("bad.log"), "debug").substr(0, 300));
    dir.Write("other.xml", "<settings><level>debug</level></settings>");
    dir.Write("silent.xml",
              "<log4j:configuration xmlns:log4j=\"http://jakarta.apache.org/log4j/\"/>");
    dir.Write("\xFF\xC4\xE3.xml", "no configuration");
    mkfifo(dir.Path("fifo").c_str(), 0644);
}

constexpr const char* kBadNames[] = {"",     "missing",         "empty",     "binary",
                                     "text", "cut.xml",         "other.xml", "silent.xml",
                                     "fifo", "\xFF\xC4\xE3.xml"};

// Before the first good start messages are printed, after it the former configuration stays.
TEST_F(LoggerStartTest, RefusesWhatIsNoConfiguration) {
    WriteBadFiles(dir_);
    dir_.Write("first.xml", LogXml(first_log_, "warn"));
    for (const std::string name : kBadNames) {
        SCOPED_TRACE(name);
        const ChildResult child = RunInChild([&] {
            if (!Start(name) && !g_logger.IsStarted()) ORVX_LOG_DEBUG("printed");
            if (!Start("first.xml") || Start(name)) std::puts("wrong");
            ORVX_LOG_INFO("disabled");
            ORVX_LOG_WARNING("%s", ("kept for " + name).c_str());
        });
        EXPECT_TRUE(child.exited_normally);
        EXPECT_TRUE(child.out.ends_with(") printed\n")) << child.out;
        EXPECT_NE(child.err, "") << "the reason";
        EXPECT_FALSE(std::filesystem::exists(dir_.Path("bad.log")));
        EXPECT_TRUE(ReadAll(first_log_).ends_with(") kept for " + name + "\n"));
    }
    EXPECT_EQ(ReadAll(first_log_).find("disabled"), std::string::npos);
}

TEST_F(LoggerStartTest, LaterStartReplacesFileAndLevelAndAppends) {
    dir_.Write("first.xml", LogXml(first_log_, "debug"));
    dir_.Write("second.xml", LogXml(second_log_, "error"));
    const ChildResult child = RunInChild([&] {
        for (const char* name : {"first.xml", "second.xml", "first.xml", "first.xml"}) {
            if (!Start(name)) std::puts("not started");
            ORVX_LOG_DEBUG("d");
            ORVX_LOG_ERROR("e");
        }
    });
    EXPECT_EQ(child.out + child.err, "");
    const auto count_lines = [](const std::string& path) {
        const std::string text = ReadAll(path);
        return std::count(text.begin(), text.end(), '\n');
    };
    EXPECT_EQ(count_lines(first_log_), 6);
    EXPECT_EQ(count_lines(second_log_), 1);
}

// In the C locale log4cxx alone could neither read the file nor create or roll the log.
TEST_F(LoggerStartTest, FoldersMayHaveNonAsciiNames) {
    const std::string home = dir_.Path("h\xC3\xA9 \xE4\xBD\xA0");
    mkdir(home.c_str(), 0755);
    dir_.Write("h\xC3\xA9 \xE4\xBD\xA0/log.xml",
               LogXml("${QUORLAN_HOME}/log/x.log", "info",
                      R"(<param name="MaxFileSize" value="1KB"/>)"
                      R"(<param name="MaxBackupIndex" value="12"/>)",
                      "RollingFileAppender"));
    const ChildResult child = RunInChild([&] {
        setenv("QUORLAN_HOME", home.c_str(), 1);
        if (!g_logger.Init((home + "/log.xml").c_str(), "Lexo_SDK")) std::puts("not started");
        for (int i = 0; i < 100; ++i) ORVX_LOG_INFO("a line of some length, to fill the file");
    });
    EXPECT_EQ(child.out + child.err, "");
    std::size_t lines = 0, files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(home + "/log")) {
        const std::string text = ReadAll(entry.path());
        lines += static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
        ++files;
    }
    EXPECT_EQ(lines, 100u);
    EXPECT_GT(files, 3u);
}

}  // namespace
