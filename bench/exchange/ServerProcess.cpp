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

int ReadNumber(int fd) {
    std::string text;
    for (char byte = 0; ::read(fd, &byte, 1) == 1 && byte != '\n';) {
        text += byte;
    }
    return std::atoi(text.c_str());
}

}  // namespace

ServerProcess::ServerProcess(const std::string& program, const Run& run) {
    int commands[2];
    int reports[2];
    Require(::pipe2(commands, O_CLOEXEC) == 0 && ::pipe2(reports, O_CLOEXEC) == 0, "no pipe");
    pid_ = ::fork();
    Require(pid_ >= 0, "no process");
    if (pid_ == 0) {
        ::dup2(commands[0], STDIN_FILENO);
        ::dup2(reports[1], STDOUT_FILENO);
        BecomeServer(program, run);
    }
    ::close(commands[0]);
    ::close(reports[1]);
    stopper_ = commands[1];
    port_ = ReadNumber(reports[0]);
    ::close(reports[0]);
    Require(port_ > 0, "the server does not start");
    Require(::clock_getcpuclockid(pid_, &cpu_clock_) == 0, "no clock of the server");
}

std::uint64_t ServerProcess::CpuNs() const {
    return NowNs(cpu_clock_);
}

void ServerProcess::Stop() {
    if (pid_ < 0) {
        return;
    }
    ::close(stopper_);
    int status = 0;
    ::waitpid(std::exchange(pid_, -1), &status, 0);
    Require(WIFEXITED(status) && WEXITSTATUS(status) == 0, "the server failed");
}

void ServeOn(int port) {
    std::printf("%d\n", port);
    std::fflush(stdout);
    for (char ignored = 0; ::read(STDIN_FILENO, &ignored, 1) > 0;) {
    }
}

std::uint64_t NowNs(clockid_t clock) {
    timespec now{};
    ::clock_gettime(clock, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000 +
           static_cast<std::uint64_t>(now.tv_nsec);
}

}  // namespace exchange
