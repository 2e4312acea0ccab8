// What the command line means, and that its tables agree with the library.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <set>

#include "Capabilities.h"
#include "CommandLine.h"
#include "Errors.h"
#include "LibraryHome.h"
#include "ResourceFile.h"
#include "ServerAddress.h"
#include "TempDir.h"
#include "TestHome.h"

namespace recognize {
namespace {

Options Parse(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "orvx-recognize");
    std::vector<const char*> argv;
    for (const std::string& argument : arguments) argv.push_back(argument.c_str());
    return ParseCommandLine(static_cast<int>(argv.size()), argv.data()).value();
}

TEST(CommandLine, TellsWhatIsWrong) {
    const std::string x257(257, 'x');
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{"-", "a", "-"}, "only once"},
        {{"a.raw"}, "--rate HZ"},
        {{"a", "b", "--format", "vtt"}, "one file"},
        {{"a", "--config", "/does/not/exist"}, "--config"},
        {{"a", "--capability", "freetalks"}, "freetalk, grammar, keywordspot, analysis"},
        {{"a", "--capability", "keywordspot"}, "needs keywords"},
        {{"a", "--grammar", ""}, "empty name"},
        {{"a", "--grammar", "g", "--capability", "analysis"}, "for capability grammar, not"},
        {{"a", "--grammar", "g", "--grammar-format", "x"}, "wordlist, abnf, jsgf, arpa, wfst"},
        {{"a", "--resource", "r", "--capability", "freetalk"}, "not freetalk"},
        {{"a", "--stream", "maybe"}, "no, yes, continue, continue-rt, yes-rt"},
        {{"a", "--stream", "yes", "--param", "stream_recog=no"}, "leave one out"},
        {{"a", "--pace", "--stream", "no"}, "--stream"},
        {{"a", "--param", "audio_format=v3_6k4bit"}, "v3_6k4bit cannot be made"},
        {{"a", "--param", "vad_head"}, "name=value"},
        {{"a", "--param", "stream=yes"}, "stream_recog"},
        {{"a", "--param", "vad_head=1800001"}, "from 0 to 1800000"},
        {{"a", "--param", "textpostproc=smooth;"}, "punctuate, smooth, numnormal, paragraph"},
        {{"a", "--param", "property_domain=" + x257}, "1 to 256 bytes"},
        {{"a", "--param", "property_domain=a,audio_format=alaw"}, "without \",\""},
    };
    for (const auto& [arguments, told] : cases) {
        try {
            Parse(arguments);
            ADD_FAILURE() << "accepted, though " << told;
        } catch (const UsageError& error) {
            EXPECT_NE(std::string(error.what()).find(told), std::string::npos) << error.what();
        }
    }
    EXPECT_EQ(Parse({"[a,b]"}).files, std::vector<std::string>{"./[a,b]"}) << "one file's name";
}

// Each session has the parameters that are listed for it, and what is shown of a value can be set.
TEST(Parameters, AreThoseOfTheLibrary) {
    const scripted::TestHome home;
    ASSERT_EQ(orvx_proxy_Init("127.0.0.1:9"), LEXO_ERR_PARAM_INVALID);  // nobody is there
    const char* names[] = {"freetalk", "grammar", "keywordspot", "analysis"};
    for (int engine = 0; engine < 4; ++engine) {
        Lexo_Handle session = nullptr;
        ASSERT_EQ(orvx_proxy_SessionStart(names[engine], &session), LEXO_ERR_NONE);
        const auto infos = ParametersOf(static_cast<Lexo_EngineType>(engine));
        for (int number = 1; number <= 16; ++number) {
            const auto key = static_cast<Lexo_ParamKey>(number);
            Lexo_ParamValue value = nullptr;
            EXPECT_EQ(orvx_proxy_GetParam(session, key, &value) == LEXO_ERR_NONE,
                      std::ranges::count(infos, key, &ParameterInfo::key) == 1)
                << names[engine] << " " << ParameterName(key);
        }
        for (const ParameterInfo& info : infos) {
            const bool is_number = info.type == "choice" || info.type == "flags";
            for (std::intptr_t number = info.type == "flags"; is_number; ++number) {
                const auto word = reinterpret_cast<Lexo_ParamValue>(number);
                if (orvx_proxy_SetParam(session, info.key, word) != LEXO_ERR_NONE) break;
                const std::string shown = ShowValue(info.key, word);
                EXPECT_EQ(ParseParameter(std::string(info.name) + "=" + shown).Word(), word);
            }
        }
        EXPECT_EQ(orvx_proxy_SessionStop(session), LEXO_ERR_NONE);
    }
    EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_NONE);
    EXPECT_EQ(ParseParameter("qa_paramter=a=b,c").text, "a=b,c");
    EXPECT_EQ(ParseParameter("vad_head=1800000").number, 1800000);
}

