// The task configuration: a session's parameters in the words of the server.
#include <string>
#include <utility>

#include "TestHost.h"

namespace {

using scripted::Logged;

class TaskConfigTest : public HostTest {};

const char* const kVad =
    "vad_head=10000,vad_tail=500,max_seconds=30,audio_format=pcm8k16bit,"
    "vad_threshold=10,";
const char* const kProperty =
    "property_language=chinese,property_model_type=8k,"
    "property_domain=common";

TEST_F(TaskConfigTest, TheTaskConfigurationOfEachCapability) {
    const std::pair<const char*, const char*> cases[] = {
        {"asr.cloud.freetalk", "add_punc=no,stream_recog=no,result_type=sentence,"},
        {"asr.cloud.grammar", "nbest_result=no,stream_recog=no,"},
        {"asr.cloud.keywordspot", "stream_recog=no,"},
        {"asr.cloud.analysis",
         "add_punc=no,result_type=sentence,analysis_mode=offline,channel_type=mono,"},
    };
    for (const auto& [capability, own] : cases) {
        SCOPED_TRACE(capability);
        Session session(capability);
        home_.NewLog();
        const std::string config = std::string(kVad) + own + kProperty;
        EXPECT_EQ(Sent(session).inner.task_config(), config);
        const auto log = home_.NewLog();
        EXPECT_TRUE(Logged(log, "INFO",
                           std::string("Config for [") + capability + "] is [" + config + "]"));
        EXPECT_TRUE(Logged(log, "DEBUG", "GetConfig  LEXO_PARAM_POST_PROCESS"));
        EXPECT_EQ(static_cast<bool>(Logged(log, "DEBUG",
                                           "GetConfig LEXO_PARAM_FT_POST_PROCESS "
                                           "LEXO_FT_POST_PROCESS_NONE")),
                  std::string(capability) == "asr.cloud.freetalk");
    }
}

struct PairCase {
    const char* capability;
    Lexo_ParamKey key;
    std::intptr_t value;
    const char* pair;  // "" when none is to appear
};

const PairCase kPairCases[] = {
    {"freetalk", LEXO_PARAM_VAD_HEAD, 0, "vad_head=0"},
    {"freetalk", LEXO_PARAM_VAD_HEAD, (std::intptr_t{1} << 32) + 5, "vad_head=5"},
    {"freetalk", LEXO_PARAM_VAD_TAIL, 30000, "vad_tail=30000"},
    {"freetalk", LEXO_PARAM_MAX_SECONDS, 60, "max_seconds=60"},
    {"freetalk", LEXO_PARAM_VAD_THRESHOLD, 100, "vad_threshold=100"},
    {"freetalk", LEXO_PARAM_AUDIOFORMAT, 1, "audio_format=alaw"},
    {"freetalk", LEXO_PARAM_AUDIOFORMAT, 2, "audio_format=ulaw"},
    {"freetalk", LEXO_PARAM_AUDIOFORMAT, 3, "audio_format=vox6k4bit"},
    {"freetalk", LEXO_PARAM_AUDIOFORMAT, 4, "audio_format=vox8k4bit"},
    {"freetalk", LEXO_PARAM_AUDIOFORMAT, 5, "audio_format=gsm610"},
    {"freetalk", LEXO_PARAM_AUDIOFORMAT, 6, "audio_format=pcm16k16bit"},
    {"freetalk", LEXO_PARAM_AUDIOFORMAT, 7, "audio_format=v3_6k4bit"},
    {"grammar", LEXO_PARAM_NBEST_RESULT, 1, "nbest_result=yes"},
    {"freetalk", LEXO_PARAM_ADD_PUNC, 1, "add_punc=yes"},
    {"grammar", LEXO_PARAM_STREAM, 1, "stream_recog=yes"},
    {"grammar", LEXO_PARAM_STREAM, 2, "stream_recog=continue"},
    {"grammar", LEXO_PARAM_STREAM, 3, "stream_recog=continue-rt"},
    {"grammar", LEXO_PARAM_STREAM, 4, "stream_recog=yes-rt"},
    {"analysis", LEXO_PARAM_RESULT_TYPE, 1, "result_type=wordlist"},
    {"analysis", LEXO_PARAM_RESULT_TYPE, 2, "result_type=charlist"},
    {"analysis", LEXO_PARAM_MODE, 1, "analysis_mode=online"},
    {"analysis", LEXO_PARAM_CHANNEL_TYPE, 1, "channel_type=left_agent"},
    {"analysis", LEXO_PARAM_CHANNEL_TYPE, 2, "channel_type=right_agent"},
    {"keywordspot", LEXO_PARAM_PROPERTY_MODEL_TYPE, 1, "property_model_type=16k"},
    {"freetalk", LEXO_PARAM_FT_POST_PROCESS, 0, ""},
    {"freetalk", LEXO_PARAM_FT_POST_PROCESS, 5, "textpostproc=punctuate;smooth"},
    {"freetalk", LEXO_PARAM_FT_POST_PROCESS, 6, "textpostproc=smooth;numnormal"},
    {"freetalk", LEXO_PARAM_FT_POST_PROCESS, 15,
     "textpostproc=punctuate;smooth;numnormal;paragraph"},
};

TEST_F(TaskConfigTest, EachParameterAppearsInItsWords) {
    for (const PairCase& one : kPairCases) {
        Session session(one.capability);
        const std::string before = Sent(session).inner.task_config();
        ASSERT_EQ(session.SetNumber(one.key, one.value), LEXO_ERR_NONE);
        const std::string pair = one.pair;
        std::string expected = before;
        if (one.key != LEXO_PARAM_FT_POST_PROCESS) {
            const std::size_t from = before.find(pair.substr(0, pair.find('=') + 1));
            expected.replace(from, before.find_first_of(",", from) - from, pair);
        } else if (!pair.empty()) {
            expected += "," + pair;
        }
        EXPECT_EQ(Sent(session).inner.task_config(), expected) << "key " << one.key;
    }
}

TEST_F(TaskConfigTest, LongTextsAreNotCutInTheTaskConfiguration) {
    Session session("keywordspot");
    const std::string language(256, 'l');
    const std::string domain(200, 'd');
    session.SetText(LEXO_PARAM_PROPERTY_LANGUAGE, language.c_str());
    session.SetText(LEXO_PARAM_PROPERTY_DOMAIN, domain.c_str());
    EXPECT_EQ(Sent(session).inner.task_config(),
              std::string(kVad) + "stream_recog=no,property_language=" + language +
                  ",property_model_type=8k,property_domain=" + domain);
}

TEST_F(TaskConfigTest, ADefaultOutsideItsTableLeavesAnEmptyItem) {
    home_.WriteFile("conf/Lexo_SDK.conf", "[default]\naudio_format = 99\nvad_tail = 40000\n");
    ASSERT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE);
    Session session("keywordspot");
    home_.NewLog();
    EXPECT_EQ(Sent(session).inner.task_config(),
              std::string("vad_head=10000,vad_tail=40000,max_seconds=30,,vad_threshold=10,"
                          "stream_recog=no,") +
                  kProperty);
    const auto log = home_.NewLog();
    EXPECT_TRUE(Logged(log, "ERROR", "Param value [4=99] invalid."));
    EXPECT_TRUE(Logged(log, "ERROR", "Param type [4] not found."));
}

}  // namespace
