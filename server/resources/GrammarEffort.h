// Whether an engine can follow a grammar about as fast as somebody speaks.
#pragma once

#include "Resource.h"

namespace orvx {

// Throws ResourceError if the network has too many ways without a word, or too many words may
// follow too many others: a grammar whose text is short could keep an engine busy for minutes.
void CheckGrammarEffort(const GrammarNetwork& network);

}  // namespace orvx
