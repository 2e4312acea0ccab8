// The capability list, and the forms of a capability's name.
#include <cstring>
#include <string>
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
    EXPECT_EQ(list.nCapabilityCount, 0);
}

TEST_F(CapabilityTest, ANullListIsRefused) {
    EXPECT_EQ(orvx_proxy_GetCapabilityInfoList(nullptr), LEXO_ERR_PARAM_INVALID);
    EXPECT_EQ(orvx_proxy_ReleaseCapabilityInfoList(nullptr), LEXO_ERR_PARAM_INVALID);
}

TEST_F(CapabilityTest, AnEndedEngineHasNone) {
    ASSERT_EQ(orvx_proxy_End(), LEXO_ERR_NONE);
    Lexo_CapabilityInfo stale = {};
    Lexo_CapabilityInfoList list = {7, &stale};
    EXPECT_EQ(orvx_proxy_GetCapabilityInfoList(&list), LEXO_ERR_NONE);
    EXPECT_EQ(list.nCapabilityCount, 0);
    EXPECT_EQ(list.pCapabilityInfoList, nullptr);
    EXPECT_TRUE(Logged(home_.NewLog(), "WARN", "No engine found."));
}

struct NameCase {
    const char* name;
    const char* capability;  // what the session's requests carry
};

TEST_F(CapabilityTest, NamesThatAreUnderstood) {
    const NameCase cases[] = {
        {"freetalk", "asr.cloud.freetalk"},
        {"  freetalk\r\n", "asr.cloud.freetalk"},
        {"\t\n GRAMMAR \t", "asr.cloud.grammar"},
        {"FreeTalkXYZ", "asr.cloud.freetalk"},
        {"keywordspot,anything at all", "asr.cloud.keywordspot"},
        {"AnAlySiS", "asr.cloud.analysis"},
        {"asr.cloud.analysis", "asr.cloud.analysis"},
        {"ASR.Cloud.Grammar", "asr.cloud.grammar"},
        {" asr.cloud.keywordspot ", "asr.cloud.keywordspot"},
        {"asr.cloud.grammar;", "asr.cloud.grammar"},
        {"asr.cloud.grammarX", "asr.cloud.grammar"},
        {" asr.cloud.freetalk, ", "asr.cloud.freetalk"},
    };
    for (const NameCase& one : cases) {
        SCOPED_TRACE(one.name);
        EXPECT_EQ(Session(one.name).Recognize().code, LEXO_ERR_NONE);
        EXPECT_EQ(server_.LastRequest().inner.cap_name(), one.capability);
        EXPECT_EQ(server_.LastRequest().access.capkey(), one.capability);
    }
}

struct RefusedName {
    const char* name;
    const char* trimmed;  // as the parser logs it, null where the parser is content
};

TEST_F(CapabilityTest, NamesThatAreRefused) {
    const RefusedName cases[] = {
        {"talk", "talk"},
        {"", ""},
        {nullptr, ""},
        {" \r\n\t", ""},
        {"\vfreetalk", "\vfreetalk"},
        {"free talk", "free talk"},
        {"asr.cloud", "asr.cloud"},
        {"asr.cloud.", "asr.cloud."},
        {"asr.cloud.keyword", "asr.cloud.keyword"},
        {"my.asr.cloud.grammar", "my.asr.cloud.grammar"},
        {" grammar asr.cloud. ", "grammar asr.cloud."},
        {"grammar ASR.CLOUD.", "grammar ASR.CLOUD."},
        {"asr.cloud.grammar,abc", nullptr},
        {" asr.cloud.grammarXabc\n", nullptr},
        {"asr.cloud.freetalk, x", nullptr},
        {"asr.cloud.freetalkasr.cloud.freetalk", nullptr},
    };
    Lexo_Handle handle = &server_;
    for (const RefusedName& one : cases) {
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

TEST_F(CapabilityTest, ResourceCallsReadNamesTheSameWay) {
    unsigned int id = 0;
    EXPECT_EQ(orvx_proxy_LoadResource("my.asr.cloud.grammar", LEXO_RESOURCE_BUFFER, "x", 1,
                                      LEXO_RESOURCE_GRAMMAR_ABNF, &id),
              LEXO_ERR_PARAM_INVALID);
    EXPECT_TRUE(Logged(home_.NewLog(), "ERROR", "capkey name is invalid[my.asr.cloud.grammar]."));
    ASSERT_EQ(orvx_proxy_LoadResource(" ASR.cloud.Grammar,behind ", LEXO_RESOURCE_BUFFER, "x", 1,
                                      LEXO_RESOURCE_GRAMMAR_ABNF, &id),
              LEXO_ERR_NONE)
        << "only sessions refuse text behind the name";
    EXPECT_EQ(orvx_proxy_UnloadResource(nullptr, id), LEXO_ERR_PARAM_INVALID);
    EXPECT_EQ(orvx_proxy_UnloadResource("grammar", id), LEXO_ERR_NONE);
}

}  // namespace
