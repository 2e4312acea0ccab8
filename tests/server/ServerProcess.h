// The program itself as a child process.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace orvx::test {

class ServerProcess {
  public:
    // Starts orvx-server with one decoder, on a free port, and with these arguments. Its standard
    // error goes to the descriptor `errors`, if there is one, or else where Errors finds it.
    explicit ServerProcess(std::vector<std::string> arguments = {}, int errors = -1);
    ~ServerProcess();  // kills it if it still runs
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    // Waits until the server is ready: its line says the port. 0 if it ended instead.
    std::uint16_t AwaitReady();
    // Sends it a signal, if not 0, and waits for its end: its status, or minus the signal of that.
    int End(int signal = 0);
    void Signal(int signal) const;
    // What it has written so far.
    std::string Output() const;
    std::string Errors() const;

  private:
    const std::string folder_;
    pid_t pid_ = -1;
};

}  // namespace orvx::test
