#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <system_error>
#include <thread>
#include <vector>

#include "MutexLock.h"
#include "RWLock.h"

namespace {

using std::chrono::steady_clock;

constinit MutexLock g_static_mutex;
constinit RWLock g_static_rw_lock(true);

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

TEST(MutexLockTest, OneThreadAtATime) {
    int counter = 0;
    RunThreads(4, [&] {
        for (int i = 0; i < 5000; ++i) {
            const MutexGuard guard(g_static_mutex);
            ++counter;
        }
    });
    EXPECT_EQ(counter, 20000);
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

TEST(RWLockTest, ReadersShare) {
    std::atomic<int> inside = 0;
    std::atomic<int> met = 0;
    RunThreads(2, [&] {
        const RWLockGuard guard(g_static_rw_lock, kReadLockAction);
        ++inside;
        met += WaitFor([&] { return inside == 2; });
    });
    EXPECT_EQ(met, 2);
}

// Each reader lets go only when another one holds the lock: they never leave a gap for a writer,
// unless readers that come after it have to wait.
TEST(RWLockTest, OverlappingReadersDoNotStarveAWriter) {
    RWLock lock(true);
    std::atomic<int> holding = 0;
    std::atomic<bool> written = false;
    std::atomic<bool> given_up = false;
    std::thread writer;
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i) {
        readers.emplace_back([&] {
            while (!written && !given_up) {
                const RWLockGuard guard(lock, kReadLockAction);
                ++holding;
                const auto patience = steady_clock::now() + std::chrono::milliseconds(20);
                while (holding < 2 && steady_clock::now() < patience) std::this_thread::yield();
                --holding;
            }
        });
    }
    EXPECT_TRUE(WaitFor([&] { return holding > 0; }));
    writer = std::thread([&] {
        const RWLockGuard guard(lock, kWriteLockAction);
        written = true;
    });
    EXPECT_TRUE(WaitFor([&] { return written.load(); }));
    given_up = true;
    for (std::thread& reader : readers) reader.join();
    writer.join();
}

TEST(RWLockTest, TakingItAgainWhileWritingThrows) {
    RWLock lock(true);
    {
        const RWLockGuard guard(lock, kWriteLockAction);
        EXPECT_THROW(RWLockGuard(lock, kReadLockAction), std::system_error);
        EXPECT_THROW(RWLockGuard(lock, kWriteLockAction), std::system_error);
    }
    const RWLockGuard guard(lock, kWriteLockAction);  // free again, so the failures took nothing
}

}  // namespace
