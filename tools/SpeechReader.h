// A recording as the server wants it: opened, perhaps mixed down, converted to the session's rate
// and format, in pieces of a wished length. Holds a bounded piece of the recording at any time.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "AudioEncoder.h"
#include "AudioSource.h"
#include "Resampler.h"

namespace recognize {

class SpeechReader {
  public:
    // Opens the recording; see OpenAudio for `channels`. Throws AudioError, InterruptedError.
    SpeechReader(const std::string& name, std::optional<int> raw_rate, const AudioFormat& format,
                 std::size_t channels = 1);

    // The bytes of the next `milliseconds` of audio; shorter, but not empty, at the end, and empty
    // behind it. Throws AudioError, InterruptedError.
    std::string Next(int milliseconds);

    // Everything, in one piece. Throws also when it would be above `max_bytes`.
    std::string All(std::size_t max_bytes);

    const AudioSource& Source() const { return *source_; }

    // Seconds of audio handed out so far.
    double SecondsRead() const { return static_cast<double>(frames_read_) / rate_; }
    // The part of the recording that was handed out, 0 to 1; 0 while the length is unknown.
    double FractionRead() const;

  private:
    void Fill(std::size_t samples);

    const std::size_t channels_;
    const int rate_;  // of the session's format
    std::unique_ptr<AudioSource> source_;
    Resampler resampler_;
    AudioEncoder encoder_;
    std::vector<float> block_;    // at the recording's rate
    std::vector<float> samples_;  // at the session's rate, waiting for the encoder
    bool source_at_end_ = false;
    bool finished_ = false;
    std::size_t frames_read_ = 0;
};

}  // namespace recognize
