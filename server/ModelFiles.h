// Refuses model files that PocketSphinx would take although nothing can be recognised with them.
#pragma once

#include "PocketSphinxRecogniser.h"

struct ps_decoder_s;

namespace orvx {

// Whether the files can be what they are named as. Throws std::runtime_error.
void CheckModelFiles(const PocketSphinxModel& model);

// Whether the decoder has taken a word from this dictionary: PocketSphinx skips the lines that it
// does not understand, and is content with no word at all. Throws std::runtime_error.
void CheckDictionary(ps_decoder_s* decoder, const std::string& dictionary);

}  // namespace orvx
