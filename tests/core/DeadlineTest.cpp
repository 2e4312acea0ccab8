#include <gtest/gtest.h>

#include <thread>

#include "Deadline.h"

namespace {

using namespace std::chrono_literals;

TEST(DeadlineTest, PassedOnesHaveNothingLeft) {
    for (const auto timeout : {0ms, -1ms, -100000ms}) {
        EXPECT_EQ(Deadline(timeout).RemainingMilliseconds(), 0) << timeout.count();
    }
}

TEST(DeadlineTest, FutureOnesNeverHaveMoreLeftThanTheirTime) {
    const Deadline deadline(60000ms);
    int last = 60000;
    for (int i = 0; i < 1000; ++i) {
        const int left = deadline.RemainingMilliseconds();
        EXPECT_LE(left, last);
        EXPECT_GT(left, 50000);
        last = left;
    }
    EXPECT_GT(Deadline(2147483ms).RemainingMilliseconds(), 2140000);
    EXPECT_EQ(Deadline(std::chrono::hours(24 * 365)).RemainingMilliseconds(), INT_MAX);
}

// A wait of 0 ms before the time is over would spin.
TEST(DeadlineTest, NothingLeftOnlyWhenItHasPassed) {
    const auto start = std::chrono::steady_clock::now();
    const Deadline deadline(5ms);
    while (deadline.RemainingMilliseconds() > 0) {
        std::this_thread::yield();
    }
    EXPECT_GE(std::chrono::steady_clock::now() - start, 5ms);
}

TEST(DeadlineTest, CappedAtTheEarlierOfTwo) {
    const Deadline deadline(60000ms);
    EXPECT_LE(deadline.CappedAt(1000ms).RemainingMilliseconds(), 1000);
    EXPECT_GT(deadline.CappedAt(1000ms).RemainingMilliseconds(), 0);
    const int uncapped = deadline.CappedAt(100000ms).RemainingMilliseconds();
    EXPECT_LE(uncapped, 60000);
    EXPECT_GT(uncapped, 50000);
    EXPECT_EQ(Deadline(0ms).CappedAt(1000ms).RemainingMilliseconds(), 0);
    EXPECT_EQ(deadline.CappedAt(0ms).RemainingMilliseconds(), 0);
}

}  // namespace
