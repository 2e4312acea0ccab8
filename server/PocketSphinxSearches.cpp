#include "PocketSphinxSearches.h"

#include <pocketsphinx.h>
#include <sphinxbase/ckd_alloc.h>
#include <sphinxbase/fsg_model.h>
#include <sphinxbase/glist.h>
#include <sphinxbase/ngram_model.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace orvx {
namespace {

constexpr const char* kFreeTalk = "_default";  // what PocketSphinx calls the search it starts with
constexpr int kMostWeight = 16;
constexpr int kLanguageModelWeight = 4;
constexpr std::size_t kMostEntries = 20000;
// A keyword counts where it is as likely as any other sounds. With 51 keywords and the test
// sentences, that found 34 of the 38 that were said, and 10 that were not.
constexpr double kDefaultThreshold = 1;
// How a user word compares with the average word of the model, and how much of all speech the user
// words may be together.
constexpr float kUserWordWeight = 30;
constexpr float kUserWordsShare = 0.1F;

struct FreeGrammar {
    void operator()(fsg_model_t* grammar) const { fsg_model_free(grammar); }
};
struct FreeModel {
    void operator()(ngram_model_t* model) const { ngram_model_free(model); }
};
using Grammar = std::unique_ptr<fsg_model_t, FreeGrammar>;
using Model = std::unique_ptr<ngram_model_t, FreeModel>;

// PocketSphinx reads keywords and models from named files only.
class MemoryFile {
  public:
    explicit MemoryFile(const std::string& content) : descriptor_(memfd_create("orvx", 0)) {
        std::size_t written = 0;
        while (descriptor_ >= 0 && written < content.size()) {
            const ssize_t count =
                write(descriptor_, content.data() + written, content.size() - written);
            if (count <= 0) break;
            written += static_cast<std::size_t>(count);
        }
        if (descriptor_ >= 0 && written == content.size()) return;
        const int error = errno;
        if (descriptor_ >= 0) close(descriptor_);
        throw std::system_error(error, std::generic_category(), "no memory for a resource");
    }
    ~MemoryFile() { close(descriptor_); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string Path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

  private:
    const int descriptor_;
};

// PocketSphinx looks all words of its dictionary up in a table as large as the model's list of
// words: with a small model that takes many seconds. So the list is filled up with words that the
// dictionary lacks, which nobody can say.
std::string WriteArpa(const LanguageModel& model) {
    constexpr std::size_t kFewestWords = 30000;
    std::vector<LanguageModel::Order> orders = model.orders;
    const char* const back_off = orders.size() > 1 ? "\t0.0\n" : "\n";
    while (orders[0].count < kFewestWords) {
        orders[0].lines.append("-99.0\t#").append(std::to_string(orders[0].count)).append(back_off);
        ++orders[0].count;
    }
    std::string head = "\\data\\\n";
    std::string sections;
    for (std::size_t i = 0; i < orders.size(); ++i) {
        const std::string order = std::to_string(i + 1);
        head += "ngram " + order + "=" + std::to_string(orders[i].count) + "\n";
        sections += "\n\\" + order + "-grams:\n" + orders[i].lines;
    }
    return head + sections + "\n\\end\\\n";
}

// In steps of about 20 megabytes.
int Weight(const Resource& resource) {
    constexpr std::size_t kArcsPerStep = 4000;
    constexpr std::size_t kModelBytesPerStep = std::size_t{4} << 20;
    if (const auto* const grammar = std::get_if<GrammarNetwork>(&resource.content)) {
        return 1 + static_cast<int>(grammar->arcs.size() / kArcsPerStep);
    }
    if (const auto* const model = std::get_if<LanguageModel>(&resource.content)) {
        std::size_t bytes = 0;
        for (const LanguageModel::Order& order : model->orders) bytes += order.lines.size();
        return 1 + static_cast<int>(bytes / kModelBytesPerStep);
    }
    return std::holds_alternative<UserWords>(resource.content) ? kLanguageModelWeight : 1;
}

// PocketSphinx looks n-grams up by interpolation, and reads beyond its tables where a word was
// added behind the first one that was. So all user words are members of one class, and only the
// class is added to the model.
void AddAsOneClass(const std::vector<std::string>& members, float weight, ngram_model_t* ngrams) {
    std::vector<char*> words;
    for (const std::string& member : members) words.push_back(const_cast<char*>(member.c_str()));
    const auto count = static_cast<float>(words.size());
    std::vector<float32> probabilities(words.size(), 1 / count);
    if (ngram_model_add_class(ngrams, "[class]", weight, words.data(), probabilities.data(),
                              static_cast<int32>(words.size())) < 0) {
        throw std::runtime_error("PocketSphinx refuses to extend a language model");
    }
}

int CountWords(ngram_model_t* ngrams) {
    return static_cast<int>(ngram_model_get_counts(ngrams)[0]);
}

// A word that the grammar has not. fsg_model_word_add would compare it with all others: a list of
// 50,000 words took a decoder 20 s.
int AddWord(const std::string& word, fsg_model_t* grammar) {
    if (grammar->n_word == grammar->n_word_alloc) {
        constexpr int kFewest = 16;
        grammar->n_word_alloc = std::max(kFewest, 2 * grammar->n_word_alloc);
        grammar->vocab = static_cast<char**>(ckd_realloc(
            grammar->vocab, static_cast<std::size_t>(grammar->n_word_alloc) * sizeof(char*)));
    }
    grammar->vocab[grammar->n_word] = ckd_salloc(word.c_str());
    return grammar->n_word++;
}

std::string SearchName(std::uint64_t resource) {
    return "resource" + std::to_string(resource);
}

}  // namespace

PocketSphinxSearches::PocketSphinxSearches(ps_decoder_t* decoder, cmd_ln_t* config,
                                           std::string language_model)
    : decoder_(decoder), config_(config), language_model_(std::move(language_model)) {}

void PocketSphinxSearches::Select(const Resource* resource) {
    std::string name = kFreeTalk;
    if (resource != nullptr) {
        name = SearchName(resource->id);
        const auto known =
            std::find_if(searches_.begin(), searches_.end(),
                         [&](const Search& search) { return search.resource == resource->id; });
        if (known != searches_.end()) {
            searches_.splice(searches_.begin(), searches_, known);
        } else {
            ps_set_search(decoder_, kFreeTalk);  // the one that is selected cannot be dropped
            MakeRoom(Weight(*resource));
            Make(name, *resource);
            searches_.push_front({resource->id, Weight(*resource)});
        }
    }
    if (ps_set_search(decoder_, name.c_str()) < 0) {
        throw std::runtime_error("PocketSphinx cannot select a search");
    }
}

bool PocketSphinxSearches::IsWornOut() const {
    return entries_.size() > kMostEntries;
}

void PocketSphinxSearches::MakeRoom(int weight) {
    const auto sum = [&] {
        return std::accumulate(searches_.begin(), searches_.end(), weight,
                               [](int left, const Search& search) { return left + search.weight; });
    };
    while (!searches_.empty() && sum() > kMostWeight) {
        ps_unset_search(decoder_, SearchName(searches_.back().resource).c_str());
        searches_.pop_back();
    }
}

void PocketSphinxSearches::Make(const std::string& name, const Resource& resource) {
    std::visit(
        [&](const auto& content) {
            using Content = std::decay_t<decltype(content)>;
            if constexpr (std::is_same_v<Content, GrammarNetwork>) MakeGrammar(name, content);
            if constexpr (std::is_same_v<Content, KeywordList>) MakeKeywords(name, content);
            if constexpr (std::is_same_v<Content, LanguageModel>) MakeLanguageModel(name, content);
            if constexpr (std::is_same_v<Content, UserWords>) MakeUserWords(name, content);
        },
        resource.content);
}

void PocketSphinxSearches::MakeGrammar(const std::string& name, const GrammarNetwork& network) {
    logmath_t* const log = ps_get_logmath(decoder_);
    const Grammar grammar(fsg_model_init(
        name.c_str(), log, static_cast<float32>(cmd_ln_float_r(config_, "-lw")), network.states));
    grammar->start_state = 0;
    grammar->final_state = 1;
    std::vector<std::vector<int>> words;
    for (const std::string& word : network.words) {
        words.push_back(AddPronunciations(word, grammar.get()));
    }
    for (const GrammarNetwork::Arc& arc : network.arcs) {
        const int probability =
            std::min(0, logmath_log(log, static_cast<float64>(arc.probability)));
        if (arc.word == GrammarNetwork::kNoWord) {
            fsg_model_null_trans_add(grammar.get(), arc.from, arc.to, probability);
            continue;
        }
        for (const int word : words[static_cast<std::size_t>(arc.word)]) {
            fsg_model_trans_add(grammar.get(), arc.from, arc.to, probability, word);
        }
    }
    glist_free(fsg_model_null_trans_closure(grammar.get(), nullptr));
    if (ps_set_fsg(decoder_, name.c_str(), grammar.get()) < 0) {
        throw std::runtime_error("PocketSphinx refuses the grammar");
    }
}

// The numbers in the grammar of the word and of the other ways to say it. PocketSphinx would add
// those itself, in a time that grows with words times states.
std::vector<int> PocketSphinxSearches::AddPronunciations(const std::string& word,
                                                         fsg_model_s* grammar) {
    std::vector<int> numbers{AddWord(word, grammar)};
    for (int i = 2;; ++i) {
        const std::string variant = word + "(" + std::to_string(i) + ")";
        char* const phones = ps_lookup_word(decoder_, variant.c_str());
        if (phones == nullptr) return numbers;
        ckd_free(phones);
        numbers.push_back(AddWord(variant, grammar));
    }
}

void PocketSphinxSearches::MakeKeywords(const std::string& name, const KeywordList& keywords) {
    std::string lines;
    for (const Keyword& keyword : keywords) {
        char threshold[32];
        std::snprintf(threshold, sizeof threshold, " /%g/\n",
                      keyword.threshold > 0 ? keyword.threshold : kDefaultThreshold);
        lines += keyword.words + threshold;
    }
    const MemoryFile file(lines);
    if (ps_set_kws(decoder_, name.c_str(), file.Path().c_str()) < 0) {
        throw std::runtime_error("PocketSphinx refuses the keywords");
    }
}

void PocketSphinxSearches::MakeLanguageModel(const std::string& name, const LanguageModel& model) {
    const MemoryFile file(WriteArpa(model));
    const Model ngrams(
        ngram_model_read(config_, file.Path().c_str(), NGRAM_ARPA, ps_get_logmath(decoder_)));
    if (!ngrams || ps_set_lm(decoder_, name.c_str(), ngrams.get()) < 0) {
        throw std::runtime_error("PocketSphinx refuses the language model");
    }
}

void PocketSphinxSearches::MakeUserWords(const std::string& name, const UserWords& words) {
    const Model ngrams(
        ngram_model_read(config_, language_model_.c_str(), NGRAM_AUTO, ps_get_logmath(decoder_)));
    if (!ngrams) throw std::runtime_error("PocketSphinx cannot load its language model");
    std::set<std::string> entries;
    for (const UserWord& word : words) {
        const std::string entry = word.phones.empty() ? word.text : AddToDictionary(word);
        if (ngram_wid(ngrams.get(), entry.c_str()) == ngram_unknown_wid(ngrams.get())) {
            entries.insert(entry);
        }
    }
    if (!entries.empty()) {
        const float weight =
            std::min(kUserWordWeight * static_cast<float>(entries.size()),
                     kUserWordsShare * static_cast<float>(CountWords(ngrams.get())));
        AddAsOneClass({entries.begin(), entries.end()}, weight, ngrams.get());
    }
    if (ps_set_lm(decoder_, name.c_str(), ngrams.get()) < 0) {
        throw std::runtime_error("PocketSphinx refuses the user words");
    }
}

std::string PocketSphinxSearches::AddToDictionary(const UserWord& word) {
    std::string phones = word.phones;
    std::replace(phones.begin(), phones.end(), ' ', '-');
    std::string entry = word.text + "#" + phones;
    if (!entries_.contains(entry)) {
        if (ps_add_word(decoder_, entry.c_str(), word.phones.c_str(), FALSE) < 0) {
            throw std::runtime_error("PocketSphinx refuses the pronunciation of a user word");
        }
        entries_.insert(entry);
    }
    return entry;
}

std::string_view SpokenWord(std::string_view entry) {
    const std::size_t phones = entry.rfind('#');
    if (phones != std::string_view::npos && phones > 0) return entry.substr(0, phones);
    const std::size_t variant = entry.find('(');
    return variant == 0 ? entry : entry.substr(0, variant);
}

}  // namespace orvx
