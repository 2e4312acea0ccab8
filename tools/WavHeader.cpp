#include "WavHeader.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "Errors.h"

namespace recognize {

namespace {

constexpr int kMaxChunks = 1000;
constexpr std::int64_t kEndless = 0x7FFF0000;  // recorders write such numbers
constexpr std::int64_t kMinFormatBytes = 16;
constexpr std::int64_t kMaxFormatBytes = 4096;
constexpr std::size_t kBytesPerSecondAt = 16;  // in the chunk with its name and length
constexpr std::size_t kBytesOfBlockAt = 20;
constexpr std::int64_t kLengthElsewhere = 0xFFFFFFFF;  // in the chunk "ds64", its second number

std::int64_t Number(std::string_view bytes, bool is_big_endian) {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const char byte = bytes[is_big_endian ? i : bytes.size() - 1 - i];
        number = number << 8 | static_cast<unsigned char>(byte);
    }
    return static_cast<std::int64_t>(number);
}

struct Chunk {
    std::array<char, 8> name_and_length = {};
    std::int64_t begin = 0;
    std::int64_t bytes = 0;

    bool Is(const char* name) const { return std::memcmp(name_and_length.data(), name, 4) == 0; }
    // Of the chunk behind this one; each begins at an even byte.
    std::int64_t Next() const { return begin + bytes + bytes % 2; }
};

std::optional<Chunk> ReadChunk(InputFile& input, std::int64_t at, bool is_big_endian) {
    Chunk chunk;
    auto& head = chunk.name_and_length;
    if (input.ReadAt(at, head) != head.size()) {
        return std::nullopt;
    }
    chunk.begin = at + static_cast<std::int64_t>(head.size());
    chunk.bytes = Number(std::string_view(&head[4], 4), is_big_endian);
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

// The bytes of the samples, as the chunk tells them; nothing that would be negative.
std::int64_t ReadLongLength(InputFile& input, const Chunk& chunk) {
    std::array<char, 16> lengths = {};
    input.ReadAt(chunk.begin, lengths);
    return std::max<std::int64_t>(Number(std::string_view(&lengths[8], 8), false), 0);
}

bool IsName(const Chunk& chunk) {
    return std::all_of(chunk.name_and_length.begin(), chunk.name_and_length.begin() + 4,
                       [](unsigned char letter) { return std::isprint(letter) != 0; });
}

// Whether chunk follows on chunk from `at` to the end of the file.
bool AreChunksFrom(std::int64_t at, bool is_big_endian, InputFile& input) {
    for (int count = 0; count < kMaxChunks && at < input.Length(); ++count) {
        const auto chunk = ReadChunk(input, at, is_big_endian);
        if (!chunk || !IsName(*chunk) || chunk->begin + chunk->bytes > input.Length()) {
            return false;
        }
        at = chunk->Next();
    }
    return at >= input.Length();
}

// Of a file that is as long as it says the length is true.
bool IsEndless(const Chunk& data, bool is_big_endian, InputFile& input) {
    return data.bytes >= kEndless && (input.IsLive() || input.Length() < data.begin + data.bytes ||
                                      !AreChunksFrom(data.Next(), is_big_endian, input));
}

bool IsUnfinished(const WavHeader& header, InputFile& input) {
    return !input.IsLive() && header.data_bytes == 0 &&
           input.Length() - header.data_begin >= header.BytesOfBlock() &&
           !AreChunksFrom(header.data_begin, header.is_big_endian, input);
}

}  // namespace

std::int64_t WavHeader::BytesPerSecond() const {
    return Number(std::string_view(format).substr(kBytesPerSecondAt, 4), is_big_endian);
}

std::int64_t WavHeader::BytesOfBlock() const {
    return Number(std::string_view(format).substr(kBytesOfBlockAt, 2), is_big_endian);
}

std::optional<WavHeader> ReadWavHeader(InputFile& input) {
    std::array<char, 12> riff = {};
    const bool is_read = input.ReadAt(0, riff) == riff.size();
    const std::string_view name(riff.data(), 4);
    if (!is_read || (name != "RIFF" && name != "RIFX" && name != "RF64") ||
        std::memcmp(&riff[8], "WAVE", 4) != 0) {
        return std::nullopt;
    }
    WavHeader header;
    header.is_big_endian = name == "RIFX";
    std::int64_t long_length = 0;
    auto chunk = ReadChunk(input, riff.size(), header.is_big_endian);
    for (int count = 0; chunk && !chunk->Is("data") && count < kMaxChunks; ++count) {
        if (chunk->Is("fmt ")) {
            header.format = ReadFormat(input, *chunk);
        } else if (chunk->Is("ds64") && name == "RF64") {
            long_length = ReadLongLength(input, *chunk);
        }
        chunk = ReadChunk(input, chunk->Next(), header.is_big_endian);
    }
    if (!chunk || !chunk->Is("data") || header.format.empty()) {
        throw AudioError(kHeaderDamaged);
    }
    const bool is_long = long_length > 0 && chunk->bytes == kLengthElsewhere;
    header.data_begin = chunk->begin;
    header.data_bytes = is_long ? long_length : chunk->bytes;
    header.is_endless = !is_long && IsEndless(*chunk, header.is_big_endian, input);
    header.is_unfinished = IsUnfinished(header, input);
    return header;
}

}  // namespace recognize
