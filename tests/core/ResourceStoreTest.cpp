// The resource store: which formats load where, ids, and unloading.
#include <gtest/gtest.h>

#include <string>

#include "MessagesOf.h"
#include "TestAccess.h"

namespace {

using Access = OrvexProxyTestAccess;

class ResourceStoreTest : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(Access::GetEngineList()); }
    void TearDown() override {
        for (auto& [name, engine] : Access::Engines()) {
            engine.AbandonBuffers();
        }
        EXPECT_EQ(proxy_.End(), LEXO_ERR_NONE);
    }

    Lexo_ErrCode Load(const char* capability, int format, const char* data = "words") {
        Lexo_ErrCode code = LEXO_ERR_UNKNOWN;
        id_ = 4711;
        messages_ = MessagesOf([&] {
            code = proxy_.LoadResource(capability, data, 5, LEXO_RESOURCE_BUFFER,
                                       static_cast<Lexo_ResourceFormatType>(format), &id_);
        });
        return code;
    }
    Lexo_ErrCode Unload(const char* capability, unsigned int id) {
        Lexo_ErrCode code = LEXO_ERR_UNKNOWN;
        messages_ = MessagesOf([&] { code = proxy_.UnloadResource(capability, id); });
        return code;
    }

    OrvexProxy& proxy_ = *OrvexProxy::GetInstance();
    unsigned int id_ = 0;
    Messages messages_;
};

TEST_F(ResourceStoreTest, FormatsOfEachEngine) {
    for (int format = -1; format <= 8; ++format) {
        SCOPED_TRACE(format);
        const std::string number = "[" + std::to_string(format) + "].";
        const auto expect = [&](const char* capability, Lexo_ErrCode code,
                                const std::string& message) {
            EXPECT_EQ(Load(capability, format), code) << capability;
            EXPECT_EQ(id_ == 0, code != LEXO_ERR_NONE) << capability;
            Messages expected;
            if (!message.empty()) {
                expected.push_back(message);
            }
            if (code == LEXO_ERR_NONE) {
                expected.push_back("LoadResource cap_name=asr.cloud." + std::string(capability) +
                                   ", res_id=" + std::to_string(id_));
            }
            EXPECT_EQ(messages_, expected);
        };
        const bool is_grammar = format >= 1 && format <= 5;
        expect("grammar", is_grammar ? LEXO_ERR_NONE : LEXO_ERR_PARAM_INVALID,
               is_grammar ? "" : "grammar don't need resource type " + number);
        for (const char* capability : {"keywordspot", "analysis"}) {
            expect(
                capability, format == 0 ? LEXO_ERR_NONE : LEXO_ERR_NOT_SUPPORT,
                format == 0
                    ? ""
                    : "keywordspot and analysis need resource type [KEYWORD_LIST] real " + number);
        }
        // A complaint, and no more than that.
        expect("freetalk", LEXO_ERR_NONE,
               format == 6 ? "" : "freetalk don't need resource type " + number);
    }
}

TEST_F(ResourceStoreTest, IdsCountFromTwoForEachCapability) {
    EXPECT_EQ(Load("grammar", 1), LEXO_ERR_NONE);
    EXPECT_EQ(id_, 2u);
    EXPECT_EQ(Load("grammar", 0), LEXO_ERR_PARAM_INVALID);
    EXPECT_EQ(Load("grammar", 1, nullptr), LEXO_ERR_PARAM_INVALID);
    EXPECT_EQ(id_, 0u);
    EXPECT_EQ(Load(" ASR.Cloud.Grammar,rest ", 1), LEXO_ERR_NONE);
    EXPECT_EQ(id_, 3u);
    EXPECT_EQ(Unload("grammar", 3), LEXO_ERR_NONE);
    EXPECT_EQ(Unload("grammar", 3), LEXO_ERR_UNLOAD_RESOURCE_FAILED);
    EXPECT_EQ(messages_, Messages{"Resource [3] not found."});
    EXPECT_EQ(Load("grammar", 1), LEXO_ERR_NONE);
    EXPECT_EQ(id_, 4u);
    EXPECT_EQ(Load("analysis", 0), LEXO_ERR_NONE);
    EXPECT_EQ(id_, 2u);
    EXPECT_EQ(Unload("keywordspot", 2), LEXO_ERR_UNLOAD_RESOURCE_FAILED);
    for (const unsigned int id : {0u, 1u, 5u}) {
        EXPECT_EQ(Unload("grammar", id), LEXO_ERR_UNLOAD_RESOURCE_FAILED) << id;
    }
}

TEST_F(ResourceStoreTest, RecordsWhatWasLoaded) {
    ASSERT_EQ(Load("grammar", 3), LEXO_ERR_NONE);
    const ResourceInfo& loaded = Access::Engines()["asr.cloud.grammar"].res_map[id_];
    EXPECT_EQ(
        std::string(loaded.pcszResourceData, static_cast<std::size_t>(loaded.nResourceDataLen)),
        "words");
    EXPECT_EQ(loaded.eResourceFormatType, LEXO_RESOURCE_GRAMMAR_JSGF);
    EXPECT_EQ(loaded.ref, 0);
}

TEST_F(ResourceStoreTest, CapabilitiesThatAreNotThere) {
    for (const char* capability : {"talk", "", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(Load(capability, 1), LEXO_ERR_PARAM_INVALID);
        EXPECT_EQ(id_, 0u);
        EXPECT_EQ(Unload(capability, 2), LEXO_ERR_PARAM_INVALID);
    }
    Access::Engines()["asr.cloud.grammar"].AbandonBuffers();
    Access::Engines().erase("asr.cloud.grammar");
    EXPECT_EQ(Load("grammar", 1), LEXO_ERR_CAPABILITY_NOT_EXIST);
    EXPECT_EQ(messages_, Messages{"Engine[asr.cloud.grammar] not found."});
    EXPECT_EQ(Unload("grammar", 2), LEXO_ERR_CAPABILITY_NOT_EXIST);
    EXPECT_EQ(messages_, Messages{"Engine[asr.cloud.grammar] not found."});
    EXPECT_EQ(proxy_.LoadResource("analysis", "words", 5, LEXO_RESOURCE_BUFFER,
                                  LEXO_RESOURCE_KEYWORD_LIST, nullptr),
              LEXO_ERR_PARAM_INVALID);
    EXPECT_TRUE(Access::Engines()["asr.cloud.analysis"].res_map.empty());
}

TEST_F(ResourceStoreTest, EngineThatTakesNoResources) {
    ASSERT_EQ(Load("grammar", 1), LEXO_ERR_NONE);
    Access::Engines()["asr.cloud.grammar"].engine_type = static_cast<Lexo_EngineType>(4);
    EXPECT_EQ(Load("grammar", 1), LEXO_ERR_NOT_SUPPORT);
    EXPECT_EQ(messages_, Messages{"Engine [asr.cloud.grammar] doesn't need resource."});
    EXPECT_EQ(Unload("grammar", 2), LEXO_ERR_NOT_SUPPORT);
    EXPECT_EQ(messages_, Messages{"Engine doesn't need resource."});
}

}  // namespace
