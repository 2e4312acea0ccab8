#include "Id3Tag.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

namespace recognize {

namespace {

// "ID3", version, flags, and a length of four times seven bits.
constexpr std::size_t kHeadBytes = 10;
constexpr std::size_t kFlagsAt = 5;
constexpr unsigned kHasFooter = 0x10;
constexpr std::size_t kLengthAt = 6;

constexpr const char* kBeginnings[] = {"RIFF", "RIFX", "RF64", "FORM", ".snd",
                                       "fLaC", "OggS", "caff", "riff"};

}  // namespace

std::int64_t BytesOfForeignTag(InputFile& input) {
    std::array<char, kHeadBytes> head = {};
    if (input.ReadAt(0, head) != head.size() || std::memcmp(head.data(), "ID3", 3) != 0) {
        return 0;
    }
    std::int64_t bytes = 0;
    for (std::size_t i = kLengthAt; i < kHeadBytes; ++i) {
        bytes = bytes << 7 | (head[i] & 0x7F);
    }
    const bool has_footer = (static_cast<unsigned char>(head[kFlagsAt]) & kHasFooter) != 0;
    bytes += static_cast<std::int64_t>(has_footer ? 2 * kHeadBytes : kHeadBytes);
    std::array<char, 4> next = {};
    const bool is_foreign = input.ReadAt(bytes, next) == next.size() &&
                            std::ranges::any_of(kBeginnings, [&](const char* beginning) {
                                return std::memcmp(next.data(), beginning, next.size()) == 0;
                            });
    return is_foreign ? bytes : 0;
}

}  // namespace recognize
