#include "test_connection_state.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "OwnSocket.h"
#include "StreamPrint.h"

namespace {

constexpr int kWaitMilliseconds = 300;

void Tell(const std::string& label, int error) {
    PrintOn(stdout, label + " fire. connect error, errno = " + std::to_string(error) + "\n");
}

// As perror().
void TellFailure(const std::string& text) {
    PrintOn(stderr, text + ": " + std::strerror(errno) + "\n");
}

// Reads and thereby clears the socket's pending error, and prints it behind `label`.
bool ReadError(int sockfd, const char* label, int* error) {
    socklen_t length = sizeof *error;
    if (::getsockopt(sockfd, SOL_SOCKET, SO_ERROR, error, &length) != 0) {
        PrintOn(stdout, "getsockopt error.\n");
        return false;
    }
    Tell(label, *error);
    return true;
}

}  // namespace

int select_version(const OwnSocket& socket, const sockaddr_in& address) {
    const int connected =
        ::connect(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    if (connected != 0 && errno != EINPROGRESS) {
        TellFailure("connect remote server fail.\n");
        return connected;
    }
    pollfd entry{socket.Get(), POLLIN | POLLOUT, 0};
    const int ready = ::poll(&entry, 1, kWaitMilliseconds);
    int result = 0;
    if (ready == 0) {
        errno = ETIMEDOUT;
        TellFailure("select timeout.\n");
        result = ETIMEDOUT;
    }
    if (socket.IsConnectedToItself()) {  // nobody listens there
        Tell("in", ECONNREFUSED);
        Tell("out", 0);
        return ECONNREFUSED;
    }
    // A failed wait tells nothing: both directions are looked at.
    const bool readable = ready < 0 || (entry.revents & (POLLIN | POLLHUP | POLLERR)) != 0;
    const bool writable = ready < 0 || (entry.revents & (POLLOUT | POLLERR)) != 0;
    if (readable && !ReadError(socket.Get(), "in", &result)) {
        return -1;
    }
    int write_error = 0;
    if (writable && !ReadError(socket.Get(), "out", &write_error)) {
        return -1;
    }
    return result;
}

int test_connection_state(const char* ip, int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = ::inet_addr(ip);  // a malformed address fails in connect
    OwnSocket socket;
    socket.Open(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    if (!socket.IsOpen()) {
        TellFailure("create socket fail.\n");
        return kProbeWithoutSocket;
    }
    const int flags = ::fcntl(socket.Get(), F_GETFL, 0);
    if (flags < 0) {
        TellFailure("get socket flags fail.\n");
        return -1;
    }
    if (::fcntl(socket.Get(), F_SETFL, flags | O_NONBLOCK) < 0) {
        TellFailure("set socket O_NONBLOCK fail.\n");
        return -1;
    }
    return select_version(socket, address);
}
