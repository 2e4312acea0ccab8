#include <gtest/gtest.h>
#include <sys/stat.h>

#include <climits>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "ConfigFile.h"
#include "TaskConfig.h"
#include "TempDir.h"

namespace {

class ConfigFileTest : public testing::Test {
  protected:
    bool Load(const std::string& text) {
        return file_.LoadFromFile(dir_.Write("x.conf", text).c_str());
    }
    std::string Text(const char* section, const char* key) const {
        return file_.ReadString(section, key, "(absent)");
    }

    const TempDir dir_;
    ConfigFile file_;
};

TEST_F(ConfigFileTest, ReadsTheSyntax) {
    const struct {
        const char* text;
        const char* value;  // of key "k" in section "s"
    } cases[] = {
        {"", "(absent)"},
        {"[s]\nk=v\n", "v"},
        {"\xEF\xBB\xBF[s]\r\nk=v\r\n", "v"},
        {" [ s ] \n\t k \t=\t v w \t\n", "v w"},
        {"[s]\nk=\n", ""},
        {"[s]\nk = a=b # c ; d\n", "a=b # c ; d"},
        {"[s]\n#k=v\n ;k=v\n", "(absent)"},
        {"[s]\nk=1\nk=2\n", "2"},
        {"[s]\nk=1\n[t]\nk=2\n[s]\nk=3\n[t]\nk=4\n", "3"},
        {"[S]\nk=1\n[s]\nK=2\n", "(absent)"},
        {"k=v\n[t]\nk=v\n", "(absent)"},
        {"[s]\nk\n=v\n", "(absent)"},
        {"[s] trailing\nk=v\n", "v"},
        {"[s]\nk=\xC4\xE3\xFF\n", "\xC4\xE3\xFF"},
    };
    for (const auto& c : cases) {
        ASSERT_TRUE(Load(c.text)) << c.text;
        EXPECT_EQ(Text("s", "k"), c.value) << c.text;
    }
}

TEST_F(ConfigFileTest, ReadsWholeDecimalIntegersOnly) {
    const std::pair<int, std::vector<const char*>> cases[] = {
        {-1, {"-1"}},
        {7, {"+7", "007", "7"}},
        {INT_MAX, {"2147483647"}},
        {99,
         {"2147483648", "-2147483649", "99999999999999999999", "", "+", "+-1", "0x10", "1.0", "1 2",
          "10ms"}},
    };
    for (const auto& [value, texts] : cases) {
        for (const char* text : texts) {
            ASSERT_TRUE(Load(std::string("[s]\nk = ") + text + " \n"));
            EXPECT_EQ(file_.ReadInt("s", "k", 99), value) << text;
        }
    }
}

// The form in which settings travel to the server.
TEST(TaskConfigTest, ParsesTheTextForm) {
    const std::pair<const char*, std::map<std::string, std::string>> cases[] = {
        {" , ,,", {}},
        {" a = b c ,\td\t=\te\t,", {{"a", "b c"}, {"d", "e"}}},
        {"a=b=c,x==,b,c = ", {{"a", "b=c"}, {"x", "="}, {"b", ""}, {"c", ""}}},
        {"a=1,b=2,a=3", {{"a", "3"}, {"b", "2"}}},
    };
    for (const auto& [text, map] : cases) EXPECT_EQ(TaskConfig(text).GetMapConfig(), map) << text;
}

TEST_F(ConfigFileTest, FailedLoadKeepsTheFormerContents) {
    ASSERT_TRUE(Load("[s]\nk=v\n"));
    ASSERT_EQ(mkfifo(dir_.Path("fifo").c_str(), 0644), 0);
    const std::string paths[] = {
        "",          dir_.Path("missing"),  dir_.Path(""),         dir_.Path("fifo"),
        "/dev/zero", dir_.Path("x.conf/y"), std::string(5000, 'x')};
    for (const std::string& path : paths) EXPECT_FALSE(file_.LoadFromFile(path.c_str())) << path;
    EXPECT_FALSE(file_.LoadFromFile(nullptr));
    EXPECT_EQ(Text("s", "k"), "v");
}

}  // namespace
