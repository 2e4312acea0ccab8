// What a request's resource says, read and checked, in a form that any engine can use.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace orvx {

// Word sequences, as paths through a network from state 0 to state 1.
struct GrammarNetwork {
    struct Arc {
        int from;
        int to;
        int word;           // index into words; kNoWord: the arc costs no speech
        float probability;  // above 0, at most 1
    };
    static constexpr int kNoWord = -1;

    int states = 2;
    std::vector<std::string> words;  // lower case, each once
    std::vector<Arc> arcs;
};

// Which words follow which, with what probability: an n-gram file in the ARPA format, checked.
struct LanguageModel {
    struct Order {
        std::size_t count = 0;  // of lines
        std::string lines;      // of the section, as the format has them
    };
    std::vector<Order> orders;  // 1-grams, 2-grams, ...
};

struct Keyword {
    std::string text;   // as the list has it
    std::string words;  // lower case, joined by single blanks
    double threshold;   // the least ratio of likelihoods that counts; 0: the engine's own
};
using KeywordList = std::vector<Keyword>;

// A word that the dictionary lacks, and how it is said.
struct UserWord {
    std::string text;    // lower case, without blanks
    std::string phones;  // joined by single blanks; empty: the dictionary has the word
};
using UserWords = std::vector<UserWord>;

struct Resource {
    std::uint64_t id;  // of this process; engines know by it what they have made of it already
    std::variant<GrammarNetwork, LanguageModel, KeywordList, UserWords> content;
};
// Shared by all requests with the same bytes, so never changed.
using ResourcePtr = std::shared_ptr<const Resource>;

}  // namespace orvx
