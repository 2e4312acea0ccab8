// A grammar as its author wrote it: rules and their expansions. Both grammar formats are read into
// this, and GrammarCompiler makes the network that the engine follows out of it.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace orvx {

struct Expansion {
    enum class Kind {
        kWord,      // text: in lower case
        kRule,      // text: the rule's name
        kNothing,   // said without a sound
        kNever,     // cannot be said
        kSequence,  // of parts
        kChoice,    // between parts, each with its weight
        kRepeat     // of parts[0], from least to most times
    };
    static constexpr int kUnbounded = -1;

    Kind kind = Kind::kNothing;
    int line = 0;
    std::string text;
    std::vector<Expansion> parts;
    std::vector<float> weights;  // of a choice, one for each part
    int least = 1;
    int most = 1;  // kUnbounded: any number
};

struct GrammarRules {
    std::map<std::string, Expansion> rules;
    std::vector<std::string> roots;  // rules of which one is said; at least one
};

}  // namespace orvx
