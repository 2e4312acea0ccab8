// A host in trouble: no descriptor left or very many in use, a full disk under the log, settings
// and a home that are not as they should be.
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "ChildProcess.h"
#include "FreshProcess.h"
#include "TestHost.h"

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

// Descriptors that something else of the host uses, under a limit, until the end of the scope.
class UsedDescriptors {
  public:
    explicit UsedDescriptors(rlim_t limit) {
        ::getrlimit(RLIMIT_NOFILE, &former_);
        const rlimit changed = {limit, former_.rlim_max};
        is_allowed_ = ::setrlimit(RLIMIT_NOFILE, &changed) == 0;
    }
    ~UsedDescriptors() {
        for (const int one : used_) ::close(one);
        ::setrlimit(RLIMIT_NOFILE, &former_);
    }
    UsedDescriptors(const UsedDescriptors&) = delete;
    UsedDescriptors& operator=(const UsedDescriptors&) = delete;

    bool IsAllowed() const { return is_allowed_; }
    // Uses so many more, or all that the limit leaves.
    void Use(std::size_t count = SIZE_MAX) {
        for (int one = 0; count > 0 && (one = ::dup(0)) >= 0; --count) used_.push_back(one);
    }

  private:
    rlimit former_ = {};
    bool is_allowed_ = false;
    std::vector<int> used_;
};

// The server's threads have done their work by then: what they allocate with locks the allocator of
// a sanitizer, in the child for ever.
pid_t ForkAtRest() {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    return ::fork();
}

class HostFaultsTest : public HostTest {};

TEST_F(HostFaultsTest, WithoutADescriptorLeft) {
    const std::string words = home_.WriteFile("words", "words");
    Session session("grammar");
    EXPECT_EQ(session.Recognize(), kGood);
    ASSERT_TRUE(server_.WaitForOpenConnections(1));  // Init's check frees no more descriptors
    {
        UsedDescriptors all(200);
        all.Use();
        EXPECT_EQ(session.Recognize(), kGood) << "a kept connection needs no new one";
        EXPECT_EQ(server_.LastRequest().access.udid(), "0:") << "but the machine is not known";
        EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_ACTIVE_SESSION_EXIST);  // closes it
        ASSERT_TRUE(server_.WaitForOpenConnections(0));
        all.Use();
        EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NETWORK_FAILED, 1}));
        EXPECT_EQ(Load("grammar", LEXO_RESOURCE_FILE, words.c_str(), 0, 3).code, LEXO_ERR_OPENFILE);
        EXPECT_EQ(orvx_proxy_Init(server_.Address().c_str()), LEXO_ERR_INIT_FAILED);
    }
    EXPECT_EQ(Logged(),
              (Lines{"There're still 1 sessions working.",
                     "Network Error: Recog request to [" + server_.Address() + "] faield(4)",
                     "Open resource file [" + words + "] failed."}));
    EXPECT_EQ(session.Recognize(), kGood);
    ASSERT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE);
    EXPECT_EQ(Session("freetalk").Recognize(), kGood);
}

TEST_F(HostFaultsTest, WithThousandsOfDescriptorsInUse) {
    UsedDescriptors many(6000);
    if (!many.IsAllowed()) GTEST_SKIP() << "this system allows fewer than 6000 descriptors";
    // The first Init leaves the low descriptor of its log for the new one's high.
    for (int i = 0; i < 2; ++i) {
        many.Use(2500);
        EXPECT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE) << "the check copes, too";
    }
    EXPECT_EQ(Session("freetalk").Recognize(), kGood);
    EXPECT_EQ(Session("freetalk").Recognize(), kGood);
}

TEST_F(HostFaultsTest, WithStandardStreamsThatNobodyReads) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    ::close(ends[0]);
    const int former[] = {::dup(1), ::dup(2)};
    ::dup2(ends[1], 1);
    ::dup2(ends[1], 2);
    const int codes[] = {orvx_proxy_Init(server_.Address().c_str()), orvx_proxy_Init("127.0.0.1:1"),
                         orvx_proxy_Init("127.0.0.1:1,/nowhere")};
    ::dup2(former[0], 1);
    ::dup2(former[1], 2);
    EXPECT_THAT(
        codes, ::testing::ElementsAre(LEXO_ERR_NONE, LEXO_ERR_PARAM_INVALID, LEXO_ERR_INIT_FAILED));
    for (const int fd : {ends[1], former[0], former[1]}) ::close(fd);
}

