// Which configurations start the logger, and what becomes of a message: before the start, after it,
// and while the process ends.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <clocale>
#include <filesystem>
#include <iterator>
#include <regex>
#include <set>
#include <string>
#include <thread>

#include "ChildProcess.h"
#include "Logger.h"

namespace {

constexpr char kNonAscii[] = "\xC3\xA9 \xE4\xBD\xA0 \xC4\xE3\xBA\xC3 \xFF\xFE\x80";

// The messages of source.cpp, line 17; a line without their prefix becomes "?" and the line.
std::string Messages(const std::string& lines) {
    static const std::regex prefix("[0-9]+ : \\(source.cpp:17\\) ");
    std::string messages;
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);) {
        std::smatch found;
        const bool has_prefix =
            std::regex_search(line, found, prefix, std::regex_constants::match_continuous);
        messages += (has_prefix ? found.suffix().str() : "?" + line) + "\n";
    }
    return messages;
}

void Write(LogLevel level, const std::string& text, const char* file = "source.cpp") {
    g_logger.Write(level, file, 17, "%s", text.c_str());
}

class LoggerTest : public testing::Test {
  protected:
    // A configuration of this level, whose messages go to "NAME.log".
    void Configure(const std::string& name, const std::string& level) const {
        dir_.Write(name, LogXml(dir_.Path(name + ".log"), level));
    }
    bool Start(const std::string& name) const {
        return g_logger.Init(dir_.Path(name).c_str(), "Lexo_SDK");
    }
    std::string Logged(const std::string& name) const {
        return Messages(ReadAll(dir_.Path(name + ".log")));
    }

    const TempDir dir_;
};

TEST_F(LoggerTest, PrintsEveryLevelBeforeTheStartAndWritesTheEnabledOnesAfterIt) {
    const std::string all = "debug\ninfo\nwarning\nerror\n";
    const struct {
        const char* level;  // null: not started
        std::string printed, written;
    } cases[] = {
        {nullptr, all, ""}, {"debug", "", all}, {"warn", "", "warning\nerror\n"}, {"off", "", ""}};
    for (const auto& c : cases) {
        const std::string name = c.level == nullptr ? "none" : c.level;
        SCOPED_TRACE(name);
        const ChildResult child = RunInChild([&] {
            Configure(name, name);
            if (c.level != nullptr && !Start(name)) std::puts("not started");
            Write(kLogDebug, "debug", "/a/b/source.cpp");
            Write(kLogInfo, "info", "b/source.cpp");
            Write(kLogWarning, "warning");
            Write(kLogError, "error", "/source.cpp");
        });
        EXPECT_TRUE(child.exited_normally);
        EXPECT_EQ(Messages(child.out), c.printed);
        EXPECT_EQ(Logged(name), c.written);
        EXPECT_EQ(child.err, "");
    }
}

// Log4cxx would turn them into "?" in the C locale.
TEST_F(LoggerTest, PassesAnyBytesAndAnyLength) {
    const std::string texts[] = {"%s%n%d 100%", "", std::string(1 << 20, 'c') + kNonAscii};
    std::string expected;
    for (const std::string& text : texts) expected += text + "\n";
    Configure("x", "info");
    const ChildResult child = RunInChild([&] {
        for (const std::string& text : texts) Write(kLogError, text);
        Start("x");
        for (const std::string& text : texts) Write(kLogError, text);
        std::printf("%s\n", std::setlocale(LC_ALL, nullptr));
    });
    EXPECT_EQ(Messages(child.out), expected + "?C\n") << "the process's locale stays";
    EXPECT_EQ(Logged("x"), expected);
}

