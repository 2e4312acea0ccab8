#include <gtest/gtest.h>

#include "Capabilities.h"
#include "CommandLine.h"
#include "Errors.h"
#include "LibraryHome.h"
#include "ResourceFile.h"
#include "ServerAddress.h"
#include "TempDir.h"

namespace recognize {
namespace {

Options Parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "orvx-recognize");
    return ParseCommandLine(static_cast<int>(arguments.size()), arguments.data()).value();
}

const ParameterSetting* Find(const Options& options, Lexo_ParamKey key) {
    for (const ParameterSetting& setting : options.parameters) {
        if (setting.key == key) {
            return &setting;
        }
    }
    return nullptr;
}

TEST(CommandLine, HasDefaultsForAllButTheFile) {
    const Options options = Parse({"a.wav"});
    EXPECT_EQ(options.server, "127.0.0.1:8800");
    EXPECT_EQ(options.capability, "asr.cloud.freetalk");
    EXPECT_EQ(options.format, OutputFormat::kText);
    EXPECT_EQ(options.jobs, 1);
    EXPECT_EQ(options.audio_format, 6);
    ASSERT_NE(Find(options, LEXO_PARAM_AUDIOFORMAT), nullptr);
    EXPECT_EQ(Find(options, LEXO_PARAM_AUDIOFORMAT)->number, 6);
    EXPECT_EQ(Find(options, LEXO_PARAM_STREAM), nullptr);
}

TEST(CommandLine, ReadsOptionsInAnyPlace) {
    const Options options = Parse({"a.wav",
                                   "--param",
                                   "vad_tail=800",
                                   "-",
                                   "--capability",
                                   "ASR.Cloud.Analysis",
                                   "--keywords",
                                   "k.txt",
                                   "--stream",
                                   "continue",
                                   "b.raw",
                                   "--rate",
                                   "8000",
                                   "--param",
                                   "audio_format=ulaw",
                                   "-j",
                                   "4",
                                   "--format",
                                   "json",
                                   "--pace",
                                   "--chunk-ms",
                                   "20"});
    EXPECT_EQ(options.files, (std::vector<std::string>{"a.wav", "-", "b.raw"}));
    EXPECT_EQ(options.capability, "asr.cloud.analysis");
    EXPECT_EQ(Find(options, LEXO_PARAM_VAD_TAIL)->number, 800);
    EXPECT_EQ(Find(options, LEXO_PARAM_STREAM)->number, 2);
    EXPECT_EQ(options.audio_format, 2);
    EXPECT_EQ(options.raw_rate, 8000);
    EXPECT_EQ(options.jobs, 4);
    EXPECT_EQ(options.format, OutputFormat::kJson);
    EXPECT_EQ(options.chunk_ms, 20);
}

TEST(CommandLine, TellsWhatIsWrong) {
    const struct {
        std::vector<const char*> arguments;
        const char* told;
    } cases[] = {
        {{}, "no FILE"},
        {{"--verbose"}, "no FILE"},
        {{"-", "a.wav", "-"}, "only once"},
        {{"a.raw"}, "--rate HZ"},
        {{"a.pcm"}, "--rate HZ"},
        {{"a.wav", "--bogus"}, "--bogus"},
        {{"a.wav", "--jobs", "0"}, "1 to 64"},
        {{"a.wav", "--jobs", "x"}, "--jobs"},
        {{"a.wav", "--rate", "12"}, "--rate"},
        {{"a.wav", "--chunk-ms", "5"}, "--chunk-ms"},
        {{"a.wav", "--format", "xml"}, "xml"},
        {{"a.wav", "b.wav", "--format", "srt"}, "one file"},
        {{"a.wav", "--capability", "talk"}, "freetalk, grammar, keywordspot, analysis"},
        {{"a.wav", "--capability", "freetalks"}, "freetalk, grammar, keywordspot, analysis"},
        {{"a.wav", "--capability", "grammar"}, "needs a grammar"},
        {{"a.wav", "--capability", "keywordspot"}, "needs keywords"},
        {{"a.wav", "--grammar", "g", "--words", "w"}, "exclude each other"},
        {{"a.wav", "--grammar", ""}, "empty name"},
        {{"a.wav", "--grammar", "g", "--capability", "analysis"}, "for capability grammar, not"},
        {{"a.wav", "--grammar", "g", "--grammar-format", "bnf"},
         "wordlist, abnf, jsgf, arpa, wfst"},
        {{"a.wav", "--keywords", "k", "--grammar-format", "abnf"}, "--grammar FILE"},
        {{"a.wav", "--resource", "r"}, "add --capability"},
        {{"a.wav", "--resource", "r", "--capability", "freetalk"}, "not freetalk"},
        {{"a.wav", "--param"}, "--param"},
        {{"a.wav", "--param", "vad_head=x"}, "whole number"},
        {{"a.wav", "--stream", "maybe"}, "no, yes, continue"},
        {{"a.wav", "--stream", "yes", "--param", "stream_recog=no"}, "leave one out"},
        {{"a.wav", "--param", "audio_format=v3_6k4bit"}, "v3_6k4bit cannot be made"},
        {{"a.wav", "--pace"}, "--stream"},
        {{"a.wav", "--pace", "--stream", "no"}, "--stream"},
        {{"a.wav", "--config", "/does/not/exist"}, "--config"},
    };
    for (const auto& c : cases) {
        try {
            Parse(c.arguments);
            ADD_FAILURE() << "accepted, though " << c.told;
        } catch (const UsageError& error) {
            EXPECT_NE(std::string(error.what()).find(c.told), std::string::npos) << error.what();
        }
    }
}

