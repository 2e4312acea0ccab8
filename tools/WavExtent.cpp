#include "WavExtent.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace recognize {

namespace {

constexpr int kMaxChunks = 1000;
constexpr std::int64_t kUnknownLength = 0x7FFF0000;  // recorders write such numbers for "endless"

using Header = std::array<unsigned char, 12>;

bool ReadAt(int fd, std::int64_t at, std::size_t bytes, Header* header) {
    return ::pread(fd, header->data(), bytes, at) == static_cast<ssize_t>(bytes);
}

std::int64_t Number(const unsigned char* bytes) {
    return bytes[0] | bytes[1] << 8 | bytes[2] << 16 | static_cast<std::int64_t>(bytes[3]) << 24;
}

bool Is(const unsigned char* bytes, const char* name) {
    return std::memcmp(bytes, name, 4) == 0;
}

std::optional<WavExtent> Extent(int fd, std::int64_t begin, std::int64_t bytes,
                                std::int64_t bytes_per_second) {
    struct stat info = {};
    if (bytes >= kUnknownLength || bytes_per_second == 0 || ::fstat(fd, &info) != 0) {
        return std::nullopt;
    }
    const auto rate = static_cast<double>(bytes_per_second);
    return WavExtent{
        static_cast<double>(bytes) / rate,
        static_cast<double>(std::clamp<std::int64_t>(info.st_size - begin, 0, bytes)) / rate};
}

}  // namespace

std::optional<WavExtent> ReadWavExtent(int fd) {
    Header header = {};
    if (!ReadAt(fd, 0, 12, &header) || !Is(&header[0], "RIFF") || !Is(&header[8], "WAVE")) {
        return std::nullopt;
    }
    std::int64_t bytes_per_second = 0;
    std::int64_t at = 12;
    for (int chunk = 0; chunk < kMaxChunks && ReadAt(fd, at, 8, &header); ++chunk) {
        const std::int64_t bytes = Number(&header[4]);
        if (Is(&header[0], "data")) {
            return Extent(fd, at + 8, bytes, bytes_per_second);
        }
        if (Is(&header[0], "fmt ") && ReadAt(fd, at + 8, 12, &header)) {
            bytes_per_second = Number(&header[8]);
        }
        at += 8 + bytes + bytes % 2;
    }
    return std::nullopt;
}

}  // namespace recognize