// A full disk, a pipe whose reader is gone, a file that may not become longer.
TEST_F(LoggerTest, SurvivesALogThatTakesNoMoreAndSaysSoOnce) {
    const std::string fifo = dir_.Path("fifo");
    mkfifo(fifo.c_str(), 0644);
    for (const std::string& log : {std::string("/dev/full"), fifo, dir_.Path("log")}) {
        SCOPED_TRACE(log);
        dir_.Write("full", LogXml(log, "error"));
        const ChildResult child = RunInChild([&] {
            const rlimit longest{8192, RLIM_INFINITY};
            setrlimit(RLIMIT_FSIZE, &longest);
            const int reader = open(fifo.c_str(), O_RDONLY | O_NONBLOCK);
            std::printf("%d", Start("full"));
            close(reader);
            for (int i = 0; i < 3; ++i) Write(kLogError, std::string(longest.rlim_cur, 'x'));
        });
        EXPECT_TRUE(child.exited_normally);
        EXPECT_EQ(child.out, "1");
        EXPECT_EQ(child.err.find("writing the log"), child.err.rfind("writing the log"));
        EXPECT_NE(child.err.find("writing the log"), std::string::npos);
    }
}

// A file that is full while its folder is not there, and a second later it is.
TEST_F(LoggerTest, GoesOnWhenAFaultAtAFullFileHasPassed) {
    const std::string folder = dir_.Path("logs");
    dir_.Write("full", LogXml(folder + "/full.log", "error", "%m%n",
                              R"(<param name="MaxFileSize" value="8KB"/>)", "RollingFileAppender"));
    const ChildResult child = RunInChild([&] {
        Start("full");
        std::filesystem::rename(folder, folder + ".gone");
        dir_.Write("logs", "a file");
        for (int i = 0; i < 3; ++i) Write(kLogError, std::string(8192, 'x'));
        std::filesystem::remove(folder);
        std::filesystem::rename(folder + ".gone", folder);
        std::this_thread::sleep_for(std::chrono::milliseconds(1100));
        Write(kLogError, "after");
    });
    EXPECT_NE(child.err.find("Exception during rollover"), std::string::npos) << child.err;
    EXPECT_EQ(Logged("logs/full"), "after\n");
}

struct LogsWhenDestroyed {
    const char* text;
    ~LogsWhenDestroyed() {
        Write(kLogError, text);
        Write(kLogInfo, "disabled");
    }
};

// A static object built before the start outlives the log file, one built later does not.
TEST_F(LoggerTest, StaticDestructorsMayLog) {
    Configure("x", "warn");
    const ChildResult child = RunInChild([&] {
        static const LogsWhenDestroyed early{"early"};
        Start("x");
        static const LogsWhenDestroyed late{"late"};
    });
    EXPECT_TRUE(child.exited_normally);
    EXPECT_EQ(Logged("x"), "late\n");
    EXPECT_EQ(Messages(child.out), "early\n");
}

// Before the first good start messages are printed, after it the former configuration stays.
TEST_F(LoggerTest, RefusesWhatIsNoConfiguration) {
    std::string open;  // takes no time to speak of
    while (open.size() < 2 << 20) open += "${";
    std::string elsewhere = LogXml(dir_.Path("x"), "debug", "%m%n", "", "RollingFileAppender");
    elsewhere.replace(elsewhere.find("Lexo_SDK"), 8, "Other");
    const std::pair<std::string, std::string> files[] = {
        {"empty", ""},
        {"elsewhere.xml", elsewhere},
        {"open", open},
        {"binary", std::string("\x7F"
                               "ELF\0\xFF<?xml",
                               12)},
        {"cut.xml", LogXml(dir_.Path("bad.log"), "debug").substr(0, 300)},
        {"endless.xml", LogXml("/tmp/${ORVX_A}", "debug")},
        {"other.xml", "<settings><level>debug</level></settings>"},
        {"silent.xml", "<log4j:configuration xmlns:log4j=\"http://jakarta.apache.org/log4j/\"/>"},
        {"\xFF\xC4\xE3.xml", "no configuration"}};
    std::vector<std::string> names = {"", "missing", "fifo"};
    for (const auto& [name, content] : files) {
        dir_.Write(name, content);
        names.push_back(name);
    }
    mkfifo(dir_.Path("fifo").c_str(), 0644);
    setenv("ORVX_A", "a${ORVX_B}", 1);
    setenv("ORVX_B", "b${ORVX_A}", 1);
    Configure("good", "warn");
    std::string kept;
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        const ChildResult child = RunInChild([&] {
            if (!Start(name) && !g_logger.IsStarted()) Write(kLogDebug, "printed");
            if (!Start("good") || Start(name)) std::puts("wrong");
            Write(kLogInfo, "disabled");
            Write(kLogWarning, name);
        });
        EXPECT_TRUE(child.exited_normally);
        EXPECT_EQ(Messages(child.out), "printed\n");
        EXPECT_NE(child.err, "") << "the reason";
        kept += name + "\n";
        EXPECT_EQ(Logged("good"), kept);
    }
    EXPECT_FALSE(std::filesystem::exists(dir_.Path("bad.log")));
}

