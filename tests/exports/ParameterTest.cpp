// Parameters of a session: which capability has which, the values they take, where their defaults
// come from, and the words in which they reach the server.
#include <algorithm>
#include <set>
#include <string>

#include "TestHost.h"

namespace {

using ::testing::Contains;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsSupersetOf;

class ParameterTest : public HostTest {
  protected:
    // Starts anew with these defaults.
    void Use(const std::string& settings) {
        home_.WriteFile("conf/Lexo_SDK.conf", "[default]\n" + settings);
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

// Those without words are sent as numbers.
const struct {
    const char* capability;
    Lexo_ParamKey key;
    const char* name;
    std::intptr_t low, high;
    Lines words;
} kNumbers[] = {
    {"freetalk", LEXO_PARAM_VAD_HEAD, "vad_head", 0, 1800000, {}},
    {"grammar", LEXO_PARAM_VAD_TAIL, "vad_tail", 0, 30000, {}},
    {"analysis", LEXO_PARAM_MAX_SECONDS, "max_seconds", 1, 60, {}},
    {"keywordspot", LEXO_PARAM_VAD_THRESHOLD, "vad_threshold", 1, 100, {}},
    {"freetalk",
     LEXO_PARAM_AUDIOFORMAT,
     "audio_format",
     0,
     7,
     {"pcm8k16bit", "alaw", "ulaw", "vox6k4bit", "vox8k4bit", "gsm610", "pcm16k16bit",
      "v3_6k4bit"}},
    {"grammar", LEXO_PARAM_NBEST_RESULT, "nbest_result", 0, 1, {"no", "yes"}},
    {"analysis", LEXO_PARAM_ADD_PUNC, "add_punc", 0, 1, {"no", "yes"}},
    {"keywordspot",
     LEXO_PARAM_STREAM,
     "stream_recog",
     0,
     4,
     {"no", "yes", "continue", "continue-rt", "yes-rt"}},
    {"freetalk", LEXO_PARAM_RESULT_TYPE, "result_type", 0, 2, {"sentence", "wordlist", "charlist"}},
    {"analysis", LEXO_PARAM_MODE, "analysis_mode", 0, 1, {"offline", "online"}},
    {"analysis",
     LEXO_PARAM_CHANNEL_TYPE,
     "channel_type",
     0,
     2,
     {"mono", "left_agent", "right_agent"}},
    {"grammar", LEXO_PARAM_PROPERTY_MODEL_TYPE, "property_model_type", 0, 1, {"8k", "16k"}},
};

TEST_F(ParameterTest, NumbersAreCheckedAndReachTheServer) {
    for (const auto& one : kNumbers) {
        const std::intptr_t step = one.words.empty() ? one.high - one.low : 1;
        for (std::intptr_t value = one.low; value <= one.high; value += step) {
            SCOPED_TRACE(one.name + std::to_string(value));
            Session session(one.capability);
            EXPECT_EQ(session.SetNumber(one.key, value), LEXO_ERR_NONE);
            const std::string sent = one.words.empty() ? std::to_string(value)
                                                       : one.words[static_cast<std::size_t>(value)];
            EXPECT_THAT("," + Sent(session).inner.task_config() + ",",
                        HasSubstr("," + std::string(one.name) + "=" + sent + ","));
            for (const std::intptr_t illegal : {one.low - 1, one.high + 1}) {
                Logged();
                EXPECT_EQ(session.SetNumber(one.key, illegal), LEXO_ERR_PARAM_INVALID);
                EXPECT_EQ(Logged(), Lines{"Param value [" + std::to_string(one.key) + "=" +
                                          std::to_string(illegal) + "] invalid."});
                EXPECT_EQ(session.GetNumber(one.key), value) << "the old value stays";
            }
        }
    }
}

// Ranges look at the low 32 bits, and the word is kept as given; the rest at all of it.
TEST_F(ParameterTest, WideWordsAndMasks) {
    constexpr std::intptr_t kWide = std::intptr_t{1} << 32;
    Session session("freetalk");
    EXPECT_EQ(session.SetNumber(LEXO_PARAM_VAD_TAIL, kWide + 30000), LEXO_ERR_NONE);
    EXPECT_EQ(session.GetNumber(LEXO_PARAM_VAD_TAIL), kWide + 30000);
    EXPECT_EQ(session.SetNumber(LEXO_PARAM_STREAM, kWide + 1), LEXO_ERR_PARAM_INVALID);
    EXPECT_EQ(Logged(), Lines{"Param value [8=1] invalid."});
    for (const std::intptr_t mask : {std::intptr_t{16}, std::intptr_t{17}, kWide + 1}) {
        EXPECT_EQ(session.SetNumber(LEXO_PARAM_FT_POST_PROCESS, mask), LEXO_ERR_PARAM_INVALID);
        EXPECT_EQ(Logged(), Lines{"Param value [16] invalid."});
    }
    for (const auto& [mask, names] : {std::pair{0, ""},
                                      {2, ",textpostproc=numnormal"},
                                      {5, ",textpostproc=punctuate;smooth"},
                                      {15, ",textpostproc=punctuate;smooth;numnormal;paragraph"}}) {
        EXPECT_EQ(session.SetNumber(LEXO_PARAM_FT_POST_PROCESS, mask), LEXO_ERR_NONE);
        EXPECT_THAT(Sent(session).inner.task_config(),
                    EndsWith("property_domain=common" + std::string(names)));
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

TEST_F(ParameterTest, SettingsReachTheCapabilitiesThatHaveThem) {
    std::string settings =
        "property_domain =\npost_process = x\nft_post_process = 1\nsample_rate = 9\n"
        "stream_recog = 1\nanalysis_mode = 1\nproperty_language = " +
        std::string(257, 'L') + "\n";
    const char* const names[] = {"vad_head",     "vad_tail",      "max_seconds",
                                 "audio_format", "vad_threshold", "nbest_result",
                                 "add_punc",     "stream",        "result_type",
                                 "mode",         "channel_type",  "property_model_type"};
    for (int i = 0; i < 12; ++i) {
        settings += names[i] + std::string(" = ") + std::to_string(100 + i) + "\n";
    }
    Use(settings);
    for (int type = 0; type < 4; ++type) {
        Session session(kCapabilities[type]);
        for (const int key : kKeySets[type]) {
            if (key < LEXO_PARAM_PROPERTY_LANGUAGE || key == LEXO_PARAM_PROPERTY_MODEL_TYPE) {
                EXPECT_EQ(session.GetNumber(static_cast<Lexo_ParamKey>(key)),
                          std::min(99 + key, 111))
                    << "not validated";
            }
        }
        EXPECT_EQ(session.GetText(LEXO_PARAM_PROPERTY_LANGUAGE), std::string(256, 'L'));
        EXPECT_STREQ(session.GetText(LEXO_PARAM_PROPERTY_DOMAIN), "common");
        EXPECT_STREQ(session.GetText(LEXO_PARAM_POST_PROCESS), "need_nlu=no");
    }
    Session session("keywordspot");
    Logged();
    EXPECT_THAT(Sent(session).inner.task_config(),
                ::testing::StartsWith("vad_head=100,vad_tail=101,max_seconds=102,,"
                                      "vad_threshold=104,,property_language=LLL"))
        << "what has no word leaves an empty pair";
    EXPECT_EQ(Logged(), (Lines{"Param value [4=103] invalid.", "Param type [4] not found.",
                               "Param value [8=107] invalid.", "Param type [8] not found.",
                               "Param value [13=111] invalid.", "Param type [13] not found."}));
    for (const auto& [text, value] : {std::pair{"-2", -2},
                                      {"0", 0},
                                      {"-1", 10000},
                                      {"", 10000},
                                      {"12x", 10000},
                                      {"99999999999", 10000}}) {
        Use(std::string("vad_head = ") + text);
        EXPECT_EQ(Session("freetalk").GetNumber(LEXO_PARAM_VAD_HEAD), value) << text;
    }
}

TEST_F(ParameterTest, DefaultsAreLogged) {
    Use("max_seconds = 61\nproperty_domain = two words\n");
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

TEST_F(ParameterTest, TextsReachTheServer) {
    Session session("freetalk");
    const std::string domain(256, 'd');
    const std::string longest(1024, 'q');
    session.SetNumber(LEXO_PARAM_PROPERTY_MODEL_TYPE, 1);
    session.SetText(LEXO_PARAM_PROPERTY_DOMAIN, domain.c_str());
    session.SetText(LEXO_PARAM_PROPERTY_LANGUAGE, "\xBA\xBA_%s%n,=;");
    session.SetText(LEXO_PARAM_POST_PROCESS, longest.c_str());
    const scripted::Request request = Sent(session);
    EXPECT_THAT(request.inner.task_config(),
                EndsWith("property_language=\xBA\xBA_%s%n,=;,property_model_type=16k,"
                         "property_domain=" +
                         domain));
    EXPECT_EQ(request.access.property(), "\xBA\xBA_%s%n,=;_16k_" + domain + "," + longest);
}

}  // namespace
