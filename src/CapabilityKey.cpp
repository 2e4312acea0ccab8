#include "CapabilityKey.h"

#include <algorithm>
#include <optional>

#include "Logger.h"

namespace {

char LowerAscii(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                                : character;
}

bool SameIgnoringCase(char left, char right) {
    return LowerAscii(left) == LowerAscii(right);
}

bool ContainsIgnoringCase(std::string_view text, std::string_view part) {
    return std::search(text.begin(), text.end(), part.begin(), part.end(), SameIgnoringCase) !=
           text.end();
}

std::string_view Trim(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\n\r";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// The index of the first name that `text` begins with.
std::optional<std::size_t> FindName(const std::array<std::string_view, 4>& names,
                                    std::string_view text) {
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (StartsWithIgnoringCase(text, names[i])) {
            return i;
        }
    }
    return std::nullopt;
}

}  // namespace

bool StartsWithIgnoringCase(std::string_view text, std::string_view prefix) {
    return EqualsIgnoringCase(text.substr(0, prefix.size()), prefix);
}

bool EqualsIgnoringCase(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(), SameIgnoringCase);
}

Lexo_EngineType EngineTypeOf(std::string_view cap_name) {
    const std::optional<std::size_t> index = FindName(kCapkeyFull, cap_name);
    return index ? static_cast<Lexo_EngineType>(*index) : LEXO_ENGINE_ANALYSIS;
}

bool ParseCapKeyName(const std::string& capkey, std::string& cap_name, std::string& remainder) {
    const std::string text(Trim(capkey));
    const bool is_full = ContainsIgnoringCase(text, kAsrCapkeyPrefix);
    const std::optional<std::size_t> index = FindName(is_full ? kCapkeyFull : kCapkeyShort, text);
    if (!index) {
        ORVX_LOG_ERROR("capkey name is invalid[%s].", text.c_str());
        return false;
    }
    cap_name = kCapkeyFull[*index];
    remainder.clear();
    if (is_full && text.size() > cap_name.size()) {
        remainder = text.substr(cap_name.size() + 1);
    }
    return true;
}
