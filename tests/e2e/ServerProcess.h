// orvx-server as a child process on a free loopback port.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

class ServerProcess {
  public:
    // Starts the server and waits until it is ready; `address` is empty when it did not get so far.
    explicit ServerProcess(const std::vector<std::string>& more_arguments = {});
    ~ServerProcess();  // kills it if it still runs
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    const std::string& Address() const { return address_; }  // "127.0.0.1:port"
    // Asks it to end and waits; its exit status, or -1 when it died otherwise.
    int Terminate();

  private:
    pid_t pid_ = -1;
    std::string address_;
};
