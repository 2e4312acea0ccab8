// Text buffers, resource bytes and result lists that cannot be obtained. The array allocations are
// replaced for the whole program, so that a test can make the n-th one fail.
#include <gtest/gtest.h>

#include <new>
#include <string>

#include "EngineInfo.h"
#include "MessagesOf.h"
#include "RecogResult.h"
#include "ResultBuilders.h"
#include "TestAccess.h"
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

using Access = ProxySessionTestAccess;

constexpr Lexo_ParamKey kTextKeys[] = {LEXO_PARAM_PROPERTY_LANGUAGE, LEXO_PARAM_PROPERTY_DOMAIN,
                                       LEXO_PARAM_POST_PROCESS};

// Which of the three texts are there, e.g. "100" for the language alone.
std::string TextsIn(const ProxySession::ParamMap& params) {
    std::string texts;
    for (const Lexo_ParamKey key : kTextKeys)
        texts += params.contains(key) && params.at(key) != nullptr ? '1' : '0';
    return texts;
}

TEST(SessionWithoutMemoryTest, ConstructionStopsAtTheMissingBuffer) {
    const struct {
        int failing;
        const char* message;
        const char* texts;
    } cases[] = {
        {1, "new LEXO_PARAM_PROPERTY_LANGUAGE[256] failed!", "000"},
        {2, "new LEXO_PARAM_PROPERTY_DOMAIN[256] failed!", "000"},
        {3, "new LEXO_PARAM_POST_PROCESS[1024] failed!", "110"},
    };
    ProxySession::ParamMap defaults = {{LEXO_PARAM_STREAM, WordOf(1)},
                                       {LEXO_PARAM_PROPERTY_MODEL_TYPE, WordOf(0)}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        std::unique_ptr<ProxySession> session;
        EXPECT_EQ(MessagesOf([&] {
                      const FailingAllocation failing(c.failing);
                      session =
                          std::make_unique<ProxySession>(LEXO_ENGINE_FREETALK, "cap", "", defaults);
                  }),
                  Messages{c.message});
        EXPECT_EQ(TextsIn(Access::Params(*session)), c.texts);
        EXPECT_FALSE(Access::IsRealTime(*session));

        // What is left of the session is safe to use.
        char text[] = "text";
        for (std::size_t i = 0; i < 3; ++i) {
            const Lexo_ErrCode code = c.texts[i] == '1' ? LEXO_ERR_NONE : LEXO_ERR_MEMORY;
            Lexo_ParamValue value = nullptr;
            EXPECT_EQ(session->SetParam(kTextKeys[i], text), code);
            EXPECT_EQ(session->GetParam(kTextKeys[i], &value), code);
        }
        EXPECT_EQ(session->SetParam(LEXO_PARAM_PROPERTY_MODEL_TYPE, WordOf(1)), LEXO_ERR_NONE);
        int status = -77;
        EXPECT_EQ(session->RecognizeStream("127.0.0.1", 1, "audio", 5, 0, &status),
                  LEXO_ERR_MEMORY);
        EXPECT_EQ(status, -77);
    }
}

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
            }
            EXPECT_TRUE(ReleaseResult(&result));
            EXPECT_EQ(g_live_arrays, live_before) << "failure " << failures;
        }
        EXPECT_GT(failures, 0);
    }
}

}  // namespace
