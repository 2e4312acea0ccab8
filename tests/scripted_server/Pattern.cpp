#include "Pattern.h"

#include <regex.h>

#include <memory>
#include <stdexcept>

namespace scripted {

std::vector<std::string> MatchWhole(const std::string& text, const std::string& pattern) {
    regex_t compiled;
    if (::regcomp(&compiled, ("^(" + pattern + ")$").c_str(), REG_EXTENDED) != 0) {
        throw std::invalid_argument("malformed pattern: " + pattern);
    }
    const std::unique_ptr<regex_t, void (*)(regex_t*)> owner(&compiled, ::regfree);
    std::vector<regmatch_t> matches(compiled.re_nsub + 1);
    std::vector<std::string> groups;
    if (::regexec(&compiled, text.c_str(), matches.size(), matches.data(), 0) != 0) {
        return groups;
    }
    for (std::size_t i = 1; i < matches.size(); ++i) {
        const auto from = static_cast<std::size_t>(matches[i].rm_so);
        groups.push_back(
            matches[i].rm_so < 0
                ? std::string()
                : text.substr(from, static_cast<std::size_t>(matches[i].rm_eo) - from));
    }
    return groups;
}

}  // namespace scripted
