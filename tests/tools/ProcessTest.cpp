// What a user or a pipe sees of a run: usage, output, several files, resources.
#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

#include "ToolTest.h"

namespace {

using Json = nlohmann::json;
using scripted::Connection;
using scripted::Request;

TEST_F(Tool, PrintsNothingButTheTextOfOneFile) {
    server_.Otherwise(Says({"hello", "wor\x1b[2Jld"}));
    const ToolResult result = Run({Sound(1)});
    EXPECT_EQ(result.out, "hello\nwor\\x1b[2Jld\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(Chunks(), "-1:16000");
    for (const std::string& line : home_.NewLog()) EXPECT_FALSE(line.starts_with("ERROR")) << line;
    ExpectTold(Run({"--verbose", Sound(1)}).err,
               {"conf_file=" + home_.Path(), "0.50 s of audio", "real-time factor"});
}

TEST_F(Tool, RefusesWrongUsageBeforeTheEngineStarts) {
    const std::pair<Strings, std::string> cases[] = {
        {{""}, "empty name"},
        {{"--param", "v\x1b=x", "a"}, "\"v\\x1b\""},
        {{"--grammar", dir_.Path("none"), "a"}, "none: cannot open the file: No such file"},
        {{"--keywords", dir_.Path(""), "a"}, "folder"},
        {{"--words", dir_.Write("e", ""), "a"}, "empty"},
        {{"--words", "/dev/zero", "a"}, "larger than"},
        {{"--grammar", dir_.Write("g.gram", "?"), "a"}, "--grammar-format"},
    };
    for (const auto& [arguments, told] : cases) {
        const ToolResult result = Run(arguments);
        EXPECT_EQ(result.status, 2) << result.err;
        EXPECT_EQ(result.out, "");
        EXPECT_TRUE(result.err.starts_with("orvx-recognize: ")) << result.err;
        ExpectTold(result.err, {told, "--help"});
    }
    EXPECT_TRUE(home_.NewLog().empty());
}

TEST_F(Tool, SaysWhatToDoWhenTheEngineDoesNotStart) {
    const std::string sound = Sound(1);
    ExpectTold(Run({"--config", "/proc/self/mem", sound}).err,
               {"LEXO_ERR_INIT_FAILED", "self/mem"});
    setup_ = "QUORLAN_HOME=/none;";
    ExpectTold(Run({sound}).err, {"LEXO_ERR_ENV_NOT_VALID", "set QUORLAN_HOME"});
    // Then the engine ends the process with status 0. A sanitizer would want to be loaded first.
    setup_ = "ASAN_OPTIONS=verify_asan_link_order=0 LD_PRELOAD=" ORVX_NO_SOCKET;
    const ToolResult no_socket = Run({sound});
    EXPECT_EQ(no_socket.status, 1);
    ExpectTold(no_socket.err, {"the engine got no socket"});
    setup_.clear();
    server_.Stop();
    const ToolResult result = Run({"--format", "json", sound});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    ExpectTold(result.err, {"LEXO_ERR_PARAM_INVALID", server_.Address(), "orvx-server"});
}

TEST_F(Tool, ListsCapabilitiesAndParametersAlsoWithoutAServer) {
    server_.Stop();
    const std::string config = dir_.Write("c", "[default]\nmode = 1\nproperty_domain = a\x1b\n");
    const ToolResult result = Run({"--list", "--config", config});
    ExpectTold(
        result.out,
        {"\nasr.cloud.analysis (analysis)\n", "\nasr.cloud.keywordspot (keywordspot)\n",
         "\n  analysis_mode        choice  online       one of offline, online\n",
         "\n  property_domain      text    a\\x1b  ", "  audio_format         choice  pcm16k",
         "\n  textpostproc         flags   none         one or more"});
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
}

// Each recording is answered only after the one behind it, so that they finish in reverse order.
TEST_F(Tool, KeepsTheOrderOfTheFilesOverParallelSessions) {
    // Who got no answer takes the fifth at once, though others still wait for theirs.
    const int order[] = {2, 5, 4, 3, 1};
    std::atomic<std::size_t> turn = 0;
    server_.Otherwise([&](const Request& request, Connection& connection) {
        const int value = request.inner.data()[0];
        for (std::size_t current; order[current = turn] != value;) turn.wait(current);
        (value == 2 ? scripted::HangUp() : Says({std::to_string(value)}))(request, connection);
        ++turn;
        turn.notify_all();
    });
    const ToolResult result =
        Run({"--jobs", "4", Sound(1), Sound(2), Sound(3), Sound(4), Sound(5)});
    EXPECT_EQ(result.out, "==> " + Sound(1) + " <==\n1\n\n==> " + Sound(2) + " <==\n\n==> " +
                              Sound(3) + " <==\n3\n\n==> " + Sound(4) + " <==\n4\n\n==> " +
                              Sound(5) + " <==\n5\n");
    EXPECT_EQ(result.err, "orvx-recognize: " + Sound(2) +
                              ": LEXO_ERR_NETWORK_FAILED: no exchange with " + server_.Address() +
                              ": it cannot be reached, or closed the connection, as a full server "
                              "does, or is no recognition server\n"
                              "orvx-recognize: 1 of 5 files not recognised\n");
    EXPECT_EQ(result.status, 1);
    // Where threads are not to be had, there is one all the same.
    server_.Otherwise(Says({"alone"}));
    setup_ = "ASAN_OPTIONS=verify_asan_link_order=0 LD_PRELOAD=" ORVX_NO_THREAD;
    const ToolResult alone = Run({"--jobs", "2", Sound(1), Sound(2)});
    EXPECT_EQ(alone.status, 0) << alone.err;
    EXPECT_EQ(Requests().size(), 2u);
}

TEST_F(Tool, GoesOnAfterFilesThatFail) {
    for (const int code : {23, 12, 777}) server_.Then(Fails(code));
    server_.Then(Says({"four"}));
    const std::string sound = Sound(1);
    const ToolResult result =
        Run({"--format", "json", dir_.Path("none"), sound, sound, sound, sound});
    EXPECT_EQ(result.status, 1);
    std::istringstream lines(result.out);
    for (const char* name : {"null", "\"LEXO_ERR_ENGINE_FAILED\"", "\"LEXO_ERR_NO_VOICE_INPUT\"",
                             "\"server code 777\"", "none"}) {
        std::string line;
        ASSERT_TRUE(std::getline(lines, line));
        const Json json = Json::parse(line);
        EXPECT_EQ(json.contains("error") ? json["error"]["name"].dump() : "none", name);
        EXPECT_EQ(json["results"].empty(), json.contains("error"));
        EXPECT_EQ(json["audio_seconds"], std::string(name) == "null" ? 0 : 0.5);
    }
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // they need more addresses
TEST_F(Tool, GoesOnAfterAnswersThatTakeMoreMemoryThanThereIs) {
    const auto expect_the_second = [&](const Strings& arguments) {
        const ToolResult result = Run(arguments, {"--format", "json", Sound(1), Sound(2)});
        EXPECT_EQ(result.status, 1);
        ExpectTold(result.err, {"1.wav: takes more memory than there is\n", "1 of 2 files not"});
        std::istringstream lines(result.out);
        for (const bool is_there : {false, true}) {
            std::string line;
            ASSERT_TRUE(std::getline(lines, line));
            EXPECT_NE(Json::parse(line)["results"].empty(), is_there);
        }
    };
    setup_ = "ulimit -v 300000;";
    server_.Then(Says(Strings(500000, "a")));
    server_.Otherwise(Says({"two"}));
    expect_the_second({});
    setup_ = "ulimit -v 200000;";
    for (int chunk = 0; chunk < 5; ++chunk)
        server_.Then(Says({std::string(10000000, 'a')}));  // together they are too much
    expect_the_second({"--stream", "continue"});
}

TEST_F(Tool, OutlivesAnyAllocationThatFails) {
    server_.Otherwise([](const Request& request, Connection& connection) {  // the last is longer
        Says({std::string(request.inner.chunk_no() < 0 ? 999 : 9, 'a')})(request, connection);
    });
    int failures = 0;
    for (int at = 1; at < 270; at += 3) {
        setup_ = "unset QUORLAN_HOME; ORVX_FAIL_AT=" + std::to_string(at) +
                 " LD_PRELOAD=" ORVX_FAILING_ALLOCATION;
        const ToolResult result =
            Run({"--stream", "continue", "--format", "json", Sound(1), Sound(2)});
        bool has_failed = false;
        std::istringstream lines(result.out);
        for (std::string line; std::getline(lines, line);) {
            const Json told = Json::parse(line);
            has_failed = has_failed || told.contains("error");
            EXPECT_TRUE(told.contains("error") || told["results"].size() == 6) << at;
        }
        ASSERT_EQ(std::ranges::count(result.out, '\n'), 2) << at << result.err;
        EXPECT_EQ(result.status, has_failed ? 1 : 0) << at;
        failures += result.status;
        for (const Request& request : Requests())
            EXPECT_LE(request.inner.chunk_no(), 5) << at << ": both in one utterance";
    }
    EXPECT_GT(failures, 45);  // most allocations are needed
}
#endif

TEST_F(Tool, TellsTheServersOwnWords) {
    server_.Then(scripted::Answer(scripted::Echo([](auto& answer) {
        answer.set_error_no(17);
        answer.set_error_desc("wrong, they say:\n0x10 is\nline 2]");
    })));
    server_.Then(scripted::Answer(scripted::EchoAccess([](auto& access) {
        access.set_error_no(5);
        access.set_error_desc("come [back]\nlater");
    })));
    setup_ = "unset QUORLAN_HOME;";  // with a home of its own
    const ToolResult result = Run({Sound(1), Sound(2)});
    ExpectTold(result.err, {"the server says: wrong, they say: 0x10 is line 2]\n",
                            "the server says: come [back] later\n"});
}

TEST_F(Tool, ReadsStandardInputAndWarnsOfWhatIsCut) {
    const std::string content = ReadAll(Sound(7));
    const std::tuple<std::string, Strings, std::string, int> cases[] = {
        {content, {"-"}, "", 0},
        {content.substr(44), {"-", "--rate", "16000"}, "", 0},
        {"", {"-"}, "standard input: is empty", 1},
        {"", {"-", "--rate", "16000"}, "standard input: holds no audio", 1},
        {content.substr(0, 3244), {"-"}, "warning: standard input is cut short: its header", 0},
    };
    server_.Otherwise(Says({"seven"}));
    for (const auto& [bytes, arguments, told, status] : cases) {
        const std::string file = dir_.Write("bytes", bytes);
        for (const std::string& setup : {"cat '" + file + "' |", "exec <'" + file + "';"}) {
            setup_ = setup;
            const ToolResult result = Run(arguments);
            EXPECT_EQ(result.status, status) << setup << result.err;
            EXPECT_EQ(result.out, status == 0 ? "seven\n" : "");
            ExpectTold(result.err, {told});
        }
    }
    WriteSound(dir_.Path("flac"), SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 16000, 1, Tone(16000, 1));
    setup_ = "export TMPDIR=/none; cat '" + dir_.Path("flac") + "' |";
    ExpectTold(Run({"-"}).err, {"cannot make a temporary file in /none: No such file"});
    setup_.replace(0, 19, "export TMPDIR=");
    EXPECT_EQ(Run({"-"}).out, "seven\n") << "an empty name counts as none";
}

TEST_F(Tool, SendsTheParametersOfEverySession) {
    Run({"--param", "audio_format=ulaw", "--param", "textpostproc=smooth;punctuate", "--param",
         "property_domain=bank", "--jobs", "2", Sound(1), Sound(2)});
    ASSERT_EQ(Chunks(), "-1:4000 -1:4000");
    for (const Request& request : Requests()) {
        EXPECT_TRUE(request.access.property().starts_with("chinese_8k_bank,"));
        ExpectTold(request.inner.task_config(), {"audio_format=ulaw", "smooth", "punctuate"});
    }
    const ToolResult result = Run({"--capability", "analysis", "--stream", "yes", Sound(1)});
    EXPECT_EQ(result.status, 2);
    ExpectTold(result.err, {"LEXO_ERR_NOT_SUPPORT", "stream_recog", "asr.cloud.analysis"});
}

// Run sees to it that none stays behind.
TEST_F(Tool, SendsAResourceWithEverySession) {
    const std::string file = dir_.Write("a", "#JSGF go;");
    const std::tuple<Strings, const char*, int> cases[] = {
        {{"--grammar", file}, "grammar", 3},
        {{"--grammar", file, "--grammar-format", "abnf"}, "grammar", 2},
        {{"--keywords", file}, "keywordspot", 0},
        {{"--keywords", file, "--capability", "analysis"}, "analysis", 0},
        {{"--words", file}, "freetalk", 6},
        {{"--resource", "digits", "--capability", "ASR.Cloud.Grammar"}, "grammar", -1},
    };
    for (const auto& [arguments, capability, format] : cases) {
        server_.Then(Fails(2));  // its session is replaced
        const ToolResult result = Run(arguments, {"--jobs", "2", Sound(1), Sound(2), Sound(3)});
        EXPECT_EQ(Chunks(), "-1:16000 -1:16000 -1:16000") << result.err;
        for (const Request& request : Requests()) {
            EXPECT_EQ(request.inner.cap_name(), std::string("asr.cloud.") + capability);
            EXPECT_EQ(request.inner.resource_data(), format < 0 ? "" : "#JSGF go;");
            EXPECT_EQ(request.inner.proload_resource(), format < 0 ? "digits" : "");
            EXPECT_EQ(request.inner.resource_type(), std::max(format, 0));
        }
        ExpectTold(result.err,
                   {"LEXO_ERR_NOT_SUPPORT", "not take " + arguments[0] + " " + arguments[1]});
    }
    EXPECT_EQ(Run({"--words", file, "--param", "analysis_mode=online", Sound(1)}).status, 2);
}

}  // namespace
