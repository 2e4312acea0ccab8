// How much audio a WAV file announces, and how much of it is there. The audio library corrects the
// announcement silently, and a recording that was cut short would pass as a whole one.
#pragma once

#include <optional>

namespace recognize {

struct WavExtent {
    double announced_seconds = 0;
    double present_seconds = 0;
};

// Of an open regular file; its position does not change. Empty for other files than WAV, and when
// the header announces no length, as that of a recorder which could not go back.
std::optional<WavExtent> ReadWavExtent(int fd);

}  // namespace recognize
