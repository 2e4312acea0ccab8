#include "ServerProcess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>
#include <utility>

namespace orvx::test {
namespace {

constexpr std::chrono::minutes kPatience{2};
constexpr std::chrono::milliseconds kPollEvery{5};
const std::string kReady = "orvx-server ready on 127.0.0.1:";

std::string MakeFolder() {
    std::string folder = (std::filesystem::temp_directory_path() / "orvx-server-XXXXXX").string();
    if (::mkdtemp(folder.data()) == nullptr) throw std::runtime_error("mkdtemp");
    return folder;
}

std::string ReadAll(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void Redirect(const std::string& file, int to) {
    const int fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    ::dup2(fd, to);
}

}  // namespace

ServerProcess::ServerProcess(const std::vector<std::string>& arguments) : folder_(MakeFolder()) {
    std::vector<char*> argv{const_cast<char*>(ORVX_SERVER_PATH)};
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    pid_ = ::fork();
    if (pid_ == 0) {
        Redirect(folder_ + "/output", STDOUT_FILENO);
        Redirect(folder_ + "/errors", STDERR_FILENO);
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
}

ServerProcess::~ServerProcess() {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    std::filesystem::remove_all(folder_);
}

std::uint16_t ServerProcess::AwaitReady() {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (std::chrono::steady_clock::now() < end) {
        const std::string output = Output();
        const std::size_t line = output.find(kReady);
        if (line != std::string::npos && output.find('\n', line) != std::string::npos) {
            return static_cast<std::uint16_t>(std::stoi(output.substr(line + kReady.size())));
        }
        siginfo_t info{};
        ::waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT);
        if (info.si_pid != 0) return 0;
        std::this_thread::sleep_for(kPollEvery);
    }
    ADD_FAILURE() << "the server does not become ready";
    return 0;
}

void ServerProcess::Signal(int number) {
    ::kill(pid_, number);
}

int ServerProcess::AwaitEnd() {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    int status = 0;
    while (::waitpid(pid_, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > end) {
            ADD_FAILURE() << "the server does not end";
            return -1;
        }
        std::this_thread::sleep_for(kPollEvery);
    }
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

std::string ServerProcess::Output() const {
    return ReadAll(folder_ + "/output");
}
std::string ServerProcess::Errors() const {
    return ReadAll(folder_ + "/errors");
}

}  // namespace orvx::test
