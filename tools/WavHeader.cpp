#include "WavHeader.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <cstring>

namespace recognize {

namespace {

constexpr int kMaxChunks = 1000;
constexpr std::int64_t kEndless = 0x7FFF0000;  // recorders write such numbers
constexpr std::int64_t kMinFormatBytes = 16;
constexpr std::int64_t kMaxFormatBytes = 4096;
constexpr std::size_t kBytesPerSecondAt = 16;  // in the chunk with its name and length
constexpr std::size_t kBytesOfBlockAt = 20;    // two bytes

std::int64_t Number(const char* bytes) {
    std::array<unsigned char, 4> digits;
    std::memcpy(digits.data(), bytes, digits.size());
    return digits[0] | digits[1] << 8 | digits[2] << 16 |
           static_cast<std::int64_t>(digits[3]) << 24;
}

struct Chunk {
    std::array<char, 8> name_and_length = {};
    std::int64_t begin = 0;
    std::int64_t bytes = 0;

    bool Is(const char* name) const { return std::memcmp(name_and_length.data(), name, 4) == 0; }
    // Of the chunk behind this one; each begins at an even byte.
    std::int64_t Next() const { return begin + bytes + bytes % 2; }
};

std::optional<Chunk> ReadChunk(InputFile& input, std::int64_t at) {
    Chunk chunk;
    auto& head = chunk.name_and_length;
    if (input.ReadAt(at, head) != head.size()) {
        return std::nullopt;
    }
    chunk.begin = at + static_cast<std::int64_t>(head.size());
    chunk.bytes = Number(&head[4]);
    return chunk;
}

std::string ReadFormat(InputFile& input, const Chunk& chunk) {
    if (chunk.bytes < kMinFormatBytes || chunk.bytes > kMaxFormatBytes) {
        return {};
    }
    std::string content(static_cast<std::size_t>(chunk.bytes), '\0');
    if (input.ReadAt(chunk.begin, content) != content.size()) {
        return {};
    }
    return std::string(chunk.name_and_length.begin(), chunk.name_and_length.end()) + content;
}

bool IsName(const Chunk& chunk) {
    return std::all_of(chunk.name_and_length.begin(), chunk.name_and_length.begin() + 4,
                       [](unsigned char letter) { return std::isprint(letter) != 0; });
}

// Whether chunk follows on chunk from `at` to the end of the file.
bool AreChunksFrom(std::int64_t at, InputFile& input) {
    for (int count = 0; count < kMaxChunks && at < input.Length(); ++count) {
        const auto chunk = ReadChunk(input, at);
        if (!chunk || !IsName(*chunk) || chunk->begin + chunk->bytes > input.Length()) {
            return false;
        }
        at = chunk->Next();
    }
    return at >= input.Length();
}

}  // namespace

std::int64_t WavHeader::BytesPerSecond() const {
    return Number(&format[kBytesPerSecondAt]);
}

std::int64_t WavHeader::BytesOfBlock() const {
    return Number(&format[kBytesOfBlockAt]) & 0xFFFF;
}

bool WavHeader::IsEndless() const {
    return data_bytes >= kEndless;
}

std::optional<WavHeader> ReadWavHeader(InputFile& input) {
    std::array<char, 12> riff = {};
    if (input.ReadAt(0, riff) != riff.size() || std::memcmp(&riff[0], "RIFF", 4) != 0 ||
        std::memcmp(&riff[8], "WAVE", 4) != 0) {
        return std::nullopt;
    }
    WavHeader header;
    std::optional<Chunk> chunk = ReadChunk(input, riff.size());
    for (int count = 0; chunk && count < kMaxChunks; ++count) {
        if (chunk->Is("data")) {
            header.data_begin = chunk->begin;
            header.data_bytes = chunk->bytes;
            return header.format.empty() ? std::nullopt : std::optional(header);
        }
        if (chunk->Is("fmt ")) {
            header.format = ReadFormat(input, *chunk);
        }
        chunk = ReadChunk(input, chunk->Next());
    }
    return std::nullopt;
}

bool IsUnfinished(const WavHeader& header, InputFile& input) {
    return header.data_bytes == 0 && input.Length() - header.data_begin >= header.BytesOfBlock() &&
           !AreChunksFrom(header.data_begin, input);
}

}  // namespace recognize
