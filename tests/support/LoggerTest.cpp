// What becomes of a message: before the start, after it, and while the process ends.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <cstring>
#include <string>

#include "ChildProcess.h"
#include "FuncTracer.h"
#include "LogConfiguration.h"
#include "Logger.h"
#include "TempDir.h"

namespace {

constexpr char kNonAscii[] = "\xC3\xA9 \xE4\xBD\xA0 \xC4\xE3\xBA\xC3 \xFF\xFE\x80";

// The text behind the prefix of each line; a line without the prefix becomes "?" and the line.
std::string Messages(const std::string& lines, const std::string& file, int line_number) {
    const std::string tail = " : (" + file + ":" + std::to_string(line_number) + ") ";
    std::string messages;
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);) {
        const std::size_t digits = line.find_first_not_of("0123456789");
        const bool has_prefix = digits > 0 && digits != std::string::npos &&
                                line.compare(digits, tail.size(), tail) == 0;
        messages += (has_prefix ? line.substr(digits + tail.size()) : "?" + line) + "\n";
    }
    return messages;
}

void WriteEachLevel() {
    g_logger.Write(kLogDebug, "/a/b/source.cpp", 17, "debug %d", 1);
    g_logger.Write(kLogInfo, "b/source.cpp", 17, "info %s", "two");
    g_logger.Write(kLogWarning, "source.cpp", 17, "warning");
    g_logger.Write(kLogError, "/source.cpp", 17, "error");
}

class LoggerTest : public testing::Test {
  protected:
    // In the child: starts the logger with a file of this level.
    void Start(const char* level) const {
        const std::string xml = dir_.Write("log.xml", LogXml(log_, level));
        if (!g_logger.Init(xml.c_str(), "Lexo_SDK")) std::puts("not started");
    }

    const TempDir dir_;
    const std::string log_ = dir_.Path("x.log");
};

TEST_F(LoggerTest, PrintsEveryLevelBeforeTheStart) {
    const ChildResult child = RunInChild(WriteEachLevel);
    EXPECT_TRUE(child.exited_normally);
    EXPECT_EQ(Messages(child.out, "source.cpp", 17), "debug 1\ninfo two\nwarning\nerror\n");
    EXPECT_EQ(child.err, "");
}

TEST_F(LoggerTest, WritesTheEnabledLevelsOnly) {
    const struct {
        const char* level;
        const char* messages;
    } cases[] = {{"debug", "debug 1\ninfo two\nwarning\nerror\n"},
                 {"warn", "warning\nerror\n"},
                 {"off", ""}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.level);
        dir_.Write("x.log", "");
        const ChildResult child = RunInChild([&] {
            Start(c.level);
            WriteEachLevel();
        });
        EXPECT_TRUE(child.exited_normally);
        EXPECT_EQ(Messages(ReadAll(log_), "source.cpp", 17), c.messages);
        EXPECT_EQ(child.out + child.err, "");
    }
}

// Log4cxx would turn them into "?" in the C locale.
TEST_F(LoggerTest, PassesAnyBytesAndAnyLength) {
    const std::string texts[] = {"%s%n%d 100%", "", std::string(1 << 20, 'c') + kNonAscii};
    std::string expected;
    for (const std::string& text : texts) expected += text + "\n";
    const auto write_all = [&] {
        for (const std::string& text : texts) {
            g_logger.Write(kLogError, "f.cpp", 1, "%s", text.c_str());
        }
    };
    EXPECT_EQ(Messages(RunInChild(write_all).out, "f.cpp", 1), expected);
    const ChildResult child = RunInChild([&] {
        Start("info");
        write_all();
        std::printf("%s", std::setlocale(LC_ALL, nullptr));
    });
    EXPECT_EQ(Messages(ReadAll(log_), "f.cpp", 1), expected);
    EXPECT_EQ(child.out, "C") << "the process's locale";
}

TEST_F(LoggerTest, SurvivesAFullDiskAndSaysSoOnce) {
    const ChildResult child = RunInChild([&] {
        const std::string full = dir_.Write("full.xml", LogXml("/dev/full", "error"));
        std::printf("%d", g_logger.Init(full.c_str(), "Lexo_SDK"));
        for (int i = 0; i < 3; ++i) ORVX_LOG_ERROR("lost");
    });
    EXPECT_TRUE(child.exited_normally);
    EXPECT_EQ(child.out, "1");
    EXPECT_EQ(child.err.find("writing the log"), child.err.rfind("writing the log"));
    EXPECT_NE(child.err.find("writing the log"), std::string::npos);
}

struct LogsWhenDestroyed {
    const char* text;
    ~LogsWhenDestroyed() {
        g_logger.Write(kLogError, "exit.cpp", 5, "%s", text);
        g_logger.Write(kLogInfo, "exit.cpp", 5, "disabled");
    }
};

// A static object built before the start outlives the log file, one built later does not.
TEST_F(LoggerTest, StaticDestructorsMayLog) {
    const ChildResult child = RunInChild([&] {
        static const LogsWhenDestroyed early{"early"};
        Start("warn");
        static const LogsWhenDestroyed late{"late"};
    });
    EXPECT_TRUE(child.exited_normally);
    EXPECT_EQ(Messages(ReadAll(log_), "exit.cpp", 5), "late\n");
    EXPECT_EQ(Messages(child.out, "exit.cpp", 5), "early\n");
}

}  // namespace
