// Every call of a rule becomes a copy of the rule's expansion, so a few lines can ask for billions
// of arcs; the count is limited while they are made. A rule that calls itself at its end leads back
// to its beginning; anywhere else that would take a stack, which a network has not.
#include "GrammarCompiler.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <set>

#include "GrammarEffort.h"
#include "GrammarPaths.h"
#include "LogText.h"
#include "ResourceError.h"

namespace orvx {
namespace {

constexpr std::size_t kMostArcs = 50000;
constexpr std::size_t kMostEmptyArcs = 3000;
constexpr int kMostSteps = 1000000;  // what cannot be said is followed, too, and gets no arc
constexpr std::size_t kDeepestCall = 200;
constexpr int kDeepest = 2000;  // of all that is nested; some 200 bytes of stack each
constexpr std::size_t kMostRules = 2000;

// Which rules call which.
class RuleCalls {
  public:
    explicit RuleCalls(const GrammarRules& grammar);

    bool IsRecursive(const std::string& rule) const { return is_recursive_[numbers_.at(rule)]; }

  private:
    void Collect(const Expansion& expansion, std::set<std::size_t>* callees) const;
    bool CallsItself(std::size_t rule) const;

    std::map<std::string, std::size_t> numbers_;
    std::vector<std::set<std::size_t>> callees_;
    std::vector<bool> is_recursive_;
};

RuleCalls::RuleCalls(const GrammarRules& grammar) {
    if (grammar.rules.size() > kMostRules) {
        throw ResourceError("the grammar has more than " + std::to_string(kMostRules) + " rules");
    }
    for (const auto& [name, expansion] : grammar.rules) numbers_.emplace(name, numbers_.size());
    for (const auto& [name, expansion] : grammar.rules)
        Collect(expansion, &callees_.emplace_back());
    for (std::size_t i = 0; i < callees_.size(); ++i) is_recursive_.push_back(CallsItself(i));
}

void RuleCalls::Collect(const Expansion& expansion, std::set<std::size_t>* callees) const {
    const auto rule =
        expansion.kind == Expansion::Kind::kRule ? numbers_.find(expansion.text) : numbers_.end();
    if (rule != numbers_.end()) callees->insert(rule->second);
    for (const Expansion& part : expansion.parts) Collect(part, callees);
}

bool RuleCalls::CallsItself(std::size_t rule) const {
    std::vector<bool> is_reached(callees_.size());
    std::vector<std::size_t> to_follow{rule};
    while (!to_follow.empty()) {
        const std::size_t caller = to_follow.back();
        to_follow.pop_back();
        for (const std::size_t callee : callees_[caller]) {
            if (callee == rule) return true;
            if (is_reached[callee]) continue;
            is_reached[callee] = true;
            to_follow.push_back(callee);
        }
    }
    return false;
}

class GrammarCompiler {
  public:
    GrammarCompiler(const GrammarRules& grammar, const Dictionary& dictionary)
        : grammar_(grammar), rule_calls_(grammar), checker_(&dictionary) {}

    GrammarNetwork Compile();

  private:
    struct Call {
        const std::string* rule;
        int from;
        int to;
    };

    void Build(const Expansion& expansion, int from, int to, float probability);
    void BuildKind(const Expansion& expansion, int from, int to, float probability);
    void BuildWord(const Expansion& word, int from, int to, float probability);
    void BuildCall(const std::string& rule, int line, int from, int to, float probability);
    void BuildSequence(const Expansion& sequence, int from, int to, float probability);
    void BuildChoice(const Expansion& choice, int from, int to, float probability);
    void BuildRepeat(const Expansion& repeat, int from, int to, float probability);
    void AddArc(int line, GrammarNetwork::Arc arc);
    int AddState() { return network_.states++; }

