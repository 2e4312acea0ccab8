#include "Utterance.h"

#include <algorithm>
#include <asio/post.hpp>
#include <exception>
#include <limits>
#include <utility>

namespace orvx {
namespace {

constexpr std::size_t kDecodedAtOnceBytes = std::size_t{32} << 10;
// How much of a stream's speech the engine adapts to before it begins to decode. More makes the end
// of a short stretch wait for all of its decoding, less costs words.
constexpr std::size_t kStreamOpeningSamples = std::size_t{3} * kSampleRateHz;
// How long the detector takes from the first sound of speech until it is sure, and in the first
// seconds of a stream, while it does not know the background yet.
constexpr int kDetectionMs = 150;
constexpr int kFirstDetectionMs = 1750;

std::uint64_t NextId() {
    static std::atomic<std::uint64_t> last_id{0};
    return ++last_id;
}

int ToMs(std::int64_t samples) {
    return static_cast<int>(samples / kSamplesPerMs);
}

SegmenterSettings MakeSegmenterSettings(const TaskParameters& parameters) {
    return {parameters.vad_tail_ms, parameters.max_seconds * 1000, parameters.vad_threshold};
}

}  // namespace

Utterance::Utterance(const TaskParameters& parameters, const UtteranceLimits& limits,
                     asio::thread_pool* request_threads, DecoderPool* decoders)
    : parameters_(parameters),
      limits_(limits),
      is_recording_(!parameters.IsRealTime()),
      id_(NextId()),
      decoders_(decoders),
      strand_(asio::make_strand(*request_threads)),
      segmenter_(MakeSegmenterSettings(parameters), this) {}

void Utterance::RecogniseRecording(std::string audio, Done done) {
    TakeChunk(next_number_, /*is_closing=*/true, std::move(audio), std::move(done));
}

void Utterance::TakeChunk(int number, bool is_closing, std::string audio, Done done) {
    Chunk chunk{number, is_closing, std::move(audio), std::move(done)};
    asio::post(strand_, [self = shared_from_this(), chunk = std::move(chunk)]() mutable {
        self->waiting_.push_back(std::move(chunk));
        if (!self->current_) self->TakeNextChunk();
    });
}

void Utterance::Abandon() {
    is_abandoned_ = true;
    asio::post(strand_, [self = shared_from_this()] {
        self->Fail({LEXO_ERR_RECOG_FAILED, "the utterance was abandoned"});
    });
}

double Utterance::SecondsOfAudio() const {
    return static_cast<double>(samples_heard_.load()) / kSampleRateHz;
}

void Utterance::TakeNextChunk() {
    if (waiting_.empty()) return;
    current_ = std::move(waiting_.front());
    waiting_.pop_front();
    audio_position_ = 0;
    if (is_over_) {
        return Fail({LEXO_ERR_REALTIME_SESSION_TIMEOUT, "the utterance is over"});
    }
    if (const auto failure = CheckChunk()) return Fail(*failure);
    ++next_number_;
    Advance();
}

std::optional<Failure> Utterance::CheckChunk() const {
    if (current_->number != next_number_) {
        return Failure{LEXO_ERR_RECOG_FAILED, "chunk " + std::to_string(current_->number) +
                                                  " came where chunk " +
                                                  std::to_string(next_number_) + " was due"};
    }
    const AudioFormatInfo& format = DescribeAudioFormat(parameters_.audio_format);
    const std::size_t samples = current_->audio.size() / format.block_bytes * format.block_samples;
    const std::size_t most = static_cast<std::size_t>(limits_.max_request_seconds) *
                             static_cast<std::size_t>(format.sample_rate_hz);
    if (samples <= most) return std::nullopt;
    return Failure{is_recording_ ? LEXO_ERR_PARAM_INVALID : LEXO_ERR_RECOG_FAILED,
                   "data holds more audio than this server takes in one request, " +
                       std::to_string(limits_.max_request_seconds) + " s"};
}

// ---- From audio to stretches of speech ----------------------------------------------------------

void Utterance::Advance() try {
    while (!is_ended_ && !(EndsAtFirstResult() && MustWait()) && FillSamples()) {
        PushSamples();
        if (is_over_ || is_abandoned_) return;
    }
    const bool is_heard_out = is_input_finished_ && samples_position_ == samples_.size();
    if (is_heard_out && !is_ended_ && segmenter_.IsInSpeech()) segmenter_.Finish();
    if (!MustWait()) AnswerChunk();
} catch (const std::exception& error) {
    Fail({LEXO_ERR_RECOG_FAILED, error.what()});
}

// False when all of the chunk has been searched for speech.
bool Utterance::FillSamples() {
    if (samples_position_ < samples_.size()) return true;
    samples_.clear();
    samples_position_ = 0;
    const std::string_view audio = current_->audio;
    if (audio_position_ < audio.size()) {
        if (!input_) input_.emplace(parameters_.audio_format);
        const std::string_view slice = audio.substr(audio_position_, kDecodedAtOnceBytes);
        audio_position_ += slice.size();
        samples_ = input_->Push(slice);
        return true;
    }
    if (!current_->is_closing || is_input_finished_) return false;
    is_input_finished_ = true;
    if (input_) samples_ = input_->Finish();
    return true;
}

void Utterance::PushSamples() {
    std::span<const std::int16_t> samples = std::span(samples_).subspan(samples_position_);
    if (const auto limit = SamplesToSilenceLimit()) {
        samples = samples.first(std::min(samples.size(), *limit));
    }
    samples_position_ += segmenter_.Push(samples);
    samples_heard_ = segmenter_.Samples();
    FlushSpeech();
    if (SamplesToSilenceLimit() == 0U) is_ended_ = true;
    if (segmenter_.Samples() > std::int64_t{limits_.max_utterance_seconds} * kSampleRateHz) {
        Fail({LEXO_ERR_RECOG_FAILED, "the utterance is longer than this server takes, " +
                                         std::to_string(limits_.max_utterance_seconds) + " s"});
    }
}

// The silence before the first speech is limited, but for continuous streams.
bool Utterance::IsSilenceLimited() const {
    const bool is_continuous = !is_recording_ && !EndsAtFirstResult();
    return !is_continuous && !segmenter_.HasHeardSpeech();
}

// How much more may come until it is certain that no speech began in time; empty when there is no
// such limit (any more).
std::optional<std::size_t> Utterance::SamplesToSilenceLimit() const {
    if (!IsSilenceLimited()) return std::nullopt;
    const int limit_ms = std::max(parameters_.vad_head_ms + kDetectionMs, kFirstDetectionMs);
    const std::int64_t left = std::int64_t{limit_ms} * kSamplesPerMs - segmenter_.Samples();
    return static_cast<std::size_t>(std::max(std::int64_t{0}, left));
}

bool Utterance::EndsAtFirstResult() const {
    return parameters_.stream == StreamMode::kYes || parameters_.stream == StreamMode::kYesRt;
}

void Utterance::OnSpeechBegin(std::int64_t first_sample) {
    open_start_ms_ = ToMs(first_sample);
    if (IsSilenceLimited() && open_start_ms_ > parameters_.vad_head_ms) {
        is_ended_ = true;
        return;
    }
    const std::size_t opening =
        is_recording_ ? std::numeric_limits<std::size_t>::max() : kStreamOpeningSamples;
    open_job_ = decoders_->Open(
        {id_, opening, parameters_.wants_nbest ? limits_.max_sentences : std::size_t{1}, yields_});
}

void Utterance::OnSpeech(std::span<const std::int16_t> samples) {
    if (open_job_) speech_.insert(speech_.end(), samples.begin(), samples.end());
}

void Utterance::OnSpeechEnd(std::int64_t end_sample) {
    if (!open_job_) return;
    FlushSpeech();
    const std::uint64_t number = first_stretch_ + stretches_.size();
    stretches_.push_back({open_start_ms_, ToMs(end_sample), open_job_, std::nullopt});
    decoders_->Close(std::exchange(open_job_, nullptr),
                     [self = shared_from_this(), number](JobResult result) mutable {
                         asio::post(self->strand_, [self, number, result = std::move(result)] {
                             self->OnResult(number, result);
                         });
                     });
}

void Utterance::FlushSpeech() {
    if (open_job_ && !speech_.empty()) decoders_->Feed(open_job_, speech_);
    speech_.clear();
}

}  // namespace orvx
