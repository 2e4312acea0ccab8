// The capability list, and the forms of a capability's name.
#include <string>
#include <utility>
#include <vector>

#include "TestHost.h"

namespace {

using scripted::Logged;

class CapabilityTest : public HostTest {};

TEST_F(CapabilityTest, TheListIsInOrderOfNames) {
    Lexo_CapabilityInfoList list = {-1, nullptr};
    ASSERT_EQ(orvx_proxy_GetCapabilityInfoList(&list), LEXO_ERR_NONE);
    ASSERT_EQ(list.nCapabilityCount, 4);
    const Lexo_CapabilityInfo expected[] = {{"asr.cloud.analysis", LEXO_ENGINE_ANALYSIS},
                                            {"asr.cloud.freetalk", LEXO_ENGINE_FREETALK},
                                            {"asr.cloud.grammar", LEXO_ENGINE_GRAMMAR},
                                            {"asr.cloud.keywordspot", LEXO_ENGINE_KEYWORDSPOT}};
    for (int i = 0; i < 4; ++i) {
        EXPECT_STREQ(list.pCapabilityInfoList[i].szCapabilityName, expected[i].szCapabilityName);
        EXPECT_EQ(list.pCapabilityInfoList[i].eEngineType, expected[i].eEngineType);
    }
    EXPECT_EQ(orvx_proxy_ReleaseCapabilityInfoList(&list), LEXO_ERR_NONE);
    EXPECT_EQ(list.nCapabilityCount, 0);
    EXPECT_EQ(list.pCapabilityInfoList, nullptr);
    list.nCapabilityCount = 9;
    EXPECT_EQ(orvx_proxy_ReleaseCapabilityInfoList(&list), LEXO_ERR_NONE) << "nothing to release";
    EXPECT_EQ(orvx_proxy_GetCapabilityInfoList(nullptr), LEXO_ERR_PARAM_INVALID);
    EXPECT_EQ(orvx_proxy_ReleaseCapabilityInfoList(nullptr), LEXO_ERR_PARAM_INVALID);
    EXPECT_EQ(list.nCapabilityCount, 0);
}

TEST_F(CapabilityTest, NamesThatAreUnderstood) {
    const std::pair<const char*, const char*> cases[] = {
        {"  FreeTalkXYZ\r\n", "asr.cloud.freetalk"},
        {"keywordspot,anything at all", "asr.cloud.keywordspot"},
        {"ASR.Cloud.Grammar", "asr.cloud.grammar"},
        {" asr.cloud.analysis, ", "asr.cloud.analysis"},
    };
    for (const auto& [name, capability] : cases) {
        EXPECT_EQ(Session(name).Recognize().code, LEXO_ERR_NONE);
        EXPECT_EQ(server_.LastRequest().inner.cap_name(), capability) << name;
        EXPECT_EQ(server_.LastRequest().access.capkey(), capability) << name;
    }
}

TEST_F(CapabilityTest, NamesThatAreRefused) {
    const struct {
        const char* name;
        const char* trimmed;  // as the parser logs it, null where the parser is content
    } cases[] = {
        {nullptr, ""},
        {" talk\n", "talk"},
        {"my.asr.cloud.grammar", "my.asr.cloud.grammar"},
        {"asr.cloud.freetalk, x", nullptr},
    };
    Lexo_Handle handle = &server_;
    for (const auto& one : cases) {
        const std::string name = one.name != nullptr ? one.name : "";
        SCOPED_TRACE(name);
        EXPECT_EQ(orvx_proxy_SessionStart(one.name, &handle), LEXO_ERR_PARAM_INVALID);
        EXPECT_EQ(handle, &server_);
        std::vector<std::string> expected;
        if (one.trimmed != nullptr) {
            expected.push_back(std::string("capkey name is invalid[") + one.trimmed + "].");
        }
        expected.push_back("capkey name is invalid[" + name + "].");
        std::vector<std::string> logged;
        for (const auto& record : home_.NewLog()) {
            if (record.level == "ERROR") {
                logged.push_back(record.text);
            }
        }
        EXPECT_EQ(logged, expected) << "the parser's record, then the session's";
    }
}

}  // namespace
