// orvx-server as a child process.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <thread>

#include "TempDir.h"

// Fails the test if `condition` does not come true within two minutes.
template <typename Condition>
void Await(Condition condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(2);
    while (!condition()) {
        ASSERT_LT(std::chrono::steady_clock::now(), end);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

class ServerProcess {
  public:
    // With one decoder and on a free port, unless `options`, as a shell takes them, say otherwise.
    // Its standard error goes to the descriptor `errors`, if there is one, or else where Errors
    // finds it.
    explicit ServerProcess(std::string options = "", int errors = -1) {
        if (options.find("--listen") == std::string::npos) options += " --listen 127.0.0.1:0";
        if (options.find("--workers") == std::string::npos) options += " --workers 1";
        const std::string command = "exec " ORVX_SERVER_PATH " " + options + " >" + Output();
        pid_ = ::fork();
        if (pid_ != 0) return;
        ::dup2(errors >= 0 ? errors : ::creat(Errors().c_str(), 0600), STDERR_FILENO);
        ::execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
        ::_exit(127);
    }
    ~ServerProcess() {
        if (pid_ > 0) End(SIGKILL);
    }
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    // Waits until the server's line says the port; 0 when it has ended before.
    std::uint16_t AwaitReady() const {
        Await([this] { return HasEnded() || ReadAll(Output()).ends_with('\n'); });
        const std::string line = ReadAll(Output());
        return static_cast<std::uint16_t>(std::atoi(line.substr(line.rfind(':') + 1).c_str()));
    }
    pid_t Pid() const { return pid_; }
    void Signal(int signal) const { ::kill(pid_, signal); }
    // Sends it a signal, if not 0, and waits for its end: its status, or minus the signal of that.
    int End(int signal = 0) {
        Signal(signal);
        int status = 0;
        Await([&] { return ::waitpid(pid_, &status, WNOHANG) != 0; });
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    // Where it writes to.
    std::string Output() const { return dir_.Path("out"); }
    std::string Errors() const { return dir_.Path("err"); }

  private:
    bool HasEnded() const {
        siginfo_t ended{};
        ::waitid(P_PID, static_cast<id_t>(pid_), &ended, WEXITED | WNOHANG | WNOWAIT);
        return ended.si_pid != 0;
    }

    const TempDir dir_;
    pid_t pid_ = -1;
};
