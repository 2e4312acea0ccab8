#include "ServerProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds kStartTimeout{120};  // loading models under a sanitizer takes time

pid_t Spawn(const std::vector<std::string>& arguments) {
    std::vector<char*> argv;
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    const pid_t pid = ::fork();
    if (pid == 0) {
        const int null = ::open("/dev/null", O_WRONLY);
        ::dup2(null, STDOUT_FILENO);
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    return pid;
}

bool IsRunning(pid_t pid) {
    return ::waitpid(pid, nullptr, WNOHANG) == 0;
}

// The content of the port file once the server has written it.
std::string AwaitPortFile(pid_t pid, const std::string& path) {
    const auto end = steady_clock::now() + kStartTimeout;
    std::string port;
    while (steady_clock::now() < end && IsRunning(pid) && !(std::ifstream(path) >> port)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return port;
}

}  // namespace

ServerProcess::ServerProcess(const std::vector<std::string>& more_arguments) {
    const auto port_file = std::filesystem::temp_directory_path() /
                           ("orvx-e2e-" + std::to_string(::getpid()) + ".port");
    std::filesystem::remove(port_file);
    std::vector<std::string> arguments{ORVX_SERVER_PATH, "--listen", "127.0.0.1:0", "--port-file",
                                       port_file.string()};
    arguments.insert(arguments.end(), more_arguments.begin(), more_arguments.end());
    pid_ = Spawn(arguments);
    const std::string port = AwaitPortFile(pid_, port_file.string());
    std::filesystem::remove(port_file);
    if (!port.empty()) {
        address_ = "127.0.0.1:" + port;
    }
}

ServerProcess::~ServerProcess() {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
}

int ServerProcess::Terminate() {
    ::kill(pid_, SIGTERM);
    int status = 0;
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
