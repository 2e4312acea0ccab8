#include "PlainText.h"

#include <cstddef>
#include <cstdio>

namespace recognize {

namespace {

bool IsControl(unsigned char c) {
    return c < 0x20 || (c >= 0x7F && c < 0xA0);
}

// The bytes that a UTF-8 sequence takes which its first byte begins; 1 when there is no such
// sequence at this place.
std::size_t SequenceLength(std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : first >= 0xC2 ? 2 : 1;
    if (first > 0xF4 || text.size() < length) {
        return 1;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) {
            return 1;
        }
    }
    return length;
}

std::string Escape(unsigned char c) {
    char text[8];
    std::snprintf(text, sizeof text, "\\x%02x", static_cast<unsigned>(c));
    return text;
}

}  // namespace

std::string PlainText(std::string_view text) {
    std::string plain;
    while (!text.empty()) {
        const std::size_t length = SequenceLength(text);
        const auto last = static_cast<unsigned char>(text[length - 1]);
        const bool is_c1 = length == 2 && text.front() == '\xC2' && IsControl(last);
        if (text.front() == '\n' || text.front() == '\r') {
            plain += ' ';
        } else if (is_c1 || (length == 1 && last != '\t' && IsControl(last))) {
            plain += Escape(last);
        } else {
            plain += text.substr(0, length);
        }
        text.remove_prefix(length);
    }
    return plain;
}

}  // namespace recognize
