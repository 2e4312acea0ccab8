#include "Utterance.h"

#include <algorithm>
#include <asio/post.hpp>
#include <chrono>
#include <exception>
#include <limits>
#include <utility>

#include "Contained.h"

namespace orvx {
namespace {

constexpr std::size_t kDecodedAtOnceBytes = std::size_t{2} << 10;  // of GSM more than a second
// Finding speech in half an hour of telephone audio takes half a minute. Others have their turns
// meanwhile.
constexpr std::chrono::milliseconds kLongestTurn{10};
// Of a recording that comes as 4 MB of GSM, 77 MB would wait for the decoders.
constexpr int kMostAheadMs = 240000;
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

SegmenterSettings MakeSegmenterSettings(const TaskParameters& parameters) {
    return {parameters.vad_tail_ms, parameters.max_seconds * 1000, parameters.vad_threshold};
}

}  // namespace

Utterance::Utterance(RecognitionTask task, const UtteranceLimits& limits,
                     asio::thread_pool* request_threads, TurnQueue* turns, DecoderPool* decoders)
    : task_(std::move(task)),
      limits_(limits),
      is_recording_(!task_.parameters.IsRealTime()),
      id_(NextId()),
      turn_queue_(turns),
      decoders_(decoders),
      strand_(asio::make_strand(*request_threads)) {
    for (std::size_t i = 0; i < task_.parameters.Channels(); ++i) {
        channels_.emplace_back(i, MakeSegmenterSettings(task_.parameters), MakeJobSettings(),
                               decoders_, static_cast<StretchSink*>(this));
    }
}

JobSettings Utterance::MakeJobSettings() const {
    JobSettings settings{};
    settings.owner = id_;
    settings.opening_samples =
        is_recording_ ? std::numeric_limits<std::size_t>::max() : kStreamOpeningSamples;
    settings.max_sentences = task_.parameters.wants_nbest ? limits_.max_sentences : 1;
    settings.task = {task_.capability != Capability::kKeywordSpot, task_.resource};
    settings.yields = yields_;
    return settings;
}

void Utterance::RecogniseRecording(std::string audio, Done done) {
    TakeChunk(next_number_, /*is_closing=*/true, std::move(audio), std::move(done));
}

void Utterance::TakeChunk(int number, bool is_closing, std::string audio, Done done) {
    Chunk chunk{number, is_closing, std::move(audio), std::move(done)};
    *yields_ = false;
    asio::post(strand_, Contained([self = shared_from_this(), chunk = std::move(chunk)]() mutable {
                   self->waiting_.push_back(std::move(chunk));
                   if (!self->current_) self->TakeNextChunk();
               }));
}

void Utterance::Abandon() {
    is_abandoned_ = true;
    asio::post(strand_, Contained([self = shared_from_this()] {
                   self->Fail({LEXO_ERR_RECOG_FAILED, "the utterance was abandoned"});
               }));
}

void Utterance::DropChunks() {
    current_.reset();
    waiting_.clear();
}

double Utterance::SecondsOfAudio() const {
    return static_cast<double>(samples_heard_.load()) / kSampleRateHz;
}

void Utterance::TakeNextChunk() {
    if (waiting_.empty()) return;
    current_ = std::move(waiting_.front());
    waiting_.pop_front();
    audio_position_ = 0;
    turns_ = 0;
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
    const AudioFormatInfo& format = DescribeAudioFormat(task_.parameters.audio_format);
    const std::size_t samples =
        current_->audio.size() / format.block_bytes * format.block_samples / channels_.size();
    const std::size_t most = static_cast<std::size_t>(limits_.max_request_seconds) *
                             static_cast<std::size_t>(format.sample_rate_hz);
    if (samples <= most) return std::nullopt;
    return Failure{is_recording_ ? LEXO_ERR_PARAM_INVALID : LEXO_ERR_RECOG_FAILED,
                   "data holds more audio than this server takes in one request, " +
                       std::to_string(limits_.max_request_seconds) + " s"};
}

// ---- From audio to stretches of speech ----------------------------------------------------------

void Utterance::Advance() try {
    const auto turn_end = std::chrono::steady_clock::now() + kLongestTurn;
    while (!is_ended_ && !IsFarAhead() && FillSamples()) {
        ListenOn();
        if (is_over_ || is_abandoned_) return;
        if (std::chrono::steady_clock::now() >= turn_end) return AdvanceLater();
    }
    if (!is_ended_ && IsFarAhead()) return;  // until a result comes
    if (is_input_finished_ && !HasSamples() && !is_ended_) FinishListening();
    if (!MustWait()) AnswerChunk();
} catch (const std::exception& error) {
    Fail({LEXO_ERR_RECOG_FAILED, FailureText(error)});
}

void Utterance::AdvanceLater() {
    is_to_advance_ = true;
    const auto begin = [self = shared_from_this()](const TurnQueue::Permit& permit) {
        asio::post(self->strand_, Contained([self, permit] {
                       self->is_to_advance_ = false;
                       if (self->is_over_ || self->is_abandoned_) return;
                       if (self->current_) self->Advance();
                   }));
    };
    turn_queue_->Wait({turns_++, yields_, begin});
}

// Whether the decoders have to catch up before more is listened to.
bool Utterance::IsFarAhead() const {
    if (EndsAtFirstResult()) return MustWait();
    int ahead_ms = 0;
    for (const Stretch& stretch : stretches_) {
        if (!stretch.result) ahead_ms += stretch.end_ms - stretch.start_ms;
    }
    return ahead_ms > kMostAheadMs;
}

bool Utterance::HasSamples() const {
    return std::any_of(channels_.begin(), channels_.end(),
                       [](const SpeechChannel& channel) { return channel.HasSamples(); });
}

// False when all of the chunk has been searched for speech.
bool Utterance::FillSamples() {
    if (HasSamples()) return true;
    std::vector<std::vector<std::int16_t>> samples(channels_.size());
    const std::string_view audio = current_->audio;
    if (audio_position_ < audio.size()) {
        if (!input_) input_.emplace(task_.parameters.audio_format, channels_.size());
        const std::string_view slice = audio.substr(audio_position_, kDecodedAtOnceBytes);
        audio_position_ += slice.size();
        samples = input_->Push(slice);
    } else if (current_->is_closing && !is_input_finished_) {
        is_input_finished_ = true;
        if (input_) samples = input_->Finish();
    } else {
        return false;
    }
    for (std::size_t i = 0; i < channels_.size(); ++i) channels_[i].Give(std::move(samples[i]));
    return true;
}

void Utterance::ListenOn() {
    const auto limit = SamplesToSilenceLimit();
    for (SpeechChannel& channel : channels_) {
        channel.Listen(limit.value_or(std::numeric_limits<std::size_t>::max()));
    }
    const std::int64_t heard = channels_.front().SamplesHeard();
    samples_heard_ = heard;
    if (SamplesToSilenceLimit() == 0U) is_ended_ = true;
    if (heard > std::int64_t{limits_.max_utterance_seconds} * kSampleRateHz) {
        Fail({LEXO_ERR_RECOG_FAILED, "the utterance is longer than this server takes, " +
                                         std::to_string(limits_.max_utterance_seconds) + " s"});
    }
}

void Utterance::FinishListening() {
    for (SpeechChannel& channel : channels_) channel.Finish();
}

// The silence before the first speech is limited, but for continuous streams and for searches.
bool Utterance::IsSilenceLimited() const {
    if (task_.IsSearch() || channels_.size() > 1) return false;
    const bool is_continuous = !is_recording_ && !EndsAtFirstResult();
    return !is_continuous && !channels_.front().HasHeardSpeech();
}

// How much more may come until it is certain that no speech began in time; empty when there is no
// such limit (any more).
std::optional<std::size_t> Utterance::SamplesToSilenceLimit() const {
    if (!IsSilenceLimited()) return std::nullopt;
    const int limit_ms = std::max(task_.parameters.vad_head_ms + kDetectionMs, kFirstDetectionMs);
    const std::int64_t left =
        std::int64_t{limit_ms} * kSamplesPerMs - channels_.front().SamplesHeard();
    return static_cast<std::size_t>(std::max(std::int64_t{0}, left));
}

bool Utterance::EndsAtFirstResult() const {
    return task_.parameters.stream == StreamMode::kYes ||
           task_.parameters.stream == StreamMode::kYesRt;
}

bool Utterance::OnStretchBegin(int start_ms) {
    if (!IsSilenceLimited() || start_ms <= task_.parameters.vad_head_ms) return true;
    is_ended_ = true;
    return false;
}

void Utterance::OnStretchEnd(std::size_t channel, int start_ms, int end_ms,
                             DecoderPool::JobHandle job) {
    const std::uint64_t number = first_stretch_ + stretches_.size();
    stretches_.push_back({channel, start_ms, end_ms, job, std::nullopt});
    decoders_->Close(job, [self = shared_from_this(), number](JobResult result) mutable {
        asio::post(self->strand_, Contained([self, number, result = std::move(result)] {
                       self->OnResult(number, result);
                   }));
    });
}

}  // namespace orvx