TEST(CommandLine, TakesTheCapabilityFromTheResource) {
    const struct {
        std::vector<const char*> arguments;
        const char* capability;
        int format;  // -1: to be told from the file
    } cases[] = {
        {{"a.wav", "--grammar", "g"}, "asr.cloud.grammar", -1},
        {{"a.wav", "--grammar", "g", "--grammar-format", "wfst"}, "asr.cloud.grammar", 5},
        {{"a.wav", "--keywords", "k"}, "asr.cloud.keywordspot", 0},
        {{"a.wav", "--keywords", "k", "--capability", "analysis"}, "asr.cloud.analysis", 0},
        {{"a.wav", "--words", "w"}, "asr.cloud.freetalk", 6},
        {{"a.wav", "--resource", "r", "--capability", "grammar"}, "asr.cloud.grammar", -1},
        {{"a.wav", "--capability", "analysis"}, "asr.cloud.analysis", -1},
    };
    for (const auto& c : cases) {
        const Options options = Parse(c.arguments);
        EXPECT_EQ(options.capability, c.capability);
        const auto format = options.resource.format;
        EXPECT_EQ(format ? static_cast<int>(*format) : -1, c.format) << c.arguments[1];
    }
}

TEST(ResourceFile, TellsTheFormatOfAGrammar) {
    const struct {
        const char* name;
        std::string bytes;
        Lexo_ResourceFormatType format;
    } cases[] = {
        {"a.gram", "#JSGF V1.0;", LEXO_RESOURCE_GRAMMAR_JSGF},
        {"a.txt", "\xEF\xBB\xBF#ABNF 1.0;", LEXO_RESOURCE_GRAMMAR_ABNF},
        {"a", "a model\n\n\\data\\\nngram 1=5", LEXO_RESOURCE_GRAMMAR_ARPA},
        {"a", "\xD6\xFD\xB2\x7E", LEXO_RESOURCE_GRAMMAR_WFST},
        {"list.TXT", "yes\nno\n", LEXO_RESOURCE_GRAMMAR_WORDLIST},
        {"a.lm", "x", LEXO_RESOURCE_GRAMMAR_ARPA},
        {"a.b/c.wfst", "0 1 a a", LEXO_RESOURCE_GRAMMAR_WFST},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(GuessGrammarFormat(c.name, c.bytes), c.format) << c.name;
    }
    EXPECT_THROW(GuessGrammarFormat("a.gram", "grammar x;"), UsageError);
    EXPECT_THROW(GuessGrammarFormat("a.txt/b", "yes"), UsageError);
}

TEST(CommandLine, NeedsNoFileToList) {
    EXPECT_TRUE(Parse({"--list"}).list);
}

TEST(CommandLine, CapabilitiesHaveAShortName) {
    EXPECT_EQ(FullCapabilityName("KeywordSpot"), "asr.cloud.keywordspot");
    EXPECT_EQ(FullCapabilityName("asr.cloud.analysis"), "asr.cloud.analysis");
    EXPECT_EQ(ShortCapabilityName("asr.cloud.analysis"), "analysis");
    EXPECT_EQ(ShortCapabilityName("other"), "other");
}

TEST(ServerAddress, IsCheckedAndLookedUp) {
    EXPECT_EQ(ResolveServerAddress("127.0.0.1:8800"), "127.0.0.1:8800");
    EXPECT_EQ(ResolveServerAddress("localhost:1"), "127.0.0.1:1");
    for (const char* wrong : {"", "127.0.0.1", ":8800", "127.0.0.1:", "127.0.0.1:0",
                              "127.0.0.1:65536", "127.0.0.1:88x", "1.2.3.4,conf:5", "a b:1"}) {
        EXPECT_THROW(ResolveServerAddress(wrong), UsageError) << wrong;
    }
}

TEST(LibraryHome, IsTheInstalledFolderOrElseTheBuildTrees) {
    const TempDir dir;
    const std::filesystem::path root = dir.Path("");
    const auto bin = root / "bin";
    std::filesystem::create_directories(root / "conf");
    std::filesystem::create_directories(root / "share/orvx/conf");
    EXPECT_EQ(FindLibraryHome(bin), "");
    dir.Write("conf/Lexo_SDK.conf", "");
    EXPECT_TRUE(std::filesystem::equivalent(FindLibraryHome(bin), root));
    dir.Write("share/orvx/conf/Lexo_SDK.conf", "");
    EXPECT_TRUE(std::filesystem::equivalent(FindLibraryHome(bin), root / "share/orvx"));
}

}  // namespace
}  // namespace recognize
