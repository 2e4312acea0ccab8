#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>

#include "ErrorNames.h"

namespace recognize {
namespace {

// The table is compared with the public header itself, so that a code added there is missed here.
TEST(ErrorNames, AreThoseOfThePublicHeader) {
    std::ifstream header(ORVX_PUBLIC_HEADER);
    const std::regex enumerator(R"(^\s*(LEXO_ERR_\w+) = (\d+),?$)");
    std::set<std::string> meanings;
    int codes = 0;
    for (std::string line; std::getline(header, line);) {
        std::smatch match;
        if (!std::regex_match(line, match, enumerator)) {
            continue;
        }
        ++codes;
        const auto code = static_cast<Lexo_ErrCode>(std::stoi(match[2]));
        EXPECT_EQ(NameOf(code), match[1].str());
        EXPECT_TRUE(meanings.insert(MeaningOf(code)).second) << "said twice: " << match[1];
        EXPECT_EQ(Describe(code), match[1].str() + ": " + MeaningOf(code));
    }
    EXPECT_EQ(codes, 36);
}

TEST(ErrorNames, TellWhenACodeIsTheServersOwn) {
    for (const int number : {26, 27, 28, 38, 99, 101, -3}) {
        const auto code = static_cast<Lexo_ErrCode>(number);
        EXPECT_EQ(NameOf(code), "server code " + std::to_string(number));
        EXPECT_FALSE(MeaningOf(code).empty());
    }
}

}  // namespace
}  // namespace recognize
