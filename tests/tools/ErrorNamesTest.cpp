#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <set>
#include <string>

#include "ErrorNames.h"

namespace recognize {
namespace {

// The table is compared with the public header itself, so that a code added there is missed here.
TEST(ErrorNames, AreThoseOfThePublicHeader) {
    std::ifstream header(ORVX_PUBLIC_HEADER);
    std::set<std::string> meanings;
    int codes = 0;
    for (std::string line; std::getline(header, line);) {
        char name[64];
        int number = 0;
        if (std::sscanf(line.c_str(), " %63[A-Z_] = %d", name, &number) != 2 ||
            !std::string(name).starts_with("LEXO_ERR_")) {
            continue;
        }
        ++codes;
        const auto code = static_cast<Lexo_ErrCode>(number);
        EXPECT_EQ(NameOf(code), name);
        EXPECT_TRUE(meanings.insert(MeaningOf(code)).second) << "said twice: " << name;
        EXPECT_EQ(Describe(code), std::string(name) + ": " + MeaningOf(code));
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
