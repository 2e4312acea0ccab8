#include "Dictionary.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>

#include "LogText.h"
#include "ResourceError.h"
#include "TextLines.h"

namespace orvx {
namespace {

constexpr std::size_t kMostNamed = 10;

}  // namespace

Dictionary::Dictionary(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string line;
    while (std::getline(file, line)) {
        const std::vector<std::string_view> columns = SplitWords(line);
        if (columns.empty()) continue;
        if (columns[0].find('(', 1) == std::string_view::npos) words_.insert(LowerCase(columns[0]));
        for (std::size_t i = 1; i < columns.size(); ++i) {
            if (!phones_.contains(columns[i])) phones_.emplace(columns[i]);
        }
    }
    if (words_.empty() || phones_.empty()) {
        throw std::runtime_error("no words with their phones in the dictionary " + path);
    }
}

void WordChecker::Check(std::string_view word, int line) {
    if (dictionary_->HasWord(word)) return;
    const bool is_new = std::none_of(missing_.begin(), missing_.end(),
                                     [&](const Missing& known) { return known.word == word; });
    if (is_new && missing_.size() <= kMostNamed) missing_.push_back({std::string(word), line});
}

void WordChecker::ThrowIfAnyIsMissing() const {
    if (missing_.empty()) return;
    std::string names;
    for (std::size_t i = 0; i < std::min(missing_.size(), kMostNamed); ++i) {
        names += (i == 0 ? "" : ", ") + Quote(missing_[i].word) + " (line " +
                 std::to_string(missing_[i].line) + ")";
    }
    if (missing_.size() > kMostNamed) names += " and more";
    throw ResourceError("not in the dictionary: " + names);
}

}  // namespace orvx
