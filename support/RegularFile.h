// Reading of a whole file.
#pragma once

#include <optional>
#include <string>

// The bytes of a regular file; nothing if the path names no such file that can be read. No program
// that another thread starts meanwhile gets its descriptor, as it would from a stream.
std::optional<std::string> ReadRegularFile(const char* path);
