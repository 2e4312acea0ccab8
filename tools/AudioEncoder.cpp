#include "AudioEncoder.h"

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "Errors.h"
#include "SoundOpenings.h"

namespace recognize {

namespace {

constexpr AudioFormat kFormats[] = {
    {0, 8000, SF_FORMAT_RAW | SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE},
    {1, 8000, SF_FORMAT_RAW | SF_FORMAT_ALAW},
    {2, 8000, SF_FORMAT_RAW | SF_FORMAT_ULAW},
    {3, 6000, SF_FORMAT_RAW | SF_FORMAT_VOX_ADPCM},
    {4, 8000, SF_FORMAT_RAW | SF_FORMAT_VOX_ADPCM},
    {5, 8000, SF_FORMAT_RAW | SF_FORMAT_GSM610},
    {kPcm16k16Bit, 16000, SF_FORMAT_RAW | SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE},
    {7, 6000, 0},
};

// The exact inverse of reading 16-bit samples as floats; the codec library's own conversion
// scales by 32767, and a recording would not arrive as it is.
std::int16_t Quantise(float sample) {
    const float scaled = std::nearbyint(sample * 32768.0F);
    return static_cast<std::int16_t>(std::clamp(scaled, -32768.0F, 32767.0F));
}

}  // namespace

const AudioFormat& FindAudioFormat(int parameter_value) {
    const auto* found = std::find_if(
        std::begin(kFormats), std::end(kFormats),
        [&](const AudioFormat& format) { return format.parameter_value == parameter_value; });
    if (found == std::end(kFormats) || found->sndfile_format == 0) {
        throw UsageError(
            "audio_format v3_6k4bit cannot be made by this program, which has no encoder for it; "
            "vox6k4bit is the nearest");
    }
    return *found;
}

// An output file in memory. libsndfile asks for the whole set of file operations; for raw formats
// it only ever appends.
struct AudioEncoder::Sink {
    std::string bytes;        // not yet taken
    sf_count_t position = 0;  // bytes written since the beginning

    static Sink* Of(void* self) { return static_cast<Sink*>(self); }
    static sf_count_t Position(void* self) { return Of(self)->position; }
    static sf_count_t Seek(sf_count_t, int, void* self) { return Of(self)->position; }
    static sf_count_t Read(void*, sf_count_t, void*) { return 0; }
    static sf_count_t Write(const void* data, sf_count_t count, void* self) {
        Of(self)->bytes.append(static_cast<const char*>(data), static_cast<std::size_t>(count));
        Of(self)->position += count;
        return count;
    }
};

AudioEncoder::AudioEncoder(const AudioFormat& format, std::size_t channels)
    : channels_(channels), sink_(std::make_unique<Sink>()) {
    SF_VIRTUAL_IO operations = {&Sink::Position, &Sink::Seek, &Sink::Read, &Sink::Write,
                                &Sink::Position};
    SF_INFO info{};
    info.samplerate = format.rate;
    info.channels = static_cast<int>(channels);
    info.format = format.sndfile_format;
    {
        const std::shared_lock lock(g_openings);
        file_ = ::sf_open_virtual(&operations, SFM_WRITE, &info, sink_.get());
    }
    if (file_ == nullptr) {
        throw AudioError("cannot be converted to the audio format of the session" +
                         std::string(channels > 1 ? ", which takes one channel only" : ""));
    }
}

AudioEncoder::~AudioEncoder() {
    ::sf_close(file_);
}

std::string AudioEncoder::Encode(std::span<const float> samples) {
    std::vector<std::int16_t> quantised(samples.size());
    std::transform(samples.begin(), samples.end(), quantised.begin(), &Quantise);
    ::sf_writef_short(file_, quantised.data(),
                      static_cast<sf_count_t>(quantised.size() / channels_));
    return std::exchange(sink_->bytes, {});
}

std::string AudioEncoder::Finish() {
    ::sf_close(std::exchange(file_, nullptr));
    return std::exchange(sink_->bytes, {});
}

}  // namespace recognize
