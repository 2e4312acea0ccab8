#include <gtest/gtest.h>

#include <cstdint>

#include "Errors.h"
#include "Parameters.h"

namespace recognize {
namespace {

TEST(Parameters, ReadsNamesAndValues) {
    const struct {
        const char* assignment;
        Lexo_ParamKey key;
        int number;
    } cases[] = {
        {"vad_head=0", LEXO_PARAM_VAD_HEAD, 0},
        {"vad_head=1800000", LEXO_PARAM_VAD_HEAD, 1800000},
        {"vad_tail=30000", LEXO_PARAM_VAD_TAIL, 30000},
        {"vad_threshold=1", LEXO_PARAM_VAD_THRESHOLD, 1},
        {"vad_threshold=100", LEXO_PARAM_VAD_THRESHOLD, 100},
        {"max_seconds=60", LEXO_PARAM_MAX_SECONDS, 60},
        {"audio_format=pcm8k16bit", LEXO_PARAM_AUDIOFORMAT, 0},
        {"audio_format=alaw", LEXO_PARAM_AUDIOFORMAT, 1},
        {"audio_format=ulaw", LEXO_PARAM_AUDIOFORMAT, 2},
        {"audio_format=vox6k4bit", LEXO_PARAM_AUDIOFORMAT, 3},
        {"audio_format=vox8k4bit", LEXO_PARAM_AUDIOFORMAT, 4},
        {"audio_format=gsm610", LEXO_PARAM_AUDIOFORMAT, 5},
        {"audio_format=pcm16k16bit", LEXO_PARAM_AUDIOFORMAT, 6},
        {"nbest_result=yes", LEXO_PARAM_NBEST_RESULT, 1},
        {"add_punc=no", LEXO_PARAM_ADD_PUNC, 0},
        {"stream_recog=yes", LEXO_PARAM_STREAM, 1},
        {"stream_recog=continue", LEXO_PARAM_STREAM, 2},
        {"stream_recog=continue-rt", LEXO_PARAM_STREAM, 3},
        {"stream_recog=yes-rt", LEXO_PARAM_STREAM, 4},
        {"result_type=wordlist", LEXO_PARAM_RESULT_TYPE, 1},
        {"result_type=charlist", LEXO_PARAM_RESULT_TYPE, 2},
        {"analysis_mode=online", LEXO_PARAM_MODE, 1},
        {"channel_type=left_agent", LEXO_PARAM_CHANNEL_TYPE, 1},
        {"channel_type=right_agent", LEXO_PARAM_CHANNEL_TYPE, 2},
        {"property_model_type=16k", LEXO_PARAM_PROPERTY_MODEL_TYPE, 1},
        {"textpostproc=numnormal", LEXO_PARAM_FT_POST_PROCESS, 2},
        {"textpostproc=smooth;punctuate", LEXO_PARAM_FT_POST_PROCESS, 5},
        {"textpostproc=punctuate;smooth;numnormal;paragraph", LEXO_PARAM_FT_POST_PROCESS, 15},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.assignment);
        const ParameterSetting setting = ParseParameter(c.assignment);
        EXPECT_EQ(setting.key, c.key);
        EXPECT_EQ(reinterpret_cast<std::intptr_t>(setting.Word()), c.number);
        EXPECT_EQ(ParameterName(c.key), setting.name);
    }
}

TEST(Parameters, KeepsTextAsItIs) {
    const struct {
        std::string assignment;
        Lexo_ParamKey key;
        std::string text;
    } cases[] = {
        {"property_language=english", LEXO_PARAM_PROPERTY_LANGUAGE, "english"},
        {"property_domain= a b ", LEXO_PARAM_PROPERTY_DOMAIN, " a b "},
        {"qa_paramter=need_nlu=yes,x=1", LEXO_PARAM_POST_PROCESS, "need_nlu=yes,x=1"},
        {"property_language=" + std::string(256, 'x'), LEXO_PARAM_PROPERTY_LANGUAGE,
         std::string(256, 'x')},
        {"qa_paramter=" + std::string(1024, 'x'), LEXO_PARAM_POST_PROCESS, std::string(1024, 'x')},
    };
    for (const auto& c : cases) {
        const ParameterSetting setting = ParseParameter(c.assignment);
        EXPECT_EQ(setting.key, c.key);
        EXPECT_STREQ(static_cast<const char*>(setting.Word()), c.text.c_str());
    }
}

TEST(Parameters, AnswersWrongOnesWithTheRightOnes) {
    const struct {
        std::string assignment;
        std::vector<const char*> told;
    } cases[] = {
        {"vad_head", {"name=value"}},
        {"", {"name=value"}},
        {"stream=yes", {"\"stream\"", "stream_recog", "textpostproc", "vad_head"}},
        {"VAD_HEAD=1", {"no parameter"}},
        {"=1", {"no parameter"}},
        {"vad_head=-1", {"vad_head", "from 0 to 1800000"}},
        {"vad_head=1800001", {"from 0 to 1800000"}},
        {"vad_head=", {"from 0 to 1800000"}},
        {"vad_head= 5", {"from 0 to 1800000"}},
        {"vad_tail=5ms", {"from 0 to 30000"}},
        {"vad_tail=99999999999", {"from 0 to 30000"}},
        {"max_seconds=0", {"from 1 to 60"}},
        {"vad_threshold=101", {"from 1 to 100"}},
        {"audio_format=PCM8K16BIT", {"pcm8k16bit, alaw", "pcm16k16bit"}},
        {"audio_format=6", {"pcm16k16bit"}},
        {"stream_recog=continue_rt", {"no, yes, continue, continue-rt, yes-rt"}},
        {"textpostproc=", {"punctuate, smooth, numnormal, paragraph"}},
        {"textpostproc=smooth;xyz", {"\"smooth;xyz\"", "paragraph"}},
        {"textpostproc=smooth;", {"paragraph"}},
        {"property_language=", {"1 to 256 bytes"}},
        {"property_domain=" + std::string(257, 'x'), {"1 to 256 bytes"}},
        {"property_domain=a,audio_format=alaw", {"without \",\""}},
        {"qa_paramter=" + std::string(1025, 'x'), {"1 to 1024 bytes"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.assignment);
        try {
            ParseParameter(c.assignment);
            ADD_FAILURE() << "was accepted";
        } catch (const UsageError& error) {
            for (const char* told : c.told) {
                EXPECT_NE(std::string(error.what()).find(told), std::string::npos)
                    << error.what() << " lacks " << told;
            }
        }
    }
}

}  // namespace
}  // namespace recognize
