// Engine records as Init never makes them: of a type that nobody knows, or with their defaults
// applied a second time.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "MessagesOf.h"
#include "TestAccess.h"
#include "TestEngine.h"

namespace {

constexpr const char* kGrammar = "asr.cloud.grammar";

// A file's common numbers count even so; there is no buffer for its texts.
TEST(UnknownEngineTest, HasNoDefaults) {
    ConfigFile file = Settings("[default]\nvad_head=7\nstream=1\nproperty_domain=bank\n");
    for (const int type : {-1, 4}) {
        EngineInfo engine;
        EXPECT_EQ(engine.engine_type, -1);
        engine.engine_type = static_cast<Lexo_EngineType>(type);
        bool result = true;
        EXPECT_EQ(MessagesOf([&] { result = engine.SetEngineDefaultParams(); }),
                  Messages{"First set the engine type."});
        EXPECT_FALSE(result);
        EXPECT_TRUE(engine.default_params.empty());
        engine.SetEngineDefaultParams(&file);
        EXPECT_EQ(NumberOf(engine.default_params[LEXO_PARAM_VAD_HEAD]), 7);
        EXPECT_FALSE(engine.default_params.contains(LEXO_PARAM_STREAM));
        EXPECT_STREQ(TextOf(engine.default_params[LEXO_PARAM_PROPERTY_DOMAIN]), "");
    }
}

TEST(UnknownEngineTest, TakesAndReleasesNoResources) {
    ASSERT_TRUE(OrvexProxyTestAccess::GetEngineList());
    OrvexProxy& proxy = *OrvexProxy::GetInstance();
    EngineInfo& engine = OrvexProxyTestAccess::Engines()[kGrammar];
    void* session = nullptr;
    unsigned int id = 0;
    const auto load = [&] {
        return proxy.LoadResource(kGrammar, "words", 5, LEXO_RESOURCE_BUFFER,
                                  LEXO_RESOURCE_GRAMMAR_ABNF, &id);
    };
    ASSERT_EQ(proxy.SessionStart(kGrammar, &session), LEXO_ERR_NONE);
    ASSERT_EQ(load(), LEXO_ERR_NONE);
    ASSERT_EQ(proxy.ActiveResource(session, id), LEXO_ERR_NONE);

    engine.engine_type = static_cast<Lexo_EngineType>(4);
    const unsigned int bound = id;
    Lexo_ErrCode codes[5] = {};
    EXPECT_EQ(MessagesOf([&] {
                  codes[0] = load();
                  codes[1] = proxy.UnloadResource(kGrammar, bound);
                  codes[2] = proxy.ActiveResource(session, bound);
                  codes[3] = proxy.ActivePreloadResource(session, "city");
                  codes[4] = proxy.DeactiveResource(session);
              }),
              (Messages{"Engine [asr.cloud.grammar] doesn't need resource.",
                        "Engine doesn't need resource.", "Engine doesn't need resource.",
                        "Engine doesn't need resource.", "Engine doesn't need resource."}));
    for (const Lexo_ErrCode code : codes) {
        EXPECT_EQ(code, LEXO_ERR_NOT_SUPPORT);
    }
    EXPECT_EQ(engine.res_map.at(bound).ref, 2) << "taken again before the release failed";

    engine.engine_type = LEXO_ENGINE_GRAMMAR;
    engine.res_map.at(bound).ref = 1;
    EXPECT_EQ(proxy.DeactiveResource(session), LEXO_ERR_NONE);
    EXPECT_EQ(proxy.UnloadResource(kGrammar, bound), LEXO_ERR_NONE);
    EXPECT_EQ(proxy.SessionStop(session), LEXO_ERR_NONE);
    EXPECT_EQ(proxy.End(), LEXO_ERR_NONE);
}

TEST(RepeatedDefaultsTest, LeaveBorrowedTextsAlone) {
    TestEngine engine(LEXO_ENGINE_FREETALK);
    ConfigFile file = Settings("[default]\nproperty_language=lang\n");
    engine.SetEngineDefaultParams(&file);
    const char* const borrowed = TextOf(engine.default_params[LEXO_PARAM_PROPERTY_LANGUAGE]);
    EXPECT_TRUE(engine.SetEngineDefaultParams());
    EXPECT_STREQ(borrowed, "lang");
    EXPECT_STREQ(TextOf(engine.default_params[LEXO_PARAM_PROPERTY_LANGUAGE]), "chinese");
}

// A text may come from the buffer itself; the rest of the buffer is cleared.
TEST(ParamTextBufferTest, OverlappingCopy) {
    char buffer[9];
    std::memset(buffer, 'z', sizeof buffer);
    CopyParamText(buffer, 8, "1234567890");
    EXPECT_EQ(std::string(buffer, sizeof buffer), std::string("12345678\0", sizeof buffer));
    CopyParamText(buffer, 8, buffer + 2);
    EXPECT_EQ(std::string(buffer, sizeof buffer), std::string("345678\0\0\0", sizeof buffer));
}

}  // namespace
