// Memory that cannot be obtained. The allocations are replaced for the whole program, so that a
// test can make the n-th one of its thread fail.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "CapturedOutput.h"
#include "ConnectionPool.h"
#include "EngineInfo.h"
#include "Reactions.h"
#include "RecogResult.h"
#include "ResultBuilders.h"
#include "ScriptedServer.h"
#include "param_word.h"
#include "proxy_session.h"

namespace {

thread_local int g_allocations_to_failure = 0;  // 0: none fails
int g_live_arrays = 0;

// Makes the n-th allocation from here on fail.
class FailingAllocation {
  public:
    explicit FailingAllocation(int number) { g_allocations_to_failure = number; }
    ~FailingAllocation() { g_allocations_to_failure = 0; }
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
};

}  // namespace

// Not inlined: the compiler would take malloc and free there for a mismatch with new and delete.
[[gnu::noinline]] void* operator new(std::size_t size) {
    if (g_allocations_to_failure > 0 && --g_allocations_to_failure == 0) throw std::bad_alloc();
    void* const memory = std::malloc(size);
    return memory != nullptr ? memory : throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    ::operator delete(memory);
}

void* operator new[](std::size_t size) {
    void* const array = ::operator new(size);
    ++g_live_arrays;
    return array;
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return ::operator new[](size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void operator delete[](void* array) noexcept {
    g_live_arrays -= array != nullptr ? 1 : 0;
    ::operator delete(array);
}

void operator delete[](void* array, std::size_t) noexcept {
    ::operator delete[](array);
}

namespace {

// A second call must not change the texts that sessions have borrowed.
TEST(EngineDefaultsTest, LeaveBorrowedTextsAlone) {
    EngineInfo engine;
    engine.engine_type = LEXO_ENGINE_FREETALK;
    EXPECT_TRUE(engine.SetEngineDefaultParams());
    const char* const borrowed = TextOf(engine.default_params[LEXO_PARAM_PROPERTY_DOMAIN]);
    EXPECT_TRUE(engine.SetEngineDefaultParams());
    EXPECT_NE(TextOf(engine.default_params[LEXO_PARAM_PROPERTY_DOMAIN]), borrowed);
    EXPECT_STREQ(borrowed, "common");
    engine.FreeDefaultTexts();
}

// Whichever list is missing: what was converted before it is released, all of it.
TEST(ResultWithoutMemoryTest, HalfConvertedResultsAreReleased) {
    const quorlan::protocol::LexoResponseMessage responses[] = {
        scripted::FreetalkResult(2, 2, 2), scripted::GrammarResult(2, 2),
        scripted::KeywordResult(2), scripted::AnalysisResult(2, 2, 2, 2, 2, 2)};
    for (const auto& response : responses) {
        const int live_before = g_live_arrays;
        int failures = 0;
        for (bool failed = true; failed; failures += failed ? 1 : 0) {
            Lexo_RecogResult result{};
            try {
                const FailingAllocation failing(failures + 1);
                EXPECT_TRUE(ParseResponse(response, &result));
                failed = false;
            } catch (const std::bad_alloc&) {
                EXPECT_EQ(result.sFreetalkResult.nSegmentCount, 0) << "lent as it is";
            }
            EXPECT_TRUE(ReleaseResult(&result));
            EXPECT_EQ(g_live_arrays, live_before) << "failure " << failures;
        }
        EXPECT_GT(failures, 0);
    }
}

// Wherever it is missing, in making, sending or reading the messages of a new connection. The
// result is empty: where a list cannot grow, protobuf itself loses the entry for it.
TEST(ExchangeWithoutMemoryTest, TheNextOneOnTheSameConnectionIsGood) {
    const scripted::CapturedOutput out(stdout);
    const scripted::CapturedOutput err(stderr);
    scripted::ScriptedServer server;
    server.Otherwise(scripted::Answer(scripted::EchoResult(scripted::FreetalkResult(0, 0, 0), 0)));
    int failures = 0;
    for (bool failed = true; failed;) {
        ConnectionPool::DestroyInstance();
        ParamMap params;
        ProxySession session(LEXO_ENGINE_FREETALK, "asr.cloud.freetalk", "", params);
        const auto recognize = [&] {
            int status = 0;
            return session.RecognizeStream("127.0.0.1", server.Port(), "a", 1, 0, &status);
        };
        try {
            const FailingAllocation failing(failures + 1);
            recognize();
            failed = g_allocations_to_failure == 0;  // else the log alone missed it, if anything
        } catch (const std::bad_alloc&) {
        }
        failures += failed ? 1 : 0;
        EXPECT_EQ(recognize(), LEXO_ERR_NONE) << failures;
    }
    EXPECT_GT(failures, 30);
}

}  // namespace
