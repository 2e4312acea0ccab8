// One channel of an utterance's audio: its stretches of speech, on their way to the decoders.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "DecoderPool.h"
#include "SpeechSegmenter.h"

namespace orvx {

// Told what a channel finds. Times count from the start of the audio.
class StretchSink {
  public:
    // Whether a stretch that begins here is to be decoded.
    virtual bool OnStretchBegin(int start_ms) = 0;
    // `job` is fed and not closed.
    virtual void OnStretchEnd(std::size_t channel, int start_ms, int end_ms,
                              DecoderPool::JobHandle job) = 0;

  protected:
    ~StretchSink() = default;
};

// Not for use by two threads at once.
class SpeechChannel final : private SpeechSink {
  public:
    // Borrows the pool and the sink.
    SpeechChannel(std::size_t number, const SegmenterSettings& segmenter, const JobSettings& job,
                  DecoderPool* decoders, StretchSink* sink);
    ~SpeechChannel() = default;
    SpeechChannel(const SpeechChannel&) = delete;
    SpeechChannel& operator=(const SpeechChannel&) = delete;

    // The next samples of the channel, 16 kHz.
    void Give(std::vector<std::int16_t> samples);
    // Whether some of them are left to listen to.
    bool HasSamples() const { return position_ < samples_.size(); }
    // Listens to at most so many, and not beyond the end of the first stretch that ends in them.
    void Listen(std::size_t most);
    // The audio is over.
    void Finish();
    // Gives up the stretch that is open, and frees what is held.
    void Release();

    bool HasHeardSpeech() const { return segmenter_.HasHeardSpeech(); }
    std::int64_t SamplesHeard() const { return segmenter_.Samples(); }
    // No stretch that is still unknown can begin before this.
    int SettledMs() const;

  private:
    void OnSpeechBegin(std::int64_t first_sample) override;
    void OnSpeech(std::span<const std::int16_t> samples) override;
    void OnSpeechEnd(std::int64_t end_sample) override;
    void FlushSpeech();

    const std::size_t number_;
    const JobSettings job_settings_;
    DecoderPool* const decoders_;
    StretchSink* const sink_;
    SpeechSegmenter segmenter_;
    std::vector<std::int16_t> samples_;  // not yet searched for speech, from position_ on
    std::size_t position_ = 0;
    DecoderPool::JobHandle open_job_;   // of the stretch that is being spoken
    std::vector<std::int16_t> speech_;  // what it has not been fed yet
    int open_start_ms_ = 0;
};

}  // namespace orvx
