// orvx-server as a child process on a free loopback port.
#pragma once

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

class ServerProcess {
  public:
    // Starts the server with one more option and waits until it is ready.
    explicit ServerProcess(std::string option) {
        std::filesystem::remove(port_file_);
        char path[] = ORVX_SERVER_PATH;
        char listen[] = "--listen=127.0.0.1:0";
        std::string port_option = "--port-file=" + port_file_;
        char* const argv[] = {path, listen, port_option.data(), option.data(), nullptr};
        EXPECT_EQ(::posix_spawn(&pid_, path, nullptr, nullptr, argv, environ), 0);
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
    int port_ = 0;
};
