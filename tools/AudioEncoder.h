// Packing samples into the format that a session has announced to the server.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>

struct sf_private_tag;

namespace recognize {

// What a value of LEXO_PARAM_AUDIOFORMAT means.
struct AudioFormat {
    int parameter_value;
    int rate;            // hertz
    int sndfile_format;  // 0 when this program cannot make it
};

inline constexpr int kPcm16k16Bit = 6;  // the value of LEXO_PARAM_AUDIOFORMAT used by default

// Throws UsageError for a format that this program cannot make.
const AudioFormat& FindAudioFormat(int parameter_value);

class AudioEncoder {
  public:
    // Throws AudioError when the codec cannot be set up, also when it cannot take so many channels.
    AudioEncoder(const AudioFormat& format, std::size_t channels);
    ~AudioEncoder();
    AudioEncoder(const AudioEncoder&) = delete;
    AudioEncoder& operator=(const AudioEncoder&) = delete;

    // Takes whole frames of samples of -1 to 1 (anything beyond is clipped) and returns the bytes
    // that they complete. A format with blocks, such as GSM 06.10, keeps the begun block for the
    // next call.
    std::string Encode(std::span<const float> samples);

    // The bytes of the begun block, padded with silence. No Encode after this.
    std::string Finish();

  private:
    struct Sink;
    const std::size_t channels_;
    std::unique_ptr<Sink> sink_;  // outlives file_, which writes into it
    sf_private_tag* file_;
};

}  // namespace recognize
