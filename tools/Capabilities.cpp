#include "Capabilities.h"

#include <algorithm>
#include <cctype>

#include "Errors.h"

namespace recognize {

namespace {

constexpr std::string_view kShortNames[] = {"freetalk", "grammar", "keywordspot", "analysis"};

}  // namespace

std::string LowerCase(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lower;
}

std::string FullCapabilityName(std::string_view name) {
    const std::string wanted = LowerCase(name);
    // The engine itself takes any text that begins with a name; a slip of the pen such as
    // "grammars" is better told to the user.
    for (const std::string_view short_name : kShortNames) {
        std::string full_name = std::string(kCapabilityPrefix) + std::string(short_name);
        if (wanted == short_name || wanted == full_name) {
            return full_name;
        }
    }
    throw UsageError("there is no capability \"" + std::string(name) +
                     "\"; the capabilities are: freetalk, grammar, keywordspot, analysis");
}

std::string_view ShortCapabilityName(std::string_view full_name) {
    if (full_name.starts_with(kCapabilityPrefix)) {
        full_name.remove_prefix(kCapabilityPrefix.size());
    }
    return full_name;
}

}  // namespace recognize
