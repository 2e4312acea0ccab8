// orvx-server as a child process on a free loopback port.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

class ServerProcess {
  public:
    // Starts the server with these options besides and waits until it is ready. Its standard error
    // goes to the file `errors`, if one is named.
    explicit ServerProcess(std::vector<std::string> options, const char* errors = nullptr) {
        std::filesystem::remove(port_file_);
        options.insert(options.begin(),
                       {ORVX_SERVER_PATH, "--listen=127.0.0.1:0", "--port-file=" + port_file_});
        std::vector<char*> argv;
        for (std::string& option : options) argv.push_back(option.data());
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        if (errors != nullptr) {
            ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errors, O_WRONLY, 0);
        }
        EXPECT_EQ(::posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ), 0);
        ::posix_spawn_file_actions_destroy(&actions);
        // Loading the models takes long under a sanitizer.
        const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(2);
        while (!(std::ifstream(port_file_) >> port_) && std::chrono::steady_clock::now() < end &&
               IsRunning()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }
    ~ServerProcess() {
        Terminate();
        std::filesystem::remove(port_file_);
    }
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    // "127.0.0.1:port"; port 0 when it did not become ready.
    std::string Address() const { return "127.0.0.1:" + std::to_string(port_); }
    std::uint16_t Port() const { return port_; }
    pid_t Pid() const { return pid_; }
    // Asks it to end and waits; its exit status, or -1 when it died otherwise.
    int Terminate() {
        int status = -1;
        if (pid_ > 0) {
            ::kill(pid_, SIGTERM);
            ::waitpid(pid_, &status, 0);
            pid_ = -1;
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

  private:
    bool IsRunning() const {
        siginfo_t info{};
        return ::waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
               info.si_pid == 0;
    }

    const std::string port_file_ = std::filesystem::temp_directory_path() /
                                   ("orvx-e2e-" + std::to_string(::getpid()) + ".port");
    pid_t pid_ = -1;
    std::uint16_t port_ = 0;
};
