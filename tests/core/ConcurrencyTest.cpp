// What many threads share: the pool and the request counter.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <numeric>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "DateTime.h"
#include "Logger.h"
#include "OrvexProxy.h"
#include "RWLock.h"
#include "TcpClientUser.h"
#include "TestAccess.h"
#include "TestHome.h"
#include "Threads.h"

namespace {

constexpr int kThreads = 16;

// With a log that takes errors only: written lines would be most of the work and keep the threads
// apart.
void RunThreads(const std::function<void(int)>& body) {
    const scripted::TestHome home({.level = "error"});
    ASSERT_TRUE(g_logger.Init(home.LogSettingsPath().c_str(), "Lexo_SDK"));
    InThreads(kThreads, body);
}

// The pool is destroyed again and again while clients are rented: none is ever with two threads,
// and none is touched by the pool meanwhile.
TEST(PoolConcurrencyTest, RentedWhileDestroyed) {
    std::atomic<int> errors = 0;
    RunThreads([&](int thread) {
        for (int i = 0; i < 10000; ++i) {
            if (i % 20 == 0) ConnectionPool::DestroyInstance();
            const GetConnection connection("10.0.0.5", 8000);
            connection.client->last_error_ = thread;
            std::this_thread::yield();
            errors += connection.client->last_error_ == thread ? 0 : 1;
        }
    });
    EXPECT_EQ(errors, 0);
    ConnectionPool::DestroyInstance();
}

TEST(IdentityConcurrencyTest, EveryIndexOnceAcrossTheWrapAround) {
    constexpr int kRequests = 1000;
    constexpr int kBeforeTheWrap = kThreads * kRequests / 2;
    ProxySessionTestAccess::IdentifyIndex() = INT_MAX - kBeforeTheWrap;
    std::vector<int> indices(kThreads * kRequests);
    RunThreads([&](int thread) {
        for (int i = 0; i < kRequests; ++i) {
            const std::string identify = ProxySessionTestAccess::NewIdentify();
            indices[static_cast<std::size_t>(thread * kRequests + i)] =
                std::stoi(identify.substr(identify.rfind('_') + 1));
        }
    });
    std::ranges::sort(indices);
    std::vector<int> expected(indices.size());
    std::iota(expected.begin(), expected.begin() + kBeforeTheWrap, 1);
    std::iota(expected.begin() + kBeforeTheWrap, expected.end(), INT_MAX - kBeforeTheWrap);
    EXPECT_EQ(indices, expected);
}

// A child's request does not wait for a lock that another thread of its parent held.
TEST(IdentityConcurrencyTest, AChildForkedWhileTimesAreConverted) {
    OrvexProxy::GetInstance();
    std::atomic<bool> is_over = false;
    InThreads(3, [&](int thread) {
        while (thread != 0 && !is_over) DateTime::now().ToString(false);
        for (int i = 0; i < 100 && !is_over; ++i) {
            const pid_t child = ::fork();
            if (child == 0) {
                ::alarm(20);
                ::_exit(ProxySessionTestAccess::NewIdentify().empty() ? 1 : 0);
            }
            EXPECT_EQ(StatusOf(child), 0) << "in fork " << i;
            is_over = is_over || testing::Test::HasFailure();
        }
        is_over = true;
    });
}

// Writers that overlap one another all the time keep no reader waiting for ever.
TEST(RWLockConcurrencyTest, AReaderGetsItsTurnsAmongWriters) {
    constexpr int kTurns = 100;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    RWLock lock(true);
    std::atomic<int> turns = 0;
    std::atomic<int> writes = 0;
    InThreads(kThreads, [&](int thread) {
        const RWLockAction action = thread == 0 ? kReadLockAction : kWriteLockAction;
        while (turns < kTurns && std::chrono::steady_clock::now() < end) {
            if (thread == 0 && writes < 10000) continue;
            const RWLockGuard guard(lock, action);
            ++(thread == 0 ? turns : writes);
        }
    });
    EXPECT_EQ(turns, kTurns);
}

}  // namespace
