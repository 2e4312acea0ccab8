#include <gtest/gtest.h>

#include "TaskParameters.h"

namespace orvx::test {
namespace {

TEST(TaskParametersTest, ReadsWhatTheLibrarySendsByDefault) {
    TaskParameters parameters;
    EXPECT_FALSE(ParseTaskParameters(
        "vad_head=10000,vad_tail=500,max_seconds=30,audio_format=pcm8k16bit,vad_threshold=10,"
        "add_punc=no,stream_recog=no,result_type=sentence,property_language=chinese,"
        "property_model_type=8k,property_domain=common",
        &parameters));
    EXPECT_FALSE(CheckFreeTalkParameters(parameters));
    EXPECT_EQ(parameters.vad_head_ms, 10000);
    EXPECT_EQ(parameters.audio_format, AudioFormat::kPcm8k16bit);
    EXPECT_EQ(parameters.language, "chinese");
    EXPECT_FALSE(parameters.IsRealTime());
}

TEST(TaskParametersTest, ReadsEveryParameter) {
    TaskParameters parameters;
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
    EXPECT_TRUE(parameters.wants_nbest);
    EXPECT_TRUE(parameters.wants_punctuation);
    EXPECT_EQ(parameters.stream, StreamMode::kContinueRt);
    EXPECT_EQ(parameters.result_type, ResultType::kCharlist);
    EXPECT_TRUE(parameters.is_online);
    EXPECT_EQ(parameters.channel_type, ChannelType::kRightAgent);
    EXPECT_EQ(parameters.language, "l");
    EXPECT_TRUE(parameters.wants_16k_model);
    EXPECT_EQ(parameters.domain, "d");
    EXPECT_EQ(parameters.post_process, "q");
    EXPECT_EQ(parameters.text_post_process, unsigned{kSmooth | kPunctuate});
    EXPECT_TRUE(parameters.IsRealTime());
}

TEST(TaskParametersTest, AnEmptyTextAndEmptyPairsLeaveTheDefaults) {
    for (const char* const text : {"", ",", ",,vad_tail=500,,"}) {
        TaskParameters parameters;
        EXPECT_FALSE(ParseTaskParameters(text, &parameters)) << text;
        EXPECT_EQ(parameters.vad_tail_ms, 500);
        EXPECT_EQ(parameters.max_seconds, 30);
    }
}

TEST(TaskParametersTest, TheEndsOfEveryRangeBelongToIt) {
    const struct {
        const char* name;
        int lowest;
        int highest;
    } ranges[] = {{"vad_head", 0, 1800000},
                  {"vad_tail", 0, 30000},
                  {"vad_threshold", 1, 100},
                  {"max_seconds", 1, 60}};
    for (const auto& range : ranges) {
        const auto fails = [&range](int value) {
            TaskParameters parameters;
            return ParseTaskParameters(range.name + ("=" + std::to_string(value)), &parameters)
                .has_value();
        };
        EXPECT_FALSE(fails(range.lowest)) << range.name;
        EXPECT_FALSE(fails(range.highest)) << range.name;
        EXPECT_TRUE(fails(range.lowest - 1)) << range.name;
        EXPECT_TRUE(fails(range.highest + 1)) << range.name;
    }
}

struct Refused {
    const char* text;
    int error_no;
    const char* says;
};

class RefusedParametersTest : public testing::TestWithParam<Refused> {};

TEST_P(RefusedParametersTest, SaysWhatIsWrongAndWhatWouldBeRight) {
    TaskParameters parameters;
    auto failure = ParseTaskParameters(GetParam().text, &parameters);
    if (!failure) failure = CheckFreeTalkParameters(parameters);
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->error_no, GetParam().error_no);
    EXPECT_NE(failure->text.find(GetParam().says), std::string::npos) << failure->text;
}

INSTANTIATE_TEST_SUITE_P(
    Values, RefusedParametersTest,
    testing::Values(
        Refused{"vad_tail=-1", 1, "vad_tail is \"-1\", but must be an integer from 0 to 30000"},
        Refused{"vad_tail=5x", 1, "vad_tail is \"5x\""},
        Refused{"vad_tail=", 1, "vad_tail is \"\""},
        Refused{"vad_head=99999999999", 1, "from 0 to 1800000"},
        Refused{"audio_format=PCM8K16BIT", 1, "one of pcm8k16bit, alaw"},
        Refused{"stream_recog=maybe", 1, "one of no, yes, continue, continue-rt, yes-rt"},
        Refused{"result_type=words", 1, "one of sentence, wordlist, charlist"},
        Refused{"textpostproc=smooth;xyz", 1, "punctuate, smooth, numnormal, paragraph"},
        Refused{"textpostproc=smooth;", 1, "joined by"},
        Refused{"vad_tial=500", 2, "unknown parameter \"vad_tial\"; known are vad_head, vad_tail"},
        Refused{"stream=yes", 2, "unknown parameter \"stream\""},
        Refused{"sample_rate=8000", 2, "unknown parameter"},
        Refused{"evil\r\n2026 ERROR forged=1", 2, "\"evil\\x0D\\x0A2026 ERROR forged\""},
        Refused{"audio_format=v3_6k4bit", 2, "no decoder"},
        Refused{"result_type=charlist", 2, "use wordlist or sentence"},
        Refused{"add_punc=yes", 2, "makes no punctuation"},
        Refused{"textpostproc=numnormal", 2, "not post-processed"},
        Refused{"analysis_mode=online", 2, "asr.cloud.analysis"},
        Refused{"channel_type=left_agent", 2, "asr.cloud.analysis"}));

}  // namespace
}  // namespace orvx::test
