// Helpers that take a text apart without copying it.
#pragma once

#include <string_view>

// Without the blanks at both ends.
inline std::string_view Trim(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r\n\v\f";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// Takes the text up to the next separator, or all of it, off the front of `text`, and the separator
// too.
inline std::string_view CutFront(std::string_view* text, char separator) {
    const std::size_t end = text->find(separator);
    const std::string_view front = text->substr(0, end);
    text->remove_prefix(end == std::string_view::npos ? text->size() : end + 1);
    return front;
}
