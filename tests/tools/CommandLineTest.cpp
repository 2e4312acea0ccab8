#include <gtest/gtest.h>

#include "Capabilities.h"
#include "CommandLine.h"
#include "Errors.h"
#include "LibraryHome.h"
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
                                   "ASR.Cloud.Grammar",
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
    EXPECT_EQ(options.capability, "asr.cloud.grammar");
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
