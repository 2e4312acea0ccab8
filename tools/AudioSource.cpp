#include "AudioSource.h"

#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <vector>

#include "Errors.h"
#include "InputFile.h"
#include "WavExtent.h"

namespace recognize {

namespace {

constexpr std::size_t kRawSampleBytes = 2;
constexpr int kMaxChannels = 64;  // these two bound the buffers for a nonsensical header
constexpr int kMaxRate = 768000;

constexpr double kToleratedGap = 0.01;  // seconds; headers are not always exact

// A header of a stream that was not finished claims at least this many samples, however wide.
constexpr sf_count_t kEndlessSamples = sf_count_t{1} << 28;

const char* WhyUnreadable(int sndfile_error) {
    switch (sndfile_error) {
        case SF_ERR_UNRECOGNISED_FORMAT:
            return "is no recording of a known form (WAV, FLAC, Ogg and others)";
        case SF_ERR_MALFORMED_FILE:
            return "is no recording that can be read: its header is damaged";
        case SF_ERR_UNSUPPORTED_ENCODING:
            return "is no recording that can be read: its coding is not supported";
        default:
            return "is no recording that can be read: it is damaged or of an unknown form";
    }
}

void RequireContent(const InputFile& input) {
    struct stat info = {};
    if (!input.IsLive() && ::fstat(input.Fd(), &info) == 0 && info.st_size == 0) {
        throw AudioError("is empty");
    }
}

std::string SecondsText(double seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f s", seconds);
    return text;
}

class ContainerSource : public AudioSource {
  public:
    ContainerSource(InputFile input, std::size_t wanted_channels)
        : input_(std::move(input)), wanted_channels_(wanted_channels) {
        input_.PrepareForHeader();
        RequireContent(input_);
        SF_INFO info{};
        file_.reset(::sf_open_fd(input_.Fd(), SFM_READ, &info, SF_FALSE));
        if (file_ == nullptr) {
            throw AudioError(WhyUnreadable(::sf_error(nullptr)));
        }
        if (info.channels > kMaxChannels) {
            throw AudioError("has too many channels");
        }
        if (info.samplerate > kMaxRate) {
            throw AudioError("has a rate above " + std::to_string(kMaxRate) + " Hz");
        }
        rate_ = info.samplerate;
        channels_ = static_cast<std::size_t>(info.channels);
        if (wanted_channels_ > 1 && channels_ != wanted_channels_) {
            throw AudioError("has " + std::to_string(channels_) + " of the " +
                             std::to_string(wanted_channels_) +
                             " channels of a call: one for each speaker");
        }
        frames_left_ = info.frames;
        if (!input_.IsLive() && info.frames != SF_COUNT_MAX) {
            seconds_ = static_cast<double>(info.frames) / rate_;
        }
        const auto wav = input_.IsLive() ? std::nullopt : ReadWavExtent(input_.Fd());
        if (wav && wav->present_seconds + kToleratedGap < wav->announced_seconds) {
            WarnOfCut(wav->present_seconds, wav->announced_seconds);
        }
    }

    std::size_t Read(std::span<float> samples) override {
        if (input_.IsLive() && frames_left_ <= 0) {
            return 0;  // whoever wrote it may keep the pipe open
        }
        input_.WaitForBytes();
        const std::size_t wanted = samples.size() / wanted_channels_;
        interleaved_.resize(wanted * channels_);
        const sf_count_t frames =
            ::sf_readf_float(file_.get(), interleaved_.data(), static_cast<sf_count_t>(wanted));
        if (frames <= 0 && ::sf_error(file_.get()) != SF_ERR_NO_ERROR) {
            throw AudioError("is damaged after " + SecondsText(SecondsRead()));
        }
        // What is no number would spread to all that the resampler makes of it.
        std::ranges::replace_if(
            interleaved_, [](float sample) { return !std::isfinite(sample); }, 0.0F);
        frames_left_ -= frames;
        const auto count = static_cast<std::size_t>(std::max<sf_count_t>(frames, 0));
        frames_read_ += frames;
        if (count < wanted) {
            JudgeEnd();
        }
        if (wanted_channels_ == channels_) {
            std::copy_n(interleaved_.begin(), count * channels_, samples.begin());
        } else {
            MixDown(count, samples);
        }
        return count * wanted_channels_;
    }

