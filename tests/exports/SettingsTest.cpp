// Defaults from the settings file.
#include <set>
#include <string>

#include "TestHost.h"

namespace {

class SettingsTest : public ::testing::Test {
  protected:
    void TearDown() override { EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_NONE); }

    // Starts anew with this file.
    void Use(const std::string& settings) {
        home_.WriteFile("conf/Lexo_SDK.conf", settings);
        ASSERT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE);
    }

    scripted::TestHome home_;
    scripted::ScriptedServer server_;
};

struct SettingCase {
    const char* name;
    Lexo_ParamKey key;
    int value;  // any: the file is not validated
    std::set<int> engines;
};

const std::set<int> kAllEngines = {0, 1, 2, 3};
const SettingCase kSettingCases[] = {
    {"vad_head", LEXO_PARAM_VAD_HEAD, 99999999, kAllEngines},
    {"vad_tail", LEXO_PARAM_VAD_TAIL, -2, kAllEngines},
    {"max_seconds", LEXO_PARAM_MAX_SECONDS, 61, kAllEngines},
    {"audio_format", LEXO_PARAM_AUDIOFORMAT, 6, kAllEngines},
    {"vad_threshold", LEXO_PARAM_VAD_THRESHOLD, 0, kAllEngines},
    {"nbest_result", LEXO_PARAM_NBEST_RESULT, 1, {1}},
    {"add_punc", LEXO_PARAM_ADD_PUNC, 1, {0, 3}},
    {"stream", LEXO_PARAM_STREAM, 9, {0, 1, 2}},
    {"result_type", LEXO_PARAM_RESULT_TYPE, 2, {0, 3}},
    {"mode", LEXO_PARAM_MODE, 1, {3}},
    {"channel_type", LEXO_PARAM_CHANNEL_TYPE, 2, {3}},
    {"property_model_type", LEXO_PARAM_PROPERTY_MODEL_TYPE, 1, kAllEngines},
};

TEST_F(SettingsTest, EachNumberReachesTheEnginesThatHaveIt) {
    std::string settings = "[engine]\nsample_rate = 16000\n[default]\nsample_rate = 16000\n";
    for (const SettingCase& one : kSettingCases) {
        settings += std::string(one.name) + " = " + std::to_string(one.value) + "\n";
    }
    Use(settings);
    for (int type = 0; type < 4; ++type) {
        SCOPED_TRACE(kCapabilities[type]);
        const Session session(kCapabilities[type]);
        for (const SettingCase& one : kSettingCases) {
            if (one.engines.count(type) != 0) {
                EXPECT_EQ(session.GetNumber(one.key), one.value) << one.name;
                continue;
            }
            Lexo_ParamValue value = nullptr;
            EXPECT_EQ(orvx_proxy_GetParam(session.Handle(), one.key, &value), LEXO_ERR_NOT_SUPPORT)
                << one.name;
        }
        Lexo_ParamValue rate = nullptr;
        EXPECT_EQ(orvx_proxy_GetParam(session.Handle(), LEXO_PARAM_SAMPLERATE, &rate),
                  LEXO_ERR_NOT_SUPPORT);
    }
}

TEST_F(SettingsTest, WhatCountsAsAbsent) {
    for (const char* settings :
         {"", "vad_head = 5\n", "[engine]\nvad_head = 5\n", "[Default]\nvad_head = 5\n",
          "[default]\nVad_Head = 5\n", "[default]\nvad_head = -1\n", "[default]\nvad_head =\n",
          "[default]\nvad_head = 5s\n", "[default]\nvad_head = 99999999999\n",
          "[default]\n#vad_head = 5\n;vad_head = 5\n", "[default]\npost_process = x\n"}) {
        SCOPED_TRACE(settings);
        Use(settings);
        const Session session("freetalk");
        EXPECT_EQ(session.GetNumber(LEXO_PARAM_VAD_HEAD), 10000);
        EXPECT_STREQ(session.GetText(LEXO_PARAM_POST_PROCESS), "need_nlu=no");
    }
}

TEST_F(SettingsTest, TheFileMayBeWrittenInManyWays) {
    for (const char* settings :
         {"[default]\nvad_head=5\n", "\xEF\xBB\xBF[default]\r\nvad_head = 5\r\n",
          "[default]\nvad_head = 7\nvad_head = 5", "# note\n\n[default]\n  vad_head\t=\t5  \n"}) {
        SCOPED_TRACE(settings);
        Use(settings);
        EXPECT_EQ(Session("freetalk").GetNumber(LEXO_PARAM_VAD_HEAD), 5);
    }
}

TEST_F(SettingsTest, TextsAreCutAt256Bytes) {
    const std::string full(256, 'L');
    Use("[default]\nproperty_language = " + full + "cut\nproperty_domain = two words\n");
    for (const char* capability : kCapabilities) {
        const Session session(capability);
        EXPECT_EQ(session.GetText(LEXO_PARAM_PROPERTY_LANGUAGE), full);
        EXPECT_STREQ(session.GetText(LEXO_PARAM_PROPERTY_DOMAIN), "two words");
    }
    Use("[default]\nproperty_language =\n");
    EXPECT_STREQ(Session("freetalk").GetText(LEXO_PARAM_PROPERTY_LANGUAGE), "chinese");
}

TEST_F(SettingsTest, DefaultsAreLogged) {
    Use("[default]\nmax_seconds = 12\nproperty_domain = law\n");
    std::string all;
    for (const auto& record : home_.NewLog()) {
        all += record.level == "INFO" ? record.text + "\n" : "";
    }
    const std::string head =
        "vad_head\t=\t10000\nvad_tail\t=\t500\nmax_seconds\t=\t12\n"
        "audio_format\t=\t0\nvad_threshold\t=\t10\n";
    const std::string tail =
        "property_language\t=\tchinese\nproperty_model_type\t=\t0\n"
        "property_domain\t=\tlaw\n\n";
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

}  // namespace
