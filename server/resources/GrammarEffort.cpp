// The limits are measured: at them the slowest grammars found take about a second for a second of
// speech.
#include "GrammarEffort.h"

#include <string>
#include <vector>

#include "ResourceError.h"

namespace orvx {
namespace {

// Pairs of states with a way without a word from one to the other. A row of n optional words has
// n * n / 2 of them.
constexpr std::size_t kMostEmptyWays = 3000;
// Pairs of words, by the places where they stand, of which one may follow the other. A repeated
// choice between n words has n * n of them.
constexpr std::size_t kMostPairs = 10000000;

class EffortChecker {
  public:
    explicit EffortChecker(const GrammarNetwork& network);

    void Check();

  private:
    std::size_t WordsBehind(std::size_t start);

    std::vector<std::vector<std::size_t>> empty_arcs_;  // where those of each state lead
    std::vector<std::size_t> words_into_;
    std::vector<std::size_t> words_from_;
    std::vector<std::size_t> reached_from_;  // the state from which each was reached last
    std::size_t empty_ways_ = 0;
};

EffortChecker::EffortChecker(const GrammarNetwork& network)
    : empty_arcs_(static_cast<std::size_t>(network.states)),
      words_into_(empty_arcs_.size()),
      words_from_(empty_arcs_.size()),
      reached_from_(empty_arcs_.size(), empty_arcs_.size()) {
    for (const GrammarNetwork::Arc& arc : network.arcs) {
        const auto from = static_cast<std::size_t>(arc.from);
        const auto to = static_cast<std::size_t>(arc.to);
        if (arc.word == GrammarNetwork::kNoWord) {
            empty_arcs_[from].push_back(to);
        } else {
            ++words_from_[from];
            ++words_into_[to];
        }
    }
}

// How many words may be the next behind a state.
std::size_t EffortChecker::WordsBehind(std::size_t start) {
    std::size_t words = words_from_[start];
    reached_from_[start] = start;
    std::vector<std::size_t> to_follow = empty_arcs_[start];
    while (!to_follow.empty()) {
        const std::size_t state = to_follow.back();
        to_follow.pop_back();
        if (reached_from_[state] == start) continue;
        reached_from_[state] = start;
        words += words_from_[state];
        to_follow.insert(to_follow.end(), empty_arcs_[state].begin(), empty_arcs_[state].end());
        if (++empty_ways_ > kMostEmptyWays) {
            throw ResourceError(
                "too many optional parts in a row, or in all, for this server to follow");
        }
    }
    return words;
}

void EffortChecker::Check() {
    std::size_t pairs = 0;
    for (std::size_t state = 0; state < empty_arcs_.size(); ++state) {
        pairs += words_into_[state] * WordsBehind(state);
        if (pairs > kMostPairs) {
            throw ResourceError(
                "too many words may follow too many others for this server; a choice between very "
                "many words cannot be repeated, nor follow another one");
        }
    }
}

}  // namespace

void CheckGrammarEffort(const GrammarNetwork& network) {
    EffortChecker(network).Check();
}

}  // namespace orvx
