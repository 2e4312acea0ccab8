// A Lexo_ParamValue is an untyped pointer-sized word: number parameters hold the number itself in
// it, text parameters point to NUL-terminated text. These are the only places that convert.
#pragma once

#include <boost/container/flat_map.hpp>
#include <cstdint>

#include "Lexo.h"

// Parameters in the order of their keys, and in one piece of memory: those of one session among
// thousands are seldom in a processor's cache, and each of them in a piece of its own would be
// waited for.
using ParamMap = boost::container::flat_map<Lexo_ParamKey, Lexo_ParamValue>;

// A signed number, widened with its sign.
inline Lexo_ParamValue WordOf(std::intptr_t number) {
    return reinterpret_cast<Lexo_ParamValue>(number);
}

inline std::intptr_t NumberOf(const void* word) {
    return reinterpret_cast<std::intptr_t>(word);
}

// The low 32 bits as a signed number.
inline int IntOf(const void* word) {
    return static_cast<int>(NumberOf(word));
}

// The text of a text parameter; a null word reads as "".
inline const char* TextOf(const void* word) {
    return word == nullptr ? "" : static_cast<const char*>(word);
}
