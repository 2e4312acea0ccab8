#include "ContainerSource.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <mutex>
#include <new>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <utility>

#include "Errors.h"
#include "Id3Tag.h"
#include "SoundOpenings.h"
#include "WavStream.h"

namespace recognize {

namespace {

constexpr int kMaxChannels = 64;  // these bound the buffers for a nonsensical header
constexpr int kMinRate = 1000;
constexpr int kMaxRate = 768000;

constexpr char kEndMissing[] = "is cut short: its end is missing";
constexpr double kToleratedGap = 0.01;  // seconds; headers are not always exact

// A header of a stream that was not finished claims at least this many samples, however wide.
constexpr sf_count_t kEndlessSamples = sf_count_t{1} << 28;

// SF_COUNT_MAX, or what the audio library makes of a length that it does not know.
constexpr sf_count_t kUnknownFrames = SF_COUNT_MAX >> 16;

const char* WhyUnreadable(int sndfile_error) {
    switch (sndfile_error) {
        case SF_ERR_UNRECOGNISED_FORMAT:
            return "is no recording of a known form (WAV, FLAC, Ogg and others); raw samples need "
                   "a name in .raw or .pcm, or --rate HZ on standard input";
        case SF_ERR_MALFORMED_FILE:
            return kHeaderDamaged;
        case SF_ERR_UNSUPPORTED_ENCODING:
            return "is no recording that can be read: its coding is not supported";
        default:
            return "is no recording that can be read: it is damaged or of an unknown form";
    }
}

bool IsWantOfMemory(int sndfile_error) {  // for which the audio library has no public number
    return std::string_view(::sf_error_number(sndfile_error)).find("malloc") != std::string::npos;
}

bool IsMpeg(const SF_INFO& info) {
    const int coding = info.format & SF_FORMAT_SUBMASK;
    return coding >= SF_FORMAT_MPEG_LAYER_I && coding <= SF_FORMAT_MPEG_LAYER_III;
}

std::string SecondsText(double seconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f s", seconds);
    return text;
}

}  // namespace

ContainerSource::ContainerSource(InputFile input, std::size_t wanted_channels)
    : input_(std::move(input)), wanted_channels_(wanted_channels) {
    input_.PrepareForHeader();
    if (!input_.IsLive()) {
        if (input_.Length() == 0) {
            throw AudioError("is empty");
        }
        // The audio library would pass it over, and then miss as many bytes of what is behind it.
        input_.BeginAt(BytesOfForeignTag(input_));
    }
    header_ = ReadWavHeader(input_);
    SF_INFO info{};
    Open(&info);
    RequireUsable(info);
    JudgeHeader(info);
}

std::unique_ptr<SoundStream> ContainerSource::MakeStream() {
    if (header_) {
        return std::make_unique<WavStream>(input_, *header_);
    }
    return std::make_unique<FileStream>(input_);
}

void ContainerSource::Open(SF_INFO* info) {
    OpenThrough(MakeStream(), info);
    if (IsMpeg(*info)) {
        // Unless it tells its length itself, the audio library would estimate that by the length of
        // the file and its first sounds, and read no further.
        std::unique_ptr<SoundStream> stream = MakeStream();
        stream->HideEnd();
        OpenThrough(std::move(stream), info);
        if (info->frames < kUnknownFrames) {  // then a cut is told better with the file's end
            OpenThrough(MakeStream(), info);
        }
    }
    // The end of an Ogg file tells it; an encoder of FLAC that could not go back told none.
    const bool is_ogg = (info->format & SF_FORMAT_TYPEMASK) == SF_FORMAT_OGG;
    is_length_told_ = is_ogg || info->frames < kUnknownFrames;
}

void ContainerSource::OpenThrough(std::unique_ptr<SoundStream> stream, SF_INFO* info) {
    file_.reset();
    stream_ = std::move(stream);
    *info = {};
    {
        std::shared_lock lock(g_openings, std::defer_lock);
        if (!input_.IsLive()) {  // which may be long in coming
            lock.lock();
        }
        errno = 0;
        file_.reset(stream_->Open(info));
    }
    const bool may_lack_memory = errno == ENOMEM;  // allocations that succeed leave it, too
    stream_->RethrowFailure();
    if (file_ == nullptr) {
        const int error = input_.IsLive() ? ::sf_error(nullptr) : WhyNotOpened();
        if (IsWantOfMemory(error) || (error == SF_ERR_NO_ERROR && may_lack_memory)) {
            throw std::bad_alloc();
        }
        throw AudioError(WhyUnreadable(error));
    }
}

// The opening is made again, alone. Where it succeeds now, that is no error.
int ContainerSource::WhyNotOpened() const {
    const std::unique_lock lock(g_openings);
    SF_INFO info{};
    const std::unique_ptr<SNDFILE, Closer> file(stream_->Open(&info));
    return ::sf_error(nullptr);
}

void ContainerSource::RequireUsable(const SF_INFO& info) const {
    if (info.channels > kMaxChannels) {
        throw AudioError("has too many channels");
    }
    if (info.samplerate < kMinRate || info.samplerate > kMaxRate) {
        throw AudioError("has a rate of " + std::to_string(info.samplerate) + " Hz; it must be " +
                         std::to_string(kMinRate) + " to " + std::to_string(kMaxRate));
    }
    if (wanted_channels_ > 1 && static_cast<std::size_t>(info.channels) != wanted_channels_) {
        throw AudioError("has " + std::to_string(info.channels) +
                         (info.channels == 1 ? " channel" : " channels") + "; a call needs " +
                         std::to_string(wanted_channels_) + ", one for each speaker");
    }
}

void ContainerSource::JudgeHeader(const SF_INFO& info) {
    rate_ = info.samplerate;
    channels_ = static_cast<std::size_t>(info.channels);
    frames_left_ = info.frames;
    if (input_.IsLive()) {
        return;
    }
    if (info.frames < kUnknownFrames) {
        seconds_ = static_cast<double>(info.frames) / rate_;
    }
    // What an MP3 within tells is what there was once, if it tells anything.
    const bool is_told_within = IsMpeg(info) && is_length_told_;
    if (header_ && header_->is_unfinished) {
        warning_ = "was never finished: its header announces no audio";
        if (!IsMpeg(info)) {
            warning_ += ", " + SecondsText(seconds_.value_or(0)) + " are there";
        }
    } else if (header_ && !header_->is_endless && !is_told_within) {
        JudgeLength(info);
    }
}

// Of a WAV file.
void ContainerSource::JudgeLength(const SF_INFO& info) {
    const auto announced_bytes = static_cast<double>(header_->data_bytes);
    const auto bytes = static_cast<double>(input_.Length() - header_->data_begin);
    if (bytes >= announced_bytes) {
        return;
    }
    if (!is_length_told_) {
        warning_ = kEndMissing;
        return;
    }
    const double present = static_cast<double>(info.frames) / rate_;
    // Not every program writes the true rate into the header of a coding with blocks.
    const double bytes_per_second =
        present > 0 ? bytes / present : static_cast<double>(header_->BytesPerSecond());
    const double announced = bytes_per_second > 0 ? announced_bytes / bytes_per_second : 0;
    if (present + kToleratedGap < announced) {
        WarnOfCut(present, announced);
    }
}

std::size_t ContainerSource::Read(std::span<float> samples) {
    std::size_t wanted = samples.size() / wanted_channels_;
    if (input_.IsLive()) {  // whoever wrote it may keep the pipe open behind its last sample
        wanted = static_cast<std::size_t>(
            std::clamp<sf_count_t>(frames_left_, 0, static_cast<sf_count_t>(wanted)));
        if (wanted == 0) {
            return 0;
        }
    }
    input_.WaitForBytes();
    const std::size_t count = ReadFrames(wanted);
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

std::size_t ContainerSource::ReadFrames(std::size_t wanted) {
    interleaved_.resize(wanted * channels_);
    const sf_count_t frames =
        ::sf_readf_float(file_.get(), interleaved_.data(), static_cast<sf_count_t>(wanted));
    stream_->RethrowFailure();
    const sf_count_t count = std::max<sf_count_t>(frames, 0);
    frames_left_ -= count;
    frames_read_ += count;
    if (count < static_cast<sf_count_t>(wanted) && ::sf_error(file_.get()) != SF_ERR_NO_ERROR) {
        JudgeFault();
    }
    // What is no number would spread to all that the resampler makes of it.
    std::ranges::replace_if(
        interleaved_, [](float sample) { return !std::isfinite(sample); }, 0.0F);
    return static_cast<std::size_t>(count);
}

// Where the audio library can read no further. What it has read counts, as of a recording that was
// cut short.
void ContainerSource::JudgeFault() {
    if (frames_read_ == 0) {
        throw AudioError(WhyUnreadable(SF_ERR_MALFORMED_FILE));
    }
    if (!stream_->HasRunOut()) {
        WarnOfDamage();
    } else if (!is_length_told_) {
        warning_ = kEndMissing;  // within its last frame
    }
}

void ContainerSource::WarnOfDamage() {
    warning_ = "is damaged after " + SecondsText(SecondsRead()) + ": the rest is not heard";
}

void ContainerSource::WarnOfCut(double present, double announced) {
    warning_ = "is cut short: its header announces " + SecondsText(announced) + ", " +
               SecondsText(present) + " are there";
}

// Where the audio library reads no further: have as many frames come as were announced?
void ContainerSource::JudgeEnd() {
    const sf_count_t announced = frames_read_ + frames_left_;
    const double missing = static_cast<double>(frames_left_) / rate_;
    if (!warning_.empty() || !is_length_told_ || missing <= kToleratedGap) {
        return;
    }
    if (!input_.IsLive() && !stream_->HasRunOut()) {
        WarnOfDamage();
    } else if (!input_.IsLive() && announced >= kUnknownFrames) {
        warning_ = kEndMissing;
    } else if (announced < kEndlessSamples / static_cast<sf_count_t>(channels_)) {
        WarnOfCut(SecondsRead(), static_cast<double>(announced) / rate_);
    }
}

void ContainerSource::MixDown(std::size_t frames, std::span<float> mono) const {
    for (std::size_t i = 0; i < frames; ++i) {
        double sum = 0;
        for (std::size_t c = 0; c < channels_; ++c) {
            sum += interleaved_[i * channels_ + c];
        }
        mono[i] = static_cast<float>(sum / static_cast<double>(channels_));
    }
}

}  // namespace recognize
