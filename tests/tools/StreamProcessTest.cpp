// Real-time work, its progress and its interruption.
#include <sys/stat.h>

#include <chrono>
#include <fstream>

#include "ToolTest.h"

namespace {

using scripted::Connection;
using scripted::Request;
using scripted::Sequence;

TEST_F(Tool, StreamsInPiecesAndJudgesByWhatWasHeard) {
    const scripted::Reaction hears = scripted::Answer();
    const scripted::Reaction says = Says({"hi"});
    const std::tuple<Strings, std::vector<scripted::Reaction>, std::string, std::string> cases[] = {
        {{"continue"}, {hears, says}, "", "1:3200 2:3200 3:3200 4:3200 5:3200 -6:0"},
        {{"yes", "--chunk-ms", "50"}, {hears, says}, "", "1:1600 2:1600 -3:0"},
        {{"continue", "--chunk-ms", "250"}, {Fails(12), says}, "", "1:8000 2:8000 -3:0"},
        {{"yes-rt"}, {Fails(12)}, "LEXO_ERR_NO_VOICE_INPUT", "1:3200 -2:0"},
        {{"continue", "--chunk-ms", "500"}, {}, "the server sent no result", "1:16000 -2:0"},
        {{"continue"}, {hears, Fails(23)}, "LEXO_ERR_ENGINE_FAILED", "1:3200 2:3200 -3:0"},
        // The engine has closed the utterance itself: one more call would open a new one.
        {{"continue"}, {scripted::HangUp()}, "LEXO_ERR_NETWORK_FAILED", "1:3200"},
        {{"continue"}, {Fails(33)}, "LEXO_ERR_REALTIME_SESSION_TIMEOUT", "1:3200"},
        {{"continue"}, {Fails(34)}, "LEXO_ERR_ALL_SESSION_BUSY", "1:3200"},
        {{"continue"}, {Fails(17)}, "LEXO_ERR_LOAD_RESOURCE_FAILED", "1:3200"},
        {{"continue"}, {hears, Fails(17)}, "LEXO_ERR_LOAD_RESOURCE_FAILED", "1:3200 2:3200 -3:0"},
    };
    for (const auto& [arguments, reactions, told, chunks] : cases) {
        for (const scripted::Reaction& reaction : reactions) server_.Then(reaction);
        const ToolResult result = Run({Sound(1), "--stream"}, arguments);
        EXPECT_EQ(result.status, told.empty() ? 0 : 1) << result.err << chunks;
        EXPECT_EQ(result.out, told.empty() ? "hi\n" : "") << chunks;
        ExpectTold(result.err, {told});
        EXPECT_EQ(Chunks(), chunks);
    }
    Run({"--capability", "analysis", "--param", "analysis_mode=online", "--chunk-ms", "500",
         Sound(1)});
    EXPECT_EQ(Chunks(), "1:16000 -2:0");
}

// With code 13 the engine closes an utterance if the server has sent it, but not if it could not
// read the answer: the server's log tells.
TEST_F(Tool, ClosesWhatARefusalLeavesOpen) {
    const scripted::Reaction garbled =
        scripted::Answer(scripted::EchoAccess([](auto& access) { access.set_data_len(-1); }));
    const Strings arguments = {"--words", dir_.Write("w", "orvx\n"), "--stream", "continue",
                               Sound(1)};
    setup_ = "unset QUORLAN_HOME;";
    for (const auto& [reaction, chunks] :
         {std::pair(Fails(13), "1:3200 2:3200"), std::pair(garbled, "1:3200 2:3200 -3:0")}) {
        server_.Then(scripted::Answer());
        server_.Then(reaction);
        const ToolResult result = Run(arguments);
        EXPECT_TRUE(result.err.ends_with("or its answer is damaged\n")) << result.err;
        EXPECT_EQ(Chunks(), chunks);
    }
    server_.Then(Fails(13));
    ExpectTold(Run(arguments).err,
               {"does not take --words " + dir_.Path("w") + " as user word list\n"});
}

TEST_F(Tool, PacesAStreamAtTheSpeedOfSpeechAndShowsItsProgress) {
    const auto start = std::chrono::steady_clock::now();
    server_.Otherwise(Says({"hi"}));
    has_terminal_ = true;
    const ToolResult result = Run({"--stream", "continue", "--pace", Sound(1), Sound(2), Sound(3)});
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1500));
    ExpectTold(result.err, {" of 3 files"});
    EXPECT_TRUE(result.err.ends_with("\r\033[K")) << "the bar is erased at the end";
    EXPECT_EQ(result.out.find('['), std::string::npos);
}

