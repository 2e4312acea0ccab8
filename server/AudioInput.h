// From the bytes of one stream, in its format, to the samples that recognition works on: 16 kHz,
// 16 bit, each channel apart. The samples do not depend on where the stream was cut into chunks.
#pragma once

#include <cstdint>
#include <deque>
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
    // `format` must be one with a decoder, and one whose blocks are single samples if there are
    // several channels: they alternate, sample by sample.
    explicit AudioInput(AudioFormat format, std::size_t channels = 1);

    using Channels = std::vector<std::vector<std::int16_t>>;

    // The samples of each channel that these bytes complete. Throws std::runtime_error if decoding
    // fails.
    Channels Push(std::string_view bytes);
    // What was held back; the stream has ended. Bytes of an incomplete block are dropped.
    Channels Finish();

  private:
    std::vector<std::int16_t> Convert(std::size_t channel, const std::vector<float>& decoded,
                                      bool is_last);

    AudioDecoder decoder_;
    std::deque<Resampler> resamplers_;  // of each channel; none when the format's rate is right
    const std::size_t channels_;
    std::size_t next_channel_ = 0;
};

}  // namespace orvx
