#include "ArpaReader.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <unordered_map>

#include "LogText.h"
#include "ResourceError.h"
#include "TextLines.h"

namespace orvx {
namespace {

constexpr std::size_t kHighestOrder = 3;  // what the engine's search uses
constexpr std::size_t kMostNgrams = 500000;
constexpr std::size_t kMostLines = 2 * kMostNgrams;  // with those in front of the model
// Of all words behind the same ones. It is 1 but for what was rounded; with much more the engine
// follows them all, and takes a minute for three seconds.
constexpr double kMostProbability = 2;

struct Ngram {
    int line = 0;
    double probability = 0;
    double back_off = 1;
    double followers = 0;  // probability of all words that n-grams name behind this one
    double spared = 0;     // of these words, what they would have without this one's first word
    double sum = 0;        // probability of whatever may follow
};

class ArpaReader {
  public:
    ArpaReader(std::string_view text, const Dictionary& dictionary)
        : lines_(SplitLines(text, kMostLines)), dictionary_(&dictionary) {}

    LanguageModel Read();

  private:
    using Columns = std::vector<std::string_view>;

    const TextLine& Next();
    [[noreturn]] static void Fail(const TextLine& line, const std::string& what) {
        throw ResourceError(line.number, what);
    }
    void SkipToData();
    void TakeCounts();
    void TakeSection(std::size_t order);
    void TakeNgram(const TextLine& line, std::size_t order);
    std::string TakeWords(const TextLine& line, const Columns& columns, std::size_t order,
                          const Ngram& ngram);
    void CountFollower(const std::string& shorter, const std::string& word, double probability);
    double ShorterProbability(const std::string& shorter, const std::string& word) const;
    void CheckSums(std::size_t order);
    double ShorterSum(const std::string& words) const;
    static double Logarithm(const TextLine& line, std::string_view number, double most);

