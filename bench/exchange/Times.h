// Counts durations. Each is known to within 0.4 %, and the memory is touched beforehand: a growing
// list of them would show as page faults of what is measured.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace exchange {

class Times {
  public:
    Times() : counts_(kBuckets) {}

    void Add(std::uint64_t ns) {
        const auto exponent = static_cast<unsigned>(std::bit_width(ns | kSteps)) - kStepBits - 1;
        ++counts_[exponent * kSteps + (ns >> exponent)];
        ++count_;
    }
    void Add(const Times& other) {
        for (std::size_t i = 0; i < kBuckets; ++i) {
            counts_[i] += other.counts_[i];
        }
        count_ += other.count_;
    }
    std::uint64_t Count() const { return count_; }
    // The duration that half of the others do not exceed, in microseconds.
    double MedianUs() const {
        std::size_t bucket = 0;
        for (std::uint64_t seen = counts_[0]; seen * 2 < count_;) {
            seen += counts_[++bucket];
        }
        const std::size_t exponent = bucket < 2 * kSteps ? 0 : bucket / kSteps - 1;
        const std::uint64_t ns = (bucket - exponent * kSteps) << exponent;
        return static_cast<double>(ns) / 1e3;
    }

  private:
    static constexpr unsigned kStepBits = 8;
    static constexpr std::size_t kSteps = std::size_t{1} << kStepBits;
    static constexpr std::size_t kBuckets = 30 * kSteps;  // up to a minute

    std::vector<std::uint32_t> counts_;
    std::uint64_t count_ = 0;
};

}  // namespace exchange
