// A blocking socket on which one frame at a time comes and goes. Its buffer is kept, and no system
// call is made that an exchange does not need: it is the least that the protocol costs.
#pragma once

#include <sys/uio.h>

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

namespace exchange {

constexpr std::size_t kPrefixBytes = 4;

class FrameSocket {
  public:
    explicit FrameSocket(int fd);  // takes ownership
    ~FrameSocket();
    FrameSocket(const FrameSocket&) = delete;
    FrameSocket& operator=(const FrameSocket&) = delete;

    // A new connection to a port of this machine.
    static int Connect(int port);

    // Sends all parts, the prefix among them, in one call, which a blocking socket completes.
    void Send(std::span<iovec> parts);
    // The body of the next frame, valid until the next call; empty when the peer has hung up.
    std::string_view Receive();

  private:
    std::size_t ReceiveInto(std::size_t have, std::size_t most, int flags);

    const int fd_;
    std::vector<char> buffer_;
};

// Listens on a port of this machine, and serves each connection on a thread of its own, as long
// as the process lives. Returns the port.
int ServeFrames(void (*serve)(FrameSocket&));

}  // namespace exchange
