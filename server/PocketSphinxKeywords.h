// The keywords that a PocketSphinx decoder has spotted, once its utterance has ended.
#pragma once

#include <vector>

#include "Recogniser.h"

struct ps_decoder_s;

namespace orvx {

// By start, and by index where they start together. The decoder's search must be that of `list`.
std::vector<FoundKeyword> ReadKeywords(ps_decoder_s* decoder, const KeywordList& list);

}  // namespace orvx