    const std::vector<TextLine> lines_;
    std::size_t position_ = 0;
    WordChecker dictionary_;
    std::vector<std::unordered_map<std::string, Ngram>> known_;  // of each order
    double all_words_ = 0;                                       // probability of the 1-grams
    LanguageModel model_;
};

bool IsMarker(std::string_view word) {
    return word == "<s>" || word == "</s>" || word == "<unk>";
}

const TextLine& ArpaReader::Next() {
    if (position_ == lines_.size()) throw ResourceError("the model ends before its \\end\\ line");
    return lines_[position_++];
}

void ArpaReader::SkipToData() {
    while (position_ < lines_.size()) {
        if (lines_[position_++].text == "\\data\\") return;
    }
    throw ResourceError("no \\data\\ line: this is no language model in the ARPA format");
}

// "ngram 1=1234"
void ArpaReader::TakeCounts() {
    std::size_t sum = 0;
    for (; position_ < lines_.size() && lines_[position_].text[0] != '\\'; ++position_) {
        const TextLine& line = lines_[position_];
        const std::string start = "ngram " + std::to_string(model_.orders.size() + 1) + "=";
        if (!line.text.starts_with(start)) Fail(line, Quote(start) + " expected");
        std::size_t count = 0;
        const char* const end = line.text.data() + line.text.size();
        const auto [rest, error] = std::from_chars(line.text.data() + start.size(), end, count);
        if (error != std::errc() || rest != end) Fail(line, "no number behind " + Quote(start));
        if (model_.orders.size() == kHighestOrder) Fail(line, "n-grams of more than 3 words");
        sum += count;
        if (count > kMostNgrams || sum > kMostNgrams) Fail(line, "more than 500000 n-grams");
        model_.orders.push_back({count, {}});
    }
    if (model_.orders.empty()) throw ResourceError("no \"ngram 1=\" line behind \\data\\");
}

void ArpaReader::TakeSection(std::size_t order) {
    const std::string title = std::string("\\") + std::to_string(order) + "-grams:";
    const TextLine& head = Next();
    if (head.text != title) Fail(head, title + " expected");
    const std::size_t count = model_.orders[order - 1].count;
    known_.emplace_back();
    for (std::size_t i = 0; i < count; ++i) {
        const TextLine& line = Next();
        if (line.text[0] == '\\') {
            Fail(line, "the head promised " + std::to_string(count) + " " + std::to_string(order) +
                           "-grams, but only " + std::to_string(i) + " are here");
        }
        TakeNgram(line, order);
    }
}

void ArpaReader::TakeNgram(const TextLine& line, std::size_t order) {
    const Columns columns = SplitWords(line.text);
    const bool has_backoff = columns.size() == order + 2;
    if (columns.size() != order + 1 && !has_backoff) {
        Fail(line, "a probability, " + std::to_string(order) +
                       " words and perhaps a back-off weight expected");
    }
    const double probability = Logarithm(line, columns[0], 0);
    // These may be above 0, where the words that are named are almost all that there are.
    const double back_off = has_backoff ? Logarithm(line, columns.back(), 10) : 0;
    const Ngram ngram{line.number, std::pow(10, probability), std::pow(10, back_off)};
    std::string& lines = model_.orders[order - 1].lines;
    lines.append(std::to_string(probability)).append("\t");
    lines.append(TakeWords(line, columns, order, ngram));
    const bool is_highest = order == model_.orders.size();
    if (!is_highest) lines.append("\t").append(has_backoff ? std::to_string(back_off) : "0.0");
    lines += "\n";
}

std::string ArpaReader::TakeWords(const TextLine& line, const Columns& columns, std::size_t order,
                                  const Ngram& ngram) {
    std::string words;
    std::string shorter;  // without the last word
    std::string word;
    for (std::size_t i = 1; i <= order; ++i) {
        word = LowerCase(columns[i]);
        if (order == 1 && !IsMarker(word)) dictionary_.Check(word, line.number);
        if (order > 1 && !known_[0].contains(word)) {
            Fail(line, Quote(word) + " is not among the 1-grams");
        }
        if (i == order) shorter = words;
        words += (words.empty() ? "" : " ") + word;
    }
    if (order > 2 && !known_[order - 2].contains(shorter)) {
        Fail(line, Quote(shorter) + ", with which this begins, is not among the shorter n-grams");
    }
    if (!known_.back().emplace(words, ngram).second) Fail(line, Quote(words) + " is here twice");
    // Nothing is followed by the mark of the beginning, whatever its probability.
    if (word != "<s>") CountFollower(shorter, word, ngram.probability);
    return words;
}

void ArpaReader::CountFollower(const std::string& shorter, const std::string& word,
                               double probability) {
    const std::size_t order = known_.size();
    if (order == 1) {
        all_words_ += probability;
        return;
    }
    Ngram& history = known_[order - 2].at(shorter);
    history.followers += probability;
    history.spared += ShorterProbability(shorter, word);
}

// Of the word behind `shorter` without its first word.
double ArpaReader::ShorterProbability(const std::string& shorter, const std::string& word) const {
    const double alone = known_[0].at(word).probability;
    const std::size_t blank = shorter.find(' ');
    if (blank == std::string::npos) return alone;
    const std::string last = shorter.substr(blank + 1);
    const auto known = known_[1].find(last + " " + word);
    return known != known_[1].end() ? known->second.probability
                                    : known_[0].at(last).back_off * alone;
}

// Of what may follow the n-grams below `order`, whose own section was just read. What no n-gram
// names gets the rest of the shorter history's probability, by the back-off weight.
void ArpaReader::CheckSums(std::size_t order) {
    const auto add_up_to = [](double sum) {
        return " add up to " + std::to_string(sum) + ", which is more than 1";
    };
    if (order == 1 && all_words_ > kMostProbability) {
        throw ResourceError("the probabilities of the 1-grams" + add_up_to(all_words_));
    }
    if (order == 1) return;
    const std::pair<const std::string, Ngram>* first_wrong = nullptr;
    for (auto& entry : known_[order - 2]) {
        auto& [words, ngram] = entry;
        const double rest = std::max(ShorterSum(words) - ngram.spared, 0.0);
        ngram.sum = ngram.followers + ngram.back_off * rest;
        if (ngram.sum <= kMostProbability) continue;
        if (!first_wrong || ngram.line < first_wrong->second.line) first_wrong = &entry;
    }
    if (!first_wrong) return;
    const auto& [words, ngram] = *first_wrong;
    throw ResourceError(
        ngram.line, "the probabilities of what may follow " + Quote(words) + add_up_to(ngram.sum));
}

// Of whatever may follow `words` without the first of them: not 1 where words were taken out of a
// model without changing the numbers, or where its maker took the mark of the beginning for a word.
double ArpaReader::ShorterSum(const std::string& words) const {
    const std::size_t blank = words.find(' ');
    return blank == std::string::npos ? all_words_ : known_[0].at(words.substr(blank + 1)).sum;
}

// A logarithm to the base 10; small numbers are raised to -99, which stands for never.
double ArpaReader::Logarithm(const TextLine& line, std::string_view number, double most) {
    double value = 0;
    const char* const end = number.data() + number.size();
    const auto [rest, error] = std::from_chars(number.data(), end, value);
    if (error != std::errc() || rest != end || !(value >= -1000 && value <= most)) {
        Fail(line, Quote(number) + " is no logarithm of a probability");
    }
    return std::max(value, -99.0);
}

LanguageModel ArpaReader::Read() {
    SkipToData();
    TakeCounts();
    for (std::size_t order = 1; order <= model_.orders.size(); ++order) {
        TakeSection(order);
        CheckSums(order);
        if (order > 1) continue;
        dictionary_.ThrowIfAnyIsMissing();
        for (const char* marker : {"<s>", "</s>"}) {
            if (!known_[0].contains(marker)) {
                throw ResourceError(std::string(marker) + " is not among the 1-grams");
            }
        }
    }
    const TextLine& end = Next();
    if (end.text != "\\end\\") Fail(end, "\\end\\ expected");
    return std::move(model_);
}

}  // namespace

LanguageModel ReadArpa(std::string_view text, const Dictionary& dictionary) {
    return ArpaReader(text, dictionary).Read();
}

}  // namespace orvx
