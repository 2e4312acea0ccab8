// The defaults of each engine type, and what a configuration file may change of them.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>

#include "MessagesOf.h"
#include "TestEngine.h"

namespace {

// The parameters as "key=value", numbers and texts alike.
std::string Describe(const EngineInfo& engine) {
    std::string text;
    for (const auto& [key, word] : engine.default_params) {
        const bool is_text = key == 12 || key == 14 || key == 15;
        text += std::to_string(key) + "=" +
                (is_text ? TextOf(word) : std::to_string(NumberOf(word))) + " ";
    }
    return text;
}

TEST(EngineInfoTest, BuiltInDefaults) {
    const std::string expected[] = {
        "1=10000 2=500 3=30 4=0 5=10 7=0 8=0 9=0 12=chinese 13=0 14=common 15=need_nlu=no 16=0 ",
        "1=10000 2=500 3=30 4=0 5=10 6=0 8=0 12=chinese 13=0 14=common 15=need_nlu=no ",
        "1=10000 2=500 3=30 4=0 5=10 8=0 12=chinese 13=0 14=common 15=need_nlu=no ",
        "1=10000 2=500 3=30 4=0 5=10 7=0 9=0 10=0 11=0 12=chinese 13=0 14=common 15=need_nlu=no ",
    };
    for (const Lexo_EngineType type : kEngineTypes) {
        const TestEngine engine(type);
        EXPECT_EQ(Describe(engine), expected[type]) << type;
        EXPECT_EQ(engine.sample_rate, 8000u);
        EXPECT_EQ(engine.res_index, 1u);
    }
}

TEST(EngineInfoTest, UnknownTypeChangesNothing) {
    for (const int type : {-1, 4}) {
        EngineInfo engine;
        EXPECT_EQ(engine.engine_type, -1);
        engine.engine_type = static_cast<Lexo_EngineType>(type);
        bool result = true;
        EXPECT_EQ(MessagesOf([&] { result = engine.SetEngineDefaultParams(); }),
                  Messages{"First set the engine type."});
        EXPECT_FALSE(result);
        EXPECT_TRUE(engine.default_params.empty());
    }
}

// A file's common numbers count even so; there is no buffer for its texts.
TEST(EngineInfoTest, ConfigurationOfAnUnknownType) {
    TestEngine engine(static_cast<Lexo_EngineType>(-1));
    engine.Configure("[default]\nvad_head=7\nstream=1\nmode=1\nproperty_domain=bank\n");
    EXPECT_EQ(engine.Number(LEXO_PARAM_VAD_HEAD), 7);
    EXPECT_FALSE(engine.default_params.contains(LEXO_PARAM_STREAM));
    EXPECT_FALSE(engine.default_params.contains(LEXO_PARAM_MODE));
    EXPECT_STREQ(TextOf(engine.default_params[LEXO_PARAM_PROPERTY_DOMAIN]), "");
}

// A file that names every parameter; each engine type takes what it has.
TEST(EngineInfoTest, ConfigurationChangesTheTypesOwnKeys) {
    const char* const file =
        "[default]\nsample_rate=16000\nvad_head=1\nvad_tail=2\nmax_seconds=3\naudio_format=4\n"
        "vad_threshold=5\nnbest_result=6\nadd_punc=7\nstream=8\nresult_type=9\nmode=10\n"
        "channel_type=11\nproperty_language=lang\nproperty_model_type=13\nproperty_domain=dom\n"
        "post_process=15\nft_post_process=16\nqa_paramter=15\ntextpostproc=16\n"
        "stream_recog=17\nanalysis_mode=18\n";
    const std::string expected[] = {
        "1=1 2=2 3=3 4=4 5=5 7=7 8=8 9=9 12=lang 13=13 14=dom 15=need_nlu=no 16=0 ",
        "1=1 2=2 3=3 4=4 5=5 6=6 8=8 12=lang 13=13 14=dom 15=need_nlu=no ",
        "1=1 2=2 3=3 4=4 5=5 8=8 12=lang 13=13 14=dom 15=need_nlu=no ",
        "1=1 2=2 3=3 4=4 5=5 7=7 9=9 10=10 11=11 12=lang 13=13 14=dom 15=need_nlu=no ",
    };
    for (const Lexo_EngineType type : kEngineTypes) {
        TestEngine engine(type);
        engine.Configure(file);
        EXPECT_EQ(Describe(engine), expected[type]) << type;
        EXPECT_EQ(engine.sample_rate, 8000u);
    }
}

TEST(EngineInfoTest, ConfiguredNumbers) {
    const std::map<std::string, long> cases = {
        {"vad_head=99999999", 99999999},  // not checked against the range
        {"vad_head=-2", -2},
        {"vad_head=0", 0},
        {"vad_head = 7 \r", 7},
        {"vad_head=-1", 10000},  // as if it were absent
        {"vad_head=", 10000},
        {"vad_head=12x", 10000},
        {"vad_head=abc", 10000},
        {"vad_head=0x10", 10000},
        {"vad_head=99999999999", 10000},
        {"VAD_HEAD=7", 10000},
        {"[other]\nvad_head=7", 10000},
    };
    for (const auto& [line, value] : cases) {
        TestEngine engine(LEXO_ENGINE_GRAMMAR);
        engine.Configure("[default]\n" + line + "\n");
        EXPECT_EQ(engine.Number(LEXO_PARAM_VAD_HEAD), value) << line;
    }
}

// 256 bytes are kept, and there is an end behind them.
TEST(EngineInfoTest, ConfiguredTexts) {
    for (const std::size_t length : {0u, 1u, 255u, 256u, 257u, 5000u}) {
        TestEngine engine(LEXO_ENGINE_ANALYSIS);
        const std::string text(length, 'x');
        engine.Configure("[default]\nproperty_language=" + text + "\nproperty_domain=" + text);
        const std::string kept = text.substr(0, 256);
        EXPECT_EQ(engine.Text(LEXO_PARAM_PROPERTY_LANGUAGE), length == 0 ? "chinese" : kept);
        EXPECT_EQ(engine.Text(LEXO_PARAM_PROPERTY_DOMAIN), length == 0 ? "common" : kept);
    }
}

TEST(EngineInfoTest, DefaultsAppliedAgainLeaveBorrowedTextsAlone) {
    TestEngine engine(LEXO_ENGINE_FREETALK);
    engine.Configure("[default]\nvad_tail=77\nstream=3\nproperty_language=lang\n");
    const char* const borrowed = engine.Text(LEXO_PARAM_PROPERTY_LANGUAGE);
    EXPECT_TRUE(engine.SetEngineDefaultParams());
    EXPECT_STREQ(borrowed, "lang");
    EXPECT_STREQ(engine.Text(LEXO_PARAM_PROPERTY_LANGUAGE), "chinese");
    EXPECT_EQ(engine.Number(LEXO_PARAM_VAD_TAIL), 500);
    EXPECT_EQ(engine.Number(LEXO_PARAM_STREAM), 0);
}

TEST(EngineInfoTest, TextsMayBeCopiedWithinTheirBuffer) {
    char buffer[9];
    for (const auto& [text, expected] : std::map<std::string, const char*>{
             {"", ""}, {"12345678", "12345678"}, {"1234567890", "12345678"}}) {
        std::memset(buffer, 'z', sizeof buffer);
        CopyParamText(buffer, 8, text.c_str());
        EXPECT_STREQ(buffer, expected);
        EXPECT_EQ(buffer[8], '\0');
    }
    CopyParamText(buffer, 8, "abcdef");
    CopyParamText(buffer, 8, buffer + 2);
    EXPECT_EQ(std::string(buffer, sizeof buffer), std::string("cdef\0\0\0\0\0", sizeof buffer));
}

TEST(EngineInfoTest, DescriptionNamesWhatTheFileMayName) {
    TestEngine engine(LEXO_ENGINE_FREETALK);
    engine.cap_name = "asr.cloud.freetalk";
    EXPECT_EQ(engine.DescribeDefaults(),
              " <asr.cloud.freetalk>:\nvad_head\t=\t10000\nvad_tail\t=\t500\nmax_seconds\t=\t30\n"
              "audio_format\t=\t0\nvad_threshold\t=\t10\nadd_punc\t=\t0\nstream\t=\t0\n"
              "result_type\t=\t0\nproperty_language\t=\tchinese\nproperty_model_type\t=\t0\n"
              "property_domain\t=\tcommon\n");
    engine.Configure("[default]\nvad_tail=-7\nproperty_domain=a b");
    EXPECT_NE(engine.DescribeDefaults().find("\nvad_tail\t=\t-7\n"), std::string::npos);
    EXPECT_NE(engine.DescribeDefaults().find("\nproperty_domain\t=\ta b\n"), std::string::npos);
}

}  // namespace
