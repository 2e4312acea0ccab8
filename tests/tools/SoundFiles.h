// Recordings made for the tests.
#pragma once

#include <sndfile.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

using Samples = std::vector<std::int16_t>;

// A tone of 440 hertz at half of full scale.
inline Samples Tone(int rate, double seconds) {
    Samples samples(static_cast<std::size_t>(rate * seconds));
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double phase = 2 * M_PI * 440 * static_cast<double>(i) / rate;
        samples[i] = static_cast<std::int16_t>(16384 * std::sin(phase));
    }
    return samples;
}

// Writes interleaved samples in a format of libsndfile.
inline void WriteSound(const std::string& path, int format, int rate, int channels,
                       const Samples& samples) {
    SF_INFO info{0, rate, channels, format, 0, 0};
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    sf_command(file, SFC_SET_SCALE_INT_FLOAT_WRITE, nullptr, SF_TRUE);
    sf_write_short(file, samples.data(), static_cast<sf_count_t>(samples.size()));
    sf_close(file);
}

inline void WriteWav(const std::string& path, const Samples& samples, int rate = 16000) {
    WriteSound(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, rate, 1, samples);
}
