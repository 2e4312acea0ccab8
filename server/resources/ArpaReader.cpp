#include "ArpaReader.h"

#include <charconv>
#include <cmath>
#include <unordered_set>

#include "LogText.h"
#include "ResourceError.h"
#include "TextLines.h"

namespace orvx {
namespace {

constexpr std::size_t kHighestOrder = 3;  // what the engine's search uses
constexpr std::size_t kMostNgrams = 500000;
constexpr std::size_t kMostLines = 2 * kMostNgrams;  // with those in front of the model

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
    std::string TakeWords(const TextLine& line, const Columns& columns, std::size_t order);
    std::string Probability(const TextLine& line, std::string_view number) const;

    const std::vector<TextLine> lines_;
    std::size_t position_ = 0;
    WordChecker dictionary_;
    std::vector<std::unordered_set<std::string>> known_;  // the n-grams of each order
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
    std::string& lines = model_.orders[order - 1].lines;
    lines.append(Probability(line, columns[0])).append("\t");
    lines.append(TakeWords(line, columns, order));
    const bool is_highest = order == model_.orders.size();
    if (!is_highest) {
        lines.append("\t").append(has_backoff ? Probability(line, columns.back()) : "0.0");
    }
    lines += "\n";
}

std::string ArpaReader::TakeWords(const TextLine& line, const Columns& columns, std::size_t order) {
    std::string ngram;
    std::string shorter;  // without the last word
    for (std::size_t i = 1; i <= order; ++i) {
        const std::string word = LowerCase(columns[i]);
        if (order == 1 && !IsMarker(word)) dictionary_.Check(word, line.number);
        if (order > 1 && !known_[0].contains(word)) {
            Fail(line, Quote(word) + " is not among the 1-grams");
        }
        if (i == order) shorter = ngram;
        ngram += (ngram.empty() ? "" : " ") + word;
    }
    if (order > 2 && !known_[order - 2].contains(shorter)) {
        Fail(line, Quote(shorter) + ", with which this begins, is not among the shorter n-grams");
    }
    if (!known_.back().insert(ngram).second) Fail(line, Quote(ngram) + " is here twice");
    return ngram;
}

// A logarithm to the base 10; back-off weights may be a little above 0.
std::string ArpaReader::Probability(const TextLine& line, std::string_view number) const {
    double value = 0;
    const char* const end = number.data() + number.size();
    const auto [rest, error] = std::from_chars(number.data(), end, value);
    if (error != std::errc() || rest != end || !(value >= -1000 && value <= 10)) {
        Fail(line, Quote(number) + " is no logarithm of a probability");
    }
    return std::to_string(std::max(value, -99.0));
}

LanguageModel ArpaReader::Read() {
    SkipToData();
    TakeCounts();
    for (std::size_t order = 1; order <= model_.orders.size(); ++order) {
        TakeSection(order);
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
