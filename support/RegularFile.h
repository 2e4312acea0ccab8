// Reading of a whole file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

// The bytes of a regular file; nothing if the path names no such file that can be read, or one of
// more than `most_bytes`. No program that another thread starts meanwhile gets its descriptor, as
// it would from a stream.
std::optional<std::string> ReadRegularFile(const char* path, std::size_t most_bytes = SIZE_MAX);
