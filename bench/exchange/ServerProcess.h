// The server of a run: a process that ends with its parent, or after a minute.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "Run.h"

namespace exchange {

constexpr unsigned kLongestRunSeconds = 60;

class ServerProcess {
  public:
    // Starts `program` and waits until it listens.
    ServerProcess(const std::string& program, const Run& run);
    ~ServerProcess() { Stop(); }
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    int Port() const { return port_; }
    std::uint64_t CpuNs() const;
    // Ends the server, which must not have ended by itself: it does when something is wrong.
    void Stop();

  private:
    pid_t pid_ = -1;
    int port_ = 0;
    clockid_t cpu_clock_{};
};

// Within the server, whose threads do the work: tells its parent the port, and waits for the end.
[[noreturn]] void ServeOn(int port);

std::uint64_t NowNs(clockid_t clock);

}  // namespace exchange
