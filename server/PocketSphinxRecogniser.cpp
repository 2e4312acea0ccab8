#include "PocketSphinxRecogniser.h"

#include <pocketsphinx.h>
#include <sphinxbase/err.h>
#include <sphinxbase/fe.h>
#include <sphinxbase/feat.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <functional>
#include <optional>
#include <stdexcept>
#include <utility>

#include "ModelFiles.h"
#include "PocketSphinxKeywords.h"
#include "PocketSphinxSearches.h"
#include "PocketSphinxSentences.h"

namespace orvx {
namespace {

constexpr std::size_t kSliceSamples = 1600;

struct FreeConfig {
    void operator()(cmd_ln_t* config) const { cmd_ln_free_r(config); }
};
struct FreeDecoder {
    void operator()(ps_decoder_t* decoder) const { ps_free(decoder); }
};
struct FreeFrontEnd {
    void operator()(fe_t* front_end) const { fe_free(front_end); }
};

using Config = std::unique_ptr<cmd_ln_t, FreeConfig>;
using Decoder = std::unique_ptr<ps_decoder_t, FreeDecoder>;
using FrontEnd = std::unique_ptr<fe_t, FreeFrontEnd>;

// How many words ended in each 10 ms of the stretch that this thread has decoded. PocketSphinx
// tells it nowhere else than in its messages.
thread_local int g_words_in_frame = 0;

void TakeMessage(void* is_verbose, err_lvl_t level, const char* format, ...) {
    char message[1024];
    va_list args;
    va_start(args, format);
    std::vsnprintf(message, sizeof message, format, args);
    va_end(args);
    if (const char* const words = std::strstr(message, " words recognized (")) {
        std::sscanf(words, " words recognized (%d/fr)", &g_words_in_frame);
    }
    if (is_verbose == nullptr && level < ERR_FATAL) return;  // over which it ends the process
    std::fputs(message, stderr);
}

Config MakeConfig(const PocketSphinxModel& model) {
    CheckModelFiles(model);
    // -remove_silence: were the engine to cut silence, the words behind it would get wrong times.
    // -maxhmmpf: how many paths are followed at once. The default, six times as many, takes
    // markedly longer on noisy speech and recognised not one word more of the test recordings.
    // -fsgusealtpron: grammars come with all pronunciations of their words.
    // -kws_delay: keywords are read when a stretch is over, so that none needs to be held back.
    std::array<const char*, 15> arguments{"orvx-server",
                                          "-hmm",
                                          model.acoustic_model.c_str(),
                                          "-lm",
                                          model.language_model.c_str(),
                                          "-dict",
                                          model.dictionary.c_str(),
                                          "-remove_silence",
                                          "no",
                                          "-maxhmmpf",
                                          "5000",
                                          "-fsgusealtpron",
                                          "no",
                                          "-kws_delay",
                                          "0"};
    Config config(cmd_ln_parse_r(nullptr, ps_args(), static_cast<int>(arguments.size()),
                                 const_cast<char**>(arguments.data()), TRUE));
    if (!config) throw std::runtime_error("PocketSphinx refuses its settings");
    return config;
}

class PocketSphinxRecogniser : public Recogniser {
  public:
    explicit PocketSphinxRecogniser(const PocketSphinxModel& model);

    void Start(const ListeningTask& task, std::span<const std::int16_t> opening) override;
    void Feed(std::span<const std::int16_t> samples) override;
    std::optional<Heard> Finish(std::size_t max_sentences) override;

  private:
    void LoadDecoder();
    bool FindsKeywordsLater() const;
    const KeywordList* Keywords() const;
    void Begin(const Resource* resource, std::span<const std::int16_t> opening);
    void End();
    void Push(std::span<const std::int16_t> samples);
    std::vector<RecognisedSentence> Sentences(std::size_t max_sentences) const;
    void ReadAgain();
    void AbandonStretch();
    void ForgetHistory();
    void AdaptTo(std::span<const std::int16_t> opening);
    void Process(std::span<const std::int16_t> samples);

