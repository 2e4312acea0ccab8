// The lines of a resource's text and the words of a line.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace orvx {

// With line feeds in the place of all other line ends: carriage returns, alone or before one.
std::string WithLineFeeds(std::string_view text);

struct TextLine {
    int number;  // from 1
    std::string_view text;
};

// The lines that say something: neither blank nor a comment ("#" first). A byte-order mark is
// dropped. Views into `text`; those behind the first `most` are left out.
// Throws ResourceError at a zero byte, or at a line above 1 MiB.
std::vector<TextLine> SplitLines(std::string_view text, std::size_t most);

// Between blanks and tabs.
std::vector<std::string_view> SplitWords(std::string_view line);

// A to Z in lower case, as the dictionary spells its words; other bytes stay.
std::string LowerCase(std::string_view text);

}  // namespace orvx