// A stream of the host's, for the time of the scope a pipe that is full and that nobody empties.
class FullPipe {
  public:
    explicit FullPipe(int stream) : stream_(stream), former_(::dup(stream)) {
        EXPECT_EQ(::pipe(ends_), 0);
        const std::string name = "/proc/self/fd/" + std::to_string(ends_[1]);
        const int filler = ::open(name.c_str(), O_WRONLY | O_NONBLOCK);
        while (::write(filler, "full", 4) > 0) continue;
        ::close(filler);
        ::dup2(ends_[1], stream_);
    }
    ~FullPipe() {
        ::dup2(former_, stream_);
        for (const int fd : {former_, ends_[0], ends_[1]}) ::close(fd);
    }
    FullPipe(const FullPipe&) = delete;
    FullPipe& operator=(const FullPipe&) = delete;

  private:
    const int stream_;
    const int former_;
    int ends_[2] = {};
};

// How many of 20 recognitions are good while nobody empties the stream.
std::ptrdiff_t GoodOnesWithFull(int stream) {
    std::vector<Outcome> outcomes;
    {
        const FullPipe pipe(stream);
        for (int i = 0; i < 20; ++i) outcomes.push_back(Session("freetalk").Recognize());
    }
    return std::count(outcomes.begin(), outcomes.end(), kGood);
}

TEST_F(HostFaultsTest, WithStandardStreamsThatNobodyEmpties) {
    int codes[3] = {};
    {
        const FullPipe out(STDOUT_FILENO);
        const FullPipe err(STDERR_FILENO);
        codes[0] = orvx_proxy_Init("127.0.0.1:1");
        codes[1] = orvx_proxy_Init("127.0.0.1:1,/nowhere");
        codes[2] = orvx_proxy_Init(server_.Address().c_str());
    }
    EXPECT_THAT(
        codes, ::testing::ElementsAre(LEXO_ERR_PARAM_INVALID, LEXO_ERR_INIT_FAILED, LEXO_ERR_NONE));
    home_.WriteFile("conf/Lexo_SDK_log.xml", LogXml("/proc/none/log", "debug", "%m%n"));
    ASSERT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE);
    EXPECT_EQ(GoodOnesWithFull(STDERR_FILENO), 20) << "the log goes there";
    const scripted::CapturedOutput err(stderr);
    EXPECT_EQ(Session("freetalk").Recognize(), kGood);
    EXPECT_THAT(err.Text(), HasSubstr("Enter Recognize")) << "somebody reads again";
}

void LogWithoutReader() {
    const scripted::TestHome home({.has_log = false});
    scripted::ScriptedServer server;
    EXPECT_EQ(InitProxy(server.Address()).code, LEXO_ERR_NONE);
    EXPECT_EQ(GoodOnesWithFull(STDOUT_FILENO), 20);
}

TEST(FreshHostFaultsTest, WithALogOnAStandardOutputThatNobodyEmpties) {
    IN_FRESH_PROCESS(LogWithoutReader());
}

// The child of a fork in the middle of a line prints its own all the same.
void ForkWhileALineWaits() {
    const scripted::TestHome home({.has_log = false});
    scripted::ScriptedServer server;
    ASSERT_EQ(InitProxy(server.Address()).code, LEXO_ERR_NONE);
    const FullPipe pipe(STDOUT_FILENO);
    std::jthread waiting([] { EXPECT_EQ(Session("freetalk").Recognize(), kGood); });
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(20);
        const scripted::CapturedOutput out(stdout);
        Session("bogus");
        ::_exit(out.Text().empty() ? 1 : 0);
    }
    EXPECT_EQ(StatusOf(child), 0);
}

TEST(FreshHostFaultsTest, WithAForkWhileALineWaits) {
    IN_FRESH_PROCESS(ForkWhileALineWaits());
}

// What log4cxx itself says of it must not wait for a reader.
void LogThatCannotBeRolled() {
    ::alarm(20);
    const scripted::TestHome home;
    scripted::ScriptedServer server;
    const std::string folder = home.Path() + "/log";
    home.WriteFile("conf/Lexo_SDK_log.xml",
                   LogXml(folder + "/sdk.log", "debug", "%m%n",
                          R"(<param name="MaxFileSize" value="1KB"/>)", "RollingFileAppender"));
    EXPECT_EQ(InitProxy(server.Address()).code, LEXO_ERR_NONE);
    const auto put_in_the_way = [&] {
        std::filesystem::remove_all(folder);
        home.WriteFile("log", "in the way");
    };
    put_in_the_way();
    EXPECT_EQ(GoodOnesWithFull(STDERR_FILENO), 20);
    std::filesystem::remove(folder);
    std::this_thread::sleep_for(std::chrono::seconds(1));  // until it is tried again
    EXPECT_EQ(Session("freetalk").Recognize(), kGood);
    EXPECT_NE(ReadAll(folder + "/sdk.log"), "");
    put_in_the_way();
    const scripted::CapturedOutput err(stderr);
    for (int i = 0; i < 20; ++i) EXPECT_EQ(Session("freetalk").Recognize(), kGood);
    EXPECT_THAT(err.Text(), HasSubstr("log4cxx: ")) << "somebody reads again";
}

