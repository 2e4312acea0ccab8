// A WAV recording, in a file or flowing through a pipe. The audio library gets a header made anew,
// and behind it the samples and nothing else.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "InputFile.h"
#include "SoundStream.h"
#include "WavHeader.h"

namespace recognize {

class WavStream : public SoundStream {
  public:
    // `input` must outlive the stream, and be read by nobody else.
    WavStream(InputFile& input, const WavHeader& header);

  protected:
    sf_count_t Length() const override;
    std::size_t ReadAt(sf_count_t position, std::span<char> bytes) override;

  private:
    std::size_t ReadSamples(sf_count_t position, std::span<char> bytes);

    InputFile& input_;
    std::string begin_;  // what comes before the samples, for the audio library; while a live
                         // recording is being opened, the first samples too
    const sf_count_t header_bytes_;
    const WavHeader header_;
    sf_count_t next_;  // of the first byte that was not read yet
};

}  // namespace recognize
