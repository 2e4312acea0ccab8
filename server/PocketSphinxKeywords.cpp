#include "PocketSphinxKeywords.h"

#include <pocketsphinx.h>

#include <algorithm>
#include <cmath>
#include <string_view>
#include <tuple>

namespace orvx {
namespace {

constexpr int kFrameDurationMs = 10;

// How much likelier the keyword is than any other sounds: PocketSphinx gives a logarithm, less a
// constant of its own, in units of 0.1 nats. As a percentage, 50 where both are alike.
int Score(int log_ratio) {
    constexpr double kOffset = 1500;
    constexpr double kScale = 100;
    return static_cast<int>(std::lround(100 / (1 + std::exp(-(log_ratio + kOffset) / kScale))));
}

}  // namespace

void CheckKeywords(ps_decoder_t* decoder) {
    constexpr int kMostSpotted = 20000;
    int spotted = 0;
    for (ps_seg_t* segment = ps_seg_iter(decoder); segment != nullptr;
         segment = ps_seg_next(segment)) {
        if (++spotted <= kMostSpotted) continue;
        ps_seg_free(segment);
        throw TooHard("keywords were spotted everywhere: their thresholds are too low");
    }
}

std::vector<FoundKeyword> ReadKeywords(ps_decoder_t* decoder, const KeywordList& list) {
    std::vector<FoundKeyword> found;
    for (ps_seg_t* segment = ps_seg_iter(decoder); segment != nullptr;
         segment = ps_seg_next(segment)) {
        std::string_view words = ps_seg_word(segment);
        words = words.substr(0, words.find_last_not_of(' ') + 1);
        const auto keyword = std::find_if(
            list.begin(), list.end(), [&](const Keyword& known) { return known.words == words; });
        if (keyword == list.end()) continue;
        int first = 0;
        int last = 0;
        ps_seg_frames(segment, &first, &last);
        if (last < first) continue;  // it began in the utterance before
        found.push_back({static_cast<std::size_t>(keyword - list.begin()), first * kFrameDurationMs,
                         (last + 1) * kFrameDurationMs,
                         Score(ps_seg_prob(segment, nullptr, nullptr, nullptr))});
    }
    std::sort(found.begin(), found.end(), [](const FoundKeyword& a, const FoundKeyword& b) {
        return std::tie(a.start_ms, a.index) < std::tie(b.start_ms, b.index);
    });
    return found;
}

}  // namespace orvx
