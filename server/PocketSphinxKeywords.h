// The keywords that a PocketSphinx decoder has spotted.
#pragma once

#include <vector>

#include "Recogniser.h"

struct ps_decoder_s;

namespace orvx {

// While the utterance is under way: throws std::runtime_error when so many were spotted that the
// decoder would hardly come to an end, for it compares each with all others.
void CheckKeywords(ps_decoder_s* decoder);

// By start, and by index where they start together, once the utterance has ended. The decoder's
// search must be that of `list`.
std::vector<FoundKeyword> ReadKeywords(ps_decoder_s* decoder, const KeywordList& list);

}  // namespace orvx
