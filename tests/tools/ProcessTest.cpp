// The executable against the fake engine: what a user or a pipe sees of a run.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "SoundFiles.h"
#include "TempDir.h"
#include "ToolProcess.h"

namespace {

using Json = nlohmann::json;

class Tool : public testing::Test {
  protected:
    // Recordings of half a second; the fake knows them by their value.
    std::string Sound(std::int16_t value) {
        const std::string path = dir_.Path(std::to_string(value) + ".wav");
        WriteWav(path, Recording(value));
        return path;
    }

    ToolResult Run(const std::vector<std::string>& arguments, const Json& script = {}) {
        run_.arguments = arguments;
        run_.environment["ORVX_FAKE_SCRIPT"] =
            dir_.Write("script.json", script.is_null() ? "{}" : script.dump());
        run_.environment["ORVX_FAKE_LOG"] = dir_.Write("log", "");
        return RunTool(run_);
    }

    // The calls that the fake saw.
    std::string Log() const { return ReadAll(dir_.Path("log")); }

    int Count(const std::string& text) const {
        const std::string log = Log();
        int count = 0;
        for (std::size_t at = 0; (at = log.find(text, at)) != std::string::npos; ++at) {
            ++count;
        }
        return count;
    }

    void ExpectOrderlyEnd() const {
        EXPECT_EQ(Count("BROKEN"), 0) << Log();
        EXPECT_EQ(Count("start "), Count("stop ")) << Log();
        EXPECT_EQ(Count("end sessions=0"), 1) << Log();
        EXPECT_EQ(Count("open_calls=0"), Count("stop ")) << "an utterance was left open\n" << Log();
    }

    const TempDir dir_;
    ToolRun run_;
};

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
    EXPECT_EQ(result.out, "asr.cloud.analysis      analysis\nasr.cloud.freetalk      freetalk\n");
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
                              ": LEXO_ERR_NETWORK_FAILED: no exchange with the recognition "
                              "server\norvx-recognize: 1 of 4 files not recognised\n");
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

TEST_F(Tool, StreamsInPiecesAndClosesTheUtterance) {
    const ToolResult result = Run({"--stream", "continue", Sound(1)},
                                  {{"answers", {{"1", {{"texts", {"hi"}}, {"result_at", 2}}}}}});
    EXPECT_EQ(result.out, "hi\n");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(Count("bytes=3200 over=0"), 5) << Log();
    EXPECT_EQ(Count("bytes=0 over=1"), 1) << Log();
    ExpectOrderlyEnd();
}

TEST_F(Tool, StreamsAnOnlineAnalysisToo) {
    Run({"--capability", "analysis", "--param", "analysis_mode=online", Sound(1)});
    EXPECT_EQ(Count("bytes=3200 over=0"), 5) << Log();
    Run({"--capability", "analysis", Sound(1)});
    EXPECT_EQ(Count("bytes=16000 over=0"), 1) << Log();
    ExpectOrderlyEnd();
}

TEST_F(Tool, StopsAStreamAtTheFirstResultWhenOneIsWanted) {
    for (const char* stream : {"yes", "yes-rt"}) {
        const ToolResult result =
            Run({"--stream", stream, "--chunk-ms", "50", Sound(1)},
                {{"answers", {{"1", {{"texts", {"hi"}}, {"result_at", 2}}}}}});
        EXPECT_EQ(result.out, "hi\n");
        EXPECT_EQ(Count("bytes=1600 over=0"), 2) << Log();
        ExpectOrderlyEnd();
    }
}

TEST_F(Tool, JudgesAStreamByWhatWasHeard) {
    const struct {
        Json answer;
        int status;
        const char* told;
        int closes;
    } cases[] = {
        {{{"texts", {"hi"}}, {"error", 12}, {"error_at", 1}}, 0, "", 1},
        {{{"error", 12}, {"error_at", 3}}, 1, "LEXO_ERR_NO_VOICE_INPUT", 1},
        {Json::object(), 1, "the server sent no result", 1},
        {{{"texts", {"hi"}}, {"result_at", 1}, {"error", 13}, {"error_at", 2}},
         1,
         "LEXO_ERR_RECOG_FAILED",
         1},
        // The engine has closed the utterance itself: one more call would open a new one.
        {{{"error", 32}, {"error_at", 2}}, 1, "LEXO_ERR_NETWORK_FAILED", 0},
        {{{"error", 33}, {"error_at", 2}}, 1, "LEXO_ERR_REALTIME_SESSION_TIMEOUT", 0},
        {{{"error", 34}, {"error_at", 1}}, 1, "LEXO_ERR_ALL_SESSION_BUSY", 0},
    };
    for (const auto& c : cases) {
        const ToolResult result =
            Run({"--stream", "continue", Sound(1)}, {{"answers", {{"1", c.answer}}}});
        EXPECT_EQ(result.status, c.status) << c.answer;
        EXPECT_NE(result.err.find(c.told), std::string::npos) << result.err;
        EXPECT_EQ(Count("over=1"), c.closes) << c.answer;
        ExpectOrderlyEnd();
    }
}

