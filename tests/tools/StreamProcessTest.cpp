// Real-time work, its progress and its interruption.
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <thread>

#include "ToolTest.h"

namespace {

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
    EXPECT_NE(result.err.find("cannot write the results: No space left"), std::string::npos)
        << result.err;
    EXPECT_EQ(Count("recording=2"), 0) << Log();
    ExpectOrderlyEnd();
}

}  // namespace
