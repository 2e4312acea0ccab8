#include "TextLines.h"

#include <algorithm>

#include "ResourceError.h"

namespace orvx {
namespace {

constexpr std::string_view kBlanks = " \t\r\f\v";
constexpr std::size_t kLongestLineBytes = std::size_t{1} << 20;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

}  // namespace

std::string WithLineFeeds(std::string_view text) {
    std::string changed;
    changed.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\r') {
            changed += text[i];
        } else if (text.substr(i + 1, 1) != "\n") {
            changed += '\n';
        }
    }
    return changed;
}

std::vector<TextLine> SplitLines(std::string_view text, std::size_t most) {
    if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
        text.remove_prefix(kByteOrderMark.size());
    }
    std::vector<TextLine> lines;
    for (int number = 1; !text.empty() && lines.size() < most; ++number) {
        const std::size_t end = text.find('\n');
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (line.find('\0') != std::string_view::npos) {
            throw ResourceError(number, "holds a zero byte; a text is expected");
        }
        const std::size_t first = line.find_first_not_of(kBlanks);
        if (first == std::string_view::npos || line[first] == '#') continue;
        const std::size_t last = line.find_last_not_of(kBlanks);
        if (last - first >= kLongestLineBytes) throw ResourceError(number, "the line is too long");
        lines.push_back({number, line.substr(first, last - first + 1)});
    }
    return lines;
}

std::vector<std::string_view> SplitWords(std::string_view line) {
    std::vector<std::string_view> words;
    while (true) {
        const std::size_t first = line.find_first_not_of(kBlanks);
        if (first == std::string_view::npos) return words;
        line.remove_prefix(first);
        const std::size_t end = std::min(line.find_first_of(kBlanks), line.size());
        words.push_back(line.substr(0, end));
        line.remove_prefix(end);
    }
}

std::string LowerCase(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](char byte) {
        return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
    });
    return lower;
}

}  // namespace orvx
