// Reading a recording: any file that libsndfile knows (WAV, FLAC, Ogg and many more), or raw
// samples. What comes out is float samples at the recording's own rate: one channel, to which
// several are mixed down, or as many as are wanted, sample by sample in turn.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace recognize {

class AudioSource {
  public:
    virtual ~AudioSource() = default;

    // Fills `samples`, a whole number of frames, with samples of -1 to 1, waiting for them when the
    // recording is live. A count below the span's size, 0 included, means the end.
    // Throws AudioError (damaged recording), InterruptedError.
    virtual std::size_t Read(std::span<float> samples) = 0;

    int Rate() const { return rate_; }  // hertz
    // The recording's length in seconds, unless it is live.
    std::optional<double> Seconds() const { return seconds_; }

    // What a user should know although the recording can be used: that it is cut short, say.
    // Complete once its end was read.
    const std::string& Warning() const { return warning_; }

  protected:
    std::string warning_;
    int rate_ = 0;
    std::optional<double> seconds_;
};

// Whether the name says that the file holds raw samples: it ends in .raw or .pcm.
bool IsRawName(const std::string& name);

// Opens a recording; "-" is standard input. Raw samples are 16-bit little-endian at `raw_rate`
// hertz, of as many channels as are wanted; they are read from files with a raw name, which need
// `raw_rate`, and, when `raw_rate` is given, from standard input. For one channel others are mixed
// down; for more the recording must have just as many.
// Throws AudioError, InterruptedError.
std::unique_ptr<AudioSource> OpenAudio(const std::string& name, std::optional<int> raw_rate,
                                       std::size_t channels);

}  // namespace recognize
