#include <gtest/gtest.h>

#include <map>
#include <string>

#include "TaskConfig.h"

namespace {

TEST(TaskConfigTest, ParsesTheTextForm) {
    using Map = std::map<std::string, std::string>;
    const struct {
        const char* text;
        Map map;
    } cases[] = {
        {"", {}},
        {" , ,,", {}},
        {"vad_head=10000,stream_recog=continue-rt",
         {{"vad_head", "10000"}, {"stream_recog", "continue-rt"}}},
        {" a = b c ,\td\t=\te\t,", {{"a", "b c"}, {"d", "e"}}},
        {"a=b=c,x==", {{"a", "b=c"}, {"x", "="}}},
        {"a,b=,c = ", {{"a", ""}, {"b", ""}, {"c", ""}}},
        {"a=1,b=2,a=3", {{"a", "3"}, {"b", "2"}}},
        {"a=1,a", {{"a", ""}}},
        {"=v", {{"", "v"}}},
        {"textpostproc=punctuate;smooth", {{"textpostproc", "punctuate;smooth"}}},
        {"property_domain=\xE9\x80\x9A\xE7\x94\xA8",
         {{"property_domain", "\xE9\x80\x9A\xE7\x94\xA8"}}},
    };
    for (const auto& c : cases) EXPECT_EQ(TaskConfig(c.text).GetMapConfig(), c.map) << c.text;
}

}  // namespace
