// How a host's spelling of a capability is understood.
#include <gtest/gtest.h>

#include <string>

#include "CapabilityKey.h"
#include "MessagesOf.h"

namespace {

TEST(CapabilityKeyTest, Accepted) {
    const struct {
        const char* key;
        const char* name;
        const char* remainder = "";
    } cases[] = {
        {"asr.cloud.freetalk", "asr.cloud.freetalk"},
        {"asr.cloud.grammar", "asr.cloud.grammar"},
        {"asr.cloud.keywordspot", "asr.cloud.keywordspot"},
        {"asr.cloud.analysis", "asr.cloud.analysis"},
        {"freetalk", "asr.cloud.freetalk"},
        {"grammar", "asr.cloud.grammar"},
        {"KeyWordSpot", "asr.cloud.keywordspot"},
        {"ANALYSIS", "asr.cloud.analysis"},
        {"  freetalk\r\n", "asr.cloud.freetalk"},
        {"\t\n\r asr.cloud.analysis \t", "asr.cloud.analysis"},
        // Behind a short name everything is ignored.
        {"FreeTalkXYZ", "asr.cloud.freetalk"},
        {"grammar,abc", "asr.cloud.grammar"},
        {"grammarfreetalk", "asr.cloud.grammar"},
        {"grammar asr.cloud", "asr.cloud.grammar"},
        // Behind a full name one character is dropped, whatever it is.
        {"ASR.Cloud.Grammar;x", "asr.cloud.grammar", "x"},
        {"asr.cloud.grammar,abc", "asr.cloud.grammar", "abc"},
        {"asr.cloud.grammarXabc", "asr.cloud.grammar", "abc"},
        {"asr.cloud.grammar,,abc", "asr.cloud.grammar", ",abc"},
        {"asr.cloud.grammar,", "asr.cloud.grammar"},
        {"asr.cloud.grammarX", "asr.cloud.grammar"},
        {"asr.cloud.grammar, ", "asr.cloud.grammar"},
        {"asr.cloud.grammar, a b ", "asr.cloud.grammar", " a b"},
        {"asr.cloud.freetalk.ASR.CLOUD.grammar", "asr.cloud.freetalk", "ASR.CLOUD.grammar"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.key);
        std::string name = "before";
        std::string remainder = "before";
        bool result = false;
        EXPECT_EQ(MessagesOf([&] { result = ParseCapKeyName(c.key, name, remainder); }),
                  Messages{});
        EXPECT_TRUE(result);
        EXPECT_EQ(name, c.name);
        EXPECT_EQ(remainder, c.remainder);
    }
}

TEST(CapabilityKeyTest, Refused) {
    const struct {
        const char* key;
        const char* logged;  // the trimmed text
    } cases[] = {
        {"", ""},
        {" \t\r\n ", ""},
        {"talk", "talk"},
        {"freetal", "freetal"},
        {"x freetalk ", "x freetalk"},
        {"\vfreetalk", "\vfreetalk"},  // not among the blanks that are trimmed
        {"my.asr.cloud.grammar", "my.asr.cloud.grammar"},
        {"asr.cloud.keyword", "asr.cloud.keyword"},
        {"asr.cloud.", "asr.cloud."},
        {"asr.cloud. grammar", "asr.cloud. grammar"},
        // A text that contains the prefix, in any case, is never tried as a short name.
        {"freetalk asr.cloud.grammar", "freetalk asr.cloud.grammar"},
        {"freetalk,ASR.Cloud.", "freetalk,ASR.Cloud."},
        {"%s%n", "%s%n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.key);
        std::string name;
        std::string remainder;
        bool result = true;
        EXPECT_EQ(MessagesOf([&] { result = ParseCapKeyName(c.key, name, remainder); }),
                  Messages{"capkey name is invalid[" + std::string(c.logged) + "]."});
        EXPECT_FALSE(result);
    }
}

TEST(CapabilityKeyTest, EngineTypes) {
    EXPECT_EQ(EngineTypeOf("asr.cloud.freetalk"), LEXO_ENGINE_FREETALK);
    EXPECT_EQ(EngineTypeOf("ASR.CLOUD.GRAMMAR.cn"), LEXO_ENGINE_GRAMMAR);
    EXPECT_EQ(EngineTypeOf("asr.cloud.keywordspot"), LEXO_ENGINE_KEYWORDSPOT);
    EXPECT_EQ(EngineTypeOf("asr.cloud.analysis"), LEXO_ENGINE_ANALYSIS);
    EXPECT_EQ(EngineTypeOf("asr.cloud.else"), LEXO_ENGINE_ANALYSIS);
}

}  // namespace
