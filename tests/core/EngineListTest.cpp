// The list of engines: its building, and the configuration of all of them at once.
#include <gtest/gtest.h>

#include <string>

#include "MessagesOf.h"
#include "TestAccess.h"
#include "TestHome.h"
#include "param_word.h"

namespace {

using Access = OrvexProxyTestAccess;

class EngineListTest : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(Access::GetEngineList()); }
    void TearDown() override { EXPECT_EQ(OrvexProxy::GetInstance()->End(), LEXO_ERR_NONE); }

    bool Configure(const std::string& content) {
        return Access::ReadConfig(home_.WriteFile("engine.conf", content).c_str());
    }

    const scripted::TestHome home_;
};

// "name:type" of every engine, in the list's order.
std::string Names() {
    std::string names;
    for (const auto& [name, engine] : Access::Engines()) {
        EXPECT_EQ(name, engine.cap_name);
        names += name + ":" + std::to_string(engine.engine_type) + " ";
    }
    return names;
}

TEST_F(EngineListTest, FourEnginesHoweverOftenItIsBuilt) {
    const char* const names =
        "asr.cloud.analysis:3 asr.cloud.freetalk:0 asr.cloud.grammar:1 asr.cloud.keywordspot:2 ";
    EXPECT_EQ(Names(), names);
    Access::Engines()["asr.cloud.grammar"].res_index = 9;
    EXPECT_TRUE(Access::GetEngineList());
    EXPECT_EQ(Names(), names);
    EXPECT_EQ(Access::Engines()["asr.cloud.grammar"].res_index, 1u);
}

TEST_F(EngineListTest, OneSampleRateForAll) {
    const struct {
        const char* content;
        unsigned int rate;
    } cases[] = {
        {"[engine]\nsample_rate=16000\n", 16000},
        {"[default]\nsample_rate=16000\n", 8000},
        {"sample_rate=16000\n", 8000},
        {"[engine]\nsample_rate=fast\n", 8000},
        {"", 8000},
    };
    for (const auto& c : cases) {
        EXPECT_TRUE(Configure(c.content));
        for (const auto& [name, engine] : Access::Engines()) {
            EXPECT_EQ(engine.sample_rate, c.rate) << name << ' ' << c.content;
        }
    }
}

TEST_F(EngineListTest, ReadingAgainStartsFromTheBuiltInDefaults) {
    EngineInfo& engine = Access::Engines()["asr.cloud.grammar"];
    EXPECT_TRUE(Configure("[default]\nvad_tail=7\nproperty_domain=bank\n"));
    EXPECT_STREQ(TextOf(engine.default_params[LEXO_PARAM_PROPERTY_DOMAIN]), "bank");
    EXPECT_TRUE(Configure("[default]\nnbest_result=1\n"));
    EXPECT_STREQ(TextOf(engine.default_params[LEXO_PARAM_PROPERTY_DOMAIN]), "common");
    EXPECT_EQ(NumberOf(engine.default_params[LEXO_PARAM_VAD_TAIL]), 500);
    EXPECT_EQ(NumberOf(engine.default_params[LEXO_PARAM_NBEST_RESULT]), 1);
}

TEST_F(EngineListTest, UnreadableFileLeavesTheDefaults) {
    for (const std::string& path : {home_.Path() + "/none.conf", home_.Path(), std::string()}) {
        bool result = true;
        EXPECT_EQ(MessagesOf([&] { result = Access::ReadConfig(path.c_str()); }),
                  Messages{"config file load from (" + path + ") failed"});
        EXPECT_FALSE(result);
    }
    EXPECT_EQ(NumberOf(Access::Engines()["asr.cloud.grammar"].default_params[LEXO_PARAM_VAD_HEAD]),
              10000);
}

// One block for each engine, with an empty line behind it.
TEST_F(EngineListTest, LogsTheDefaultsInForce) {
    const Messages logged =
        MessagesOf([&] { Configure("[default]\nvad_head=1\nstream=2\nmode=1\n"); });
    const Messages start = {"Default params for engine :", " <asr.cloud.analysis>:",
                            "vad_head\t=\t1", "vad_tail\t=\t500"};
    ASSERT_GE(logged.size(), start.size());
    EXPECT_EQ(Messages(logged.begin(), logged.begin() + 4), start);
    const Messages end = {" <asr.cloud.keywordspot>:",
                          "vad_head\t=\t1",
                          "vad_tail\t=\t500",
                          "max_seconds\t=\t30",
                          "audio_format\t=\t0",
                          "vad_threshold\t=\t10",
                          "stream\t=\t2",
                          "property_language\t=\tchinese",
                          "property_model_type\t=\t0",
                          "property_domain\t=\tcommon",
                          ""};
    EXPECT_EQ(Messages(logged.end() - static_cast<long>(end.size()), logged.end()), end);
    EXPECT_EQ(std::count(logged.begin(), logged.end(), ""), 4);
}

}  // namespace
