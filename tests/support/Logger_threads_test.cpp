// Many threads write while another one changes the configuration.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "Logger.h"
#include "TempDir.h"
#include "child_process.h"
#include "log_configuration.h"

namespace {

constexpr int kWriters = 4;
constexpr int kMessages = 250;

// Long enough to pass the buffers on the way in several pieces.
std::string Payload(int writer) {
    return std::string(3000, static_cast<char>('a' + writer));
}

// Calls `meanwhile` again and again until the writers are done.
void WriteFromManyThreads(const std::function<void()>& meanwhile) {
    std::atomic<int> running = kWriters;
    std::vector<std::thread> writers;
    for (int writer = 0; writer < kWriters; ++writer) {
        writers.emplace_back([writer, &running] {
            const std::string payload = Payload(writer);
            for (int i = 0; i < kMessages; ++i) {
                ORVX_LOG_ERROR("%d %d %s", writer, i, payload.c_str());
                ORVX_LOG_DEBUG("disabled");
            }
            --running;
        });
    }
    while (running > 0) meanwhile();
    for (std::thread& writer : writers) writer.join();
}

// Each message must be there once, whole, and behind its writer's earlier ones in the same file.
void CheckLines(const std::vector<std::string>& files) {
    std::map<std::pair<int, int>, int> seen;
    for (const std::string& content : files) {
        int last[kWriters] = {-1, -1, -1, -1};
        std::istringstream lines(content);
        for (std::string line; std::getline(lines, line);) {
            int writer = -1, number = -1, payload = -1;
            std::sscanf(line.c_str(), "%*d : (Logger_threads_test.cpp:%*d) %d %d %n", &writer,
                        &number, &payload);
            ASSERT_TRUE(payload > 0 &&
                        line.substr(static_cast<std::size_t>(payload)) == Payload(writer))
                << "torn: " << line.substr(0, 200);
            ASSERT_GT(number, last[writer]);
            last[writer] = number;
            ++seen[{writer, number}];
        }
    }
    EXPECT_EQ(seen.size(), std::size_t{kWriters * kMessages});
    for (const auto& [message, count] : seen) EXPECT_EQ(count, 1);
}

TEST(LoggerThreads, PrintedLinesStayWhole) {
    const ChildResult child = RunInChild([] {
        // Without the disabled level: everything is printed before the start.
        std::vector<std::thread> writers;
        for (int writer = 0; writer < kWriters; ++writer) {
            writers.emplace_back([writer] {
                const std::string payload = Payload(writer);
                for (int i = 0; i < kMessages; ++i) {
                    ORVX_LOG_INFO("%d %d %s", writer, i, payload.c_str());
                }
            });
        }
        for (std::thread& writer : writers) writer.join();
    });
    EXPECT_TRUE(child.exited_normally) << child.err;
    CheckLines({child.out});
}

TEST(LoggerThreads, NoLineIsLostOrTornWhileTheConfigurationChanges) {
    const TempDir dir;
    const std::string logs[] = {dir.Path("a.log"), dir.Path("b.log")};
    const std::string files[] = {dir.Write("a.xml", LogXml(logs[0], "warn")),
                                 dir.Write("b.xml", LogXml(logs[1], "error")),
                                 dir.Write("bad.xml", "<nothing")};
    const ChildResult child = RunInChild([&] {
        std::size_t next = 0;
        int started = g_logger.Init(files[0].c_str(), "Lexo_SDK");
        WriteFromManyThreads([&] {
            started += g_logger.Init(files[++next % 3].c_str(), "Lexo_SDK");
            std::this_thread::yield();
        });
        if (started < 3) std::puts("too few starts");
    });
    EXPECT_TRUE(child.exited_normally) << child.err;
    EXPECT_EQ(child.out, "");
    CheckLines({ReadAll(logs[0]), ReadAll(logs[1])});
}

}  // namespace
