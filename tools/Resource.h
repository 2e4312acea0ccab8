// A resource in the engine, as an object: loaded once in a run, bound to every session.
#pragma once

#include <Lexo.h>

#include <cstddef>
#include <string>

#include "ResourceChoice.h"
#include "ResourceFile.h"

namespace recognize {

// Created after the engine and destroyed before it, when no session has it bound any more. Any
// thread may bind it.
class Resource {
  public:
    // Loads what was read from a file; a name at the server, or no choice, needs no loading.
    // Throws EngineError.
    Resource(const std::string& capability, const ResourceChoice& choice, const ResourceData& data);
    ~Resource();
    Resource(const Resource&) = delete;
    Resource& operator=(const Resource&) = delete;

    // Throws EngineError.
    void BindTo(Lexo_Handle session) const;
    void ReleaseFrom(Lexo_Handle session) const;

    std::size_t Bytes() const { return bytes_; }  // that a request carries of it
    // "--grammar commands.gram as jsgf"; empty when there is none.
    const std::string& Description() const { return description_; }

  private:
    const std::string capability_;
    const ResourceChoice choice_;
    std::string description_;
    std::size_t bytes_ = 0;
    unsigned int id_ = 0;  // 0: nothing is loaded
};

}  // namespace recognize
