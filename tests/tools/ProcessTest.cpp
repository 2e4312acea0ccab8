// What a user or a pipe sees of a run: usage, output, several files.
#include <sstream>

#include "ToolTest.h"

namespace {

TEST_F(Tool, PrintsNothingButTheTextOfOneFile) {
    const ToolResult result =
        Run({Sound(1)}, {{"answers", {{"1", {{"texts", {"hello", "world"}}}}}}});
    EXPECT_EQ(result.out, "hello\nworld\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(Count("recognize 10000 recording=1 bytes=16000 over=0"), 1) << Log();
    EXPECT_EQ(Count("init 127.0.0.1:8800 home=/"), 1) << Log();
    ExpectOrderlyEnd();
}

TEST_F(Tool, TellsTimesAndTheEnginesWordsWhenVerbose) {
    const ToolResult result =
        Run({"--verbose", Sound(1)}, {{"answers", {{"1", {{"texts", {"hello"}}}}}}});
    EXPECT_EQ(result.out, "[00:00.000 - 00:00.500] hello  (score 90)\n");
    for (const char* told : {"conf_file=", "noise of the engine", "0.50 s of audio", "real-time"}) {
        EXPECT_NE(result.err.find(told), std::string::npos) << told;
    }
}

TEST_F(Tool, UsesTheHomeAndConfigurationOfTheUser) {
    run_.environment["QUORLAN_HOME"] = "/home/of/user";
    const std::string config = dir_.Write("my.conf", "");
    Run({"--server", "localhost:9", "--config", config, Sound(1)});
    EXPECT_EQ(Count("init 127.0.0.1:9," + config + " home=/home/of/user\n"), 1) << Log();
}

TEST_F(Tool, RefusesWrongUsageBeforeTheEngineStarts) {
    const std::vector<std::string> cases[] = {
        {},
        {"--param", "vad_head=x", Sound(1)},
        {"--param", "stream=yes", Sound(1)},
        {"--capability", "talk", Sound(1)},
        {"--server", "nowhere", Sound(1)},
        {"--pace", Sound(1)},
        {dir_.Path("a.raw")},
        {"--format", "srt", Sound(1), Sound(2)},
    };
    for (const auto& arguments : cases) {
        const ToolResult result = Run(arguments);
        EXPECT_EQ(result.status, 2) << result.err;
        EXPECT_EQ(result.out, "");
        EXPECT_NE(result.err.find("--help"), std::string::npos);
        EXPECT_EQ(Log(), "");
    }
}

TEST_F(Tool, NamesTheParameterThatACapabilityLacks) {
    const ToolResult result =
        Run({"--capability", "analysis", "--stream", "yes", Sound(1)}, {{"unsupported", {8}}});
    EXPECT_EQ(result.status, 2);
    for (const char* told : {"LEXO_ERR_NOT_SUPPORT", "stream_recog", "asr.cloud.analysis"}) {
        EXPECT_NE(result.err.find(told), std::string::npos) << result.err;
    }
    EXPECT_EQ(Count("recognize"), 0);
    ExpectOrderlyEnd();
}

TEST_F(Tool, SaysWhatToDoWhenTheEngineDoesNotStart) {
    const struct {
        int code;
        const char* name;
        const char* advice;
    } cases[] = {{1, "LEXO_ERR_PARAM_INVALID", "orvx-server"},
                 {5, "LEXO_ERR_INIT_FAILED", "Lexo_SDK.conf"},
                 {37, "LEXO_ERR_ENV_NOT_VALID", "QUORLAN_HOME"},
                 {100, "LEXO_ERR_UNKNOWN", ""},
                 {-1, "the engine got no socket", ""}};
    for (const auto& c : cases) {
        const ToolResult result = Run({"--format", "json", Sound(1)}, {{"init", c.code}});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, "");
        EXPECT_NE(result.err.find(c.name), std::string::npos) << result.err;
        EXPECT_NE(result.err.find(c.advice), std::string::npos) << result.err;
    }
}

TEST_F(Tool, ListsCapabilitiesAlsoWithoutAServer) {
    const ToolResult result = Run({"--list"}, {{"init", 1}});
    for (const char* told :
         {"\nasr.cloud.analysis (analysis)\n", "\nasr.cloud.freetalk (freetalk)\n",
          "\n  analysis_mode        choice  offline      one of offline, online\n",
          "\n  property_domain      text    a text\\x1b",
          "\n  textpostproc         flags   none         one or more"}) {
        EXPECT_NE(result.out.find(told), std::string::npos) << told << "\n" << result.out;
    }
    ExpectOrderlyEnd();
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
}

// Each recording is answered only after the one behind it, so that they finish in reverse order.
TEST_F(Tool, KeepsTheOrderOfTheFilesOverParallelSessions) {
    const ToolResult result = Run({"--jobs", "4", Sound(1), Sound(2), Sound(3), Sound(4)},
                                  {{"answers",
                                    {{"1", {{"texts", {"one"}}, {"after", "2"}}},
                                     {"2", {{"error", 32}, {"after", "3"}}},
                                     {"3", {{"texts", {"three"}}, {"after", "4"}}},
                                     {"4", {{"texts", {"four"}}}}}}});
    EXPECT_EQ(result.out, "==> " + Sound(1) + " <==\none\n\n==> " + Sound(2) + " <==\n\n==> " +
                              Sound(3) + " <==\nthree\n\n==> " + Sound(4) + " <==\nfour\n");
    EXPECT_EQ(result.err, "orvx-recognize: " + Sound(2) +
                              ": LEXO_ERR_NETWORK_FAILED: no exchange with 127.0.0.1:8800: it "
                              "cannot be reached, or closed the connection, as a full server does, "
                              "or is no recognition server\n"
                              "orvx-recognize: 1 of 4 files not recognised\n");
    EXPECT_EQ(result.status, 1);
    ExpectOrderlyEnd();
}

TEST_F(Tool, GoesOnAfterFilesThatFail) {
    const ToolResult result =
        Run({"--format", "json", dir_.Path("missing.wav"), Sound(1), Sound(2), Sound(3), Sound(4)},
            {{"answers",
              {{"1", {{"error", 23}}},
               {"2", {{"error", 12}}},
               {"3", {{"error", 777}}},
               {"4", {{"texts", {"four"}}}}}}});
    EXPECT_EQ(result.status, 1);
    std::istringstream lines(result.out);
    const Json names[] = {nullptr, "LEXO_ERR_ENGINE_FAILED", "LEXO_ERR_NO_VOICE_INPUT",
                          "server code 777"};
    std::string line;
    for (const Json& name : names) {
        ASSERT_TRUE(std::getline(lines, line));
        EXPECT_EQ(Json::parse(line).at("error").at("name"), name);
        EXPECT_EQ(Json::parse(line).at("results").size(), 0U);
    }
    ASSERT_TRUE(std::getline(lines, line));
    EXPECT_FALSE(Json::parse(line).contains("error"));
    EXPECT_EQ(Json::parse(line).at("audio_seconds"), 0.5);
    EXPECT_FALSE(std::getline(lines, line));
    // A session whose engine failed is not used again; one that heard no speech is.
    EXPECT_EQ(Count("start "), 3) << Log();
    ExpectOrderlyEnd();
}

TEST_F(Tool, LoadsAResourceOnceAndBindsItToEverySession) {
    const std::string grammar = dir_.Write("g.gram", "#JSGF go;");
    const ToolResult result =
        Run({"--grammar", grammar, "--jobs", "2", Sound(1), Sound(2), Sound(3)},
            {{"answers", {{"1", {{"error", 2}}}, {"3", {{"error", 32}}}}}});
    EXPECT_EQ(Count("load asr.cloud.grammar format=3 [#JSGF go;]"), 1) << Log();
    EXPECT_EQ(Count("bind "), Count("start ")) << Log();
    EXPECT_NE(result.err.find("LEXO_ERR_NOT_SUPPORT"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("--grammar " + grammar + " as jsgf"), std::string::npos)
        << result.err;
    ExpectOrderlyEnd();
    Run({"--resource", "digits", "--capability", "keywordspot", Sound(1)});
    EXPECT_EQ(Count("load "), 0) << Log();
    EXPECT_EQ(Count("name=digits"), 1) << Log();
    ExpectOrderlyEnd();
}

TEST_F(Tool, ReleasesTheResourceOnEveryWayOut) {
    const std::string words = dir_.Write("w", "orvx\n");
    const Json interrupted = {{"answers", {{"1", {{"signal_at", 1}}}}}};
    EXPECT_EQ(Run({"--words", words, "--stream", "continue", Sound(1)}, interrupted).status, 1);
    ExpectOrderlyEnd();
    EXPECT_EQ(Run({"--words", words, "--param", "analysis_mode=online", Sound(1)}).status, 2);
    ExpectOrderlyEnd();
    const ToolResult refused = Run({"--words", words, Sound(1)}, {{"load", 2}});
    EXPECT_NE(refused.err.find("LEXO_ERR_NOT_SUPPORT: --words " + words), std::string::npos)
        << refused.err;
    EXPECT_EQ(refused.status, 1);
    ExpectOrderlyEnd();
}

TEST_F(Tool, ReadsStandardInput) {
    run_.input_file = Sound(7);
    EXPECT_EQ(Run({"-"}, {{"answers", {{"7", {{"texts", {"seven"}}}}}}}).out, "seven\n");
    run_.input_file = dir_.Write("samples", Bytes(Recording(8)));
    EXPECT_EQ(Run({"-", "--rate", "16000"}, {{"answers", {{"8", {{"texts", {"eight"}}}}}}}).out,
              "eight\n");
}

TEST_F(Tool, SetsTheParametersOfEverySession) {
    Run({"--param", "audio_format=ulaw", "--param", "textpostproc=smooth;punctuate", "--param",
         "property_domain=bank", "--jobs", "2", Sound(1), Sound(2)});
    for (const char* set : {" 4=2\n", " 16=5\n", " 14=bank\n"}) {
        EXPECT_EQ(Count(set), 2) << Log();
    }
    EXPECT_EQ(Count("bytes=4000"), 2) << Log();
    Run({Sound(1)});
    EXPECT_EQ(Count(" 4=6\n"), 1) << Log();
}

}  // namespace