    const PocketSphinxModel model_;
    const Config config_;
    Decoder decoder_;
    std::optional<PocketSphinxSearches> searches_;
    FrontEnd front_end_;
    std::vector<mfcc_t> default_mean_;
    ListeningTask task_;
    std::vector<std::int16_t> slice_;    // samples not yet processed
    std::vector<std::int16_t> stretch_;  // all of its samples, where they are needed once more
    std::optional<std::size_t> reread_;  // how many of these have been
    Heard heard_;                        // before they are
    bool is_started_ = false;
    bool is_spotting_ = false;  // keywords, at present
};

PocketSphinxRecogniser::PocketSphinxRecogniser(const PocketSphinxModel& model)
    : model_(model), config_(MakeConfig(model)) {
    LoadDecoder();
    front_end_.reset(fe_init_auto_r(config_.get()));
    if (!front_end_) throw std::runtime_error("PocketSphinx cannot set up its front end");
    default_mean_.resize(static_cast<std::size_t>(fe_get_output_size(front_end_.get())));
    cmn_live_get(ps_get_feat(decoder_.get())->cmn_struct, default_mean_.data());
}

void PocketSphinxRecogniser::LoadDecoder() {
    decoder_.reset(ps_init(config_.get()));
    if (!decoder_) {
        throw std::runtime_error("PocketSphinx cannot load the acoustic model " +
                                 model_.acoustic_model + " with the language model " +
                                 model_.language_model + " and the dictionary " +
                                 model_.dictionary);
    }
    CheckDictionary(decoder_.get(), model_.dictionary);
    searches_.emplace(decoder_.get(), config_.get(), model_.language_model);
}

const KeywordList* PocketSphinxRecogniser::Keywords() const {
    return task_.resource ? std::get_if<KeywordList>(&task_.resource->content) : nullptr;
}

// A decoder makes one search at a time.
bool PocketSphinxRecogniser::FindsKeywordsLater() const {
    return task_.wants_sentences && Keywords() != nullptr;
}

void PocketSphinxRecogniser::Start(const ListeningTask& task,
                                   std::span<const std::int16_t> opening) {
    AbandonStretch();
    task_ = task;
    stretch_.clear();
    reread_.reset();
    heard_ = {};
    if (searches_->IsWornOut()) LoadDecoder();
    Begin(FindsKeywordsLater() ? nullptr : task_.resource.get(), opening);
}

void PocketSphinxRecogniser::Begin(const Resource* resource,
                                   std::span<const std::int16_t> opening) {
    searches_->Select(resource);
    is_spotting_ = resource != nullptr && std::holds_alternative<KeywordList>(resource->content);
    ForgetHistory();
    AdaptTo(opening);
    slice_.clear();
    if (ps_start_stream(decoder_.get()) < 0 || ps_start_utt(decoder_.get()) < 0) {
        throw std::runtime_error("PocketSphinx cannot begin an utterance");
    }
    is_started_ = true;
}

void PocketSphinxRecogniser::AbandonStretch() {
    if (std::exchange(is_started_, false)) ps_end_utt(decoder_.get());
}

// An utterance's scores depend a little on the utterance before it: PocketSphinx keeps the rankings
// of its codebooks. With the same short pause before each utterance they do not, and nobody's
// result depends on what another client said. A shorter pause is too short to be decoded at all.
void PocketSphinxRecogniser::ForgetHistory() {
    const std::vector<std::int16_t> pause(2240);
    cmn_live_set(ps_get_feat(decoder_.get())->cmn_struct, default_mean_.data());
    ps_start_stream(decoder_.get());
    ps_start_utt(decoder_.get());
    Process(pause);
    ps_end_utt(decoder_.get());
}

// Takes the mean of the opening's features as that of the voice and the line. Left alone,
// PocketSphinx begins every live utterance with a fixed mean and looks again only seconds later: of
// the test recordings one word in three is wrong then, instead of one in five.
void PocketSphinxRecogniser::AdaptTo(std::span<const std::int16_t> opening) {
    const std::size_t size = default_mean_.size();
    std::vector<mfcc_t> frame(size);
    std::vector<mfcc_t> mean(size);
    mfcc_t* row = frame.data();
    int frames = 0;
    fe_start_stream(front_end_.get());
    fe_start_utt(front_end_.get());
    const std::int16_t* samples = opening.data();
    std::size_t left = opening.size();
    int32 made = 1;
    while (left > 0 && made > 0) {
        made = 1;
        int32 unused = 0;
        if (fe_process_frames(front_end_.get(), &samples, &left, &row, &made, &unused) < 0) break;
        if (made == 0 || frame[0] < 0) continue;  // as PocketSphinx does: no digital silence
        std::transform(mean.begin(), mean.end(), frame.begin(), mean.begin(), std::plus<>());
        ++frames;
    }
    if (frames > 0) {
        for (mfcc_t& value : mean) value /= static_cast<mfcc_t>(frames);
    }
    cmn_live_set(ps_get_feat(decoder_.get())->cmn_struct,
                 frames > 0 ? mean.data() : default_mean_.data());
}

void PocketSphinxRecogniser::Feed(std::span<const std::int16_t> samples) {
    if (FindsKeywordsLater()) stretch_.insert(stretch_.end(), samples.begin(), samples.end());
    Push(samples);
}

// PocketSphinx's results depend a little on how the samples are sliced, so it always gets equal
// slices.
void PocketSphinxRecogniser::Push(std::span<const std::int16_t> samples) {
    while (!samples.empty()) {
        const std::size_t count = std::min(kSliceSamples - slice_.size(), samples.size());
        slice_.insert(slice_.end(), samples.begin(),
                      samples.begin() + static_cast<std::ptrdiff_t>(count));
        samples = samples.subspan(count);
        if (slice_.size() == kSliceSamples) {
            Process(slice_);
            if (is_spotting_) CheckKeywords(decoder_.get());
            slice_.clear();
        }
    }
}

void PocketSphinxRecogniser::Process(std::span<const std::int16_t> samples) {
    if (ps_process_raw(decoder_.get(), samples.data(), samples.size(), FALSE, FALSE) < 0) {
        throw std::runtime_error("PocketSphinx failed to process audio");
    }
}

void PocketSphinxRecogniser::End() {
    // Of such a crowd PocketSphinx would make its lattice of readings for minutes. Free talk has 10
    // to 70, with thousands of names of the user's own 130, where many talk at once.
    constexpr int kMostWordsInFrame = 200;
    if (!slice_.empty()) Process(slice_);
    is_started_ = false;
    g_words_in_frame = 0;
    if (ps_end_utt(decoder_.get()) < 0) {
        throw std::runtime_error("PocketSphinx failed to end an utterance");
    }
    if (g_words_in_frame > kMostWordsInFrame) {
        throw TooHard(std::to_string(g_words_in_frame) +
                      " words may have ended in each 10 ms of speech, and " +
                      std::to_string(kMostWordsInFrame) +
                      " is most; take a resource with fewer short words");
    }
}

std::vector<RecognisedSentence> PocketSphinxRecogniser::Sentences(std::size_t max_sentences) const {
    const auto* const grammar =
        task_.resource ? std::get_if<GrammarNetwork>(&task_.resource->content) : nullptr;
    return ReadSentences(decoder_.get(), grammar, max_sentences);
}

void PocketSphinxRecogniser::ReadAgain() {
    const std::span<const std::int16_t> left = std::span(stretch_).subspan(*reread_);
    const std::size_t count = std::min(kSliceSamples, left.size());
    Push(left.first(count));
    *reread_ += count;
}

std::optional<Heard> PocketSphinxRecogniser::Finish(std::size_t max_sentences) {
    if (reread_ && *reread_ < stretch_.size()) {
        ReadAgain();
        return std::nullopt;
    }
    End();
    if (!reread_ && task_.wants_sentences) heard_.sentences = Sentences(max_sentences);
    if (!reread_ && FindsKeywordsLater()) {
        Begin(task_.resource.get(), stretch_);
        reread_ = 0;
        return std::nullopt;
    }
    if (const KeywordList* const list = Keywords()) {
        heard_.keywords = ReadKeywords(decoder_.get(), *list);
    }
    return std::exchange(heard_, {});
}

}  // namespace

RecogniserFactory PocketSphinxFactory(PocketSphinxModel model, bool is_verbose) {
    static bool is_wanted;
    err_set_callback(TakeMessage, is_verbose ? &is_wanted : nullptr);
    return [model = std::move(model), is_verbose] {
        if (!is_verbose) err_set_logfp(nullptr);  // of this thread: the settings are printed there
        return std::make_unique<PocketSphinxRecogniser>(model);
    };
}

}  // namespace orvx
