// The load loop that all rows share: threads that exchange one after the other, first to warm up,
// then timed.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "Audio.h"
#include "Run.h"

namespace exchange {

// One thread's client.
class Client {
  public:
    virtual ~Client() = default;
    // One exchange: sends `audio`, the host's own, which bears `stamp`, and checks the answer.
    virtual void Exchange(std::string_view audio, Stamp stamp) = 0;
};

// Called on the client's own thread.
using MakeClient = std::function<std::unique_ptr<Client>(int port)>;

// Starts the server, makes the run and prints the line that FiguresIn understands.
void Measure(const Run& run, const std::string& server_program, const MakeClient& make);

}  // namespace exchange
