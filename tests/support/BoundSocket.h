// TCP sockets with a port of the loopback network.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>
#include <string>

// Bound to the port, or to a free one when `port` is 0; the caller closes it.
inline int BoundSocket(const std::string& ip = "127.0.0.1", int port = 0) {
    const int bound = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    ::setsockopt(bound, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = ::inet_addr(ip.c_str());
    if (::bind(bound, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        ::close(bound);
        throw std::runtime_error("cannot bind a socket to " + ip + ":" + std::to_string(port));
    }
    return bound;
}

inline sockaddr_in AddressOf(int bound) {
    sockaddr_in address = {};
    socklen_t length = sizeof address;
    ::getsockname(bound, reinterpret_cast<sockaddr*>(&address), &length);
    return address;
}

inline int PortOf(int bound) {
    return ntohs(AddressOf(bound).sin_port);
}

// To the address of a socket that listens; as connect().
inline int ConnectTo(int listener, int socket) {
    const sockaddr_in address = AddressOf(listener);
    return ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
}
