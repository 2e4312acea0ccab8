#include "AudioDecoder.h"

#include <sndfile.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace orvx {

// The virtual file: the bytes that have arrived and were not read yet, at their places in the
// stream.
class AudioDecoder::ByteSource {
  public:
    explicit ByteSource(const AudioFormatInfo& format)
        : pretended_bytes_(static_cast<sf_count_t>(kPretendedSamples / format.block_samples *
                                                   format.block_bytes)) {}

    void Append(std::string_view bytes) { bytes_.append(bytes); }
    std::size_t Available() const { return bytes_.size() - position_; }

    // Forgets what was read. libsndfile seeks only while it opens, so nobody looks back.
    void DropRead() {
        bytes_.erase(0, position_);
        position_ = 0;
    }

    static SF_VIRTUAL_IO Callbacks() { return {Length, Seek, Read, Write, Tell}; }

  private:
    // More than a day of audio; libsndfile's GSM codec counts samples in an int.
    static constexpr std::size_t kPretendedSamples = 2'000'000'000;

    static ByteSource& Self(void* self) { return *static_cast<ByteSource*>(self); }
    static sf_count_t Length(void* self) { return Self(self).pretended_bytes_; }
    static sf_count_t Tell(void* self) { return static_cast<sf_count_t>(Self(self).position_); }
    static sf_count_t Write(const void*, sf_count_t, void*) { return 0; }

    static sf_count_t Seek(sf_count_t offset, int whence, void* self) {
        const sf_count_t base = whence == SEEK_SET   ? 0
                                : whence == SEEK_CUR ? Tell(self)
                                                     : Length(self);
        const sf_count_t limit = static_cast<sf_count_t>(Self(self).bytes_.size());
        Self(self).position_ =
            static_cast<std::size_t>(std::clamp(base + offset, sf_count_t{0}, limit));
        return Tell(self);
    }

    static sf_count_t Read(void* to, sf_count_t count, void* self) {
        ByteSource& source = Self(self);
        const std::size_t bytes = std::min(static_cast<std::size_t>(count), source.Available());
        std::memcpy(to, source.bytes_.data() + source.position_, bytes);
        source.position_ += bytes;
        return static_cast<sf_count_t>(bytes);
    }

    const sf_count_t pretended_bytes_;
    std::string bytes_;
    std::size_t position_ = 0;
};

void AudioDecoder::CloseSndfile::operator()(sf_private_tag* file) const {
    sf_close(file);
}

AudioDecoder::AudioDecoder(const AudioFormatInfo& format)
    : format_(format), source_(std::make_unique<ByteSource>(format)) {}

AudioDecoder::~AudioDecoder() = default;

void AudioDecoder::Open() {
    SF_VIRTUAL_IO callbacks = ByteSource::Callbacks();
    SF_INFO info{};
    info.samplerate = format_.sample_rate_hz;
    info.channels = 1;
    info.format = SF_FORMAT_RAW | format_.sndfile_format;
    file_.reset(sf_open_virtual(&callbacks, SFM_READ, &info, source_.get()));
    if (!file_) {
        throw std::runtime_error(std::string("cannot decode ") + format_.name + ": " +
                                 sf_strerror(nullptr));
    }
}

void AudioDecoder::Decode(std::string_view bytes, std::vector<float>* samples) {
    source_->Append(bytes);
    const std::size_t blocks = source_->Available() / format_.block_bytes;
    if (blocks == 0) return;
    if (!file_) Open();
    const std::size_t wanted = blocks * format_.block_samples;
    const std::size_t former = samples->size();
    samples->resize(former + wanted);
    const sf_count_t got =
        sf_read_float(file_.get(), samples->data() + former, static_cast<sf_count_t>(wanted));
    source_->DropRead();
    if (got != static_cast<sf_count_t>(wanted)) {
        throw std::runtime_error(std::string("decoding ") + format_.name +
                                 " failed: " + sf_strerror(file_.get()));
    }
}

}  // namespace orvx
