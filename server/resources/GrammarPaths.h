// The ways through a grammar's network, from its beginning to its end.
#pragma once

#include <string_view>
#include <unordered_map>
#include <vector>

#include "Resource.h"

namespace orvx {

// Takes out what lies on none of them: states that nothing leads to, or from which nothing leads
// on, as behind what cannot be said. An engine would keep some kilobytes for each.
void DropDeadEnds(GrammarNetwork* network);

// Tells what can be said. The network must outlive it and stay as it is.
class GrammarAcceptor {
  public:
    explicit GrammarAcceptor(const GrammarNetwork& network);

    // `text`: words, joined by single blanks.
    bool Accepts(std::string_view text) const;

  private:
    using Arc = GrammarNetwork::Arc;
    using States = std::vector<int>;  // each once

    // Where arcs with this word lead to from the states, and arcs without one from there.
    States Step(const States& from, int word) const;
    void Follow(int state, States* reached, std::vector<bool>* is_reached) const;

    std::unordered_map<std::string_view, int> words_;
    std::vector<std::vector<const Arc*>> arcs_;  // by the state that they begin in
};

}  // namespace orvx
