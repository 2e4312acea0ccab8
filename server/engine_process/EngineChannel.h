// Messages over a stream socket between the server and a decoder's process.
#pragma once

#include <google/protobuf/message_lite.h>

#include <cstddef>
#include <functional>
#include <string>

#include "FileDescriptor.h"

namespace orvx {

// Not for use by two threads at once.
class EngineChannel {
  public:
    // Called every 0.1 s of waiting for the other side; what it throws ends the waiting, and leaves
    // a channel that is good for nothing more.
    using OnWait = std::function<void()>;

    explicit EngineChannel(int socket) : socket_(socket) {}

    // Both return false when the other side has gone, and throw std::runtime_error for a message
    // above 2 GB or one that cannot be read.
    bool Send(const google::protobuf::MessageLite& message, const OnWait& on_wait = nullptr);
    bool Receive(google::protobuf::MessageLite* message, const OnWait& on_wait = nullptr);
    // The other side sees its end now.
    void Shut();

  private:
    bool Write(const std::string& bytes, const OnWait& on_wait);
    bool Read(char* to, std::size_t bytes, const OnWait& on_wait);

    const FileDescriptor socket_;
};

}  // namespace orvx