TEST(ResourceFile, TellsTheFormatOfAGrammar) {
    const std::tuple<const char*, std::string, Lexo_ResourceFormatType> cases[] = {
        {"a.gram", "#JSGF V1.0;", LEXO_RESOURCE_GRAMMAR_JSGF},
        {"a.txt", "\xEF\xBB\xBF#ABNF 1.0;", LEXO_RESOURCE_GRAMMAR_ABNF},
        {"a", "a model\n\n\\data\\\nngram 1=5", LEXO_RESOURCE_GRAMMAR_ARPA},
        {"a", "\xD6\xFD\xB2\x7E", LEXO_RESOURCE_GRAMMAR_WFST},
        {"list.TXT", "yes\nno\n", LEXO_RESOURCE_GRAMMAR_WORDLIST},
        {"a.lm", "x", LEXO_RESOURCE_GRAMMAR_ARPA},
        {"a.b/c.wfst", "0 1 a a", LEXO_RESOURCE_GRAMMAR_WFST},
    };
    for (const auto& [name, bytes, format] : cases)
        EXPECT_EQ(GuessGrammarFormat(name, bytes), format) << name;
    EXPECT_THROW(GuessGrammarFormat("a.gram", "grammar x;"), UsageError);
    EXPECT_THROW(GuessGrammarFormat("a.txt/b", "yes"), UsageError);
}

TEST(ServerAddress, IsCheckedAndLookedUp) {
    EXPECT_EQ(ResolveServerAddress("localhost:1"), "127.0.0.1:1");
    for (const char* wrong : {"", "127.0.0.1", ":8800", "127.0.0.1:0", "127.0.0.1:65536",
                              "127.0.0.1:88x", "1.2.3.4,conf:5", "a b:1"})
        EXPECT_THROW(ResolveServerAddress(wrong), UsageError) << wrong;
}

TEST(LibraryHome, IsTheInstalledFolderOrElseTheBuildTrees) {
    const TempDir dir;
    const std::filesystem::path root = dir.Path("");
    EXPECT_EQ(FindLibraryHome(root / "bin"), "");
    for (const auto& home : {root, root / "share/orvx"}) {
        std::filesystem::create_directories(home / "conf");
        std::ofstream(home / "conf/Lexo_SDK.conf").flush();
        EXPECT_TRUE(std::filesystem::equivalent(FindLibraryHome(root / "bin"), home));
    }
}

// The table is compared with the public header itself, so that a code added there is missed here.
TEST(ErrorNames, AreThoseOfThePublicHeader) {
    std::ifstream header(ORVX_PUBLIC_HEADER);
    std::set<std::string> meanings;
    for (std::string line; std::getline(header, line);) {
        char name[64];
        int number = 0;
        if (std::sscanf(line.c_str(), " %63[A-Z_] = %d", name, &number) == 2 &&
            std::string(name).starts_with("LEXO_ERR_")) {
            EXPECT_EQ(NameOf(static_cast<Lexo_ErrCode>(number)), name);
            meanings.insert(MeaningOf(static_cast<Lexo_ErrCode>(number)));
        }
    }
    EXPECT_EQ(meanings.size(), 36U);
}

}  // namespace
}  // namespace recognize
