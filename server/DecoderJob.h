// A stretch of speech on its way through the decoder pool; of the pool's own sources only.
#pragma once

#include "DecoderPool.h"

namespace orvx {

// The least that is decoded at once, but at a stretch's end: 0.1 s. It is also how long a complete
// stretch may have to wait until an open one lets go of its decoder.
constexpr std::size_t kDecodedSliceSamples = 1600;

// What is longer, 5 s, gives way to what is not.
constexpr std::size_t kLongestShortSamples = 80000;
// So does what is listened to with a larger resource: with two to five times as much a decoder
// takes longer than the speech lasts.
constexpr std::size_t kMostGrammarSteps = 10000;
constexpr std::size_t kMostNgrams = 50000;
constexpr std::size_t kMostUserWords = 2000;
constexpr std::size_t kMostKeywordBytes = 10000;

inline bool IsHeavy(const Resource& resource) {
    if (const auto* const grammar = std::get_if<GrammarNetwork>(&resource.content)) {
        return grammar->arcs.size() > kMostGrammarSteps;
    }
    if (const auto* const model = std::get_if<LanguageModel>(&resource.content)) {
        std::size_t count = 0;
        for (const LanguageModel::Order& order : model->orders) count += order.count;
        return count > kMostNgrams;
    }
    if (const auto* const keywords = std::get_if<KeywordList>(&resource.content)) {
        std::size_t bytes = 0;
        for (const Keyword& keyword : *keywords) bytes += keyword.words.size();
        return bytes > kMostKeywordBytes;
    }
    const auto* const words = std::get_if<UserWords>(&resource.content);
    return words != nullptr && words->size() > kMostUserWords;
}

// Guarded by the pool's mutex.
struct DecoderPool::Job {
    explicit Job(const JobSettings& job_settings)
        : settings(job_settings),
          is_heavy(settings.task.resource && IsHeavy(*settings.task.resource)) {}

    // Whether there is something to decode now.
    bool IsReady() const {
        if (is_complete) return true;
        if (has_failed) return false;
        return samples.size() >= settings.opening_samples &&
               samples.size() - decoded >= kDecodedSliceSamples;
    }

    bool IsLong() const {
        return is_complete && (is_heavy || samples.size() > kLongestShortSamples);
    }
    bool Yields() const { return settings.yields && settings.yields->load(); }

    const JobSettings settings;
    bool is_heavy;  // or has turned out to be
    std::vector<std::int16_t> samples;
    std::size_t decoded = 0;            // samples that the leased decoder has had
    std::chrono::nanoseconds effort{};  // processor time of that decoder
    bool is_complete = false;
    bool is_cancelled = false;
    bool has_failed = false;  // once; it is begun anew when it is complete
    bool has_lease = false;
    Clock::time_point last_fed = Clock::now();
    Done done;
};

}  // namespace orvx
