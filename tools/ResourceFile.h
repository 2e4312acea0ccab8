// The bytes of a resource, and what they are.
//
// The file is read here and handed to the engine as bytes. Handing over its path would be shorter,
// but the engine reads regular files only, and says of a failure no more than a code.
#pragma once

#include <Lexo.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "ResourceChoice.h"

namespace recognize {

struct ResourceData {
    std::string bytes;
    Lexo_ResourceFormatType format = LEXO_RESOURCE_KEYWORD_LIST;
};

// Reads the file of a choice, which must be one; pipes are read to their end.
// Throws UsageError: not readable, empty, above `max_bytes`, or of a format that cannot be told.
ResourceData ReadResource(const ResourceChoice& choice, std::size_t max_bytes);

// The format of a grammar, by its first bytes or else by the end of its name.
// Throws UsageError, naming the formats, when neither tells.
Lexo_ResourceFormatType GuessGrammarFormat(const std::string& name, std::string_view bytes);

}  // namespace recognize
