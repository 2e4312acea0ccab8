// Many threads write while another one changes the configuration.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
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

// Each message must be there whole, and behind its writer's earlier ones in the same file.
int CheckLines(const std::string& file) {
    int last[kWriters] = {-1, -1, -1, -1};
    int lines = 0;
    std::istringstream stream(file);
    for (std::string line; std::getline(stream, line); ++lines) {
        int writer = -1, number = -1, payload = 0;
        std::sscanf(line.c_str(), "%*d : (LoggerThreadsTest.cpp:%*d) %d %d %n", &writer, &number,
                    &payload);
        if (payload == 0 || line.substr(static_cast<std::size_t>(payload)) != Payload(writer)) {
            ADD_FAILURE() << "torn: " << line.substr(0, 200);
            break;
        }
        EXPECT_GT(number, std::exchange(last[writer], number));
    }
    return lines;
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
    int seen = 0;
    for (const std::string& log : logs) {
        EXPECT_NE(ReadAll(log), "");
        seen += CheckLines(ReadAll(log));
    }
    EXPECT_EQ(std::to_string(seen) + " messages\n", child.out);
}

}  // namespace
