// The header of a WAV file, read by ourselves where the audio library does not do: it corrects
// silently a length that is more than is there, and a recording that was cut short would pass as a
// whole one; it takes a header that was never finished for that of an empty recording; some damaged
// lists of titles and names keep it busy for ever; and it cannot be interrupted while it waits for
// a header in a pipe. The format is that which IBM and Microsoft laid down in 1991: "Multimedia
// Programming Interface", RIFF (RIFX, where the most significant byte is the first) and WAVE; with
// the lengths of EBU Tech 3306 (2009), RF64.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "InputFile.h"

namespace recognize {

struct WavHeader {
    bool is_big_endian = false;
    std::string format;  // the chunk "fmt ", with its name and its length
    std::int64_t data_begin = 0;
    std::int64_t data_bytes = 0;  // as the header tells it
    // Whether a recorder left this length, which could not go back to write the true one: there may
    // be more.
    bool is_endless = false;
    // Whether it tells of no samples, and there are some: its recorder died. Of a file only.
    bool is_unfinished = false;

    // 0 where the header does not tell.
    std::int64_t BytesPerSecond() const;
    std::int64_t BytesOfBlock() const;
};

inline constexpr char kHeaderDamaged[] = "is no recording that can be read: its header is damaged";

// Reads up to the first sample. Empty for other files than WAV. Throws AudioError, also where
// samples or what they are cannot be found, InterruptedError.
std::optional<WavHeader> ReadWavHeader(InputFile& input);

}  // namespace recognize
