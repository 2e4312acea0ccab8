// What a PocketSphinx decoder has heard, once its utterance has ended.
#pragma once

#include <cstddef>
#include <vector>

#include "Recogniser.h"
#include "Resource.h"

struct ps_decoder_s;

namespace orvx {

// At most `max_sentences` different readings, best first; empty when no word was heard.
// `grammar`: what it listened for, or null; PocketSphinx leaks memory when asked.
std::vector<RecognisedSentence> ReadSentences(ps_decoder_s* decoder, const GrammarNetwork* grammar,
                                              std::size_t max_sentences);

}  // namespace orvx
