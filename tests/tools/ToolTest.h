// The real executable as a process, with the real library, against the scripted server.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>

#include <csignal>

#include "Reactions.h"
#include "ResultBuilders.h"
#include "SoundFiles.h"
#include "TempDir.h"
#include "TestHome.h"
#include "UniqueFd.h"

using Strings = std::vector<std::string>;

// A result with a segment for each text.
inline scripted::Reaction Says(const Strings& texts) {
    auto message = scripted::FreetalkResult(static_cast<int>(texts.size()), 1, 0);
    auto segment = message.mutable_sfreetalkresult()->mutable_psegmentlist()->begin();
    for (const std::string& text : texts)
        (segment++)->mutable_psentenceresults(0)->set_psztext(text);
    return scripted::Answer(scripted::EchoResult(message));
}

inline scripted::Reaction Fails(int code) {
    return scripted::Answer(scripted::Echo([=](auto& answer) { answer.set_error_no(code); }));
}

inline void ExpectTold(const std::string& text, const Strings& told) {
    for (const std::string& part : told)
        EXPECT_NE(text.find(part), std::string::npos) << "lacks " << part << ":\n" << text;
}

struct ToolResult {
    int status;  // exit status, or 128 and the number of the signal that ended it
    std::string out;
    std::string err;
};

class Tool : public testing::Test {
  protected:
    // A recording of half a second.
    std::string Sound(int number) {
        const std::string path = dir_.Path(std::to_string(number) + ".wav");
        WriteWav(path, Samples(8000, static_cast<std::int16_t>(number)));
        return path;
    }

    // Runs the tool to its end; one that leaves a session or a resource behind fails its test.
    ToolResult Run(Strings arguments, const Strings& more = {}) {
        arguments.insert(arguments.end(), more.begin(), more.end());
        first_request_ = server_.RequestCount();
        const recognize::UniqueFd terminal(has_terminal_ ? OpenTerminal() : -1);
        const std::string out = dir_.Write("stdout", "");
        const std::string err = terminal ? ::ptsname(terminal.Get()) : dir_.Write("stderr", "");
        const std::string command = "exec </dev/null >>'" + (out_.empty() ? out : out_) + "' 2>>'" +
                                    err + "'; " + setup_ + " exec " ORVX_TOOL " \"$@\"";
        arguments.insert(arguments.begin(),
                         {"sh", "-c", command, "sh", "--server", server_.Address()});
        std::vector<char*> argv;
        for (std::string& argument : arguments) argv.push_back(argument.data());
        argv.push_back(nullptr);
        pid_t pid = 0;
        EXPECT_EQ(::posix_spawn(&pid, "/bin/sh", nullptr, nullptr, argv.data(), environ), 0);
        pid_ = pid;
        std::string shown;
        char c = 0;
        while (terminal && ::read(terminal.Get(), &c, 1) == 1) shown += c;
        int status = 0;
        ::waitpid(pid, &status, 0);
        const ToolResult result = {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
                                   ReadAll(out), terminal ? shown : ReadAll(err)};
        EXPECT_EQ(result.err.find("did not end"), std::string::npos) << result.err;
        return result;
    }

    // The requests of the last run.
    std::vector<scripted::Request> Requests() const {
        const auto all = server_.Requests();
        return {all.begin() + static_cast<std::ptrdiff_t>(first_request_), all.end()};
    }
    // Their chunk numbers and lengths in bytes: "1:3200 -2:0".
    std::string Chunks() const {
        std::string chunks;
        for (const scripted::Request& request : Requests())
            chunks += (chunks.empty() ? "" : " ") + std::to_string(request.inner.chunk_no()) + ":" +
                      std::to_string(request.inner.data_len());
        return chunks;
    }

    scripted::Reaction SendSignal(int signal) {
        return [this, signal](const auto&, auto&) { ::kill(pid_, signal); };
    }
    // Presses Ctrl-C, or sends another signal, and waits until the tool has said so.
    scripted::Reaction PressCtrlC(int signal = SIGINT) {
        const auto wait = [this](const auto&, auto&) {
            const auto is_told = [this] {
                return ReadAll(dir_.Path("stderr")).find("Ctrl-C") != std::string::npos;
            };
            for (int i = 0; i < 2000 && !is_told(); ++i)
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
        };
        return scripted::Sequence({SendSignal(signal), wait});
    }

    const TempDir dir_;
    scripted::TestHome home_;
    scripted::ScriptedServer server_;
    std::string out_;            // where standard output goes; empty: into the result
    std::string setup_;          // shell commands that precede the tool, such as "ulimit -n 9;"
    bool has_terminal_ = false;  // standard error is one

  private:
    static int OpenTerminal() {
        const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        EXPECT_EQ(::grantpt(terminal) + ::unlockpt(terminal), 0);
        return terminal;
    }

    std::atomic<pid_t> pid_ = 0;
    std::size_t first_request_ = 0;
};
