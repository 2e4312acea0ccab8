// The two grammar formats.
#pragma once

#include <string_view>

#include "GrammarRules.h"

namespace orvx {

// Both throw ResourceError, which names the line.

// JSGF, the Java Speech Grammar Format (W3C Note, 2000): any public rule may be said. Imports are
// refused, tags are read and not used.
GrammarRules ReadJsgf(std::string_view text);

// The ABNF form of SRGS 1.0 (W3C Recommendation, 2004): the root rule is said, or the first one.
// Read are rules, alternatives and their weights, groups, options, repeats and tags; rules of other
// grammars, lexicons, $GARBAGE, languages other than English and repeat probabilities are refused.
GrammarRules ReadAbnf(std::string_view text);

}  // namespace orvx
