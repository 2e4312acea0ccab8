// Text buffers and resource bytes that cannot be obtained. The non-throwing array allocation is
// replaced for the whole program, so that a test can make the n-th one fail.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <string>

#include "MessagesOf.h"
#include "ResourceFile.h"
#include "TestAccess.h"
#include "TestEngine.h"

namespace {

int g_allocations_to_failure = 0;  // 0: none fails

// Makes the n-th allocation from here on fail.
class FailingAllocation {
  public:
    explicit FailingAllocation(int number) { g_allocations_to_failure = number; }
    ~FailingAllocation() { g_allocations_to_failure = 0; }
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
};

}  // namespace

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    if (g_allocations_to_failure > 0 && --g_allocations_to_failure == 0) {
        return nullptr;
    }
    try {
        return ::operator new[](size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

namespace {

using Access = ProxySessionTestAccess;

constexpr Lexo_ParamKey kTextKeys[] = {LEXO_PARAM_PROPERTY_LANGUAGE, LEXO_PARAM_PROPERTY_DOMAIN,
                                       LEXO_PARAM_POST_PROCESS};

// Which of the three texts are there, e.g. "10" for the language alone.
template <typename Map>
std::string TextsIn(const Map& params) {
    std::string texts;
    for (const Lexo_ParamKey key : kTextKeys) {
        texts += params.contains(key) && params.at(key) != nullptr ? '1' : '0';
    }
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
    TestEngine engine(LEXO_ENGINE_FREETALK);
    engine.default_params[LEXO_PARAM_STREAM] = WordOf(1);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        std::unique_ptr<ProxySession> session;
        EXPECT_EQ(MessagesOf([&] {
                      const FailingAllocation failing(c.failing);
                      session = std::make_unique<ProxySession>(LEXO_ENGINE_FREETALK, "cap", "",
                                                               engine.default_params);
                  }),
                  Messages{c.message});
        EXPECT_EQ(TextsIn(Access::Params(*session)), c.texts);
        EXPECT_FALSE(Access::IsRealTime(*session));
        EXPECT_EQ(Access::Property(*session), "");

        // What is left of the session is safe to use.
        char text[] = "text";
        for (std::size_t i = 0; i < 3; ++i) {
            const Lexo_ErrCode code = c.texts[i] == '1' ? LEXO_ERR_NONE : LEXO_ERR_MEMORY;
            Lexo_ParamValue value = nullptr;
            EXPECT_EQ(session->SetParam(kTextKeys[i], text), code);
            EXPECT_EQ(session->GetParam(kTextKeys[i], &value), code);
            EXPECT_STREQ(TextOf(value), code == LEXO_ERR_NONE ? "text" : "");
        }
        EXPECT_EQ(session->SetParam(LEXO_PARAM_PROPERTY_MODEL_TYPE, WordOf(1)), LEXO_ERR_NONE);
        EXPECT_NE(session->GetConfig().find("property_model_type=16k"), std::string::npos);
        int status = -77;
        EXPECT_EQ(session->RecognizeStream("127.0.0.1", 1, "audio", 5, 0, &status),
                  LEXO_ERR_MEMORY);
        EXPECT_EQ(status, -77);
    }
    EXPECT_STREQ(engine.Text(LEXO_PARAM_PROPERTY_LANGUAGE), "chinese");
}

TEST(EngineWithoutMemoryTest, DefaultsStopAtTheMissingBuffer) {
    const struct {
        int failing;
        Messages messages;
        const char* texts;
        bool has_model_type;
    } cases[] = {
        {1, {"new LEXO_PARAM_PROPERTY_LANGUAGE[256] failed!"}, "000", false},
        {2, {"new LEXO_PARAM_PROPERTY_DOMAIN[256] failed!"}, "000", true},
        {3, {}, "110", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.failing);
        EngineInfo engine;
        engine.engine_type = LEXO_ENGINE_ANALYSIS;
        bool result = true;
        EXPECT_EQ(MessagesOf([&] {
                      const FailingAllocation failing(c.failing);
                      result = engine.SetEngineDefaultParams();
                  }),
                  c.messages);
        if (c.failing < 3) {
            EXPECT_FALSE(result);
        }
        EXPECT_EQ(TextsIn(engine.default_params), c.texts);
        EXPECT_EQ(engine.default_params.contains(LEXO_PARAM_PROPERTY_MODEL_TYPE), c.has_model_type);
        EXPECT_EQ(NumberOf(engine.default_params[LEXO_PARAM_VAD_TAIL]), 500);
        EXPECT_EQ(NumberOf(engine.default_params[LEXO_PARAM_CHANNEL_TYPE]), 0);
        engine.FreeDefaultTexts();
    }
}

// A configured text without a buffer goes nowhere; the rest of the file still counts.
TEST(EngineWithoutMemoryTest, ConfigurationWithoutBuffers) {
    const scripted::TestHome home;
    ConfigFile file;
    ASSERT_TRUE(file.LoadFromFile(
        home.WriteFile("a.conf", "[default]\nproperty_domain=bank\nvad_tail=7\n").c_str()));
    EngineInfo engine;
    engine.engine_type = LEXO_ENGINE_GRAMMAR;
    {
        const FailingAllocation failing(1);
        EXPECT_TRUE(engine.SetEngineDefaultParams(&file));
    }
    EXPECT_EQ(TextsIn(engine.default_params), "000");
    EXPECT_EQ(NumberOf(engine.default_params[LEXO_PARAM_VAD_TAIL]), 7);
    EXPECT_NE(engine.DescribeDefaults().find("property_domain\t=\t\n"), std::string::npos);
    engine.FreeDefaultTexts();
}

TEST(ResourceWithoutMemoryTest, BufferAndFile) {
    const scripted::TestHome home;
    const std::string path = home.WriteFile("words", "a b c");
    const struct {
        Lexo_ResourceType type;
        std::string source;
    } cases[] = {{LEXO_RESOURCE_BUFFER, "a b c"}, {LEXO_RESOURCE_FILE, path}};
    for (const auto& c : cases) {
        ResourceBytes bytes;
        Lexo_ErrCode code = LEXO_ERR_NONE;
        EXPECT_EQ(MessagesOf([&] {
                      const FailingAllocation failing(1);
                      code = bytes.Obtain(c.type, c.source.c_str(), 5);
                  }),
                  Messages{"Allocate memory failed(len=5)"});
        EXPECT_EQ(code, LEXO_ERR_MEMORY);
        EXPECT_EQ(bytes.data, nullptr);
        EXPECT_EQ(bytes.length, 0);
    }
}

}  // namespace
