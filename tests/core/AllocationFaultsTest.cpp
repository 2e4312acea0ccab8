// Result lists that cannot be obtained. The array allocations are replaced for the whole program,
// so that a test can make the n-th one fail.
#include <gtest/gtest.h>

#include <new>

#include "EngineInfo.h"
#include "RecogResult.h"
#include "ResultBuilders.h"
#include "param_word.h"

namespace {

int g_allocations_to_failure = 0;  // 0: none fails
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

void* operator new[](std::size_t size) {
    if (g_allocations_to_failure > 0 && --g_allocations_to_failure == 0) throw std::bad_alloc();
    ++g_live_arrays;
    return ::operator new(size);
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

}  // namespace