TEST(FreshHostFaultsTest, WithALogThatCannotBeRolledAndNobodyToTell) {
    IN_FRESH_PROCESS(LogThatCannotBeRolled());
}

TEST_F(HostFaultsTest, WithTheDiskFullUnderTheLog) {
    const std::string folder = home_.Path() + "/log";
    std::filesystem::create_directory(folder);
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("none", folder.c_str(), "tmpfs", 0, "size=16k") != 0)
        GTEST_SKIP() << "this user may not mount a small disk";
    home_.WriteFile(
        "conf/Lexo_SDK_log.xml",
        LogXml(
            folder + "/sdk.log", "debug", "%m%n",
            R"(<param name="MaxFileSize" value="8KB"/><param name="MaxBackupIndex" value="10"/>)",
            "RollingFileAppender"));
    {
        const scripted::CapturedOutput err(stderr);
        ASSERT_EQ(orvx_proxy_Init(server_.Address().c_str()), LEXO_ERR_NONE);
        for (int i = 0; i < 100; ++i) EXPECT_EQ(Session("freetalk").Recognize(), kGood);
        EXPECT_EQ(
            err.Text(),
            "orvx: writing the log: IO Exception : status code = 28(No space left on device)\n");
    }
    EXPECT_EQ(std::filesystem::space(folder).available, 0u);
    for (const auto& file : std::filesystem::directory_iterator(folder))
        std::filesystem::resize_file(file.path(), 0);
    EXPECT_EQ(Session("freetalk").Recognize(), kGood);
    EXPECT_NE(ReadAll(folder + "/sdk.log"), "") << "and goes on once there is room";
    home_.WriteFile("conf/Lexo_SDK_log.xml", LogXml(home_.Path() + "/test.log", "debug"));
    EXPECT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE) << "which leaves the full disk";
    EXPECT_EQ(::umount(folder.c_str()), 0);
}

// Log4cxx forks in the middle of a line, to run gzip; or has a thread, which a child lacks.
TEST_F(HostFaultsTest, WithALogThatForksOrWantsAThread) {
    const std::string gzip = R"(
        <rollingPolicy class="org.apache.log4j.rolling.FixedWindowRollingPolicy">
          <param name="FileNamePattern" value="${QUORLAN_HOME}/%i.gz"/></rollingPolicy>
        <triggeringPolicy class="org.apache.log4j.rolling.SizeBasedTriggeringPolicy">
          <param name="MaxFileSize" value="8KB"/></triggeringPolicy>)";
    const std::string behind = R"(<param name="Threshold" value="info"/>
        <appender-ref ref="behind"/></appender>
        <appender name="behind" class="org.apache.log4j.FileAppender">
          <param name="File" value="${QUORLAN_HOME}/behind.log"/>)";
    const auto use = [&](const std::string& parameters, const std::string& appender) {
        home_.WriteFile("conf/Lexo_SDK_log.xml",
                        LogXml(home_.Path() + "/test.log", "debug", "%m%n", parameters, appender));
        ASSERT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE);
        for (int i = 0; i < 20; ++i) EXPECT_EQ(Session("freetalk").Recognize(), kGood);
        const pid_t child = ForkAtRest();
        if (child == 0) {
            ::alarm(20);
            for (int i = 0; i < 20; ++i) Session("freetalk").Recognize();
            ::_exit(InitProxy(server_.Address()).code);
        }
        EXPECT_EQ(StatusOf(child), 0) << appender;
    };
    use(R"(<param name="Port" value="0"/>)", "TelnetAppender");
    use(gzip, "rolling.RollingFileAppender");
    EXPECT_TRUE(std::filesystem::exists(home_.Path() + "/1.gz"));
    use(behind, "AsyncAppender");
    EXPECT_THAT(ReadAll(home_.Path() + "/behind.log"),
                AllOf(HasSubstr("Recog status"), Not(HasSubstr("Enter"))));
}

// The new log gets the descriptor of the former.
TEST_F(HostFaultsTest, AsADaemonThatClosedTheDescriptors) {
    const std::string log = home_.Path() + "/test.log";
    const pid_t child = ForkAtRest();
    if (child == 0) {
        while (::dup(0) < 100) continue;
        ::close(3);  // for the settings
        for (const auto& fd : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code gone;
            if (std::filesystem::read_symlink(fd, gone) == log)
                ::close(std::stoi(fd.path().filename()));
        }
        ::_exit(orvx_proxy_Init(server_.Address().c_str()));
    }
    EXPECT_EQ(StatusOf(child), 0);
    EXPECT_THAT(ReadAll(log), HasSubstr(std::to_string(child) + " : (OrvexProxy"));
}

