#include "ServerProcess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

namespace orvx::test {
namespace {

std::string MakeFolder() {
    std::string folder = (std::filesystem::temp_directory_path() / "orvx-server-XXXXXX").string();
    if (::mkdtemp(folder.data()) == nullptr) throw std::runtime_error("mkdtemp");
    return folder;
}

std::string ReadAll(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

int Create(const std::string& file) {
    return ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
}

// Fails the test if `condition` does not come true within two minutes.
template <typename Condition>
void Await(Condition condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(2);
    while (!condition()) {
        ASSERT_LT(std::chrono::steady_clock::now(), end);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

}  // namespace

ServerProcess::ServerProcess(std::vector<std::string> arguments, int errors)
    : folder_(MakeFolder()) {
    for (const std::string option : {"--listen=127.0.0.1:0", "--workers=1"}) {
        const std::string name = option.substr(0, option.find('='));
        const auto is_it = [&](const std::string& given) { return given.starts_with(name); };
        if (std::none_of(arguments.begin(), arguments.end(), is_it)) arguments.push_back(option);
    }
    arguments.insert(arguments.begin(), ORVX_SERVER_PATH);
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    pid_ = ::fork();
    if (pid_ != 0) return;
    ::dup2(Create(folder_ + "/output"), STDOUT_FILENO);
    ::dup2(errors >= 0 ? errors : Create(folder_ + "/errors"), STDERR_FILENO);
    ::execv(argv[0], argv.data());
    ::_exit(127);
}

ServerProcess::~ServerProcess() {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    std::filesystem::remove_all(folder_);
}

std::uint16_t ServerProcess::AwaitReady() {
    std::uint16_t port = 0;
    Await([&] {
        const std::string output = Output();
        if (output.ends_with('\n')) {
            port = static_cast<std::uint16_t>(std::stoi(output.substr(output.rfind(':') + 1)));
        }
        siginfo_t info{};
        ::waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT);
        return port != 0 || info.si_pid != 0;
    });
    return port;
}

void ServerProcess::Signal(int signal) const {
    ::kill(pid_, signal);
}

int ServerProcess::End(int signal) {
    Signal(signal);
    int status = 0;
    Await([&] { return ::waitpid(pid_, &status, WNOHANG) != 0; });
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
