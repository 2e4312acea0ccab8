// What one PocketSphinx decoder can listen for: free talk, and a few resources that were used last,
// so that a resource in use is not compiled for every stretch of speech anew.
//
// A user word becomes a dictionary entry that no other request can say: its name holds its phones
// ("dashwood#D-AE-SH-W-UH-D"), and only a language model of its own knows it. Taking words out of a
// dictionary again is not possible in PocketSphinx; so the entries stay, unreachable, and the
// decoder is made anew when there are too many.
#pragma once

#include <cstdint>
#include <list>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Resource.h"

struct cmd_ln_s;
struct fsg_model_s;
struct ps_decoder_s;

namespace orvx {

// Not for use by two threads at once.
class PocketSphinxSearches {
  public:
    // Borrows the decoder and its settings. `language_model` is free talk's, a file.
    PocketSphinxSearches(ps_decoder_s* decoder, cmd_ln_s* config, std::string language_model);

    // From the next utterance on the decoder listens for this, or for free talk. Throws
    // std::runtime_error if PocketSphinx refuses it; then it listens for what it did before.
    void Select(const Resource* resource);

    // Whether the dictionary holds so many unreachable words that the decoder should be replaced.
    bool IsWornOut() const;

  private:
    struct Search {
        std::uint64_t resource;
        int weight;  // of what it keeps in memory
    };

    void Make(const std::string& name, const Resource& resource);
    void MakeGrammar(const std::string& name, const GrammarNetwork& network);
    std::vector<int> AddPronunciations(const std::string& word, fsg_model_s* grammar);
    void MakeKeywords(const std::string& name, const KeywordList& keywords);
    void MakeLanguageModel(const std::string& name, const LanguageModel& model);
    void MakeUserWords(const std::string& name, const UserWords& words);
    std::string AddToDictionary(const UserWord& word);
    void MakeRoom(int weight);

    ps_decoder_s* const decoder_;
    cmd_ln_s* const config_;
    const std::string language_model_;
    std::list<Search> searches_;     // the one used last in front
    std::set<std::string> entries_;  // of user words
};

// The word as its user wrote it: without the phones of a user word, and without the number of a
// pronunciation, "tomato(2)".
std::string_view SpokenWord(std::string_view entry);

}  // namespace orvx
