// The program itself as a child process.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace orvx::test {

class ServerProcess {
  public:
    // Starts orvx-server with these arguments.
    explicit ServerProcess(const std::vector<std::string>& arguments);
    ~ServerProcess();  // kills it if it still runs
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    // Waits until the server is ready: its line says the port. 0 if it ended instead.
    std::uint16_t AwaitReady();
    void Signal(int number);
    // Waits for its end: its status, or minus the signal that ended it.
    int AwaitEnd();
    // What it has written so far.
    std::string Output() const;
    std::string Errors() const;

  private:
    const std::string folder_;
    pid_t pid_ = -1;
};

}  // namespace orvx::test
