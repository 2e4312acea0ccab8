#include "SpeechChannel.h"

#include <algorithm>
#include <utility>

#include "AudioInput.h"

namespace orvx {
namespace {

int ToMs(std::int64_t samples) {
    return static_cast<int>(samples / kSamplesPerMs);
}

}  // namespace

SpeechChannel::SpeechChannel(std::size_t number, const SegmenterSettings& segmenter,
                             const JobSettings& job, DecoderPool* decoders, StretchSink* sink)
    : number_(number),
      job_settings_(job),
      decoders_(decoders),
      sink_(sink),
      segmenter_(segmenter, this) {}

void SpeechChannel::Give(std::vector<std::int16_t> samples) {
    samples_ = std::move(samples);
    position_ = 0;
}

void SpeechChannel::Listen(std::size_t most) {
    std::span<const std::int16_t> samples = std::span(samples_).subspan(position_);
    position_ += segmenter_.Push(samples.first(std::min(samples.size(), most)));
    FlushSpeech();
}

void SpeechChannel::Finish() {
    if (segmenter_.IsInSpeech()) segmenter_.Finish();
}

void SpeechChannel::Release() {
    if (open_job_) decoders_->Cancel(std::exchange(open_job_, nullptr));
    samples_ = std::vector<std::int16_t>();  // "= {}" would keep the memory
    position_ = 0;
    speech_ = std::vector<std::int16_t>();
}

int SpeechChannel::SettledMs() const {
    constexpr int kLatestDetectionMs = 2000;
    return segmenter_.IsInSpeech() ? open_start_ms_
                                   : ToMs(segmenter_.Samples()) - kLatestDetectionMs;
}

void SpeechChannel::OnSpeechBegin(std::int64_t first_sample) {
    open_start_ms_ = ToMs(first_sample);
    if (sink_->OnStretchBegin(open_start_ms_)) open_job_ = decoders_->Open(job_settings_);
}

void SpeechChannel::OnSpeech(std::span<const std::int16_t> samples) {
    if (open_job_) speech_.insert(speech_.end(), samples.begin(), samples.end());
}

void SpeechChannel::OnSpeechEnd(std::int64_t end_sample) {
    if (!open_job_) return;
    FlushSpeech();
    sink_->OnStretchEnd(number_, open_start_ms_, ToMs(end_sample),
                        std::exchange(open_job_, nullptr));
}

void SpeechChannel::FlushSpeech() {
    if (open_job_ && !speech_.empty()) decoders_->Feed(open_job_, speech_);
    speech_.clear();
}

}  // namespace orvx
