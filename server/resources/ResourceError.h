// Why the bytes of a resource cannot be used, and where.
#pragma once

#include <stdexcept>
#include <string>

namespace orvx {

class ResourceError : public std::runtime_error {
  public:
    explicit ResourceError(const std::string& what) : std::runtime_error(what) {}
    ResourceError(int line, const std::string& what)
        : std::runtime_error("line " + std::to_string(line) + ": " + what) {}
};

}  // namespace orvx
