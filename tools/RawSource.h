// Raw samples, 16-bit little-endian, of a rate and channels that the user tells.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "AudioSource.h"
#include "InputFile.h"

namespace recognize {

class RawSource : public AudioSource {
  public:
    RawSource(InputFile input, int rate, std::size_t channels);

    std::size_t Read(std::span<float> samples) override;

  private:
    InputFile input_;
    std::int64_t position_ = 0;
    std::vector<char> bytes_;
};

}  // namespace recognize
