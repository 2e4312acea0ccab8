#include "Resampler.h"

#include <soxr.h>

#include <array>
#include <string>

#include "Errors.h"

namespace recognize {

namespace {

using Block = std::array<float, 4096>;

void Check(soxr_error_t error) {
    if (error != nullptr) {
        throw AudioError(std::string("has a rate that cannot be converted: ") + error);
    }
}

}  // namespace

void Resampler::Deleter::operator()(soxr* handle) const {
    ::soxr_delete(handle);
}

Resampler::Resampler(int from_rate, int to_rate, std::size_t channels) : channels_(channels) {
    if (from_rate == to_rate) {
        return;
    }
    const soxr_io_spec_t samples = ::soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
    soxr_error_t error = nullptr;
    handle_.reset(::soxr_create(from_rate, to_rate, static_cast<unsigned>(channels), &error,
                                &samples, nullptr, nullptr));
    Check(error);
}

void Resampler::Append(const float* samples, std::size_t frames, std::vector<float>* out) const {
    out->insert(out->end(), samples, samples + frames * channels_);
}

void Resampler::Process(std::span<const float> in, std::vector<float>* out) {
    if (handle_ == nullptr) {
        return Append(in.data(), in.size() / channels_, out);
    }
    in = in.first(in.size() - in.size() % channels_);
    Block block;
    while (!in.empty()) {
        std::size_t taken = 0;
        std::size_t made = 0;
        Check(::soxr_process(handle_.get(), in.data(), in.size() / channels_, &taken, block.data(),
                             block.size() / channels_, &made));
        Append(block.data(), made, out);
        in = in.subspan(taken * channels_);
    }
}

void Resampler::Flush(std::vector<float>* out) {
    if (handle_ == nullptr) {
        return;
    }
    Block block;
    for (std::size_t made = 1; made != 0;) {
        Check(::soxr_process(handle_.get(), nullptr, 0, nullptr, block.data(),
                             block.size() / channels_, &made));
        Append(block.data(), made, out);
    }
}

}  // namespace recognize
