// A loopback port that answers no connection attempt: its listener's queue is full, so the kernel
// drops what comes, as a firewall would.
#pragma once

#include <sys/socket.h>
#include <unistd.h>

#include <vector>

#include "BoundSocket.h"

class FullListener {
  public:
    FullListener() : sockets_{BoundSocket()} {
        ::listen(sockets_[0], 0);
        for (int i = 0; i < 4; ++i) {
            sockets_.push_back(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
            ConnectTo(sockets_[0], sockets_.back());
        }
    }
    ~FullListener() {
        for (const int fd : sockets_) ::close(fd);
    }
    FullListener(const FullListener&) = delete;
    FullListener& operator=(const FullListener&) = delete;

    int Port() const { return PortOf(sockets_[0]); }

  private:
    std::vector<int> sockets_;
};
