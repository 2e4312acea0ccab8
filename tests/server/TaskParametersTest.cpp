#include <gtest/gtest.h>

#include "TaskParameters.h"

namespace orvx::test {
namespace {

TEST(TaskParametersTest, ReadsEveryParameterAndHasDefaults) {
    TaskParameters parameters;
    EXPECT_FALSE(ParseTaskParameters(",,vad_head=1,,", &parameters));
    EXPECT_FALSE(CheckParameters(Capability::kFreeTalk, parameters));
    EXPECT_EQ(parameters.vad_tail_ms, 500);
    EXPECT_EQ(parameters.max_seconds, 30);
    EXPECT_FALSE(parameters.IsRealTime());
    EXPECT_FALSE(ParseTaskParameters(
        "vad_head=1,vad_tail=2,vad_threshold=3,max_seconds=4,audio_format=gsm610,nbest_result=yes,"
        "add_punc=yes,stream_recog=continue-rt,result_type=charlist,analysis_mode=online,"
        "channel_type=right_agent,property_language=l,property_model_type=16k,property_domain=d,"
        "qa_paramter=q,textpostproc=smooth;punctuate",
        &parameters));
    EXPECT_EQ(parameters.vad_head_ms, 1);
    EXPECT_EQ(parameters.vad_tail_ms, 2);
    EXPECT_EQ(parameters.vad_threshold, 3);
    EXPECT_EQ(parameters.max_seconds, 4);
    EXPECT_EQ(parameters.audio_format, AudioFormat::kGsm610);
    EXPECT_TRUE(parameters.wants_nbest && parameters.wants_punctuation);
    EXPECT_EQ(parameters.stream, StreamMode::kContinueRt);
    EXPECT_EQ(parameters.result_type, ResultType::kCharlist);
    EXPECT_EQ(parameters.channel_type, ChannelType::kRightAgent);
    EXPECT_TRUE(parameters.is_online && parameters.wants_16k_model && parameters.IsRealTime());
    EXPECT_EQ(parameters.language + parameters.domain + parameters.post_process, "ldq");
    EXPECT_EQ(parameters.text_post_process, unsigned{kSmooth | kPunctuate});
}

TEST(TaskParametersTest, TheEndsOfEveryRangeBelongToIt) {
    const std::tuple<std::string, int, int> ranges[] = {{"vad_head", 0, 1800000},
                                                        {"vad_tail", 0, 30000},
                                                        {"vad_threshold", 1, 100},
                                                        {"max_seconds", 1, 60}};
    TaskParameters parameters;
    for (const auto& [name, lowest, highest] : ranges) {
        const auto is_taken = [&, pair = name + "="](int value) {
            return !ParseTaskParameters(pair + std::to_string(value), &parameters);
        };
        EXPECT_TRUE(is_taken(lowest) && is_taken(highest)) << name;
        EXPECT_FALSE(is_taken(lowest - 1) || is_taken(highest + 1)) << name;
    }
}

TEST(TaskParametersTest, SaysWhatIsWrongAndWhatWouldBeRight) {
    const std::tuple<const char*, int, const char*> cases[] = {
        {"vad_tail=-1", 1, "vad_tail is \"-1\", but must be an integer from 0 to 30000"},
        {"vad_tail=5x", 1, "vad_tail is \"5x\""},
        {"vad_head=99999999999", 1, "from 0 to 1800000"},
        {"audio_format=PCM8K16BIT", 1,
         "one of pcm8k16bit, alaw, ulaw, vox6k4bit, vox8k4bit, gsm610"},
        {"stream_recog=maybe", 1, "one of no, yes, continue, continue-rt, yes-rt"},
        {"result_type=words", 1, "one of sentence, wordlist, charlist"},
        {"textpostproc=smooth;xyz", 1, "punctuate, smooth, numnormal, paragraph"},
        {"vad_tial=500", 2, "unknown parameter \"vad_tial\"; known are vad_head, vad_tail"},
        {"evil\r\n2026 ERROR forged=1", 2, "\"evil\\x0D\\x0A2026 ERROR forged\""},
        {"audio_format=v3_6k4bit", 2, "no decoder"},
        {"result_type=charlist", 2, "use wordlist or sentence"},
        {"add_punc=yes", 2, "makes no punctuation"},
        {"textpostproc=numnormal", 2, "not post-processed"},
        {"analysis_mode=online", 2, "asr.cloud.analysis"},
        {"channel_type=left_agent", 2, "asr.cloud.analysis"}};
    for (const auto& [text, error_no, says] : cases) {
        TaskParameters parameters;
        auto failure = ParseTaskParameters(text, &parameters);
        if (!failure) failure = CheckParameters(Capability::kFreeTalk, parameters);
        ASSERT_TRUE(failure) << text;
        EXPECT_EQ(failure->error_no, error_no) << text;
        EXPECT_NE(failure->text.find(says), std::string::npos) << failure->text;
    }
}

TEST(TaskParametersTest, AnAnalysisMayHaveTwoChannelsOfSingleSamples) {
    TaskParameters parameters;
    for (const std::string format : {"pcm16k16bit", "alaw", "ulaw", "gsm610", "vox8k4bit"}) {
        ParseTaskParameters("channel_type=left_agent,audio_format=" + format, &parameters);
        EXPECT_EQ(CheckParameters(Capability::kAnalysis, parameters).has_value(),
                  format == "gsm610" || format == "vox8k4bit");
        EXPECT_TRUE(CheckParameters(Capability::kGrammar, parameters)) << format;
    }
    EXPECT_EQ(parameters.RoleOf(0), Role::kAgent);
    EXPECT_EQ(parameters.RoleOf(1), Role::kUser);
    parameters.channel_type = ChannelType::kRightAgent;
    EXPECT_EQ(parameters.RoleOf(0), Role::kUser);
    EXPECT_EQ(parameters.RoleOf(1), Role::kAgent);
    parameters.channel_type = ChannelType::kMono;
    EXPECT_FALSE(CheckParameters(Capability::kAnalysis, parameters));
    EXPECT_EQ(parameters.RoleOf(0), Role::kUnknown);
    parameters.stream = StreamMode::kYes;
    EXPECT_TRUE(CheckParameters(Capability::kAnalysis, parameters)) << "it has its own mode";
}

}  // namespace
}  // namespace orvx::test
