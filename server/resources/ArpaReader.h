// Reads and checks an n-gram language model in the ARPA format (as the MIT Lincoln Laboratory and
// CMU toolkits write it): the engine's own reader ends the process over some files that are wrong.
#pragma once

#include <string_view>

#include "Dictionary.h"
#include "Resource.h"

namespace orvx {

// Words in lower case. Throws ResourceError.
LanguageModel ReadArpa(std::string_view text, const Dictionary& dictionary);

}  // namespace orvx
