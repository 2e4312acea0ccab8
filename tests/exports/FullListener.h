// A loopback port that answers no connection attempt: its listener's queue is full, so the kernel
// drops what comes, as a firewall would.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <vector>

class FullListener {
  public:
    FullListener() : sockets_{::socket(AF_INET, SOCK_STREAM, 0)} {
        address_.sin_family = AF_INET;
        address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address_;
        auto* const address = reinterpret_cast<sockaddr*>(&address_);
        ::bind(sockets_[0], address, length);
        ::getsockname(sockets_[0], address, &length);
        ::listen(sockets_[0], 0);
        for (int i = 0; i < 4; ++i) {
            sockets_.push_back(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
            ::connect(sockets_.back(), address, length);
        }
    }
    ~FullListener() {
        for (const int fd : sockets_) ::close(fd);
    }
    FullListener(const FullListener&) = delete;
    FullListener& operator=(const FullListener&) = delete;

    int Port() const { return ntohs(address_.sin_port); }

  private:
    std::vector<int> sockets_;
    sockaddr_in address_{};
};
