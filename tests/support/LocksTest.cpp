#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "RWLock.h"

namespace {

using std::chrono::steady_clock;

// Waits until the condition holds; false if it does not within ten seconds.
template <typename Condition>
bool WaitFor(const Condition& condition) {
    const auto end = steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (steady_clock::now() > end) return false;
        std::this_thread::yield();
    }
    return true;
}

template <typename Body>
void RunThreads(int count, const Body& body) {
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) threads.emplace_back(body);
    for (std::thread& thread : threads) thread.join();
}

TEST(RWLockTest, WritersExcludeEverybody) {
    for (const bool prefer_writers : {false, true}) {
        RWLock lock(prefer_writers);
        int a = 0, b = 0;
        std::atomic<int> differences = 0;
        RunThreads(4, [&] {
            for (int i = 0; i < 2000; ++i) {
                if (i % 4 == 0) {
                    const RWLockGuard guard(lock, kWriteLockAction);
                    ++a;
                    ++b;
                } else {
                    const RWLockGuard guard(lock, kReadLockAction);
                    if (a != b) ++differences;
                }
            }
        });
        EXPECT_EQ(a, 2000);
        EXPECT_EQ(differences, 0);
    }
}

// Two readers take turns, and each lets go only when the other one holds the lock: a writer finds
// no gap, unless the reader that comes next has to wait behind it.
TEST(RWLockTest, OverlappingReadersDoNotStarveAWriter) {
    RWLock lock(true);
    std::atomic<int> turn = -1;  // the latest turn whose reader holds the lock
    std::atomic<bool> written = false;
    std::atomic<bool> given_up = false;
    const auto wait_for_turn = [&](int wanted, std::chrono::milliseconds patience) {
        const auto end = steady_clock::now() + patience;
        while (turn < wanted && !written && !given_up && steady_clock::now() < end) {
            std::this_thread::yield();
        }
    };
    const auto read = [&](int first_turn) {
        for (int mine = first_turn; !written && !given_up; mine += 2) {
            wait_for_turn(mine - 1, std::chrono::seconds(20));
            const RWLockGuard guard(lock, kReadLockAction);
            turn = mine;
            wait_for_turn(mine + 1, std::chrono::milliseconds(200));
        }
    };
    std::thread even(read, 0);
    std::thread odd(read, 1);
    EXPECT_TRUE(WaitFor([&] { return turn > 10; }));
    std::thread writer([&] {
        const RWLockGuard guard(lock, kWriteLockAction);
        written = true;
    });
    EXPECT_TRUE(WaitFor([&] { return written.load(); }));
    given_up = true;
    for (std::thread* thread : {&even, &odd, &writer}) thread->join();
}

}  // namespace
