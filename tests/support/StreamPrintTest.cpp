// Printing on standard streams that are pipes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "StreamPrint.h"

namespace {

// The other end is read until this one is closed, a little at a time.
std::string ReadSlowly(int pipe) {
    std::string text;
    char bytes[4096];
    for (ssize_t count = 0; (count = ::read(pipe, bytes, sizeof bytes)) > 0;) {
        text.append(bytes, static_cast<std::size_t>(count));
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
    }
    return text;
}

// They wait for longer than a second, but the reader never rests for so long.
TEST(StreamPrintTest, ASlowReaderLosesNothingOfManyThreads) {
    constexpr std::size_t kThreads = 8;
    constexpr std::size_t kLines = 60;
    const std::string line = std::string(99, 'x') + "\n";
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    ::fcntl(ends[1], F_SETPIPE_SZ, 16384);
    const int former = ::dup(STDOUT_FILENO);
    std::fflush(stdout);
    ::dup2(ends[1], STDOUT_FILENO);
    ::close(ends[1]);
    std::string text;
    std::thread reader([&] { text = ReadSlowly(ends[0]); });
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < kThreads; ++i) {
        threads.emplace_back([&line] {
            for (std::size_t k = 0; k < kLines; ++k) PrintOn(stdout, line);
        });
    }
    for (std::thread& thread : threads) thread.join();
    ::dup2(former, STDOUT_FILENO);
    ::close(former);
    reader.join();
    ::close(ends[0]);
    EXPECT_EQ(text.size(), kThreads * kLines * line.size());
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), kThreads * kLines) << "lines are whole";
}

}  // namespace
