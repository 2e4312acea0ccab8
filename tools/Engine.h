// The engine's life in this process, as an object.
#pragma once

#include <Lexo.h>

#include <string>
#include <vector>

#include "Console.h"

namespace recognize {

struct EngineSettings {
    std::string server_address;  // "IPv4:port"
    std::string config_file;     // empty: the default in QUORLAN_HOME
    bool needs_server = true;    // false: an unreachable server is no failure
};

// One at a time. Created and destroyed while no other thread uses the engine.
class Engine {
  public:
    // Throws EngineError, with what to do about it.
    Engine(const EngineSettings& settings, Console& console);
    // Needs all sessions stopped; says so on the console when the engine refuses to end.
    ~Engine();
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    std::vector<Lexo_CapabilityInfo> Capabilities() const;

  private:
    Console& console_;
};

}  // namespace recognize
