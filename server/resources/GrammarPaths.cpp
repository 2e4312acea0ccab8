#include "GrammarPaths.h"

#include <algorithm>
#include <cstddef>
#include <string>

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

GrammarAcceptor::GrammarAcceptor(const GrammarNetwork& network)
    : arcs_(static_cast<std::size_t>(network.states)) {
    for (const std::string& word : network.words) {
        words_.emplace(word, static_cast<int>(words_.size()));
    }
    for (const Arc& arc : network.arcs) arcs_[static_cast<std::size_t>(arc.from)].push_back(&arc);
}

bool GrammarAcceptor::Accepts(std::string_view text) const {
    States states;
    std::vector<bool> is_reached(arcs_.size());
    Follow(kStart, &states, &is_reached);
    while (!text.empty()) {
        const std::size_t blank = std::min(text.find(' '), text.size());
        const auto word = words_.find(text.substr(0, blank));
        if (word == words_.end()) return false;
        states = Step(states, word->second);
        text.remove_prefix(std::min(blank + 1, text.size()));
    }
    return std::ranges::find(states, kEnd) != states.end();
}

GrammarAcceptor::States GrammarAcceptor::Step(const States& from, int word) const {
    States reached;
    std::vector<bool> is_reached(arcs_.size());
    for (const int state : from) {
        for (const Arc* const arc : arcs_[static_cast<std::size_t>(state)]) {
            if (arc->word == word) Follow(arc->to, &reached, &is_reached);
        }
    }
    return reached;
}

void GrammarAcceptor::Follow(int state, States* reached, std::vector<bool>* is_reached) const {
    States open{state};
    while (!open.empty()) {
        const auto next = static_cast<std::size_t>(open.back());
        open.pop_back();
        if ((*is_reached)[next]) continue;
        (*is_reached)[next] = true;
        reached->push_back(static_cast<int>(next));
        for (const Arc* const arc : arcs_[next]) {
            if (arc->word == GrammarNetwork::kNoWord) open.push_back(arc->to);
        }
    }
}

}  // namespace orvx
