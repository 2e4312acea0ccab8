// Many threads write while another one changes the configuration.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ChildProcess.h"
#include "Logger.h"

namespace {

constexpr int kWriters = 4;

// Long enough to pass the buffers on the way in several pieces.
std::string Payload(int writer) {
    return std::string(3000, static_cast<char>('a' + writer));
}

// Each message must be there once, whole, and behind its writer's earlier ones in the same file.
void CheckLines(const std::string& file, std::set<std::pair<int, int>>* seen) {
    int last[kWriters] = {-1, -1, -1, -1};
    std::istringstream lines(file);
    for (std::string line; std::getline(lines, line);) {
        int writer = -1, number = -1, payload = -1;
        std::sscanf(line.c_str(), "%*d : (LoggerThreadsTest.cpp:%*d) %d %d %n", &writer, &number,
                    &payload);
        ASSERT_GT(payload, 0) << "torn: " << line.substr(0, 200);
        ASSERT_EQ(line.substr(static_cast<std::size_t>(payload)), Payload(writer));
        EXPECT_GT(number, last[writer]);
        last[writer] = number;
        EXPECT_TRUE(seen->emplace(writer, number).second) << "written twice";
    }
}

TEST(LoggerThreads, NoLineIsLostOrTornWhileTheConfigurationChanges) {
    const TempDir dir;
    const std::string logs[] = {dir.Path("a.log"), dir.Path("b.log")};
    const std::string files[] = {dir.Write("a.xml", LogXml(logs[0], "warn")),
                                 dir.Write("b.xml", LogXml(logs[1], "error")),
                                 dir.Write("bad.xml", "<nothing")};
    const ChildResult child = RunInChild([&] {
        g_logger.Init(files[0].c_str(), "Lexo_SDK");
        std::atomic<bool> is_over = false;
        std::atomic<int> written = 0;
        std::vector<std::jthread> writers;
        for (int writer = 0; writer < kWriters; ++writer) {
            writers.emplace_back([&, writer] {
                const std::string payload = Payload(writer);
                for (int i = 0; i < 500 || !is_over; ++i, ++written) {
                    ORVX_LOG_ERROR("%d %d %s", writer, i, payload.c_str());
                }
            });
        }
        for (std::size_t i = 0; i < 18; ++i) {
            g_logger.Init(files[i % 3].c_str(), "Lexo_SDK");
            for (const int before = written; written < before + 2 * kWriters;) {
                std::this_thread::yield();
            }
        }
        is_over = true;
        writers.clear();
        std::printf("%d messages\n", written.load());
    });
    EXPECT_TRUE(child.exited_normally) << child.err;
    std::set<std::pair<int, int>> seen;
    for (const std::string& log : logs) {
        EXPECT_NE(ReadAll(log), "");
        CheckLines(ReadAll(log), &seen);
    }
    EXPECT_EQ(std::to_string(seen.size()) + " messages\n", child.out);
}

}  // namespace
