#include "RawSource.h"

#include <utility>

namespace recognize {

namespace {

constexpr std::size_t kSampleBytes = 2;

float SampleOf(unsigned char low, unsigned char high) {
    return static_cast<float>(static_cast<std::int16_t>(high << 8 | low)) / 32768.0F;
}

}  // namespace

RawSource::RawSource(InputFile input, int rate, std::size_t channels) : input_(std::move(input)) {
    rate_ = rate;
    if (!input_.IsLive()) {
        const auto bytes = static_cast<double>(input_.Length());
        seconds_ = bytes / static_cast<double>(kSampleBytes * channels) / rate;
    }
}

std::size_t RawSource::Read(std::span<float> samples) {
    bytes_.resize(samples.size() * kSampleBytes);
    const std::size_t read = input_.ReadAt(position_, bytes_);
    position_ += static_cast<std::int64_t>(read);
    const std::size_t count = read / kSampleBytes;  // half a sample at the end: none
    for (std::size_t i = 0; i < count; ++i) {
        samples[i] = SampleOf(static_cast<unsigned char>(bytes_[i * kSampleBytes]),
                              static_cast<unsigned char>(bytes_[i * kSampleBytes + 1]));
    }
    return count;
}

}  // namespace recognize
