// The lines of a resource's text and the words of a line.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orvx {

struct TextLine {
    int number;  // from 1
    std::string_view text;
};

// The lines that say something: neither blank nor a comment ("#" first). A byte-order mark and
// carriage returns are dropped. Views into `text`. Throws ResourceError if it holds a zero byte.
std::vector<TextLine> SplitLines(std::string_view text);

// Between blanks and tabs.
std::vector<std::string_view> SplitWords(std::string_view line);

// A to Z in lower case, as the dictionary spells its words; other bytes stay.
std::string LowerCase(std::string_view text);

}  // namespace orvx
