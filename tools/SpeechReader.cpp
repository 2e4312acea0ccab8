#include "SpeechReader.h"

#include <algorithm>

#include "Errors.h"

namespace recognize {

namespace {

constexpr int kWholeReadMs = 1000;  // piece by piece also when all of it is wanted

}  // namespace

SpeechReader::SpeechReader(const std::string& name, std::optional<int> raw_rate,
                           const AudioFormat& format, std::size_t channels)
    : channels_(channels),
      rate_(format.rate),
      source_(OpenAudio(name, raw_rate, channels)),
      resampler_(source_->Rate(), format.rate, channels),
      encoder_(format, channels) {
    // A twentieth of a second at a time: short enough for live audio.
    block_.resize(static_cast<std::size_t>(std::max(source_->Rate() / 20, 1)) * channels);
}

void SpeechReader::Fill(std::size_t samples) {
    while (samples_.size() < samples && !source_at_end_) {
        const std::size_t count = source_->Read(block_);
        resampler_.Process(std::span(block_).first(count), &samples_);
        if (count < block_.size()) {
            resampler_.Flush(&samples_);
            source_at_end_ = true;
        }
    }
}

std::string SpeechReader::Next(int milliseconds) {
    const auto frames =
        static_cast<std::size_t>(milliseconds) * static_cast<std::size_t>(rate_) / 1000;
    const std::size_t wanted = std::max<std::size_t>(frames, 1) * channels_;
    std::string bytes;
    // A format with blocks may make no byte of a short piece: then the piece grows.
    while (bytes.empty() && !finished_) {
        Fill(wanted);
        const std::size_t count = std::min(wanted, samples_.size());
        bytes = encoder_.Encode(std::span(samples_).first(count));
        samples_.erase(samples_.begin(), samples_.begin() + static_cast<std::ptrdiff_t>(count));
        frames_read_ += count / channels_;
        if (source_at_end_ && samples_.empty()) {
            bytes += encoder_.Finish();
            finished_ = true;
        }
    }
    return bytes;
}

std::string SpeechReader::All(std::size_t max_bytes) {
    std::string all;
    for (std::string piece; !(piece = Next(kWholeReadMs)).empty();) {
        all += piece;
        if (all.size() > max_bytes) {
            throw AudioError("is too long to be sent in one piece: use --stream continue");
        }
    }
    return all;
}

double SpeechReader::FractionRead() const {
    const double whole = source_->Seconds().value_or(0);
    return whole > 0 ? std::min(SecondsRead() / whole, 1.0) : 0;
}

}  // namespace recognize
