// One utterance: a one-shot recording, or the chunks of a real-time stream, from its bytes to what
// its answers say. Finding speech happens here, on the request threads; recognising it is the
// decoder pool's.
//
// Chunks are worked on strictly one after another, though they may arrive by several connections;
// an answer waits for the recognition of the stretches that ended within its chunk, and for nothing
// else.
#pragma once

#include <asio/strand.hpp>
#include <asio/thread_pool.hpp>
#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "AudioInput.h"
#include "DecoderPool.h"
#include "Failure.h"
#include "Outcome.h"
#include "RecognitionTask.h"
#include "SilenceFinder.h"
#include "SpeechChannel.h"
#include "TurnQueue.h"

namespace orvx {

struct UtteranceLimits {
    int max_request_seconds;    // of audio in one recording or chunk
    int max_utterance_seconds;  // of audio in one stream
    std::size_t max_sentences;  // where alternatives are asked for
};

// Always held by a shared_ptr. Every public member may be called by any thread at any time.
class Utterance final : public std::enable_shared_from_this<Utterance>, private StretchSink {
  public:
    using Done = std::function<void(const Outcome&)>;

    // Borrows the rest. The request threads must outlive the decoders, and all of them the
    // utterance.
    Utterance(RecognitionTask task, const UtteranceLimits& limits,
              asio::thread_pool* request_threads, TurnQueue* turns, DecoderPool* decoders);

    // The whole of a recording. `done` is called once, by any thread.
    void RecogniseRecording(std::string audio, Done done);
    // Chunk `number` (from 1) of a stream; the closing one ends it. `done` as above; it may come
    // uncalled to its end when the server stops.
    void TakeChunk(int number, bool is_closing, std::string audio, Done done);
    // Nobody wants it any more: frees what it holds. A chunk under way is answered with a failure.
    void Abandon();
    // Drops the chunks that are not answered, uncalled: each may hold the utterance that holds it.
    // Only when the request threads have ended.
    void DropChunks();
    // Until the next chunk comes, other utterances' speech is recognised first.
    void Yield() { *yields_ = true; }

    double SecondsOfAudio() const;  // listened to so far

  private:
    struct Chunk {
        int number;
        bool is_closing;
        std::string audio;
        Done done;
    };
    struct Stretch {
        std::size_t channel;
        int start_ms;
        int end_ms;
        DecoderPool::JobHandle job;
        std::optional<JobResult> result;
    };

    bool OnStretchBegin(int start_ms) override;
    void OnStretchEnd(std::size_t channel, int start_ms, int end_ms,
                      DecoderPool::JobHandle job) override;

    JobSettings MakeJobSettings() const;
    void TakeNextChunk();
    std::optional<Failure> CheckChunk() const;
    void Advance();
    void AdvanceLater();
    bool IsFarAhead() const;
    bool HasSamples() const;
    bool FillSamples();
    void ListenOn();
    void FinishListening();
    bool EndsAtFirstResult() const;
    bool MustWait() const;
    void OnResult(std::uint64_t stretch, const JobResult& result);
    bool IsSilenceLimited() const;
    std::optional<std::size_t> SamplesToSilenceLimit() const;
    void AnswerChunk();
    Outcome SummariseChunk();
    bool TakesWordlessSpeechForNoise() const;
    bool HasResult(const Outcome& outcome) const;
    std::vector<Segment> TakeSegments();
    Segment MakeSegment(const Stretch& stretch) const;
    std::vector<Silence> TakeSilences(const std::vector<Segment>& segments);
    void Fail(Failure failure);
    void Reply(const Outcome& outcome);
    void Release();

    const RecognitionTask task_;
    const UtteranceLimits limits_;
    const bool is_recording_;  // one-shot
    const std::uint64_t id_;
    TurnQueue* const turn_queue_;
    DecoderPool* const decoders_;
    asio::strand<asio::thread_pool::executor_type> strand_;

    std::atomic<std::int64_t> samples_heard_{0};
    std::atomic<bool> is_abandoned_{false};
    const std::shared_ptr<std::atomic<bool>> yields_ = std::make_shared<std::atomic<bool>>(false);

    // All that follows is touched on the strand only.
    std::deque<Chunk> waiting_;
    std::optional<Chunk> current_;
    int next_number_ = 1;

    std::optional<AudioInput> input_;  // from the first audio on
    std::deque<SpeechChannel> channels_;
    std::size_t audio_position_ = 0;  // in the current chunk's bytes
    bool is_input_finished_ = false;
    int turns_ = 0;               // that the current chunk has had, but for the first
    bool is_to_advance_ = false;  // in the next turn

    std::deque<Stretch> stretches_;    // that ended and are not answered yet
    std::uint64_t first_stretch_ = 0;  // number of the first of them
    std::size_t keywords_ = 0;         // that were found in them
    SilenceFinder silences_;
    bool has_heard_anything_ = false;  // that was answered
    bool is_ended_ = false;            // further audio is ignored
    bool is_over_ = false;
};

}  // namespace orvx
