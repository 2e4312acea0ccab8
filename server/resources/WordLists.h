// The three resources that are lists of lines. A "#" begins a comment line.
#pragma once

#include <string_view>

#include "Dictionary.h"
#include "Resource.h"

namespace orvx {

// All throw ResourceError.

// A word or phrase a line, any of which may be said.
GrammarNetwork ReadWordList(std::string_view text, const Dictionary& dictionary);

// A keyword or phrase a line, and perhaps its threshold, as in "ten meters /1e-20/".
KeywordList ReadKeywordList(std::string_view text, const Dictionary& dictionary);

// A word a line, followed by its phones where the dictionary lacks it: "dashwood D AE SH W UH D".
UserWords ReadUserWords(std::string_view text, const Dictionary& dictionary);

}  // namespace orvx
