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

AudioInput::AudioInput(AudioFormat format) : decoder_(DescribeAudioFormat(format)) {
    const int rate_hz = DescribeAudioFormat(format).sample_rate_hz;
    if (rate_hz != kSampleRateHz) resampler_.emplace(rate_hz, kSampleRateHz);
}

std::vector<std::int16_t> AudioInput::Push(std::string_view bytes) {
    std::vector<float> decoded;
    decoder_.Decode(bytes, &decoded);
    return Convert(std::move(decoded), /*is_last=*/false);
}

std::vector<std::int16_t> AudioInput::Finish() {
    return Convert({}, /*is_last=*/true);
}

std::vector<std::int16_t> AudioInput::Convert(std::vector<float> decoded, bool is_last) {
    if (!resampler_) return ToInt16(decoded);
    std::vector<float> resampled;
    resampler_->Process(decoded, is_last, &resampled);
    return ToInt16(resampled);
}

}  // namespace orvx