TEST_F(LoggerTest, LaterStartReplacesFileAndLevelAndAppends) {
    Configure("first", "debug");
    Configure("second", "error");
    const ChildResult child = RunInChild([&] {
        std::set<long> open_files;
        for (const char* name : {"first", "second", "first"}) {
            if (!Start(name)) std::puts("not started");
            Write(kLogDebug, "d");
            Write(kLogError, "e");
            const std::filesystem::directory_iterator descriptors("/proc/self/fd");
            open_files.insert(std::distance(descriptors, {}));
        }
        if (open_files.size() != 1) std::puts("the former file stays open");
    });
    EXPECT_EQ(child.out + child.err, "");
    EXPECT_EQ(Logged("first"), "d\ne\nd\ne\n");
    EXPECT_EQ(Logged("second"), "e\n");
}

TEST_F(LoggerTest, AppendersWithoutALayoutWriteAllTheSame) {
    for (const char* appender : {"FileAppender", "net.SyslogAppender"}) {
        std::string xml = LogXml(dir_.Path("x.log"), "warn", "%m%n", "", appender);
        xml.replace(xml.find("PatternLayout"), 13, "PaternLayout");
        dir_.Write("x", xml);
        const ChildResult child = RunInChild([&] {
            if (!Start("x")) std::puts("not started");
            Write(kLogError, "a line");
        });
        EXPECT_TRUE(child.exited_normally) << appender;
        EXPECT_EQ(child.out, "");
    }
    EXPECT_NE(ReadAll(dir_.Path("x.log")).find(" : (source.cpp:17) a line\n"), std::string::npos);
}

TEST_F(LoggerTest, AFileOfUnknownEncodingGivesWayToStandardError) {
    const std::string encoding = R"(<param name="Encoding" value="UTF-9"/>)";
    dir_.Write("x", LogXml(dir_.Path("x.log"), "warn", "%m%n", encoding, "RollingFileAppender"));
    const ChildResult child = RunInChild([&] {
        if (!Start("x")) std::puts("not started");
        Write(kLogError, "a line");
    });
    EXPECT_EQ(child.out, "");
    EXPECT_NE(child.err.find(" : (source.cpp:17) a line\n"), std::string::npos) << child.err;
}

// In the C locale log4cxx alone could neither read the file nor create or roll the log.
TEST_F(LoggerTest, FoldersMayHaveNonAsciiNames) {
    const std::string home = dir_.Path("h\xC3\xA9 \xE4\xBD\xA0");
    mkdir(home.c_str(), 0755);
    dir_.Write("h\xC3\xA9 \xE4\xBD\xA0/log.xml",
               LogXml("${QUORLAN_HOME}/log/x.log", "info", "%m%n",
                      R"(<param name="MaxFileSize" value="1KB"/>)"
                      R"(<param name="MaxBackupIndex" value="12"/>)",
                      "RollingFileAppender"));
    const ChildResult child = RunInChild([&] {
        setenv("QUORLAN_HOME", home.c_str(), 1);
        if (!g_logger.Init((home + "/log.xml").c_str(), "Lexo_SDK")) std::puts("not started");
        for (int i = 0; i < 100; ++i) ORVX_LOG_INFO("a line of some length, to fill the file");
    });
    EXPECT_EQ(child.out + child.err, "");
    std::string logs;
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(home + "/log")) {
        logs += ReadAll(entry.path());
        ++files;
    }
    EXPECT_EQ(std::ranges::count(logs, '\n'), 100);
    EXPECT_GT(files, 3);
}

}  // namespace
