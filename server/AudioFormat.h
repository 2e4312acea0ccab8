// The audio formats that a task may name, and what is needed to decode each.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace orvx {

enum class AudioFormat {
    kPcm8k16bit,
    kAlaw,
    kUlaw,
    kVox6k4bit,
    kVox8k4bit,
    kGsm610,
    kPcm16k16bit,
    kV3_6k4bit
};

struct AudioFormatInfo {
    const char* name;           // as in the task configuration
    int sample_rate_hz;         //
    int sndfile_format;         // libsndfile's subtype and byte order; 0: no decoder for it
    std::size_t block_bytes;    // the smallest piece that can be decoded alone
    std::size_t block_samples;  // samples that one block decodes to
};

const AudioFormatInfo& DescribeAudioFormat(AudioFormat format);
std::optional<AudioFormat> FindAudioFormat(std::string_view name);

// All names, joined for a message: "pcm8k16bit, alaw, ...".
std::string AudioFormatNames();

}  // namespace orvx
