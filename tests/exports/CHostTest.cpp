// The host that is written in C, in its own process, against a server scripted here.
#include <spawn.h>
#include <sys/wait.h>

#include <string>
#include <vector>

#include "ResultBuilders.h"
#include "TestHost.h"

namespace {

int RunProgram(const std::string& program, const std::string& argument) {
    std::vector<char> program_text(program.c_str(), program.c_str() + program.size() + 1);
    std::vector<char> argument_text(argument.c_str(), argument.c_str() + argument.size() + 1);
    char* const arguments[] = {program_text.data(), argument_text.data(), nullptr};
    pid_t child = 0;
    if (::posix_spawn(&child, program.c_str(), nullptr, nullptr, arguments, environ) != 0) {
        return -1;
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

TEST(CHostTest, WalksThroughTheWholeInterface) {
    const scripted::TestHome home;
    scripted::ScriptedServer server;
    const scripted::FrameMaker result = scripted::EchoResult(scripted::FreetalkResult(1, 2, 3));
    server.Otherwise(scripted::Answer([result](const scripted::Request& request) {
        return request.inner.chunk_no() == -1 ? result(request) : scripted::Echo()(request);
    }));
    EXPECT_EQ(RunProgram(ORVX_C_HOST, server.Address()), 0);
    std::vector<int> chunks;
    for (const auto& request : server.Requests()) {
        chunks.push_back(request.inner.chunk_no());
    }
    EXPECT_EQ(chunks, (std::vector<int>{-1, 1, 2, 3, -4}));
    EXPECT_EQ(server.LastRequest().access.property(), "english_8k_common,need_nlu=no");
}

}  // namespace
