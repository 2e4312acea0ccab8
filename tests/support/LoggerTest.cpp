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

TEST_F(LoggerTest, PrefixHoldsTheProcessIdAndTheLineOfTheCall) {
    int line = 0;
    const ChildResult child = RunInChild([&] {
        ORVX_LOG_INFO("%d", static_cast<int>(getpid()));
        Start("debug");
        ORVX_LOG_INFO("%d", static_cast<int>(getpid()));
    });
    line = __LINE__ - 4;
    for (const std::string& text : {child.out, ReadAll(log_)}) {
        const std::string pid = text.substr(0, text.find(' '));
        EXPECT_EQ(Messages(text, "Logger_test.cpp", line), pid + "\n") << text;
        line += 2;
    }
}

TEST_F(LoggerTest, WritesTheEnabledLevelsOnly) {
    const struct {
        const char* level;
        const char* messages;
    } cases[] = {{"debug", "debug 1\ninfo two\nwarning\nerror\n"},
                 {"info", "info two\nwarning\nerror\n"},
                 {"warn", "warning\nerror\n"},
                 {"error", "error\n"},
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

TEST_F(LoggerTest, MacrosEvaluateArgumentsOfEnabledLevelsOnly) {
    const ChildResult child = RunInChild([&] {
        int evaluated = 0;
        Start("warn");
        ORVX_LOG_DEBUG("%d", evaluated += 1);
        ORVX_LOG_INFO("%d", evaluated += 10);
        ORVX_LOG_WARNING("%d", evaluated += 100);
        ORVX_LOG_ERROR("%d", evaluated += 1000);
        std::printf("%d", evaluated);
    });
    EXPECT_EQ(child.out, "1100");
}

// Log4cxx would turn them into "?" in the C locale.
TEST_F(LoggerTest, PassesAnyBytesAndAnyLength) {
    const std::string texts[] = {kNonAscii,
                                 "%s%n%d 100%",
                                 "",
                                 std::string(511, 'a'),
                                 std::string(512, 'b'),
                                 std::string(1 << 20, 'c') + kNonAscii};
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

TEST_F(LoggerTest, LeavesErrnoAlone) {
    const ChildResult child = RunInChild([&] {
        const auto log = [](const char* state) {
            errno = ENOTTY;
            ORVX_LOG_ERROR("%s", std::strerror(errno));
            ORVX_LOG_DEBUG("disabled");
            if (errno != ENOTTY) std::printf("changed: %s\n", state);
        };
        log("not started");
        errno = ENOTTY;
        const bool started = g_logger.Init("/nowhere/log.xml", "Lexo_SDK");
        if (started || errno != ENOTTY) std::puts("changed: failed start");
        Start("error");
        log("started");
        const std::string full = dir_.Write("full.xml", LogXml("/dev/full", "error"));
        g_logger.Init(full.c_str(), "Lexo_SDK");
        log("disk full");
    });
    EXPECT_EQ(child.out.find("changed"), std::string::npos) << child.out;
    EXPECT_NE(ReadAll(log_).find(std::strerror(ENOTTY)), std::string::npos);
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

TEST_F(LoggerTest, StartIsRefusedOnceTheLogIsClosed) {
    struct StartsWhenDestroyed {
        std::string xml;
        ~StartsWhenDestroyed() { std::printf("%d", g_logger.Init(xml.c_str(), "Lexo_SDK")); }
    };
    const ChildResult child = RunInChild([&] {
        static const StartsWhenDestroyed early{dir_.Path("log.xml")};
        Start("warn");
    });
    EXPECT_TRUE(child.exited_normally);
    EXPECT_EQ(child.out, "0");
}

TEST_F(LoggerTest, TracesCallsAtDebugLevelOnly) {
    const auto traced = [] {
        const FuncTracer tracer("Recognize", "OrvexProxy", 42);
        g_logger.Write(kLogError, "OrvexProxy", 42, "inside");
    };
    EXPECT_EQ(Messages(RunInChild(traced).out, "OrvexProxy", 42), "inside\n");
    RunInChild([&] {
        Start("info");
        traced();
    });
    EXPECT_EQ(Messages(ReadAll(log_), "OrvexProxy", 42), "inside\n");
    dir_.Write("x.log", "");
    RunInChild([&] {
        const FuncTracer entered_before_the_start("Init", "OrvexProxy", 42);
        Start("debug");
        traced();
    });
    EXPECT_EQ(Messages(ReadAll(log_), "OrvexProxy", 42),
              "Enter Recognize\ninside\nLeave Recognize\n");
}

}  // namespace
