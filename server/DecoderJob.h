// A stretch of speech on its way through the decoder pool; of the pool's own sources only.
#pragma once

#include "DecoderPool.h"

namespace orvx {

// The least that is decoded at once, but at a stretch's end: 0.1 s. It is also how long a complete
// stretch may have to wait until an open one lets go of its decoder.
constexpr std::size_t kDecodedSliceSamples = 1600;

// What is longer, 5 s, gives way to what is not.
constexpr std::size_t kLongestShortSamples = 80000;
// So does what is listened to with a larger grammar: from some 25,000 steps on a decoder takes
// longer than the speech lasts.
constexpr std::size_t kMostGrammarSteps = 10000;

// Guarded by the pool's mutex.
struct DecoderPool::Job {
    explicit Job(const JobSettings& job_settings)
        : settings(job_settings), is_heavy(HasLargeGrammar(job_settings.task)) {}

    static bool HasLargeGrammar(const ListeningTask& task) {
        const auto* const grammar =
            task.resource ? std::get_if<GrammarNetwork>(&task.resource->content) : nullptr;
        return grammar != nullptr && grammar->arcs.size() > kMostGrammarSteps;
    }

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
    const bool is_heavy;
    std::vector<std::int16_t> samples;
    std::size_t decoded = 0;  // samples that the leased decoder has had
    bool is_complete = false;
    bool is_cancelled = false;
    bool has_failed = false;  // once; it is begun anew when it is complete
    bool has_lease = false;
    Clock::time_point last_fed = Clock::now();
    Done done;
};

}  // namespace orvx
