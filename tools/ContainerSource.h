// A recording in a file of a form with a header: WAV, FLAC, Ogg and what else libsndfile knows.
#pragma once

#include <sndfile.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "AudioSource.h"
#include "InputFile.h"
#include "SoundStream.h"
#include "WavHeader.h"

namespace recognize {

class ContainerSource : public AudioSource {
  public:
    // See OpenAudio for `wanted_channels`. Throws AudioError, InterruptedError.
    ContainerSource(InputFile input, std::size_t wanted_channels);

    std::size_t Read(std::span<float> samples) override;

  private:
    struct Closer {
        void operator()(SNDFILE* file) const { ::sf_close(file); }
    };

    std::unique_ptr<SoundStream> MakeStream();
    void Open(SF_INFO* info);
    void OpenThrough(std::unique_ptr<SoundStream> stream, SF_INFO* info);
    int WhyNotOpened() const;
    void RequireUsable(const SF_INFO& info) const;
    void JudgeHeader(const SF_INFO& info);
    void JudgeLength(const SF_INFO& info);
    void JudgeFault();
    void JudgeEnd();
    void WarnOfDamage();
    void WarnOfCut(double present, double announced);
    double SecondsRead() const { return static_cast<double>(frames_read_) / rate_; }
    std::size_t ReadFrames(std::size_t wanted);
    void MixDown(std::size_t frames, std::span<float> mono) const;

    InputFile input_;
    const std::size_t wanted_channels_;
    std::size_t channels_ = 1;         // of the recording
    std::optional<WavHeader> header_;  // of a WAV file
    bool is_length_told_ = true;       // where the end is cannot be judged otherwise
    std::unique_ptr<SoundStream> stream_;
    std::unique_ptr<SNDFILE, Closer> file_;
    sf_count_t frames_left_ = 0;  // by the header, which claims very many of an endless recording
    sf_count_t frames_read_ = 0;
    std::vector<float> interleaved_;
};

}  // namespace recognize
