#include "SilenceFinder.h"

#include <algorithm>

namespace orvx {
namespace {

constexpr int kShortestMs = 200;  // less is a breath or a change of speakers

bool StartsEarlier(const Silence& a, const Silence& b) {
    return a.start_ms < b.start_ms;
}

}  // namespace

void SilenceFinder::AddSpeech(int start_ms, int end_ms) {
    const Silence stretch{start_ms, end_ms};
    speech_.insert(std::upper_bound(speech_.begin(), speech_.end(), stretch, StartsEarlier),
                   stretch);
}

void SilenceFinder::Report(int end_ms, std::vector<Silence>* silences) const {
    if (end_ms - passed_ms_ >= kShortestMs) silences->push_back({passed_ms_, end_ms});
}

std::vector<Silence> SilenceFinder::Take(int settled_ms) {
    std::vector<Silence> silences;
    auto next = speech_.begin();
    for (; next != speech_.end() && next->start_ms < settled_ms; ++next) {
        Report(next->start_ms, &silences);
        passed_ms_ = std::max(passed_ms_, next->end_ms);
    }
    speech_.erase(speech_.begin(), next);
    return silences;
}

std::vector<Silence> SilenceFinder::Finish(int end_ms) {
    std::vector<Silence> silences = Take(end_ms);
    Report(end_ms, &silences);
    passed_ms_ = std::max(passed_ms_, end_ms);
    return silences;
}

}  // namespace orvx
