// From the bytes of one stream, in its format, to the samples that recognition works on: 16 kHz,
// 16 bit, mono. The samples do not depend on where the stream was cut into chunks.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "AudioDecoder.h"
#include "AudioFormat.h"
#include "Resampler.h"

namespace orvx {

constexpr int kSampleRateHz = 16000;
constexpr int kSamplesPerMs = kSampleRateHz / 1000;

class AudioInput {
  public:
    // `format` must be one with a decoder.
    explicit AudioInput(AudioFormat format);

    // The samples that these bytes complete. Throws std::runtime_error if decoding fails.
    std::vector<std::int16_t> Push(std::string_view bytes);
    // What was held back; the stream has ended. Bytes of an incomplete block are dropped.
    std::vector<std::int16_t> Finish();

  private:
    std::vector<std::int16_t> Convert(std::vector<float> decoded, bool is_last);

    AudioDecoder decoder_;
    std::optional<Resampler> resampler_;  // empty when the format's rate is the wanted one
};

}  // namespace orvx
