#include "WordLists.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <map>
#include <set>

#include "LogText.h"
#include "ResourceError.h"
#include "TextLines.h"

namespace orvx {
namespace {

constexpr std::size_t kLongestTextBytes = 255;  // of a keyword: what a host's record holds
constexpr std::size_t kMostKeywords = 1000;     // each is followed beside all others
constexpr std::size_t kMostUserWords = 5000;
constexpr std::size_t kMostPhones = 60;
constexpr int kMostSaidAlike = 100;  // the engine's time grows with their square
// So it does with short words, of which many end at every moment.
struct ShortWords {
    int most;
    const char* text;
};
constexpr ShortWords kShortWords[] = {{100, "of one phone"}, {1000, "of two phones"}};
constexpr std::size_t kMostPhrases = 20000;
constexpr std::size_t kMostPhraseWords = 100000;  // of all phrases: each is a step of the network

std::string Join(const std::vector<std::string_view>& words) {
    std::string text;
    for (const std::string_view word : words) text.append(text.empty() ? "" : " ").append(word);
    return text;
}

std::vector<TextLine> Lines(std::string_view text, const char* what, std::size_t most) {
    std::vector<TextLine> lines = SplitLines(text, most + 1);
    if (lines.empty()) throw ResourceError(std::string("the list of ") + what + " is empty");
    if (lines.size() > most) {
        throw ResourceError(lines[most].number, "more than " + std::to_string(most) + " " + what);
    }
    return lines;
}

// The last column may be "/threshold/".
double TakeThreshold(const TextLine& line, std::vector<std::string_view>* columns) {
    const std::string_view last = columns->back();
    if (last.find('/') == std::string_view::npos) return 0;
    const bool is_enclosed = last.size() > 2 && last.front() == '/' && last.back() == '/';
    const std::string_view number = is_enclosed ? last.substr(1, last.size() - 2) : "";
    double threshold = 0;
    const auto [rest, error] =
        std::from_chars(number.data(), number.data() + number.size(), threshold);
    if (!is_enclosed || error != std::errc() || rest != number.data() + number.size() ||
        !(threshold >= 1e-90 && threshold <= 1e90)) {
        throw ResourceError(line.number, Quote(last) +
                                             " is no threshold; one is written /1e-20/, with a "
                                             "number from 1e-90 to 1e90");
    }
    columns->pop_back();
    if (columns->empty()) throw ResourceError(line.number, "a threshold without a keyword");
    return threshold;
}

// The engine's marks for pauses, and for second pronunciations.
void CheckSpelling(int line, const std::string& word) {
    if (word.size() > kLongestTextBytes) {
        throw ResourceError(line, "the word is longer than 255 bytes");
    }
    const bool is_mark = std::string_view("<[+").find(word[0]) != std::string_view::npos;
    if (!is_mark && word.find('(') == std::string::npos) return;
    throw ResourceError(line, Quote(word) + " cannot be a word");
}

void CountShort(const TextLine& line, int* count, const ShortWords& limit) {
    if (++*count <= limit.most) return;
    throw ResourceError(line.number,
                        "more than " + std::to_string(limit.most) + " words " + limit.text);
}

}  // namespace

GrammarNetwork ReadWordList(std::string_view text, const Dictionary& dictionary) {
    GrammarNetwork network;
    WordChecker checker(&dictionary);
    std::map<std::string, int> indices;
    const std::vector<TextLine> lines = Lines(text, "phrases", kMostPhrases);
    for (const TextLine& line : lines) {
        const std::vector<std::string_view> words = SplitWords(line.text);
        int state = 0;
        for (std::size_t i = 0; i < words.size(); ++i) {
            if (network.arcs.size() == kMostPhraseWords) {
                throw ResourceError(line.number, "more than 100000 words in all phrases");
            }
            std::string word = LowerCase(words[i]);
            checker.Check(word, line.number);
            const auto [known, is_new] =
                indices.emplace(std::move(word), static_cast<int>(network.words.size()));
            if (is_new) network.words.push_back(known->first);
            const int next = i + 1 == words.size() ? 1 : network.states++;
            const float probability = i == 0 ? 1.0F / static_cast<float>(lines.size()) : 1.0F;
            network.arcs.push_back({state, next, known->second, probability});
            state = next;
        }
    }
    checker.ThrowIfAnyIsMissing();
    return network;
}

KeywordList ReadKeywordList(std::string_view text, const Dictionary& dictionary) {
    KeywordList keywords;
    WordChecker checker(&dictionary);
    std::set<std::string> known;
    for (const TextLine& line : Lines(text, "keywords", kMostKeywords)) {
        std::vector<std::string_view> columns = SplitWords(line.text);
        const double threshold = TakeThreshold(line, &columns);
        std::string keyword = Join(columns);
        if (keyword.size() > kLongestTextBytes) {
            throw ResourceError(line.number, "the keyword is longer than 255 bytes");
        }
        std::string words = LowerCase(keyword);
        if (!known.insert(words).second) {
            throw ResourceError(line.number, Quote(keyword) + " is in the list twice");
        }
        for (const std::string_view word : SplitWords(words)) checker.Check(word, line.number);
        keywords.push_back({std::move(keyword), std::move(words), threshold});
    }
    checker.ThrowIfAnyIsMissing();
    return keywords;
}

UserWords ReadUserWords(std::string_view text, const Dictionary& dictionary) {
    UserWords words;
    WordChecker checker(&dictionary);
    std::map<std::string, int> said;  // how many words by their phones
    int short_words[std::size(kShortWords)] = {};
    for (const TextLine& line : Lines(text, "user words", kMostUserWords)) {
        const std::vector<std::string_view> columns = SplitWords(line.text);
        UserWord word{LowerCase(columns[0]), Join({columns.begin() + 1, columns.end()})};
        CheckSpelling(line.number, word.text);
        if (word.phones.empty()) checker.Check(word.text, line.number);
        if (columns.size() > kMostPhones + 1) throw ResourceError(line.number, "too many phones");
        for (std::size_t i = 1; i < columns.size(); ++i) {
            if (dictionary.HasPhone(columns[i])) continue;
            throw ResourceError(line.number, Quote(columns[i]) +
                                                 " is no phone that the engine knows; a line is "
                                                 "a word and its phones: dashwood D AE SH W "
                                                 "UH D");
        }
        if (!word.phones.empty() && ++said[word.phones] > kMostSaidAlike) {
            throw ResourceError(line.number, "more than 100 words have the same phones");
        }
        const std::size_t phones = columns.size() - 1;
        if (phones > 0 && phones <= std::size(kShortWords))
            CountShort(line, &short_words[phones - 1], kShortWords[phones - 1]);
        words.push_back(std::move(word));
    }
    checker.ThrowIfAnyIsMissing();
    return words;
}

}  // namespace orvx
