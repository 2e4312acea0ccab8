// Regular expressions for expectations on texts. The system's own: the C++ library's take the
// compiler seconds for each test file, and overflow the stack on long texts.
#pragma once

#include <string>
#include <vector>

namespace scripted {

// The whole text and what each group matched, when the POSIX extended expression matches the text
// from its first to its last byte ("." matches line ends too); nothing otherwise. A malformed
// expression throws std::invalid_argument.
std::vector<std::string> MatchWhole(const std::string& text, const std::string& pattern);

}  // namespace scripted
