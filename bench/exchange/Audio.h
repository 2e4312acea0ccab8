// The audio of a request, which the server can check: a pattern that both processes compute, with
// a fresh stamp in its first and its last eight bytes.
//
// The server compares the stamps and one byte of every page each time. It compares every byte only
// when the stamp says so, as in the first exchanges and the last one: each time would cost as much
// as half an exchange of 2 MB, and hide what is to be measured.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "Run.h"

namespace exchange {

using Stamp = std::uint64_t;
constexpr Stamp kCheckEveryByte = Stamp{1} << 63;
constexpr std::size_t kStampBytes = sizeof(Stamp);
constexpr std::size_t kPageBytes = 4096;

inline std::string Pattern(std::size_t size) {
    std::string bytes(size, '\0');
    std::uint32_t state = 1;
    for (char& byte : bytes) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<char>(state >> 24);
    }
    return bytes;
}

// At the begin and the end.
inline void PutStamp(std::string& audio, Stamp stamp) {
    std::memcpy(audio.data(), &stamp, kStampBytes);
    std::memcpy(audio.data() + audio.size() - kStampBytes, &stamp, kStampBytes);
}

// Of the server: whether audio is what was sent.
class AudioCheck {
  public:
    explicit AudioCheck(std::size_t size) : expected_(Pattern(size)) {}

    // The stamp of `audio`. Ends the process if the audio is wrong.
    Stamp Of(std::string_view audio) const {
        Require(audio.size() == expected_.size(), "audio of another size");
        const Stamp stamp = At(audio, 0);
        Require(At(audio, audio.size() - kStampBytes) == stamp, "two stamps in one request");
        const std::string_view got = Inner(audio);
        const std::string_view expected = Inner(expected_);
        bool is_same = (stamp & kCheckEveryByte) == 0 || got == expected;
        for (std::size_t i = 0; i < got.size(); i += kPageBytes) {
            is_same &= got[i] == expected[i];
        }
        Require(is_same, "audio with other bytes");
        return stamp;
    }

  private:
    static Stamp At(std::string_view audio, std::size_t place) {
        Stamp stamp = 0;
        std::memcpy(&stamp, audio.data() + place, kStampBytes);
        return stamp;
    }
    static std::string_view Inner(std::string_view audio) {
        return audio.substr(kStampBytes, audio.size() - 2 * kStampBytes);
    }

    const std::string expected_;
};

}  // namespace exchange
