// Finds the stretches of speech in a stream of samples, as they arrive: where each begins, its
// audio with a little of the silence around it, and its end, which is heard once the silence behind
// it has lasted for vad_tail.
//
// The silence after a word is held back until it is known whether speech goes on. So a stretch's
// audio is the same whether the stream came in one piece or in many, and never ends in more silence
// than intended.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <span>
#include <vector>

#include "VoiceActivity.h"

namespace orvx {

struct SegmenterSettings {
    int tail_ms;    // silence that ends a stretch; below 100 counts as 100
    int max_ms;     // longest stretch
    int threshold;  // 1..100, see SpeechThreshold
};

// Told what the segmenter finds. Positions are samples from the start of the stream.
class SpeechSink {
  public:
    virtual void OnSpeechBegin(std::int64_t first_sample) = 0;
    virtual void OnSpeech(std::span<const std::int16_t> samples) = 0;
    virtual void OnSpeechEnd(std::int64_t end_sample) = 0;

  protected:
    ~SpeechSink() = default;
};

// Not for use by two threads at once.
class SpeechSegmenter {
  public:
    // Borrows `sink`.
    SpeechSegmenter(const SegmenterSettings& settings, SpeechSink* sink);

    // Takes samples up to the end of the first stretch that ends within them, or all; returns how
    // many it took.
    std::size_t Push(std::span<const std::int16_t> samples);
    // The stream is over: ends a stretch that is open. Nothing may follow.
    void Finish();

    bool IsInSpeech() const { return is_in_speech_; }
    // Whether any stretch has begun so far; false yet while the first one is announced.
    bool HasHeardSpeech() const { return has_heard_speech_; }
    // Length of all that was taken.
    std::int64_t Samples() const { return taken_; }

  private:
    struct Frame {
        std::array<std::int16_t, kFrameSamples> samples;
        float level_db;
    };

    void TakeFrame();
    bool FindBegin(std::size_t* first_frame) const;
    void Begin(std::size_t first_frame);
    void Follow(const Frame& frame);
    void DeliverHeld();
    void End();
    void TrimHeld();

    const SegmenterSettings settings_;
    const SpeechThreshold threshold_;
    SpeechSink* const sink_;
    LevelMeter meter_;
    BackgroundLevel background_;

    std::vector<std::int16_t> partial_;  // the samples of the next frame
    std::int64_t taken_ = 0;             // samples

    // Before a stretch: what may turn out to be its beginning. Within one: the silence of which it
    // is not known yet whether speech follows.
    std::deque<Frame> held_;
    std::int64_t held_from_ = 0;  // position of the first held sample

    bool is_in_speech_ = false;
    bool has_heard_speech_ = false;
    bool has_ended_ = false;         // a stretch ended in the frame just taken
    unsigned recent_activity_ = 0;   // one bit for each frame of the stretch, the last one lowest
    int silent_ms_ = 0;              // since speech was last active
    std::int64_t delivered_ms_ = 0;  // of this stretch
};

}  // namespace orvx
