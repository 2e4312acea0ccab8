#include "AudioInput.h"

#include <algorithm>
#include <cmath>

namespace orvx {
namespace {

std::vector<std::int16_t> ToInt16(const std::vector<float>& samples) {
    std::vector<std::int16_t> result(samples.size());
    std::transform(samples.begin(), samples.end(), result.begin(), [](float sample) {
        return static_cast<std::int16_t>(
            std::lrint(std::clamp(sample * 32768.0F, -32768.0F, 32767.0F)));
    });
    return result;
}

}  // namespace

AudioInput::AudioInput(AudioFormat format, std::size_t channels)
    : decoder_(DescribeAudioFormat(format)), channels_(channels) {
    const int rate_hz = DescribeAudioFormat(format).sample_rate_hz;
    if (rate_hz == kSampleRateHz) return;
    for (std::size_t i = 0; i < channels; ++i) resamplers_.emplace_back(rate_hz, kSampleRateHz);
}

AudioInput::Channels AudioInput::Push(std::string_view bytes) {
    std::vector<float> decoded;
    decoder_.Decode(bytes, &decoded);
    std::vector<std::vector<float>> apart(channels_);
    if (channels_ == 1) {
        apart[0] = std::move(decoded);
    } else {
        for (const float sample : decoded) {
            apart[next_channel_].push_back(sample);
            next_channel_ = (next_channel_ + 1) % channels_;
        }
    }
    Channels result(channels_);
    for (std::size_t i = 0; i < channels_; ++i) {
        result[i] = Convert(i, apart[i], /*is_last=*/false);
    }
    return result;
}

AudioInput::Channels AudioInput::Finish() {
    Channels result(channels_);
    for (std::size_t i = 0; i < channels_; ++i) result[i] = Convert(i, {}, /*is_last=*/true);
    return result;
}

std::vector<std::int16_t> AudioInput::Convert(std::size_t channel,
                                              const std::vector<float>& decoded, bool is_last) {
    if (resamplers_.empty()) return ToInt16(decoded);
    std::vector<float> resampled;
    resamplers_[channel].Process(decoded, is_last, &resampled);
    return ToInt16(resampled);
}

}  // namespace orvx
