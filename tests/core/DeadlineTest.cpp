#include <gtest/gtest.h>

#include <thread>

#include "Deadline.h"

namespace {

using namespace std::chrono_literals;

// A wait of 0 ms before the time is over would spin.
TEST(DeadlineTest, NothingLeftOnlyWhenItHasPassed) {
    const auto start = std::chrono::steady_clock::now();
    const Deadline deadline(5ms);
    while (deadline.RemainingMilliseconds() > 0) {
        std::this_thread::yield();
    }
    EXPECT_GE(std::chrono::steady_clock::now() - start, 5ms);
    EXPECT_EQ(Deadline(-100000ms).RemainingMilliseconds(), 0);
}

TEST(DeadlineTest, LeftIsAtMostTheTimeAndAtMostAnInt) {
    const Deadline deadline(60000ms);
    const std::pair<Deadline, int> cases[] = {
        {deadline, 60000},
        {deadline.CappedAt(1000ms), 1000},
        {deadline.CappedAt(100000ms), 60000},
        {deadline.CappedAt(0ms), 0},
        {Deadline(0ms).CappedAt(1000ms), 0},
        {Deadline(std::chrono::hours(24 * 365)), INT_MAX},
    };
    for (const auto& [capped, most] : cases) {
        EXPECT_LE(capped.RemainingMilliseconds(), most);
        EXPECT_GE(capped.RemainingMilliseconds(), most - 500);
    }
}

}  // namespace
