// Recordings made for the tests.
#pragma once

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

using Samples = std::vector<std::int16_t>;

// Samples of 16 bit as they stand in a file or a request, and back.
inline std::string Bytes(const Samples& samples) {
    return {reinterpret_cast<const char*>(samples.data()), samples.size() * sizeof samples[0]};
}
inline Samples FromBytes(const std::string& bytes) {
    Samples samples(bytes.size() / 2);
    std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
    return samples;
}

// A tone at half of full scale.
inline Samples Tone(int rate, double seconds, double hertz = 440) {
    Samples samples(static_cast<std::size_t>(rate * seconds));
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double phase = 2 * M_PI * hertz * static_cast<double>(i) / rate;
        samples[i] = static_cast<std::int16_t>(16384 * std::sin(phase));
    }
    return samples;
}

// Strength of what differs, relative to the wanted samples; the middle is compared, as filters
// swing in and out at the ends.
inline double Difference(const Samples& got, const Samples& wanted) {
    double error = 0;
    double power = 0;
    const std::size_t last = std::min(got.size(), wanted.size()) * 9 / 10;
    for (std::size_t i = wanted.size() / 10; i < last; ++i) {
        error += std::pow(got[i] - wanted[i], 2);
        power += std::pow(wanted[i], 2);
    }
    return power == 0 ? 1 : std::sqrt(error / power);
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
