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

struct Parameter {
    int key;
    const char* setting;  // its name in the settings file and in the log
    const char* name;     // and on the way to the server
    std::intptr_t low, high, initial;
    Lines words;  // that stand for the numbers from 0 on; the text of a text parameter

    std::string Sent(std::intptr_t value) const {
        return name + std::string("=") +
               (words.empty() ? std::to_string(value) : words.at(static_cast<std::size_t>(value)));
    }
    bool IsText() const { return low > high; }
};
const Lines kAudioFormats = {"pcm8k16bit", "alaw",   "ulaw",        "vox6k4bit",
                             "vox8k4bit",  "gsm610", "pcm16k16bit", "v3_6k4bit"};
const Parameter kParameters[] = {
    {1, "vad_head", "vad_head", 0, 1800000, 10000, {}},
    {2, "vad_tail", "vad_tail", 0, 30000, 500, {}},
    {3, "max_seconds", "max_seconds", 1, 60, 30, {}},
    {4, "audio_format", "audio_format", 0, 7, 0, kAudioFormats},
    {5, "vad_threshold", "vad_threshold", 1, 100, 10, {}},
    {6, "nbest_result", "nbest_result", 0, 1, 0, {"no", "yes"}},
    {7, "add_punc", "add_punc", 0, 1, 0, {"no", "yes"}},
    {8, "stream", "stream_recog", 0, 4, 0, {"no", "yes", "continue", "continue-rt", "yes-rt"}},
    {9, "result_type", "result_type", 0, 2, 0, {"sentence", "wordlist", "charlist"}},
    {10, "mode", "analysis_mode", 0, 1, 0, {"offline", "online"}},
    {11, "channel_type", "channel_type", 0, 2, 0, {"mono", "left_agent", "right_agent"}},
    {12, "property_language", "property_language", 1, 0, 0, {"chinese"}},
    {13, "property_model_type", "property_model_type", 0, 1, 0, {"8k", "16k"}},
    {14, "property_domain", "property_domain", 1, 0, 0, {"common"}},
};

TEST_F(ParameterTest, NumbersAreCheckedAndReachTheServer) {
    for (const Parameter& one : kParameters) {
        const auto key = static_cast<Lexo_ParamKey>(one.key);
        const auto has = [&](const std::set<int>& keys) { return keys.contains(one.key); };
        const auto type = std::find_if(kKeySets, kKeySets + 4, has) - kKeySets;
        const std::intptr_t step = one.words.empty() ? one.high - one.low : 1;
        for (std::intptr_t value = one.low; value <= one.high; value += step) {
            SCOPED_TRACE(one.Sent(value));
            Session session(kCapabilities[type]);
            EXPECT_EQ(session.SetNumber(key, value), LEXO_ERR_NONE);
            EXPECT_THAT("," + Sent(session).inner.task_config() + ",",
                        HasSubstr("," + one.Sent(value) + ","));
            for (const std::intptr_t illegal : {one.low - 1, one.high + 1}) {
                Logged();
                EXPECT_EQ(session.SetNumber(key, illegal), LEXO_ERR_PARAM_INVALID);
                EXPECT_EQ(Logged(), Lines{"Param value [" + std::to_string(key) + "=" +
                                          std::to_string(illegal) + "] invalid."});
                EXPECT_EQ(session.GetNumber(key), value) << "the old value stays";
            }
        }
    }
}

TEST_F(ParameterTest, DefaultsAreLoggedAndSent) {
    Use("");
    std::string logged;
    for (const std::string& text : Logged("INFO")) logged += text + "\n";
    std::string expected = "Default params for engine :\n";
    for (const int type : {3, 0, 1, 2}) {
        expected += " <" + std::string(kCapabilities[type]) + ">:\n";
        std::string config;
        for (const Parameter& one : kParameters) {
            if (kKeySets[type].contains(one.key)) {
                expected += one.setting + std::string("\t=\t") +
                            (one.IsText() ? one.words[0] : std::to_string(one.initial)) + "\n";
                config += (config.empty() ? "" : ",") + one.Sent(one.initial);
            }
        }
        expected += "\n";
        Session session(kCapabilities[type]);
        home_.NewLog();
        EXPECT_EQ(Sent(session).inner.task_config(), config);
        const Lines log = home_.NewLog();
        EXPECT_THAT(log, Contains("INFO Config for [" + std::string(kCapabilities[type]) +
                                  "] is [" + config + "]"));
        EXPECT_THAT(log, Contains("DEBUG GetConfig  LEXO_PARAM_POST_PROCESS"));
        EXPECT_THAT(log, Contains("DEBUG GetConfig LEXO_PARAM_FT_POST_PROCESS "
                                  "LEXO_FT_POST_PROCESS_NONE")
                             .Times(type == LEXO_ENGINE_FREETALK ? 1 : 0));
    }
    EXPECT_THAT(logged, HasSubstr(expected));
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
        "post_process = x\nft_post_process = 1\nsample_rate = 9\nstream_recog = 1\n"
        "analysis_mode = 1\nproperty_domain =\nproperty_language = " +
        std::string(257, 'L') + "\n";
    for (const Parameter& one : kParameters)
        settings += one.IsText() ? "" : one.setting + (" = 10" + std::to_string(one.key)) + "\n";
    Use(settings);
    for (int type = 0; type < 4; ++type) {
        Session session(kCapabilities[type]);
        for (const Parameter& one : kParameters) {
            if (!one.IsText() && kKeySets[type].contains(one.key)) {
                EXPECT_EQ(session.GetNumber(static_cast<Lexo_ParamKey>(one.key)),
                          std::stoi("10" + std::to_string(one.key)))
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
                ::testing::StartsWith("vad_head=101,vad_tail=102,max_seconds=103,,"
                                      "vad_threshold=105,,property_language=LLL"))
        << "what has no word leaves an empty pair";
    EXPECT_EQ(Logged(), (Lines{"Param value [4=104] invalid.", "Param type [4] not found.",
                               "Param value [8=108] invalid.", "Param type [8] not found.",
                               "Param value [13=1013] invalid.", "Param type [13] not found."}));
    const std::pair<const char*, int> forms[] = {
        {"-2", -2}, {"0", 0}, {"-1", 10000}, {"", 10000}, {"12x", 10000}, {"99999999999", 10000}};
    for (const auto& [text, value] : forms) {
        Use(std::string("vad_head = ") + text);
        EXPECT_EQ(Session("freetalk").GetNumber(LEXO_PARAM_VAD_HEAD), value) << text;
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
