// Pairs of the task configuration, and the check of a parsed one.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <map>
#include <string>

#include "MessagesOf.h"
#include "TaskConfig.h"
#include "param_word.h"
#include "proxy_params_mgr.h"

namespace {

TEST(ConfigPairTest, EveryKindOfValue) {
    const struct {
        int key;
        std::intptr_t word;
        const char* pair;
        Messages messages = {};
    } cases[] = {
        {LEXO_PARAM_VAD_HEAD, 10000, "vad_head=10000"},
        {LEXO_PARAM_VAD_HEAD, 99999999, "vad_head=99999999"},  // not validated here
        {LEXO_PARAM_VAD_TAIL, INT_MIN, "vad_tail=-2147483648"},
        {LEXO_PARAM_VAD_TAIL, (std::intptr_t{1} << 32) + 5, "vad_tail=5"},
        {LEXO_PARAM_VAD_THRESHOLD, 10, "vad_threshold=10"},
        {LEXO_PARAM_STREAM, 3, "stream_recog=continue-rt"},
        {LEXO_PARAM_MODE, 1, "analysis_mode=online"},
        {LEXO_PARAM_PROPERTY_MODEL_TYPE, 1, "property_model_type=16k"},
        {LEXO_PARAM_STREAM, 5, "", {"Param value [8=5] invalid.", "Param type [8] not found."}},
        {LEXO_PARAM_STREAM,
         (std::intptr_t{1} << 32) + 1,
         "",
         {"Param value [8=1] invalid.", "Param type [8] not found."}},
        // In the order of the table, which is not that of the bits; bits without a name are passed
        // over.
        {LEXO_PARAM_FT_POST_PROCESS, 2, "textpostproc=numnormal"},
        {LEXO_PARAM_FT_POST_PROCESS, 5, "textpostproc=punctuate;smooth"},
        {LEXO_PARAM_FT_POST_PROCESS, 15, "textpostproc=punctuate;smooth;numnormal;paragraph"},
        {LEXO_PARAM_FT_POST_PROCESS, 24, "textpostproc=paragraph"},
        {LEXO_PARAM_FT_POST_PROCESS,
         0,
         "",
         {"Param value [16=0] invalid.", "Param type [16] not found."}},
        {LEXO_PARAM_FT_POST_PROCESS,
         16,
         "",
         {"Param value [16=16] invalid.", "Param type [16] not found."}},
        {LEXO_PARAM_SAMPLERATE, 8000, "", {"Param type [0] not found."}},
        {17, 0, "", {"Param type [17] not found."}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.key) + "=" + std::to_string(c.word));
        std::string pair;
        const Messages logged = MessagesOf([&] {
            pair = ProxyParamsMgr::GetConfigPair(static_cast<Lexo_ParamKey>(c.key), WordOf(c.word));
        });
        EXPECT_EQ(pair, c.pair);
        EXPECT_EQ(logged, c.messages);
    }
}

TEST(ConfigPairTest, TextsOfAnyLength) {
    for (const std::size_t length : {1u, 110u, 127u, 128u, 1000u}) {
        std::string text(length, 'd');
        EXPECT_EQ(ProxyParamsMgr::GetConfigPair(LEXO_PARAM_PROPERTY_DOMAIN, text.data()),
                  "property_domain=" + text);
    }
    char percent[] = "%s%n,=;";
    EXPECT_EQ(ProxyParamsMgr::GetConfigPair(LEXO_PARAM_PROPERTY_LANGUAGE, percent),
              "property_language=%s%n,=;");
    EXPECT_EQ(ProxyParamsMgr::GetConfigPair(LEXO_PARAM_POST_PROCESS, percent),
              "qa_paramter=%s%n,=;");
}

// The check succeeds when every pair is wrong, and keeps the wrong ones' keys.
TEST(TaskConfigCheckTest, TrueWhenEveryPairFails) {
    using Keys = std::map<Lexo_ParamKey, Lexo_ParamValue>;
    const struct {
        const char* config;
        bool result;
        Keys stored;
    } cases[] = {
        {"", true, {}},
        {"vad_head=1", false, {}},
        {"property_domain=", false, {}},
        {"vad_head=x", true, {{LEXO_PARAM_VAD_HEAD, nullptr}}},
        {"add_punc=maybe,textpostproc=none,max_seconds=0",
         true,
         {{LEXO_PARAM_ADD_PUNC, nullptr},
          {LEXO_PARAM_MAX_SECONDS, nullptr},
          {LEXO_PARAM_FT_POST_PROCESS, nullptr}}},
        // In the order of the names: what stands before the first valid pair is stored already.
        {"vad_tail=x,max_seconds=30,add_punc=maybe", false, {{LEXO_PARAM_ADD_PUNC, nullptr}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.config);
        TaskConfig config(c.config);
        Keys stored;
        EXPECT_EQ(ProxyParamsMgr::CheckTaskConfig("asr.cloud.freetalk", config, stored), c.result);
        EXPECT_EQ(stored, c.stored);
    }
}

TEST(TaskConfigCheckTest, OverwritesWhatTheMapHeld) {
    TaskConfig config("vad_head=x");
    std::map<Lexo_ParamKey, Lexo_ParamValue> stored = {{LEXO_PARAM_VAD_HEAD, WordOf(1)},
                                                       {LEXO_PARAM_MODE, WordOf(2)}};
    EXPECT_TRUE(ProxyParamsMgr::CheckTaskConfig("", config, stored));
    EXPECT_EQ(stored[LEXO_PARAM_VAD_HEAD], nullptr);
    EXPECT_EQ(stored[LEXO_PARAM_MODE], WordOf(2));
}

// A name that no parameter has fails too, and does not end the check.
TEST(TaskConfigCheckTest, UnknownNames) {
    TaskConfig config("abc=1,xyz=2");
    std::map<Lexo_ParamKey, Lexo_ParamValue> stored;
    bool result = false;
    EXPECT_EQ(MessagesOf([&] { result = ProxyParamsMgr::CheckTaskConfig("", config, stored); }),
              (Messages{"Param type [abc] not found.", "Param type [xyz] not found."}));
    EXPECT_TRUE(result);
}

}  // namespace
