// Parameters of a session: which capability has which, the values they take, where their defaults
// come from, and the words in which they reach the server.
#include <set>
#include <string>

#include "TestHost.h"

namespace {

using scripted::Logged;

class ParameterTest : public HostTest {
  protected:
    // Starts anew with this settings file.
    void Use(const std::string& settings) {
        home_.WriteFile("conf/Lexo_SDK.conf", settings);
        ASSERT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE);
    }
};

const std::set<int> kKeySets[] = {
    {1, 2, 3, 4, 5, 7, 8, 9, 12, 13, 14, 15, 16},
    {1, 2, 3, 4, 5, 6, 8, 12, 13, 14, 15},
    {1, 2, 3, 4, 5, 8, 12, 13, 14, 15},
    {1, 2, 3, 4, 5, 7, 9, 10, 11, 12, 13, 14, 15},
};

TEST_F(ParameterTest, EachCapabilityHasItsOwnKeys) {
    for (int type = 0; type < 4; ++type) {
        const Session session(kCapabilities[type]);
        for (int key = -1; key <= LEXO_PARAM_FT_POST_PROCESS + 1; ++key) {
            SCOPED_TRACE(std::string(kCapabilities[type]) + ", key " + std::to_string(key));
            const auto param = static_cast<Lexo_ParamKey>(key);
            Lexo_ParamValue value = &server_;
            home_.NewLog();
            const int code = orvx_proxy_GetParam(session.Handle(), param, &value);
            if (kKeySets[type].count(key) != 0) {
                EXPECT_EQ(code, LEXO_ERR_NONE);
                EXPECT_EQ(orvx_proxy_SetParam(session.Handle(), param, value), LEXO_ERR_NONE)
                    << "a default is a legal value, the session's own text included";
                continue;
            }
            const std::string text = "Param type [" + std::to_string(key) +
                                     "] unsupported in capability [" + kCapabilities[type] + "]";
            EXPECT_EQ(code, LEXO_ERR_NOT_SUPPORT);
            EXPECT_EQ(value, &server_);
            EXPECT_TRUE(Logged(home_.NewLog(), "ERROR", text));
            EXPECT_EQ(orvx_proxy_SetParam(session.Handle(), param, nullptr), LEXO_ERR_NOT_SUPPORT);
            EXPECT_TRUE(Logged(home_.NewLog(), "ERROR", text + "[" + std::to_string(type) + "]"));
        }
    }
}

// A word is kept as given; the bit masks are told without their value.
TEST_F(ParameterTest, NumbersAreCheckedAndKeptAsGiven) {
    const struct {
        Lexo_ParamKey key;
        std::intptr_t legal, illegal;
        const char* error;
    } cases[] = {
        {LEXO_PARAM_VAD_HEAD, (std::intptr_t{1} << 32) + 5, -1, "Param value [1=-1] invalid."},
        {LEXO_PARAM_AUDIOFORMAT, 7, 8, "Param value [4=8] invalid."},
        {LEXO_PARAM_FT_POST_PROCESS, 15, 16, "Param value [16] invalid."},
    };
    Session session("freetalk");
    for (const auto& one : cases) {
        EXPECT_EQ(session.SetNumber(one.key, one.legal), LEXO_ERR_NONE);
        home_.NewLog();
        EXPECT_EQ(session.SetNumber(one.key, one.illegal), LEXO_ERR_PARAM_INVALID);
        EXPECT_TRUE(Logged(home_.NewLog(), "ERROR", one.error));
        EXPECT_EQ(session.GetNumber(one.key), one.legal) << "the old value stays";
    }
}

TEST_F(ParameterTest, TextsAreCopiedAndCutToTheirBuffer) {
    Session session("grammar");
    const char* const buffer = session.GetText(LEXO_PARAM_PROPERTY_DOMAIN);
    std::string text(257, '\xBA');
    EXPECT_EQ(session.SetText(LEXO_PARAM_PROPERTY_DOMAIN, text.c_str()), LEXO_ERR_NONE);
    text.assign(text.size(), '?');
    EXPECT_EQ(session.GetText(LEXO_PARAM_PROPERTY_DOMAIN), std::string(256, '\xBA'));
    home_.NewLog();
    EXPECT_EQ(session.SetText(LEXO_PARAM_PROPERTY_DOMAIN, ""), LEXO_ERR_PARAM_INVALID);
    EXPECT_TRUE(Logged(home_.NewLog(), "ERROR", "Param value [14] invalid."));
    EXPECT_EQ(session.GetText(LEXO_PARAM_PROPERTY_DOMAIN), buffer) << "the buffer never moves";
    EXPECT_STREQ(Session("grammar").GetText(LEXO_PARAM_PROPERTY_DOMAIN), "common");
}

