#include "ContainerSource.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <mutex>
#include <string>
#include <utility>

#include "Errors.h"
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

const char* WhyUnreadable(int sndfile_error) {
    switch (sndfile_error) {
        case SF_ERR_UNRECOGNISED_FORMAT:
            return "is no recording of a known form (WAV, FLAC, Ogg and others), nor "
                   "named .raw or .pcm, as raw samples are";
        case SF_ERR_MALFORMED_FILE:
            return "is no recording that can be read: its header is damaged";
        case SF_ERR_UNSUPPORTED_ENCODING:
            return "is no recording that can be read: its coding is not supported";
        default:
            return "is no recording that can be read: it is damaged or of an unknown form";
    }
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
    if (!input_.IsLive() && input_.Length() == 0) {
        throw AudioError("is empty");
    }
    header_ = ReadWavHeader(input_);
    SF_INFO info{};
    Open(&info);
    RequireUsable(info);
    JudgeHeader(info);
}

void ContainerSource::Open(SF_INFO* info) {
    if (input_.IsLive() && !header_) {
        throw AudioError(WhyUnreadable(SF_ERR_MALFORMED_FILE));
    }
    is_unfinished_ = !input_.IsLive() && header_ && IsUnfinished(*header_, input_);
    if (input_.IsLive() || is_unfinished_) {
        return OpenThrough(std::make_unique<WavStream>(input_, *header_), info);
    }
    OpenThrough(std::make_unique<FileStream>(input_), info);
    if ((info->format & SF_FORMAT_TYPEMASK) == SF_FORMAT_MPEG) {
        OpenThrough(std::make_unique<Mp3Stream>(input_), info);
        is_length_told_ = info->frames != SF_COUNT_MAX;
        if (is_length_told_) {  // then a cut is told better with the file's end
            OpenThrough(std::make_unique<FileStream>(input_), info);
        }
    }
}

void ContainerSource::OpenThrough(std::unique_ptr<SoundStream> stream, SF_INFO* info) {
    static std::mutex opening;  // why is told of any thread's last opening
    std::unique_lock lock(opening, std::defer_lock);
    if (!input_.IsLive()) {  // which may be long in coming
        lock.lock();
    }
    file_.reset();
    stream_ = std::move(stream);
    *info = {};
    file_.reset(stream_->Open(info));
    stream_->RethrowFailure();
    if (file_ == nullptr) {
        throw AudioError(WhyUnreadable(::sf_error(nullptr)));
    }
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
    if (info.frames != SF_COUNT_MAX) {
        seconds_ = static_cast<double>(info.frames) / rate_;
    }
    if (is_unfinished_) {
        warning_ = "was never finished: its header announces no audio, " +
                   SecondsText(seconds_.value_or(0)) + " are there";
    } else if (header_ && !header_->IsEndless() && header_->BytesPerSecond() != 0) {
        const auto rate = static_cast<double>(header_->BytesPerSecond());
        const double announced = static_cast<double>(header_->data_bytes) / rate;
        const double present = static_cast<double>(input_.Length() - header_->data_begin) / rate;
        if (present + kToleratedGap < announced) {
            WarnOfCut(present, announced);
        }
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
    if (frames <= 0 && ::sf_error(file_.get()) != SF_ERR_NO_ERROR) {
        if (is_length_told_) {
            throw AudioError("is damaged after " + SecondsText(SecondsRead()));
        }
        warning_ = kEndMissing;  // within its last frame
    }
    // What is no number would spread to all that the resampler makes of it.
    std::ranges::replace_if(
        interleaved_, [](float sample) { return !std::isfinite(sample); }, 0.0F);
    frames_left_ -= frames;
    frames_read_ += frames;
    return static_cast<std::size_t>(std::max<sf_count_t>(frames, 0));
}

void ContainerSource::WarnOfCut(double present, double announced) {
    warning_ = "is cut short: its header announces " + SecondsText(announced) + ", " +
               SecondsText(present) + " are there";
}

// At the end of the file: are there as many frames as announced?
void ContainerSource::JudgeEnd() {
    const sf_count_t announced = frames_read_ + frames_left_;
    if (!warning_.empty() || frames_left_ <= 0 || !is_length_told_) {
        return;
    }
    if (!input_.IsLive() && announced == SF_COUNT_MAX) {
        warning_ = kEndMissing;
    } else if (announced < kEndlessSamples / static_cast<sf_count_t>(channels_)) {
        WarnOfCut(SecondsRead(), static_cast<double>(announced) / rate_);
    }
}

void ContainerSource::MixDown(std::size_t frames, std::span<float> mono) const {
    for (std::size_t i = 0; i < frames; ++i) {
        float sum = 0;
        for (std::size_t c = 0; c < channels_; ++c) {
            sum += interleaved_[i * channels_ + c];
        }
        mono[i] = sum / static_cast<float>(channels_);
    }
}

}  // namespace recognize
