// The second half of an utterance: from the stretches' results to the answers of its chunks.
#include <algorithm>
#include <asio/post.hpp>
#include <utility>

#include "Contained.h"
#include "Utterance.h"

namespace orvx {
namespace {

constexpr std::size_t kMostKeywords = 100000;  // in one answer, which takes 10 MB then

}  // namespace

bool Utterance::MustWait() const {
    return std::any_of(stretches_.begin(), stretches_.end(),
                       [](const Stretch& stretch) { return !stretch.result; });
}

void Utterance::OnResult(std::uint64_t stretch, const JobResult& result) {
    if (is_over_) return;
    if (result.engine_error) {
        return Fail({LEXO_ERR_RECOG_FAILED, "the engine failed: " + *result.engine_error});
    }
    Stretch& answered = stretches_[stretch - first_stretch_];
    answered.result = result;
    answered.job = nullptr;  // with its audio
    keywords_ += result.heard.keywords.size();
    if (keywords_ > kMostKeywords) {
        return Fail({LEXO_ERR_RECOG_FAILED,
                     "too many keywords were spotted: their thresholds are too low"});
    }
    if (EndsAtFirstResult()) is_ended_ = is_ended_ || !result.heard.IsNothing();
    if (!is_to_advance_) Advance();
}

void Utterance::AnswerChunk() {
    Outcome outcome = SummariseChunk();
    if (is_ended_ || outcome.is_over) Release();
    is_over_ = outcome.is_over;
    Reply(outcome);
}

Outcome Utterance::SummariseChunk() {
    Outcome outcome;
    const bool has_speech = !stretches_.empty();
    outcome.segments = TakeSegments();
    has_heard_anything_ = has_heard_anything_ || !outcome.segments.empty() ||
                          (has_speech && !TakesWordlessSpeechForNoise());
    const bool wants_more = !current_->is_closing && !is_ended_;
    if (!wants_more && !has_heard_anything_) {
        outcome.failure = Failure{LEXO_ERR_NO_VOICE_INPUT, "no speech was heard"};
    } else if (task_.capability == Capability::kAnalysis) {
        outcome.silences = TakeSilences(outcome.segments);
    }
    outcome.recog_status =
        (wants_more ? kMoreAudioWanted : 0) | (HasResult(outcome) ? kResultPresent : 0);
    outcome.is_over = current_->is_closing;
    return outcome;
}

// Whether speech without a known word was noise. Behind a grammar or a keyword list it was not: it
// said something else.
bool Utterance::TakesWordlessSpeechForNoise() const {
    return task_.capability == Capability::kFreeTalk || task_.capability == Capability::kAnalysis;
}

// The answer to a recording in which somebody spoke always has one, though it may be empty.
bool Utterance::HasResult(const Outcome& outcome) const {
    if (outcome.failure) return false;
    return is_recording_ || !outcome.segments.empty() || !outcome.silences.empty();
}

std::vector<Segment> Utterance::TakeSegments() {
    std::vector<Segment> segments;
    for (const Stretch& stretch : stretches_) {
        if (!stretch.result->heard.IsNothing()) segments.push_back(MakeSegment(stretch));
    }
    first_stretch_ += stretches_.size();
    stretches_.clear();
    keywords_ = 0;
    std::stable_sort(segments.begin(), segments.end(),
                     [](const Segment& a, const Segment& b) { return a.start_ms < b.start_ms; });
    return segments;
}

Segment Utterance::MakeSegment(const Stretch& stretch) const {
    const auto in_utterance = [&](int ms) {
        return std::min(ms + stretch.start_ms, stretch.end_ms);
    };
    Segment segment{stretch.start_ms,
                    stretch.end_ms,
                    task_.parameters.RoleOf(stretch.channel),
                    stretch.result->heard.sentences,
                    {}};
    for (RecognisedSentence& sentence : segment.sentences) {
        for (RecognisedWord& word : sentence.words) {
            word.start_ms = in_utterance(word.start_ms);
            word.end_ms = in_utterance(word.end_ms);
        }
    }
    for (const FoundKeyword& found : stretch.result->heard.keywords) {
        const KeywordList& list = std::get<KeywordList>(task_.resource->content);
        segment.keywords.push_back({static_cast<int>(found.index), list.at(found.index).text,
                                    in_utterance(found.start_ms), in_utterance(found.end_ms),
                                    found.score});
    }
    return segment;
}

// A silence is told with the speech behind it.
std::vector<Silence> Utterance::TakeSilences(const std::vector<Segment>& segments) {
    for (const Segment& segment : segments) silences_.AddSpeech(segment.start_ms, segment.end_ms);
    const auto earliest = std::min_element(channels_.begin(), channels_.end(),
                                           [](const SpeechChannel& a, const SpeechChannel& b) {
                                               return a.SettledMs() < b.SettledMs();
                                           });
    if (current_->is_closing) {
        return silences_.Finish(static_cast<int>(samples_heard_ / kSamplesPerMs));
    }
    return segments.empty() ? std::vector<Silence>() : silences_.Take(earliest->SettledMs());
}

void Utterance::Fail(Failure failure) {
    is_over_ = true;
    Release();
    if (!current_) return;
    Outcome outcome;
    outcome.failure = std::move(failure);
    outcome.is_over = true;
    Reply(outcome);
}

void Utterance::Reply(const Outcome& outcome) {
    const Done done = std::move(current_->done);
    current_.reset();
    // First, as memory may not suffice for the answer; it runs behind this.
    if (!waiting_.empty()) {
        asio::post(strand_, Contained([self = shared_from_this()] {
                       if (!self->current_) self->TakeNextChunk();
                   }));
    }
    done(outcome);
}

void Utterance::Release() {
    for (SpeechChannel& channel : channels_) channel.Release();
    for (const Stretch& stretch : stretches_) {
        if (!stretch.result) decoders_->Cancel(stretch.job);
    }
    first_stretch_ += stretches_.size();
    stretches_.clear();
    input_.reset();
}

}  // namespace orvx
