#include "AudioFormat.h"

#include <sndfile.h>

#include <array>

namespace orvx {
namespace {

constexpr int kPcm = SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE;

// In the order of AudioFormat.
constexpr std::array<AudioFormatInfo, 8> kFormats{{
    {"pcm8k16bit", 8000, kPcm, 2, 1},
    {"alaw", 8000, SF_FORMAT_ALAW, 1, 1},
    {"ulaw", 8000, SF_FORMAT_ULAW, 1, 1},
    {"vox6k4bit", 6000, SF_FORMAT_VOX_ADPCM, 1, 2},
    {"vox8k4bit", 8000, SF_FORMAT_VOX_ADPCM, 1, 2},
    {"gsm610", 8000, SF_FORMAT_GSM610, 33, 160},
    {"pcm16k16bit", 16000, kPcm, 2, 1},
    {"v3_6k4bit", 6000, 0, 1, 2},
}};

}  // namespace

const AudioFormatInfo& DescribeAudioFormat(AudioFormat format) {
    return kFormats[static_cast<std::size_t>(format)];
}

std::optional<AudioFormat> FindAudioFormat(std::string_view name) {
    for (std::size_t i = 0; i < kFormats.size(); ++i) {
        if (name == kFormats[i].name) return static_cast<AudioFormat>(i);
    }
    return std::nullopt;
}

std::string AudioFormatNames() {
    std::string names;
    for (const AudioFormatInfo& format : kFormats) {
        names.append(names.empty() ? "" : ", ").append(format.name);
    }
    return names;
}

}  // namespace orvx
