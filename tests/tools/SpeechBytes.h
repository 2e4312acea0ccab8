// What a recording becomes on its way to the server, and how near that is to what was spoken.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>
#include <string>

#include "SoundFiles.h"
#include "SpeechReader.h"

namespace recognize {

inline constexpr std::size_t kNoLimit = std::size_t{1} << 30;

inline std::string ReadAllSpeech(const std::string& name, int audio_format = kPcm16k16Bit,
                                 std::optional<int> raw_rate = std::nullopt) {
    return SpeechReader(name, raw_rate, FindAudioFormat(audio_format)).All(kNoLimit);
}

inline Samples FromBytes(const std::string& bytes) {
    Samples samples(bytes.size() / 2);
    std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
    return samples;
}

// Strength of what differs, relative to the tone itself; the middle is compared, as filters swing
// in and out at the ends.
inline double Difference(const Samples& got, const Samples& wanted) {
    double error = 0;
    double power = 0;
    const std::size_t last = std::min(got.size(), wanted.size()) * 9 / 10;
    for (std::size_t i = wanted.size() / 10; i < last; ++i) {
        error += std::pow(got[i] - wanted[i], 2);
        power += std::pow(wanted[i], 2);
    }
    return power == 0 ? 1 : std::sqrt(error / power);
}

}  // namespace recognize
