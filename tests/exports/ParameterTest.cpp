// Parameters of a session: which capability has which, the values they take, where their defaults
// come from, and the words in which they reach the server.
#include <set>
#include <string>

#include "TestHost.h"

namespace {

using ::testing::Contains;
using ::testing::IsSupersetOf;

class ParameterTest : public HostTest {};

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
            if (kKeySets[type].contains(key)) {
                EXPECT_EQ(code, LEXO_ERR_NONE);
                EXPECT_EQ(orvx_proxy_SetParam(session.Handle(), param, value), LEXO_ERR_NONE)
                    << "a default is a legal value, the session's own text included";
                continue;
            }
            EXPECT_EQ(code, LEXO_ERR_NOT_SUPPORT);
            EXPECT_EQ(value, &server_);
            EXPECT_EQ(orvx_proxy_SetParam(session.Handle(), param, nullptr), LEXO_ERR_NOT_SUPPORT);
            const std::string text = "Param type [" + std::to_string(key) +
                                     "] unsupported in capability [" + kCapabilities[type] + "]";
            EXPECT_EQ(Logged(), (Lines{text, text + "[" + std::to_string(type) + "]"}));
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
        {LEXO_PARAM_VAD_TAIL, 30000, 30001, "Param value [2=30001] invalid."},
        {LEXO_PARAM_AUDIOFORMAT, 7, 8, "Param value [4=8] invalid."},
        {LEXO_PARAM_FT_POST_PROCESS, 15, 16, "Param value [16] invalid."},
    };
    Session session("freetalk");
    for (const auto& one : cases) {
        EXPECT_EQ(session.SetNumber(one.key, one.legal), LEXO_ERR_NONE);
        EXPECT_EQ(session.SetNumber(one.key, one.illegal), LEXO_ERR_PARAM_INVALID);
        EXPECT_EQ(Logged(), Lines{one.error});
        EXPECT_EQ(session.GetNumber(one.key), one.legal) << "the old value stays";
    }
}

TEST_F(ParameterTest, TextsAreCopiedAndCutToTheirBuffer) {
    Session session("grammar");
    for (const auto& [key, bytes] :
         {std::pair<Lexo_ParamKey, std::size_t>{LEXO_PARAM_PROPERTY_LANGUAGE, 256},
          {LEXO_PARAM_PROPERTY_DOMAIN, 256},
          {LEXO_PARAM_POST_PROCESS, 1024}}) {
        const char* const buffer = session.GetText(key);
        const std::string kept = "<" + std::string(bytes - 2, '\xBA') + ">";
        std::string text = kept + "cut";
        EXPECT_EQ(session.SetText(key, text.c_str()), LEXO_ERR_NONE);
        text.assign(text.size(), '?');
        EXPECT_EQ(session.GetText(key), kept);
        EXPECT_EQ(session.SetText(key, ""), LEXO_ERR_PARAM_INVALID);
        EXPECT_EQ(session.SetText(key, nullptr), LEXO_ERR_PARAM_INVALID);
        EXPECT_EQ(Logged(), Lines(2, "Param value [" + std::to_string(key) + "] invalid."));
        EXPECT_EQ(session.SetText(key, buffer + 1), LEXO_ERR_NONE) << "its own text moves up";
        EXPECT_EQ(session.GetText(key), kept.substr(1));
        EXPECT_EQ(session.GetText(key), buffer) << "the buffer never moves";
        EXPECT_NE(Session("grammar").GetText(key), kept.substr(1)) << "sessions share nothing";
    }
}

TEST_F(ParameterTest, DefaultsComeFromTheSettingsAndAreLogged) {
    home_.WriteFile("conf/Lexo_SDK.conf",
                    "[default]\nmax_seconds = 61\nproperty_domain = two words\n");
    ASSERT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE);
    EXPECT_EQ(Session("freetalk").GetNumber(LEXO_PARAM_MAX_SECONDS), 61) << "not validated";
    EXPECT_STREQ(Session("analysis").GetText(LEXO_PARAM_PROPERTY_DOMAIN), "two words");
    std::string all;
    for (const std::string& text : Logged("INFO")) {
        all += text + "\n";
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

TEST_F(ParameterTest, TheTaskConfigurationOfEachCapability) {
    const char* const own[] = {
        "add_punc=no,stream_recog=no,result_type=sentence,", "nbest_result=no,stream_recog=no,",
        "stream_recog=no,",
        "add_punc=no,result_type=sentence,analysis_mode=offline,channel_type=mono,"};
    for (int type = 0; type < 4; ++type) {
        const std::string capability = kCapabilities[type];
        Session session(capability.c_str());
        const std::string config =
            "vad_head=10000,vad_tail=500,max_seconds=30,audio_format=pcm8k16bit,vad_threshold=10," +
            std::string(own[type]) +
            "property_language=chinese,property_model_type=8k,property_domain=common";
        EXPECT_EQ(Sent(session).inner.task_config(), config);
        const auto log = home_.NewLog();
        EXPECT_THAT(log, IsSupersetOf({"INFO Config for [" + capability + "] is [" + config + "]",
                                       std::string("DEBUG GetConfig  LEXO_PARAM_POST_PROCESS")}));
        const auto none =
            Contains("DEBUG GetConfig LEXO_PARAM_FT_POST_PROCESS LEXO_FT_POST_PROCESS_NONE");
        EXPECT_THAT(log, none.Times(type == LEXO_ENGINE_FREETALK ? 1 : 0));
    }
}

TEST_F(ParameterTest, SetParametersReachTheServer) {
    Session session("freetalk");
    const std::string domain(256, 'd');
    const std::string longest(1024, 'q');
    session.SetNumber(LEXO_PARAM_VAD_HEAD, 5);
    session.SetNumber(LEXO_PARAM_AUDIOFORMAT, 5);
    session.SetNumber(LEXO_PARAM_RESULT_TYPE, 2);
    session.SetNumber(LEXO_PARAM_FT_POST_PROCESS, 15);
    session.SetNumber(LEXO_PARAM_PROPERTY_MODEL_TYPE, 1);
    session.SetText(LEXO_PARAM_PROPERTY_DOMAIN, domain.c_str());
    session.SetText(LEXO_PARAM_PROPERTY_LANGUAGE, "\xBA\xBA_\xD3\xEF");
    session.SetText(LEXO_PARAM_POST_PROCESS, longest.c_str());
    const scripted::Request request = Sent(session);
    EXPECT_EQ(request.inner.task_config(),
              "vad_head=5,vad_tail=500,max_seconds=30,audio_format=gsm610,vad_threshold=10,"
              "add_punc=no,stream_recog=no,result_type=charlist,property_language=\xBA\xBA_\xD3\xEF"
              ",property_model_type=16k,property_domain=" +
                  domain + ",textpostproc=punctuate;smooth;numnormal;paragraph");
    EXPECT_EQ(request.access.property(), "\xBA\xBA_\xD3\xEF_16k_" + domain + "," + longest);
}

}  // namespace
