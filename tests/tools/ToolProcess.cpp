#include "ToolProcess.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <stdexcept>

#include "TempDir.h"
#include "UniqueFd.h"

using recognize::UniqueFd;

namespace {

constexpr unsigned kPatienceSeconds = 60;

void Redirect(const std::string& path, int flags, int target) {
    const int fd = ::open(path.c_str(), flags);
    if (fd < 0 || ::dup2(fd, target) < 0) {
        ::_exit(127);
    }
    ::close(fd);
}

[[noreturn]] void BecomeTool(const ToolRun& run, const std::string& out, const std::string& err) {
    Redirect(run.input_file, O_RDONLY, STDIN_FILENO);
    Redirect(out, O_WRONLY | O_APPEND, STDOUT_FILENO);
    Redirect(err, O_WRONLY | O_APPEND, STDERR_FILENO);
    ::unsetenv("QUORLAN_HOME");
    ::setenv("LD_LIBRARY_PATH", ORVX_FAKE_ENGINE_DIR, 1);
    for (const auto& [name, value] : run.environment) {
        ::setenv(name.c_str(), value.c_str(), 1);
    }
    std::vector<char*> argv = {const_cast<char*>(ORVX_TOOL)};
    for (const std::string& argument : run.arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    ::alarm(kPatienceSeconds);
    ::execv(ORVX_TOOL, argv.data());
    ::_exit(127);
}

// The controlling side of a new terminal.
UniqueFd OpenTerminal() {
    UniqueFd terminal(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!terminal || ::grantpt(terminal.Get()) != 0 || ::unlockpt(terminal.Get()) != 0) {
        throw std::runtime_error("no terminal");
    }
    return terminal;
}

// What is shown on the terminal until its last writer has gone.
std::string ReadTerminal(int terminal) {
    std::string shown;
    char block[1024];
    for (ssize_t count; (count = ::read(terminal, block, sizeof block)) > 0;) {
        shown.append(block, static_cast<std::size_t>(count));
    }
    return shown;
}

}  // namespace

ToolResult RunTool(const ToolRun& run) {
    const TempDir dir;
    const std::string out = run.output_file.empty() ? dir.Write("out", "") : run.output_file;
    const UniqueFd terminal = run.has_terminal ? OpenTerminal() : UniqueFd();
    const std::string err = terminal ? ::ptsname(terminal.Get()) : dir.Write("err", "");
    const pid_t pid = ::fork();
    if (pid == 0) {
        BecomeTool(run, out, err);
    }
    ToolResult result;
    if (terminal) {
        result.err = ReadTerminal(terminal.Get());
    }
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    result.out = run.output_file.empty() ? ReadAll(out) : "";
    if (!terminal) {
        result.err = ReadAll(err);
    }
    return result;
}
