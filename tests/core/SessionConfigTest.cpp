// The task configuration text of a session.
#include <gtest/gtest.h>

#include <string>

#include "MessagesOf.h"
#include "TestEngine.h"
#include "proxy_session.h"

namespace {

constexpr const char* kPostProcess = "GetConfig  LEXO_PARAM_POST_PROCESS";
constexpr const char* kNoFreetalkPostProcess =
    "GetConfig LEXO_PARAM_FT_POST_PROCESS LEXO_FT_POST_PROCESS_NONE";

std::string ConfigOf(EngineInfo& engine) {
    return ProxySession(engine.engine_type, "cap", "", engine.default_params).GetConfig();
}

TEST(SessionConfigTest, DefaultsOfEachEngine) {
    const std::string common =
        "vad_head=10000,vad_tail=500,max_seconds=30,audio_format=pcm8k16bit,"
        "vad_threshold=10,";
    const std::string property =
        "property_language=chinese,property_model_type=8k,property_domain=common";
    const std::string expected[] = {
        common + "add_punc=no,stream_recog=no,result_type=sentence," + property,
        common + "nbest_result=no,stream_recog=no," + property,
        common + "stream_recog=no," + property,
        common + "add_punc=no,result_type=sentence,analysis_mode=offline,channel_type=mono," +
            property,
    };
    for (const Lexo_EngineType type : kEngineTypes) {
        TestEngine engine(type);
        EXPECT_EQ(ConfigOf(engine), expected[type]);
    }
}

class SessionConfigOfGrammarTest : public ::testing::Test {
  protected:
    SessionConfigOfGrammarTest() {
        // Little enough to compare whole texts.
        for (int key = LEXO_PARAM_VAD_HEAD; key <= LEXO_PARAM_STREAM; ++key) {
            engine_.default_params.erase(static_cast<Lexo_ParamKey>(key));
        }
    }

    TestEngine engine_{LEXO_ENGINE_GRAMMAR};
};

TEST_F(SessionConfigOfGrammarTest, ValuesThatWereSet) {
    engine_.default_params[LEXO_PARAM_STREAM] = WordOf(0);
    engine_.default_params[LEXO_PARAM_FT_POST_PROCESS] = WordOf(0);
    ProxySession session(LEXO_ENGINE_GRAMMAR, "asr.cloud.grammar", "", engine_.default_params);
    char domain[] = "b,c=d";
    char post_process[] = "need_nlu=yes";
    session.SetParam(LEXO_PARAM_STREAM, WordOf(3));
    session.SetParam(LEXO_PARAM_PROPERTY_MODEL_TYPE, WordOf(1));
    session.SetParam(LEXO_PARAM_PROPERTY_DOMAIN, domain);
    session.SetParam(LEXO_PARAM_POST_PROCESS, post_process);
    session.SetParam(LEXO_PARAM_FT_POST_PROCESS, WordOf(5));
    const std::string expected =
        "stream_recog=continue-rt,property_language=chinese,property_model_type=16k,"
        "property_domain=b,c=d,textpostproc=punctuate;smooth";
    EXPECT_EQ(MessagesOf([&] { EXPECT_EQ(session.GetConfig(), expected); }),
              (Messages{kPostProcess, "Config for [asr.cloud.grammar] is [" + expected + "]"}));
}

TEST_F(SessionConfigOfGrammarTest, NoFreetalkPostProcessing) {
    engine_.default_params[LEXO_PARAM_FT_POST_PROCESS] = WordOf(0);
    ProxySession session(LEXO_ENGINE_GRAMMAR, "cap", "", engine_.default_params);
    const std::string expected =
        "property_language=chinese,property_model_type=8k,property_domain=common";
    EXPECT_EQ(
        MessagesOf([&] { EXPECT_EQ(session.GetConfig(), expected); }),
        (Messages{kPostProcess, kNoFreetalkPostProcess, "Config for [cap] is [" + expected + "]"}));
}

// A pair that cannot be made leaves an empty item, but none in front of the first pair.
TEST_F(SessionConfigOfGrammarTest, PairsThatCannotBeMade) {
    engine_.default_params[LEXO_PARAM_SAMPLERATE] = WordOf(8000);
    engine_.default_params[LEXO_PARAM_VAD_HEAD] = WordOf(1);
    engine_.default_params[LEXO_PARAM_STREAM] = WordOf(7);
    engine_.default_params[LEXO_PARAM_RESULT_TYPE] = WordOf(2);
    ProxySession session(LEXO_ENGINE_GRAMMAR, "cap", "", engine_.default_params);
    const std::string expected =
        "vad_head=1,,result_type=charlist,property_language=chinese,property_model_type=8k,"
        "property_domain=common";
    EXPECT_EQ(MessagesOf([&] { EXPECT_EQ(session.GetConfig(), expected); }),
              (Messages{"Param type [0] not found.", "Param value [8=7] invalid.",
                        "Param type [8] not found.", kPostProcess,
                        "Config for [cap] is [" + expected + "]"}));
}

TEST_F(SessionConfigOfGrammarTest, FullTextBuffers) {
    const std::string language(256, 'l');
    const std::string domain(300, 'd');
    engine_.Configure("[default]\nproperty_language=" + language + "\nproperty_domain=" + domain);
    const std::string config = ConfigOf(engine_);
    EXPECT_NE(config.find(",property_language=" + language +
                          ",property_model_type=8k,"
                          "property_domain=" +
                          domain.substr(0, 256)),
              std::string::npos)
        << config;
    EXPECT_EQ(config.find(domain.substr(0, 257)), std::string::npos);
}

}  // namespace