    const GrammarRules& grammar_;
    const RuleCalls rule_calls_;
    WordChecker checker_;
    GrammarNetwork network_;
    std::map<std::string, int> words_;
    std::size_t empty_arcs_ = 0;
    int steps_ = 0;
    int depth_ = 0;
    std::vector<Call> calls_;  // those under way
};

GrammarNetwork GrammarCompiler::Compile() {
    const float probability = 1.0F / static_cast<float>(grammar_.roots.size());
    for (const std::string& root : grammar_.roots) BuildCall(root, 0, 0, 1, probability);
    checker_.ThrowIfAnyIsMissing();
    DropDeadEnds(&network_);
    CheckGrammarEffort(network_);
    return std::move(network_);
}

void GrammarCompiler::AddArc(int line, GrammarNetwork::Arc arc) {
    const bool is_empty = arc.word == GrammarNetwork::kNoWord;
    if (is_empty && arc.from == arc.to) return;
    empty_arcs_ += is_empty ? 1 : 0;
    if (network_.arcs.size() >= kMostArcs || empty_arcs_ > kMostEmptyArcs) {
        throw ResourceError(line, "the grammar has too many paths for this server, over " +
                                      std::to_string(is_empty ? kMostEmptyArcs : kMostArcs) +
                                      (is_empty ? " of them optional" : ""));
    }
    network_.arcs.push_back(arc);
}

void GrammarCompiler::Build(const Expansion& expansion, int from, int to, float probability) {
    if (++steps_ > kMostSteps) {
        throw ResourceError(expansion.line, "the grammar has too many paths for this server");
    }
    if (++depth_ > kDeepest) {
        throw ResourceError(expansion.line, "rules and groups are nested too deeply");
    }
    BuildKind(expansion, from, to, probability);
    --depth_;
}

void GrammarCompiler::BuildKind(const Expansion& expansion, int from, int to, float probability) {
    switch (expansion.kind) {
        case Expansion::Kind::kWord:
            return BuildWord(expansion, from, to, probability);
        case Expansion::Kind::kRule:
            return BuildCall(expansion.text, expansion.line, from, to, probability);
        case Expansion::Kind::kNothing:
            return AddArc(expansion.line, {from, to, GrammarNetwork::kNoWord, probability});
        case Expansion::Kind::kNever:
            return;
        case Expansion::Kind::kSequence:
            return BuildSequence(expansion, from, to, probability);
        case Expansion::Kind::kChoice:
            return BuildChoice(expansion, from, to, probability);
        case Expansion::Kind::kRepeat:
            return BuildRepeat(expansion, from, to, probability);
    }
}

void GrammarCompiler::BuildWord(const Expansion& word, int from, int to, float probability) {
    checker_.Check(word.text, word.line);
    const auto [known, is_new] = words_.emplace(word.text, static_cast<int>(network_.words.size()));
    if (is_new) network_.words.push_back(word.text);
    AddArc(word.line, {from, to, known->second, probability});
}

void GrammarCompiler::BuildCall(const std::string& rule, int line, int from, int to,
                                float probability) {
    const auto found = grammar_.rules.find(rule);
    if (found == grammar_.rules.end()) {
        throw ResourceError(line, "the rule " + Quote(rule) + " is not defined");
    }
    for (const Call& call : calls_) {
        if (call.rule != &found->first) continue;
        if (call.to != to || call.from == from) {
            throw ResourceError(line, "the rule " + Quote(rule) +
                                          " calls itself before its end; only the last thing of a "
                                          "rule may be the rule itself");
        }
        return AddArc(line, {from, call.from, GrammarNetwork::kNoWord, probability});
    }
    if (calls_.size() == kDeepestCall) throw ResourceError(line, "rules are nested too deeply");
    calls_.push_back({&found->first, from, to});
    if (rule_calls_.IsRecursive(rule)) {
        // A call at the rule's own end must lead back to a state that is the beginning of it alone.
        calls_.back().from = AddState();
        AddArc(line, {from, calls_.back().from, GrammarNetwork::kNoWord, probability});
        probability = 1;
    }
    Build(found->second, calls_.back().from, to, probability);
    calls_.pop_back();
}

void GrammarCompiler::BuildSequence(const Expansion& sequence, int from, int to,
                                    float probability) {
    for (std::size_t i = 0; i < sequence.parts.size(); ++i) {
        const int next = i + 1 == sequence.parts.size() ? to : AddState();
        Build(sequence.parts[i], from, next, i == 0 ? probability : 1);
        from = next;
    }
}

void GrammarCompiler::BuildChoice(const Expansion& choice, int from, int to, float probability) {
    const float sum = std::accumulate(choice.weights.begin(), choice.weights.end(), 0.0F);
    for (std::size_t i = 0; i < choice.parts.size(); ++i) {
        Build(choice.parts[i], from, to, probability * choice.weights[i] / sum);
    }
}

void GrammarCompiler::BuildRepeat(const Expansion& repeat, int from, int to, float probability) {
    const Expansion& part = repeat.parts[0];
    const int line = repeat.line;
    constexpr int kNoWord = GrammarNetwork::kNoWord;
    for (int i = 0; i < repeat.least; ++i) {
        const int next = AddState();
        Build(part, from, next, i == 0 ? probability : 1);
        from = next;
    }
    if (repeat.least > 0) probability = 1;
    if (repeat.most == Expansion::kUnbounded) {
        const int loop = AddState();
        AddArc(line, {from, loop, kNoWord, probability});
        Build(part, loop, loop, 1);
        return AddArc(line, {loop, to, kNoWord, 1});
    }
    if (repeat.most == repeat.least) AddArc(line, {from, to, kNoWord, probability});
    for (int i = repeat.least; i < repeat.most; ++i) {
        const int next = i + 1 == repeat.most ? to : AddState();
        AddArc(line, {from, to, kNoWord, probability});
        Build(part, from, next, probability);
        probability = 1;
        from = next;
    }
}

}  // namespace

GrammarNetwork CompileGrammar(const GrammarRules& grammar, const Dictionary& dictionary) {
    return GrammarCompiler(grammar, dictionary).Compile();
}

}  // namespace orvx
