#include <gtest/gtest.h>
#include <sys/stat.h>

#include <climits>
#include <string>

#include "ConfigFile.h"
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
        {"[s]\nk=v", "v"},
        {"\xEF\xBB\xBF[s]\r\nk=v\r\n", "v"},
        {"\xEF\xBB\xBF", "(absent)"},
        {" [ s ] \n\t k \t=\t v w \t\n", "v w"},
        {"[s]\nk=\n", ""},
        {"[s]\nk = a=b # c ; d\n", "a=b # c ; d"},
        {"[s]\nk=\"v\"\n", "\"v\""},
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
    const struct {
        const char* text;
        int value;
    } cases[] = {{"16000", 16000},
                 {"-1", -1},
                 {"+7", 7},
                 {"007", 7},
                 {"2147483647", INT_MAX},
                 {"-2147483648", INT_MIN},
                 {"2147483648", 99},
                 {"-2147483649", 99},
                 {"99999999999999999999", 99},
                 {"", 99},
                 {"+", 99},
                 {"+-7", 99},
                 {"0x10", 99},
                 {"1e3", 99},
                 {"1.0", 99},
                 {"1 2", 99},
                 {"10ms", 99}};
    for (const auto& c : cases) {
        ASSERT_TRUE(Load(std::string("[s]\nk = ") + c.text + " \n"));
        EXPECT_EQ(file_.ReadInt("s", "k", 99), c.value) << c.text;
    }
    EXPECT_EQ(file_.ReadInt("s", "other", 99), 99);
    EXPECT_EQ(file_.ReadInt("other", "k", 99), 99);
}

TEST_F(ConfigFileTest, TakesNullAndUnloaded) {
    EXPECT_EQ(Text("s", "k"), "(absent)");
    EXPECT_EQ(file_.ReadInt("s", "k", 5), 5);
    ASSERT_TRUE(Load("k=v\n"));
    EXPECT_EQ(Text(nullptr, "k"), "v");
    EXPECT_EQ(Text("s", nullptr), "(absent)");
    EXPECT_EQ(file_.ReadString("s", "k", nullptr), "");
}

TEST_F(ConfigFileTest, FailedLoadKeepsTheFormerContents) {
    ASSERT_TRUE(Load("[s]\nk=v\n"));
    ASSERT_EQ(mkfifo(dir_.Path("fifo").c_str(), 0644), 0);
    const std::string paths[] = {
        "",          dir_.Path("missing"),  dir_.Path(""),         dir_.Path("fifo"),
        "/dev/zero", dir_.Path("x.conf/y"), std::string(5000, 'x')};
    for (const std::string& path : paths) {
        EXPECT_FALSE(file_.LoadFromFile(path.c_str())) << path;
    }
    EXPECT_FALSE(file_.LoadFromFile(nullptr));
    EXPECT_EQ(Text("s", "k"), "v");
}

TEST_F(ConfigFileTest, LaterLoadReplacesTheContents) {
    ASSERT_TRUE(Load("[s]\nk=v\nj=w\n"));
    ASSERT_TRUE(Load("[s]\nk=x\n"));
    EXPECT_EQ(Text("s", "k"), "x");
    EXPECT_EQ(Text("s", "j"), "(absent)");
}

TEST_F(ConfigFileTest, ReadsLargeFiles) {
    std::string text = "[s]\n";
    for (int i = 0; text.size() < 10'000'000; ++i)
        text += "k" + std::to_string(i % 1000) + " = v\n";
    text += "long = " + std::string(1'000'000, 'x') + "\n";
    ASSERT_TRUE(Load(text));
    EXPECT_EQ(Text("s", "k999"), "v");
    EXPECT_EQ(Text("s", "long").size(), 1'000'000u);
}

}  // namespace