TEST_F(ParameterTest, DefaultsComeFromTheSettingsAndAreLogged) {
    Use("[default]\nmax_seconds = 61\nproperty_domain = two words\n");
    EXPECT_EQ(Session("freetalk").GetNumber(LEXO_PARAM_MAX_SECONDS), 61) << "not validated";
    EXPECT_STREQ(Session("analysis").GetText(LEXO_PARAM_PROPERTY_DOMAIN), "two words");
    std::string all;
    for (const auto& record : home_.NewLog()) {
        all += record.level == "INFO" ? record.text + "\n" : "";
    }
    const std::string head =
        "vad_head\t=\t10000\nvad_tail\t=\t500\nmax_seconds\t=\t61\n"
        "audio_format\t=\t0\nvad_threshold\t=\t10\n";
    const std::string tail =
        "property_language\t=\tchinese\nproperty_model_type\t=\t0\n"
        "property_domain\t=\ttwo words\n\n";
    const std::string blocks[] = {
        "Default params for engine :\n",
        " <asr.cloud.analysis>:\n" + head +
            "add_punc\t=\t0\nresult_type\t=\t0\nmode\t=\t0\nchannel_type\t=\t0\n" + tail,
        " <asr.cloud.freetalk>:\n" + head + "add_punc\t=\t0\nstream\t=\t0\nresult_type\t=\t0\n" +
            tail,
        " <asr.cloud.grammar>:\n" + head + "nbest_result\t=\t0\nstream\t=\t0\n" + tail,
        " <asr.cloud.keywordspot>:\n" + head + "stream\t=\t0\n" + tail,
    };
    std::size_t at = 0;
    for (const std::string& block : blocks) {
        const std::size_t found = all.find(block, at);
        ASSERT_NE(found, std::string::npos) << block << "is missing, or out of order, in\n" << all;
        at = found + block.size();
    }
}

const std::string kVad =
    "vad_head=10000,vad_tail=500,max_seconds=30,audio_format=pcm8k16bit,vad_threshold=10,";
const std::string kProperty =
    "property_language=chinese,property_model_type=8k,property_domain=common";

TEST_F(ParameterTest, TheTaskConfigurationOfEachCapability) {
    const char* const own[] = {
        "add_punc=no,stream_recog=no,result_type=sentence,", "nbest_result=no,stream_recog=no,",
        "stream_recog=no,",
        "add_punc=no,result_type=sentence,analysis_mode=offline,channel_type=mono,"};
    for (int type = 0; type < 4; ++type) {
        const std::string capability = kCapabilities[type];
        Session session(capability.c_str());
        const std::string config = kVad + own[type] + kProperty;
        home_.NewLog();
        EXPECT_EQ(Sent(session).inner.task_config(), config);
        const auto log = home_.NewLog();
        EXPECT_TRUE(Logged(log, "INFO", "Config for [" + capability + "] is [" + config + "]"));
        EXPECT_TRUE(Logged(log, "DEBUG", "GetConfig  LEXO_PARAM_POST_PROCESS"));
        EXPECT_EQ(
            static_cast<bool>(Logged(
                log, "DEBUG", "GetConfig LEXO_PARAM_FT_POST_PROCESS LEXO_FT_POST_PROCESS_NONE")),
            type == LEXO_ENGINE_FREETALK);
    }
}

TEST_F(ParameterTest, SetParametersReachTheTaskConfiguration) {
    Session session("freetalk");
    session.SetNumber(LEXO_PARAM_VAD_HEAD, 5);
    session.SetNumber(LEXO_PARAM_AUDIOFORMAT, 5);
    session.SetNumber(LEXO_PARAM_RESULT_TYPE, 2);
    session.SetNumber(LEXO_PARAM_FT_POST_PROCESS, 15);
    const std::string domain(256, 'd');
    session.SetText(LEXO_PARAM_PROPERTY_DOMAIN, domain.c_str());
    EXPECT_EQ(Sent(session).inner.task_config(),
              "vad_head=5,vad_tail=500,max_seconds=30,audio_format=gsm610,vad_threshold=10,"
              "add_punc=no,stream_recog=no,result_type=charlist,property_language=chinese,"
              "property_model_type=8k,property_domain=" +
                  domain + ",textpostproc=punctuate;smooth;numnormal;paragraph");
}

}  // namespace
