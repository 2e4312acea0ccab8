#include "GrammarPaths.h"

#include <cstddef>
#include <vector>

namespace orvx {
namespace {

constexpr int kStart = 0;
constexpr int kEnd = 1;

using Arc = GrammarNetwork::Arc;

// For each state whether it can be reached from `start` by arcs from their `tail` to their `head`.
std::vector<bool> ReachedFrom(int start, int Arc::*tail, int Arc::*head,
                              const GrammarNetwork& network) {
    const auto states = static_cast<std::size_t>(network.states);
    std::vector<std::vector<int>> next(states);
    for (const Arc& arc : network.arcs) {
        next[static_cast<std::size_t>(arc.*tail)].push_back(arc.*head);
    }
    std::vector<bool> is_reached(states);
    std::vector<int> to_follow{start};
    while (!to_follow.empty()) {
        const auto state = static_cast<std::size_t>(to_follow.back());
        to_follow.pop_back();
        if (is_reached[state]) continue;
        is_reached[state] = true;
        to_follow.insert(to_follow.end(), next[state].begin(), next[state].end());
    }
    return is_reached;
}

}  // namespace

void DropDeadEnds(GrammarNetwork* network) {
    const std::vector<bool> from_start = ReachedFrom(kStart, &Arc::from, &Arc::to, *network);
    const std::vector<bool> from_end = ReachedFrom(kEnd, &Arc::to, &Arc::from, *network);
    std::vector<int> numbers(from_start.size());
    int states = 0;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const bool is_kept = i <= kEnd || (from_start[i] && from_end[i]);
        numbers[i] = is_kept ? states++ : -1;
    }
    const auto number = [&](int state) { return numbers[static_cast<std::size_t>(state)]; };
    std::erase_if(network->arcs,
                  [&](const Arc& arc) { return number(arc.from) < 0 || number(arc.to) < 0; });
    for (Arc& arc : network->arcs)
        arc = {number(arc.from), number(arc.to), arc.word, arc.probability};
    network->states = states;
}

}  // namespace orvx
