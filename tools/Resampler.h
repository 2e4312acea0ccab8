// Changing the rate of a stream of samples, block by block. Several channels alternate sample by
// sample, and blocks are whole frames of them.
#pragma once

#include <memory>
#include <span>
#include <vector>

struct soxr;

namespace recognize {

class Resampler {
  public:
    // Rates in hertz. Equal rates pass the samples through unchanged. Throws AudioError when the
    // rates cannot be converted.
    Resampler(int from_rate, int to_rate, std::size_t channels);

    // Appends to `out` what `in` completes; a few milliseconds stay inside for the next call.
    void Process(std::span<const float> in, std::vector<float>* out);

    // Appends what is still inside. No Process after this.
    void Flush(std::vector<float>* out);

  private:
    void Append(const float* samples, std::size_t frames, std::vector<float>* out) const;

    struct Deleter {
        void operator()(soxr* handle) const;
    };
    const std::size_t channels_;
    std::unique_ptr<soxr, Deleter> handle_;  // null when the rates are equal
};

}  // namespace recognize
