#include "ServerProcess.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <utility>
#include <vector>

namespace exchange {

namespace {

[[noreturn]] void BecomeServer(const std::string& program, const Run& run) {
    std::vector<std::string> words = ServerOptions(run);
    words.insert(words.begin(), program);
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::alarm(kLongestRunSeconds);
    PinTo(run.server_cpu);
    ::execv(program.c_str(), arguments.data());
    std::_Exit(127);
}

}  // namespace

ServerProcess::ServerProcess(const std::string& program, const Run& run) {
    int reports[2];
    Require(::pipe2(reports, O_CLOEXEC) == 0, "no pipe");
    pid_ = ::fork();
    Require(pid_ >= 0, "no process");
    if (pid_ == 0) {
        ::dup2(reports[1], STDOUT_FILENO);
        BecomeServer(program, run);
    }
    ::close(reports[1]);
    std::FILE* const report = ::fdopen(reports[0], "r");
    Require(std::fscanf(report, "%d", &port_) == 1, "the server does not start");
    std::fclose(report);
    Require(::clock_getcpuclockid(pid_, &cpu_clock_) == 0, "no clock of the server");
}

std::uint64_t ServerProcess::CpuNs() const {
    return NowNs(cpu_clock_);
}

void ServerProcess::Stop() {
    if (pid_ < 0) {
        return;
    }
    int status = 0;
    ::kill(pid_, SIGTERM);
    ::waitpid(std::exchange(pid_, -1), &status, 0);
    Require(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM, "the server failed");
}

void ServeOn(int port) {
    std::printf("%d\n", port);
    std::fflush(stdout);
    for (;;) {
        ::pause();
    }
}

std::uint64_t NowNs(clockid_t clock) {
    timespec now{};
    ::clock_gettime(clock, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000 +
           static_cast<std::uint64_t>(now.tv_nsec);
}

}  // namespace exchange
