// The second half of an utterance: from the stretches' results to the answers of its chunks.
#include <algorithm>
#include <asio/post.hpp>
#include <utility>

#include "Utterance.h"

namespace orvx {
bool Utterance::MustWait() const {
    return std::any_of(stretches_.begin(), stretches_.end(),
                       [](const Stretch& stretch) { return !stretch.result; });
}

void Utterance::OnResult(std::uint64_t stretch, const JobResult& result) {
    if (is_over_) return;
    if (result.engine_error) {
        return Fail({LEXO_ERR_RECOG_FAILED, "the engine failed: " + *result.engine_error});
    }
    stretches_[stretch - first_stretch_].result = result;
    if (EndsAtFirstResult()) is_ended_ = is_ended_ || !result.sentences.empty();
    if (!MustWait()) Advance();
}

void Utterance::AnswerChunk() {
    Outcome outcome = SummariseChunk();
    if (is_ended_ || outcome.is_over) Release();
    is_over_ = outcome.is_over;
    Reply(std::move(outcome));
}

Outcome Utterance::SummariseChunk() {
    Outcome outcome;
    outcome.segments = TakeSegments();
    has_heard_words_ = has_heard_words_ || !outcome.segments.empty();
    const bool wants_more = !current_->is_closing && !is_ended_;
    outcome.recog_status =
        (wants_more ? kMoreAudioWanted : 0) | (outcome.segments.empty() ? 0 : kResultPresent);
    if (!wants_more && !has_heard_words_) {
        outcome.failure = Failure{LEXO_ERR_NO_VOICE_INPUT, "no speech was heard"};
    }
    outcome.is_over = current_->is_closing;
    return outcome;
}

// A stretch in which the engine heard no word was noise.
std::vector<Segment> Utterance::TakeSegments() {
    std::vector<Segment> segments;
    for (Stretch& stretch : stretches_) {
        if (stretch.result->sentences.empty()) continue;
        Segment& segment = segments.emplace_back();
        segment = {stretch.start_ms, stretch.end_ms, std::move(stretch.result->sentences)};
        for (RecognisedSentence& sentence : segment.sentences) {
            for (RecognisedWord& word : sentence.words) {
                word.start_ms = std::min(word.start_ms + stretch.start_ms, stretch.end_ms);
                word.end_ms = std::min(word.end_ms + stretch.start_ms, stretch.end_ms);
            }
        }
    }
    first_stretch_ += stretches_.size();
    stretches_.clear();
    return segments;
}

void Utterance::Fail(Failure failure) {
    is_over_ = true;
    Release();
    if (!current_) return;
    Outcome outcome;
    outcome.failure = std::move(failure);
    outcome.is_over = true;
    Reply(std::move(outcome));
}

void Utterance::Reply(Outcome outcome) {
    const Done done = std::move(current_->done);
    current_.reset();
    done(std::move(outcome));
    if (!waiting_.empty()) {
        asio::post(strand_, [self = shared_from_this()] {
            if (!self->current_) self->TakeNextChunk();
        });
    }
}

void Utterance::Release() {
    if (open_job_) decoders_->Cancel(std::exchange(open_job_, nullptr));
    for (const Stretch& stretch : stretches_) {
        if (!stretch.result) decoders_->Cancel(stretch.job);
    }
    first_stretch_ += stretches_.size();
    stretches_.clear();
    input_.reset();
    samples_ = {};
    samples_position_ = 0;
    speech_ = {};
}

}  // namespace orvx