TEST_F(Tool, ShowsResultsBeforeTheEnd) {
    out_ = dir_.Path("pipe");
    ASSERT_EQ(::mkfifo(out_.c_str(), 0600), 0);
    std::fstream pipe(out_, std::ios::in | std::ios::out);
    std::string text;
    server_.Then(Says({"first"}));
    // The second recording is answered only when the first text has been read.
    server_.Then([&](const Request& request, Connection& connection) {
        while (text != "first" && std::getline(pipe, text)) {
        }
        Says({"second"})(request, connection);
    });
    EXPECT_EQ(Run({Sound(1), Sound(2)}).status, 0);
}

TEST_F(Tool, EndsInOrderOnTheFirstSignalAndAtOnceOnTheSecond) {
    const Strings arguments = {
        "--words", dir_.Write("w", "orvx\n"), "--stream", "continue", Sound(1), Sound(2)};
    server_.Then(scripted::Answer());
    // As timeout sends them, to the process and to its group: no second wish.
    server_.Then(Sequence({SendSignal(SIGTERM), PressCtrlC(), scripted::Answer()}));
    server_.Then(Says({"so far"}));
    const ToolResult result = Run(arguments);
    EXPECT_EQ(result.status, 1);
    ExpectTold(result.out, {"so far"});  // the close's result
    EXPECT_EQ(result.err,
              "\norvx-recognize: stopping after the answer that is under way; Ctrl-C again ends at "
              "once\norvx-recognize: " +
                  Sound(1) + ": interrupted\norvx-recognize: 2 of 2 files not recognised\n");
    EXPECT_EQ(Chunks(), "1:3200 2:3200 -3:0");
    server_.Then(Sequence({PressCtrlC(), scripted::Pause(std::chrono::milliseconds(400)),
                           PressCtrlC(), scripted::Pause(std::chrono::seconds(9))}));
    EXPECT_EQ(Run(arguments).status, 128 + SIGINT);
}

TEST_F(Tool, IsWokenByASignalWhileItWaitsForAudio) {
    ASSERT_EQ(::mkfifo(dir_.Path("live").c_str(), 0600), 0);
    ASSERT_EQ(::mkfifo(dir_.Path("stalled").c_str(), 0600), 0);
    std::fstream stalled(dir_.Path("stalled"), std::ios::in | std::ios::out);
    stalled << ReadAll(Sound(1)).substr(0, 1000) << std::flush;
    server_.Then(Sequence({PressCtrlC(SIGHUP), Says({"one"})}));
    const ToolResult result =
        Run({"--jobs", "3", dir_.Path("live"), dir_.Path("stalled"), Sound(1)});
    EXPECT_EQ(result.status, 1);
    ExpectTold(result.err, {"live: interrupted", "stalled: interrupted"});
}

TEST_F(Tool, SaysWhyResultsAreLostAndStops) {
    server_.Otherwise(Says({"one"}));
    out_ = "/dev/full";
    const ToolResult full = Run({"--stream", "continue", Sound(1), Sound(2)});
    EXPECT_EQ(full.status, 1);
    EXPECT_EQ(full.err, "orvx-recognize: cannot write the results: No space left on device\n");
    setup_ = "exec <&- >&-;";
    ExpectTold(Run({Sound(1)}).err, {"cannot write the results: Bad file descriptor"});
    setup_.clear();
    EXPECT_EQ(Run({"--list"}).status, 1);
    EXPECT_EQ(Run({"--help"}).status, 1);
    out_ = dir_.Write("long", std::string(4096, 'x'));
    setup_ = "ulimit -f 1;";
    ExpectTold(Run({Sound(1)}).err, {"cannot write the results: File too large"});
    setup_.clear();
    // A reader that has gone, as head does, needs no message.
    out_ = dir_.Path("pipe");
    ASSERT_EQ(::mkfifo(out_.c_str(), 0600), 0);
    recognize::UniqueFd reader(::open(out_.c_str(), O_RDWR | O_CLOEXEC));
    server_.Then([&](const Request& request, Connection& connection) {
        reader = recognize::UniqueFd();
        Says({"one"})(request, connection);
    });
    const ToolResult gone = Run({Sound(1), Sound(2)});
    EXPECT_EQ(gone.status, 1);
    EXPECT_EQ(gone.err, "");
}

}  // namespace
