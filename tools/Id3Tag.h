// A tag with titles and pictures in front of a recording that is no MP3, where some programs put
// it. The format is that of "ID3 tag version 2.4.0" (2000, id3.org) and the versions before it.
#pragma once

#include <cstdint>

#include "InputFile.h"

namespace recognize {

// The bytes of the tag if a recording of another form than MP3 begins behind it, otherwise 0: an
// MP3's tag is its decoder's. Of a file only. Throws AudioError, InterruptedError.
std::int64_t BytesOfForeignTag(InputFile& input);

}  // namespace recognize
