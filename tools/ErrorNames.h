// Names and meanings of the engine's codes: a user never reads a bare number.
#pragma once

#include <Lexo.h>

#include <string>
#include <string_view>

namespace recognize {

struct ErrorName {
    std::string_view name;     // "LEXO_ERR_NETWORK_FAILED"; empty for a code outside Lexo_ErrCode
    std::string_view meaning;  // for a reader who does not know the library
};

ErrorName FindErrorName(Lexo_ErrCode code);

std::string MeaningOf(Lexo_ErrCode code);

// The enumerator; "server code 77" for a code that has none.
std::string NameOf(Lexo_ErrCode code);

// "LEXO_ERR_NETWORK_FAILED: no exchange with the recognition server".
std::string Describe(Lexo_ErrCode code);

}  // namespace recognize
