// Engine records as Init never makes them: of a type that nobody knows, or with their defaults
// applied a second time.
#include <gtest/gtest.h>

#include <string>

#include "MessagesOf.h"
#include "TestEngine.h"

namespace {

// A file's common numbers count even so; there is no buffer for its texts.
TEST(EngineInfoTest, UnknownTypesHaveNoDefaults) {
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

TEST(EngineInfoTest, DefaultsAppliedAgainLeaveBorrowedTextsAlone) {
    TestEngine engine(LEXO_ENGINE_FREETALK);
    ConfigFile file = Settings("[default]\nproperty_language=lang\n");
    engine.SetEngineDefaultParams(&file);
    const char* const borrowed = TextOf(engine.default_params[LEXO_PARAM_PROPERTY_LANGUAGE]);
    EXPECT_TRUE(engine.SetEngineDefaultParams());
    EXPECT_STREQ(borrowed, "lang");
    EXPECT_STREQ(TextOf(engine.default_params[LEXO_PARAM_PROPERTY_LANGUAGE]), "chinese");
}

}  // namespace
