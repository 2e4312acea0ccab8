#include "PocketSphinxSentences.h"

#include <pocketsphinx.h>
#include <ps_lattice.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

#include "GrammarPaths.h"
#include "PocketSphinxSearches.h"

namespace orvx {
namespace {

constexpr int kFrameDurationMs = 10;
constexpr int kMostPathsTried = 200;  // paths of the lattice often differ in their pauses only

// Pauses and noises, "<sil>" and "[NOISE]", and the steps of a grammar without a word, "(NULL)".
bool IsFiller(std::string_view word) {
    return word.empty() || std::string_view("<[+(").find(word.front()) != std::string_view::npos;
}

int Percent(double probability) {
    return static_cast<int>(std::lround(100 * std::clamp(probability, 0.0, 1.0)));
}

class SentenceReader {
  public:
    SentenceReader(ps_decoder_t* decoder, const GrammarNetwork* grammar)
        : decoder_(decoder), grammar_(grammar) {}

    std::vector<RecognisedSentence> Read(std::size_t max_sentences) const;

  private:
    using WordProbability = std::map<std::pair<int, std::string>, double>;  // by first frame, word

    double Probability(int log) const { return logmath_exp(ps_get_logmath(decoder_), log); }
    WordProbability LatticeProbabilities() const;
    RecognisedSentence ReadPath(ps_seg_t* path, const WordProbability* probabilities) const;
    // The score of a path that falls short of the best one's by so much.
    using PathScore = std::function<int(int shortfall)>;

    PathScore ScoreByProbability(std::size_t words) const;
    PathScore ScoreByAcoustics() const;
    void AddAlternatives(std::size_t max_sentences, const PathScore& score_of,
                         std::vector<RecognisedSentence>* sentences) const;

    ps_decoder_t* const decoder_;
    const GrammarNetwork* const grammar_;
};

std::vector<RecognisedSentence> SentenceReader::Read(std::size_t max_sentences) const {
    std::vector<RecognisedSentence> sentences;
    sentences.push_back(ReadPath(ps_seg_iter(decoder_), nullptr));
    const std::size_t words = sentences[0].words.size();
    if (words == 0) return {};
    const PathScore score_of = grammar_ != nullptr ? ScoreByAcoustics() : ScoreByProbability(words);
    sentences[0].score = score_of(0);
    if (max_sentences > 1) AddAlternatives(max_sentences, score_of, &sentences);
    return sentences;
}

// The posterior probability of a whole sentence shrinks with every word; its geometric mean for
// each word tells good from bad whatever the length. An alternative is as probable as the best
// reading times what its path's score falls short.
SentenceReader::PathScore SentenceReader::ScoreByProbability(std::size_t words) const {
    constexpr double kScoreUnit = 1024;  // path scores are logarithms shifted right by 10 bits
    const double nats = kScoreUnit * std::log(logmath_get_base(ps_get_logmath(decoder_))) /
                        cmd_ln_float32_r(ps_get_config(decoder_), "-ascale");
    const double best = std::log(std::max(Probability(ps_get_prob(decoder_)), 1e-300));
    return [=](int shortfall) {
        return Percent(std::exp((best - shortfall * nats) / static_cast<double>(words)));
    };
}

// Within a grammar the best path is nearly certain whatever was said. How well the sounds fit tells
// more: by how much each frame is worse than the best of all sounds would be, in the engine's
// units. The test recordings that were said by the grammar have 9 to 26 of them, what was not said
// by it has 36 to 61.
SentenceReader::PathScore SentenceReader::ScoreByAcoustics() const {
    constexpr double kEven = 31;
    constexpr double kScale = 4;
    double worse = 0;
    double frames = 0;
    for (ps_seg_t* path = ps_seg_iter(decoder_); path != nullptr; path = ps_seg_next(path)) {
        int32 acoustic = 0;
        int first = 0;
        int last = 0;
        ps_seg_prob(path, &acoustic, nullptr, nullptr);
        ps_seg_frames(path, &first, &last);
        if (IsFiller(ps_seg_word(path))) continue;
        worse -= acoustic;
        frames += last + 1 - first;
    }
    return [=](int shortfall) {
        return Percent(1 / (1 + std::exp(((worse + shortfall) / frames - kEven) / kScale)));
    };
}

// `probabilities` where the path itself knows none.
RecognisedSentence SentenceReader::ReadPath(ps_seg_t* path,
                                            const WordProbability* probabilities) const {
    RecognisedSentence sentence{};
    for (; path != nullptr; path = ps_seg_next(path)) {
        const std::string_view spoken = ps_seg_word(path);
        if (IsFiller(spoken)) continue;
        const std::string_view word = SpokenWord(spoken);
        int first = 0;
        int last = 0;
        ps_seg_frames(path, &first, &last);
        double probability = 0;
        if (probabilities == nullptr) {
            probability = Probability(ps_seg_prob(path, nullptr, nullptr, nullptr));
        } else if (auto found = probabilities->find({first, std::string(spoken)});
                   found != probabilities->end()) {
            probability = found->second;
        }
        if (!sentence.text.empty()) sentence.text += ' ';
        sentence.words.push_back({first * kFrameDurationMs, (last + 1) * kFrameDurationMs,
                                  Percent(probability), sentence.text.size(), word.size()});
        sentence.text += word;
    }
    return sentence;
}

SentenceReader::WordProbability SentenceReader::LatticeProbabilities() const {
    WordProbability probabilities;
    ps_lattice_t* const lattice = ps_get_lattice(decoder_);
    if (lattice == nullptr) return probabilities;
    for (ps_latnode_iter_t* i = ps_latnode_iter(lattice); i != nullptr;
         i = ps_latnode_iter_next(i)) {
        ps_latnode_t* const node = ps_latnode_iter_node(i);
        const int first = ps_latnode_times(node, nullptr, nullptr);
        const double probability = Probability(ps_latnode_prob(lattice, node, nullptr));
        probabilities[{first, ps_latnode_word(lattice, node)}] = probability;
    }
    return probabilities;
}

void SentenceReader::AddAlternatives(std::size_t max_sentences, const PathScore& score_of,
                                     std::vector<RecognisedSentence>* sentences) const {
    const WordProbability probabilities = LatticeProbabilities();
    // The engine takes for a sentence also what breaks off where the grammar goes on.
    std::optional<GrammarAcceptor> grammar;
    if (grammar_ != nullptr) grammar.emplace(*grammar_);
    std::map<std::string, bool> counts{{"", false}, {sentences->front().text, true}};
    std::optional<int32> best_score;
    ps_nbest_t* path = ps_nbest(decoder_);
    for (int tried = 0; path != nullptr && tried < kMostPathsTried; ++tried) {
        int32 score = 0;
        ps_nbest_hyp(path, &score);
        RecognisedSentence sentence = ReadPath(ps_nbest_seg(path), &probabilities);
        const auto [seen, is_new] = counts.try_emplace(sentence.text);
        if (is_new) seen->second = !grammar || grammar->Accepts(sentence.text);
        if (seen->second && !best_score) best_score = score;
        if (is_new && seen->second) {
            sentence.score = std::min(sentences->back().score, score_of(*best_score - score));
            sentences->push_back(std::move(sentence));
            if (sentences->size() == max_sentences) break;
        }
        path = ps_nbest_next(path);
    }
    if (path != nullptr) ps_nbest_free(path);
}

}  // namespace

std::vector<RecognisedSentence> ReadSentences(ps_decoder_s* decoder, const GrammarNetwork* grammar,
                                              std::size_t max_sentences) {
    return SentenceReader(decoder, grammar).Read(max_sentences);
}

}  // namespace orvx
