// What many threads share: the pool, the request counter, the reference counts of resources.
#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "CapturedOutput.h"
#include "TcpClientUser.h"
#include "TestAccess.h"
#include "param_word.h"

namespace {

constexpr int kThreads = 16;

// Runs body(0) ... body(15) at once. What they log is not looked at.
template <typename Body>
void RunThreads(const Body& body) {
    const scripted::CapturedOutput output(stdout);
    std::atomic<int> waiting = kThreads;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            --waiting;
            while (waiting > 0) {
                std::this_thread::yield();
            }
            body(i);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

// One thread destroys the pool again and again while the others rent: no client is ever with two of
// them, and none is touched by the pool while it is rented.
TEST(PoolConcurrencyTest, RentedWhileDestroyed) {
    std::atomic<int> errors = 0;
    std::mutex mutex;
    std::set<const TcpClientUser*> rented;
    RunThreads([&](int thread) {
        for (int i = 0; i < 500; ++i) {
            if (thread == 0) {
                ConnectionPool::DestroyInstance();
                continue;
            }
            const GetConnection connection("10.0.0.5", 8000 + thread % 3);
            {
                const std::lock_guard lock(mutex);
                errors += rented.insert(connection.client).second ? 0 : 1;
            }
            connection.client->Reset();
            std::this_thread::yield();
            const std::lock_guard lock(mutex);
            rented.erase(connection.client);
        }
    });
    EXPECT_EQ(errors, 0);
    std::size_t idle = 0;
    for (const auto& [key, clients] : ConnectionPoolTestAccess::Idle()) {
        idle += clients.size();
    }
    EXPECT_LE(idle, static_cast<std::size_t>(kThreads));
    ConnectionPool::DestroyInstance();
}

TEST(IdentityConcurrencyTest, EveryIndexOnceAcrossTheWrapAround) {
    constexpr int kRequests = 1000;
    ProxySessionTestAccess::IdentifyIndex() = INT_MAX - 8000;
    std::mutex mutex;
    std::multiset<int> indices;
    RunThreads([&](int) {
        std::vector<int> own;
        for (int i = 0; i < kRequests; ++i) {
            const std::string identify = ProxySessionTestAccess::NewIdentify();
            own.push_back(std::stoi(identify.substr(identify.rfind('_') + 1)));
        }
        const std::lock_guard lock(mutex);
        indices.insert(own.begin(), own.end());
    });
    std::multiset<int> expected;
    for (int i = 0, index = INT_MAX - 8000; i < kThreads * kRequests; ++i) {
        expected.insert(index);
        index = index == INT_MAX - 1 ? 1 : index + 1;
    }
    EXPECT_EQ(indices, expected);
}

class ResourceConcurrencyTest : public ::testing::Test {
  protected:
    static constexpr const char* kCapability = "asr.cloud.grammar";

    void SetUp() override {
        ASSERT_TRUE(OrvexProxyTestAccess::GetEngineList());
        for (unsigned int& id : resources_) {
            ASSERT_EQ(proxy_.LoadResource(kCapability, "words", 5, LEXO_RESOURCE_BUFFER,
                                          LEXO_RESOURCE_GRAMMAR_ABNF, &id),
                      LEXO_ERR_NONE);
        }
        for (void*& session : sessions_) {
            ASSERT_EQ(proxy_.SessionStart(kCapability, &session), LEXO_ERR_NONE);
        }
    }
    void TearDown() override {
        for (void* session : sessions_) {
            EXPECT_EQ(proxy_.SessionStop(session), LEXO_ERR_NONE);
        }
        EXPECT_EQ(proxy_.End(), LEXO_ERR_NONE);
    }
    int References(unsigned int id) {
        return OrvexProxyTestAccess::Engines()[kCapability].res_map[id].ref;
    }

    OrvexProxy& proxy_ = *OrvexProxy::GetInstance();
    unsigned int resources_[2] = {};
    void* sessions_[kThreads] = {};
};

// Bound, bound to the other one, bound to the same one again, bound by name, released: in the end
// nobody holds anything.
TEST_F(ResourceConcurrencyTest, ReferenceCountsComeOutEven) {
    std::atomic<int> errors = 0;
    RunThreads([&](int thread) {
        void* const session = sessions_[thread];
        const unsigned int first = resources_[thread % 2];
        const unsigned int second = resources_[1 - thread % 2];
        for (int i = 0; i < 200; ++i) {
            errors += proxy_.ActiveResource(session, first);
            errors += proxy_.ActiveResource(session, second);
            errors += proxy_.ActiveResource(session, second);
            if (i % 3 == 0) {
                errors += proxy_.ActivePreloadResource(session, "city");
            }
            errors += proxy_.DeactiveResource(session);
        }
    });
    EXPECT_EQ(errors, 0);
    for (const unsigned int id : resources_) {
        EXPECT_EQ(References(id), 0);
        EXPECT_EQ(proxy_.UnloadResource(kCapability, id), LEXO_ERR_NONE);
    }
}

// A resource that is bound at the end is bound exactly once for each session, and stays loaded.
TEST_F(ResourceConcurrencyTest, HeldReferencesKeepTheResource) {
    std::atomic<int> errors = 0;
    RunThreads([&](int thread) {
        for (int i = 0; i < 100; ++i) {
            errors += proxy_.ActiveResource(sessions_[thread], resources_[i % 2]);
        }
    });
    EXPECT_EQ(errors, 0);
    EXPECT_EQ(References(resources_[0]), 0);
    EXPECT_EQ(References(resources_[1]), kThreads);
    EXPECT_EQ(proxy_.UnloadResource(kCapability, resources_[0]), LEXO_ERR_NONE);
    EXPECT_EQ(proxy_.UnloadResource(kCapability, resources_[1]), LEXO_ERR_UNLOAD_RESOURCE_FAILED);
    for (void* session : sessions_) {
        EXPECT_EQ(proxy_.DeactiveResource(session), LEXO_ERR_NONE);
    }
    EXPECT_EQ(proxy_.UnloadResource(kCapability, resources_[1]), LEXO_ERR_NONE);
}

}  // namespace
