// The capability list, and the forms of a capability's name.
#include <string>

#include "TestHost.h"

namespace {

class CapabilityTest : public HostTest {};

TEST_F(CapabilityTest, TheListIsInOrderOfNames) {
    Lexo_CapabilityInfoList list = {-1, nullptr};
    ASSERT_EQ(orvx_proxy_GetCapabilityInfoList(&list), LEXO_ERR_NONE);
    ASSERT_EQ(list.nCapabilityCount, 4);
    const int types[] = {3, 0, 1, 2};
    for (int i = 0; i < 4; ++i) {
        EXPECT_STREQ(list.pCapabilityInfoList[i].szCapabilityName, kCapabilities[types[i]]);
        EXPECT_EQ(list.pCapabilityInfoList[i].eEngineType, types[i]);
    }
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(orvx_proxy_ReleaseCapabilityInfoList(&list), LEXO_ERR_NONE);
        EXPECT_EQ(list.nCapabilityCount, 0);
        EXPECT_EQ(list.pCapabilityInfoList, nullptr);
        list.nCapabilityCount = 9;  // nothing to release then
    }
    EXPECT_EQ(orvx_proxy_GetCapabilityInfoList(nullptr), LEXO_ERR_PARAM_INVALID);
    EXPECT_EQ(orvx_proxy_ReleaseCapabilityInfoList(nullptr), LEXO_ERR_PARAM_INVALID);
}

// Only a session is particular about text behind the name.
TEST_F(CapabilityTest, FormsOfANameForSessionsAndResources) {
    const struct {
        const char* name;
        const char* capability;  // null where no resource call understands the name
        bool starts;
    } cases[] = {
        {"  FreeTalkXYZ\r\n", "asr.cloud.freetalk", true},
        {"\t\n keywordspot,anything at all", "asr.cloud.keywordspot", true},
        {"ASR.Cloud.Grammar", "asr.cloud.grammar", true},
        {" asr.cloud.analysisX ", "asr.cloud.analysis", true},
        {" ASR.Cloud.Grammar,behind", "asr.cloud.grammar", false},
        {nullptr, nullptr, false},
        {" talk\r\n", nullptr, false},
        {"my.asr.cloud.grammar", nullptr, false},
        {"asr.cloud.keyword", nullptr, false},
        {"freetalk asr.cloud.grammar", nullptr, false},
        {"\vfreetalk", nullptr, false},
        {"%s%n", nullptr, false},
    };
    for (const auto& one : cases) {
        const std::string name = one.name != nullptr ? one.name : "";
        SCOPED_TRACE(name);
        Lexo_Handle handle = &server_;
        if (one.starts) {
            EXPECT_EQ(Session(one.name).Recognize(), kGood);
            EXPECT_EQ(server_.LastRequest().inner.cap_name(), one.capability);
            EXPECT_EQ(server_.LastRequest().access.capkey(), one.capability);
        } else {
            EXPECT_EQ(orvx_proxy_SessionStart(one.name, &handle), LEXO_ERR_PARAM_INVALID);
            EXPECT_EQ(handle, &server_);
            EXPECT_EQ(Logged().back(), "capkey name is invalid[" + name + "].");
        }
        Logged();
        if (one.capability != nullptr) {
            EXPECT_EQ(orvx_proxy_UnloadResource(one.name, 9), LEXO_ERR_UNLOAD_RESOURCE_FAILED);
            EXPECT_EQ(Logged(), Lines{"Resource [9] not found."});
            continue;
        }
        const Loaded loaded = LoadBuffer(one.name, LEXO_RESOURCE_KEYWORD_LIST);
        EXPECT_EQ(loaded.code, LEXO_ERR_PARAM_INVALID);
        EXPECT_EQ(loaded.id, 0u);
        EXPECT_EQ(orvx_proxy_UnloadResource(one.name, 2), LEXO_ERR_PARAM_INVALID);
        const std::string trimmed = name == " talk\r\n" ? "talk" : name;
        EXPECT_EQ(Logged(), Lines(2, "capkey name is invalid[" + trimmed + "]."));
    }
}

}  // namespace