  private:
    struct Closer {
        void operator()(SNDFILE* file) const { ::sf_close(file); }
    };

    double SecondsRead() const { return static_cast<double>(frames_read_) / rate_; }

    void WarnOfCut(double present, double announced) {
        warning_ = "is cut short: its header announces " + SecondsText(announced) + ", " +
                   SecondsText(present) + " are there";
    }

    // At the end of the file: are there as many frames as announced?
    void JudgeEnd() {
        const sf_count_t announced = frames_read_ + frames_left_;
        if (!warning_.empty() || frames_left_ <= 0) {
            return;
        }
        if (!input_.IsLive() && announced == SF_COUNT_MAX) {
            warning_ = "is cut short: its end is missing";
        } else if (announced < kEndlessSamples / static_cast<sf_count_t>(channels_)) {
            WarnOfCut(SecondsRead(), static_cast<double>(announced) / rate_);
        }
    }

    void MixDown(std::size_t frames, std::span<float> mono) const {
        for (std::size_t i = 0; i < frames; ++i) {
            float sum = 0;
            for (std::size_t c = 0; c < channels_; ++c) {
                sum += interleaved_[i * channels_ + c];
            }
            mono[i] = sum / static_cast<float>(channels_);
        }
    }

    InputFile input_;
    const std::size_t wanted_channels_;
    std::size_t channels_ = 1;  // of the recording
    std::unique_ptr<SNDFILE, Closer> file_;
    sf_count_t frames_left_ = 0;  // by the header, which claims very many of an endless recording
    sf_count_t frames_read_ = 0;
    std::vector<float> interleaved_;
};

class RawSource : public AudioSource {
  public:
    RawSource(InputFile input, int rate, std::size_t channels) : input_(std::move(input)) {
        rate_ = rate;
        struct stat info = {};
        if (!input_.IsLive() && ::fstat(input_.Fd(), &info) == 0) {
            const auto bytes = static_cast<double>(info.st_size);
            seconds_ = bytes / static_cast<double>(kRawSampleBytes * channels) / rate;
        }
    }

    std::size_t Read(std::span<float> samples) override {
        bytes_.resize(samples.size() * kRawSampleBytes);
        const std::size_t count = FillBytes() / kRawSampleBytes;  // half a sample at the end: none
        for (std::size_t i = 0; i < count; ++i) {
            const unsigned low = bytes_[i * kRawSampleBytes];
            const unsigned high = bytes_[i * kRawSampleBytes + 1];
            samples[i] = static_cast<float>(static_cast<std::int16_t>(high << 8 | low)) / 32768.0F;
        }
        return count;
    }

  private:
    std::size_t FillBytes() {
        std::size_t filled = 0;
        while (filled < bytes_.size()) {
            input_.WaitForBytes();
            const ssize_t count =
                ::read(input_.Fd(), bytes_.data() + filled, bytes_.size() - filled);
            if (count == 0) {
                break;
            }
            if (count > 0) {
                filled += static_cast<std::size_t>(count);
            } else if (errno != EINTR && errno != EAGAIN) {
                throw AudioError(std::string("cannot be read: ") + std::strerror(errno));
            }
        }
        return filled;
    }

    InputFile input_;
    std::vector<unsigned char> bytes_;
};

}  // namespace

bool IsRawName(const std::string& name) {
    const std::string_view text(name);
    return text.ends_with(".raw") || text.ends_with(".pcm");
}

std::unique_ptr<AudioSource> OpenAudio(const std::string& name, std::optional<int> raw_rate,
                                       std::size_t channels) {
    const bool is_raw = IsRawName(name) || (name == kStandardInput && raw_rate.has_value());
    if (is_raw && !raw_rate) {
        throw AudioError("holds raw samples: tell their rate with --rate HZ");
    }
    InputFile input(name);
    if (is_raw) {
        return std::make_unique<RawSource>(std::move(input), *raw_rate, channels);
    }
    return std::make_unique<ContainerSource>(std::move(input), channels);
}

}  // namespace recognize
