// A WAV recording that the audio library reads through us: one that flows through a pipe, or whose
// header was never finished. The library gets a header made anew, and behind it the samples.
#pragma once

#include <sndfile.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <span>
#include <string>

#include "InputFile.h"
#include "WavHeader.h"

namespace recognize {

class WavStream {
  public:
    // `input` must outlive the stream, and be read by nobody else.
    WavStream(InputFile& input, const WavHeader& header);
    WavStream(const WavStream&) = delete;
    WavStream& operator=(const WavStream&) = delete;

    // For the caller to close, before the stream goes. Null as sf_open gives it.
    SNDFILE* Open(SF_INFO* info);

    // Throws what kept samples from being read: AudioError, InterruptedError. The audio library, in
    // between, cannot pass it on, and takes it for the end.
    void RethrowFailure() const;

  private:
    sf_count_t Length() const;
    sf_count_t Seek(sf_count_t offset, int whence);
    sf_count_t Read(char* bytes, sf_count_t count);
    std::size_t ReadSamples(std::span<char> bytes);

    InputFile& input_;
    std::string begin_;  // what comes before the samples, for the audio library; while a live
                         // recording is being opened, the first samples too
    const sf_count_t header_bytes_;
    const sf_count_t data_begin_;  // in the recording
    sf_count_t position_ = 0;      // in what the audio library sees
    sf_count_t next_;              // there, of the first byte that was not read yet
    bool is_open_ = false;
    std::exception_ptr failure_;
};

}  // namespace recognize
