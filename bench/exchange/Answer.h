// The answer of the rows that have a protocol of their own: bytes that begin with the stamp. Theirs
// is the easier part: they need not parse the content.
#pragma once

#include <string>

#include "Audio.h"

namespace exchange {

class StampedAnswer {
  public:
    explicit StampedAnswer(std::size_t size) : bytes_(Pattern(size)) {}

    const std::string& For(Stamp stamp) {
        std::memcpy(bytes_.data(), &stamp, kStampBytes);
        return bytes_;
    }

  private:
    std::string bytes_;
};

}  // namespace exchange