TEST_F(Tool, PacesAStreamAtTheSpeedOfSpeech) {
    const auto start = std::chrono::steady_clock::now();
    Run({"--stream", "continue", "--pace", Sound(1)});
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
}

TEST_F(Tool, ShowsResultsOfAStreamBeforeItsEnd) {
    const std::string pipe = dir_.Path("out");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    run_.output_file = pipe;
    // The second recording is held until the first text has been read here.
    std::string first;
    const std::jthread reader([&] {
        std::ifstream in(pipe);
        std::getline(in, first);
        WriteWav(dir_.Path("2.wav"), Recording(2));
        // Opened for both, so that this thread ends also when the tool is gone, and kept open until
        // the tool has read it.
        std::fstream go(dir_.Path("go"), std::ios::in | std::ios::out | std::ios::binary);
        go << ReadAll(dir_.Path("2.wav")) << std::flush;
        for (std::string rest; std::getline(in, rest);) {
        }
    });
    ASSERT_EQ(::mkfifo(dir_.Path("go").c_str(), 0600), 0);
    const ToolResult result =
        Run({"--format", "json", Sound(1), dir_.Path("go")},
            {{"answers", {{"1", {{"texts", {"first"}}}}, {"2", {{"texts", {"second"}}}}}}});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_NE(first.find("first"), std::string::npos);
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

TEST_F(Tool, ShowsProgressOnATerminalOnly) {
    const std::vector<std::string> arguments = {"--stream", "continue", Sound(1), Sound(2)};
    const Json answer = {{"texts", {"hi"}}, {"delay_ms", 150}};
    const Json script = {{"answers", {{"1", answer}, {"2", answer}}}};
    EXPECT_EQ(Run(arguments, script).err, "");
    run_.has_terminal = true;
    const ToolResult result = Run(arguments, script);
    EXPECT_NE(result.err.find(" %  1 of 2 files"), std::string::npos) << result.err;
    EXPECT_TRUE(result.err.ends_with("\r\033[K")) << "the bar is erased at the end";
    EXPECT_EQ(result.out.find('['), std::string::npos);
}

TEST_F(Tool, EndsCleanlyOnInterruption) {
    const ToolResult result =
        Run({"--stream", "continue", Sound(1), Sound(2)},
            {{"answers", {{"1", {{"texts", {"so far"}}, {"signal_at", 2}}}}}});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.out.find("so far"), std::string::npos) << "the close's result is shown";
    EXPECT_NE(result.err.find("interrupted"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("2 of 2 files not recognised"), std::string::npos) << result.err;
    EXPECT_EQ(result.err.find("2.wav"), std::string::npos) << "not begun any more";
    EXPECT_EQ(Count("bytes=3200"), 2) << Log();
    EXPECT_EQ(Count("over=1"), 1) << Log();
    EXPECT_EQ(Count("recording=2"), 0) << Log();
    ExpectOrderlyEnd();
}

TEST_F(Tool, EndsAtOnceOnTheSecondSignal) {
    const ToolResult result =
        Run({Sound(1)}, {{"answers", {{"1", {{"signal_at", 1}, {"presses", 2}}}}}});
    EXPECT_EQ(result.status, 128 + SIGINT);
    EXPECT_EQ(Count("stop "), 0);
}

TEST_F(Tool, IsWokenByASignalWhileItWaitsForAudio) {
    ASSERT_EQ(::mkfifo(dir_.Path("live").c_str(), 0600), 0);
    const ToolResult result = Run({"--jobs", "2", dir_.Path("live"), Sound(1)},
                                  {{"answers", {{"1", {{"texts", {"one"}}, {"signal_at", 1}}}}}});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("live: interrupted"), std::string::npos) << result.err;
    ExpectOrderlyEnd();
}

TEST_F(Tool, StopsWhenNobodyReadsTheResults) {
    run_.output_file = "/dev/full";
    const ToolResult result =
        Run({Sound(1), Sound(2)}, {{"answers", {{"1", {{"texts", {"one"}}}}}}});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("cannot write to standard output"), std::string::npos) << result.err;
    EXPECT_EQ(Count("recording=2"), 0) << Log();
    ExpectOrderlyEnd();
}

}  // namespace
