// From a grammar's rules to the network of words that the engine follows.
#pragma once

#include "Dictionary.h"
#include "GrammarRules.h"
#include "Resource.h"

namespace orvx {

// Throws ResourceError: a word that the dictionary lacks, a rule that is not defined, a rule that
// calls itself anywhere but at its end, or more paths than an engine can follow.
GrammarNetwork CompileGrammar(const GrammarRules& grammar, const Dictionary& dictionary);

}  // namespace orvx
