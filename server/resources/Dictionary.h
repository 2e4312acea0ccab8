// The words that the engine can pronounce, and the phones that it knows.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace orvx {

// Never changes once loaded: any thread may ask at any time.
class Dictionary {
  public:
    // Reads the engine's dictionary: a word and its phones in each line, "word(2)" for another way
    // to say it. Throws std::runtime_error if there is none at `path`.
    explicit Dictionary(const std::string& path);

    // `word` in lower case.
    bool HasWord(std::string_view word) const { return words_.contains(word); }
    bool HasPhone(std::string_view phone) const { return phones_.contains(phone); }

  private:
    struct Hash : std::hash<std::string_view> {
        using is_transparent = void;
    };
    using Set = std::unordered_set<std::string, Hash, std::equal_to<>>;

    Set words_;
    Set phones_;
};

// Collects the words of a resource that the dictionary lacks, to name them all in one message.
class WordChecker {
  public:
    // Borrows the dictionary.
    explicit WordChecker(const Dictionary* dictionary) : dictionary_(dictionary) {}

    // `word` in lower case.
    void Check(std::string_view word, int line);
    // Throws ResourceError if any was missing.
    void ThrowIfAnyIsMissing() const;

  private:
    struct Missing {
        std::string word;
        int line;
    };

    const Dictionary* dictionary_;
    std::vector<Missing> missing_;  // each once
};

}  // namespace orvx
