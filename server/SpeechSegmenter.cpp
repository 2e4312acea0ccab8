#include "SpeechSegmenter.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace orvx {
namespace {

constexpr int kShortestTailMs = 100;     // words hold silences of nearly this length within them
constexpr std::size_t kLeadFrames = 25;  // silence delivered before the first active frame
constexpr int kTrailMs = 200;            // and behind the last one

// Speech begins where this many of so many frames are active: shorter bursts are clicks.
constexpr std::size_t kBeginFrames = 15;
constexpr std::size_t kBeginActive = 8;

// Within speech it takes this many of the last frames to count as active.
constexpr unsigned kRecentMask = 0b11111;
constexpr int kRecentActive = 3;

}  // namespace

SpeechSegmenter::SpeechSegmenter(const SegmenterSettings& settings, SpeechSink* sink)
    : settings_(settings), threshold_(settings.threshold), sink_(sink) {}

std::size_t SpeechSegmenter::Push(std::span<const std::int16_t> samples) {
    has_ended_ = false;
    std::size_t used = 0;
    while (used < samples.size() && !has_ended_) {
        const std::size_t count = std::min(kFrameSamples - partial_.size(), samples.size() - used);
        const auto piece = samples.subspan(used, count);
        partial_.insert(partial_.end(), piece.begin(), piece.end());
        used += count;
        taken_ += static_cast<std::int64_t>(count);
        if (partial_.size() == kFrameSamples) TakeFrame();
    }
    return used;
}

void SpeechSegmenter::Finish() {
    if (!partial_.empty()) TakeFrame();
    if (is_in_speech_) End();
}

void SpeechSegmenter::TakeFrame() {
    Frame frame{};
    std::copy(partial_.begin(), partial_.end(), frame.samples.begin());
    partial_.clear();
    frame.level_db = meter_.Measure(frame.samples);
    background_.Update(frame.level_db);
    if (is_in_speech_) return Follow(frame);
    held_.push_back(frame);
    std::size_t first = 0;
    if (FindBegin(&first)) {
        Begin(first);
    } else {
        TrimHeld();
    }
}

// While the background is still being learnt, all that is held is looked at anew: a stream that
// starts within speech shows its background only at the first pause.
bool SpeechSegmenter::FindBegin(std::size_t* first_frame) const {
    const auto is_active = [this](const Frame& frame) {
        return threshold_.StartsSpeech(frame.level_db, background_.Db());
    };
    std::size_t from = 0;
    if (background_.IsSettled() && held_.size() > kBeginFrames) from = held_.size() - kBeginFrames;
    for (; from + kBeginActive <= held_.size(); ++from) {
        const auto begin = held_.begin() + static_cast<std::ptrdiff_t>(from);
        const auto end =
            begin + static_cast<std::ptrdiff_t>(std::min(kBeginFrames, held_.size() - from));
        if (is_active(*begin) &&
            std::count_if(begin, end, is_active) >= static_cast<std::ptrdiff_t>(kBeginActive)) {
            *first_frame = from;
            return true;
        }
    }
    return false;
}

void SpeechSegmenter::Begin(std::size_t first_frame) {
    const std::size_t dropped = first_frame - std::min(first_frame, kLeadFrames);
    held_.erase(held_.begin(), held_.begin() + static_cast<std::ptrdiff_t>(dropped));
    held_from_ += static_cast<std::int64_t>(dropped * kFrameSamples);
    is_in_speech_ = true;
    recent_activity_ = 0;
    silent_ms_ = 0;
    delivered_ms_ = 0;
    sink_->OnSpeechBegin(held_from_);
    has_heard_speech_ = true;
    // The held frames run through the rules for frames within speech, like those that follow.
    std::deque<Frame> replay = std::exchange(held_, {});
    while (!replay.empty() && is_in_speech_) {
        Follow(replay.front());
        replay.pop_front();
    }
    held_.insert(held_.end(), replay.begin(), replay.end());
}

void SpeechSegmenter::Follow(const Frame& frame) {
    const bool is_active = threshold_.KeepsSpeech(frame.level_db, background_.Db());
    recent_activity_ = (recent_activity_ << 1 | (is_active ? 1U : 0U)) & kRecentMask;
    held_.push_back(frame);
    silent_ms_ = std::popcount(recent_activity_) >= kRecentActive ? 0 : silent_ms_ + kFrameMs;
    if (silent_ms_ <= kTrailMs) DeliverHeld();
    if (is_in_speech_ && silent_ms_ >= std::max(settings_.tail_ms, kShortestTailMs)) End();
}

void SpeechSegmenter::DeliverHeld() {
    while (!held_.empty() && is_in_speech_) {
        sink_->OnSpeech(held_.front().samples);
        held_.pop_front();
        held_from_ += static_cast<std::int64_t>(kFrameSamples);
        delivered_ms_ += kFrameMs;
        if (delivered_ms_ >= settings_.max_ms) End();
    }
}

void SpeechSegmenter::End() {
    is_in_speech_ = false;
    has_ended_ = true;
    sink_->OnSpeechEnd(std::min(held_from_, taken_));
}

void SpeechSegmenter::TrimHeld() {
    while (background_.IsSettled() && held_.size() > kBeginFrames + kLeadFrames) {
        held_.pop_front();
        held_from_ += static_cast<std::int64_t>(kFrameSamples);
    }
}

}  // namespace orvx