// What it prints belongs in no file of the library's.
TEST_F(HostFaultsTest, AsADaemonWithoutStandardStreams) {
    home_.WriteFile("conf/Lexo_SDK_log.xml",
                    LogXml(home_.Path() + "/test.log", "debug", "%m%n",
                           R"(<param name="MaxFileSize" value="8KB"/>)", "RollingFileAppender"));
    const pid_t child = ForkAtRest();
    if (child == 0) {
        for (const int fd : {0, 1, 2}) ::close(fd);
        int wrong = orvx_proxy_Init(server_.Address().c_str());
        ::alarm(20);  // if a read of standard input waits for a socket's bytes
        std::jthread reader([](const std::stop_token& stop) {
            for (char byte = 0; !stop.stop_requested();) (void)!::read(0, &byte, 1);
        });
        for (int i = 0; i < 200; ++i) wrong += Session("freetalk").Recognize() == kGood ? 0 : 1;
        reader = {};
        Session session("freetalk");
        const auto end = [](void* with) -> void* {
            ::pthread_cancel(::pthread_self());
            static_cast<Session*>(with)->Recognize();
            return nullptr;
        };
        pthread_t cancelled;
        wrong += ::pthread_create(&cancelled, nullptr, end, &session);
        wrong += ::pthread_join(cancelled, nullptr);
        wrong += session.Recognize() == kGood ? 0 : 1;
        for (const int fd : {0, 1, 2}) wrong += ::fcntl(fd, F_GETFD) < 0 ? 0 : 100;
        ::_exit(wrong);
    }
    EXPECT_EQ(StatusOf(child), 0);
    EXPECT_TRUE(std::filesystem::exists(home_.Path() + "/test.log.1"));
}

TEST_F(HostFaultsTest, SettingsOfEveryKind) {
    const std::string last = "\n[default]\nvad_tail = 777\n";
    std::string noise(1 << 20, '\0');
    std::minstd_rand random;
    for (char& byte : noise) byte = static_cast<char>(random() >> 16);
    std::string many;
    for (int i = 0; many.size() < 10 << 20; ++i)
        many += "key" + std::to_string(i) + " = " + std::string(100, 'v') + "\n";
    const std::pair<std::string, int> cases[] = {
        {"", 500},
        {noise + last, 777},
        {many + last, 777},
        {std::string(10 << 20, '=') + last, 777},
    };
    for (const auto& [settings, vad_tail] : cases) {
        home_.WriteFile("conf/Lexo_SDK.conf", settings);
        EXPECT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE);
        EXPECT_EQ(Session("freetalk").GetNumber(LEXO_PARAM_VAD_TAIL), vad_tail);
    }
}

TEST_F(HostFaultsTest, HomesOfEveryKind) {
    const std::string home = home_.Path();
    const auto linked = [&](const std::string& name) {
        std::filesystem::create_directory_symlink(home, home + "/" + name);
        return home + "/" + name;
    };
    const auto long_home = [&](std::size_t bytes) {
        std::string path = home;
        while (path.size() + 2 <= bytes) path += "/.";
        return path;
    };
    const std::filesystem::path former = std::filesystem::current_path();
    std::filesystem::current_path(home + "/conf");
    const std::pair<std::string, int> cases[] = {
        {"..", LEXO_ERR_NONE},
        {home + "///", LEXO_ERR_NONE},
        {linked(" with  blanks "), LEXO_ERR_NONE},
        {linked("\xC4\xE3\xFF %s%n"), LEXO_ERR_NONE},
        {long_home(4000), LEXO_ERR_NONE},
        {long_home(4090), LEXO_ERR_INIT_FAILED},
        {long_home(5000), LEXO_ERR_ENV_NOT_VALID},
        {home_.SettingsPath(), LEXO_ERR_INIT_FAILED},
        {"", LEXO_ERR_ENV_NOT_VALID},
    };
    for (const auto& [value, code] : cases) {
        SCOPED_TRACE(value);
        ::setenv("QUORLAN_HOME", value.c_str(), 1);
        const InitOutcome init = InitProxy(server_.Address());
        EXPECT_EQ(init.code, code);
        const std::string slash = value.ends_with('/') ? "" : "/";
        EXPECT_THAT(init.out,
                    StartsWith(code == LEXO_ERR_ENV_NOT_VALID
                                   ? "fatal: env QUORLAN_HOME is not valid, " + value + "\n"
                                   : "conf_file=" + value + slash + "conf/Lexo_SDK_log.xml\n"));
        if (code == LEXO_ERR_NONE) {
            EXPECT_EQ(Session("freetalk").Recognize(), kGood);
            EXPECT_NE(Logged("INFO").size(), 0u);
        }
    }
    std::filesystem::current_path(former);
}

}  // namespace
