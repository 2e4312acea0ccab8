// Audio for tests: the recordings that Debian's pocketsphinx-testdata ships, and made signals.
// Samples are 16 bit, mono, at 16 kHz unless a rate is named.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "AudioFormat.h"

namespace orvx::test {

using Samples = std::vector<std::int16_t>;

struct Recording {
    std::string file;  // below the recordings' folder
    std::string said;
};

// "go forward ten meters", 2.8 s with 0.45 s of silence before it.
inline const Recording kGoForward{"goforward.raw", "go forward ten meters"};
// Five sentences read from a book.
std::vector<Recording> BookSentences();

Samples Load(const std::string& file);
Samples Silence(int ms);
Samples Noise(int ms, double level_db);  // white, dB relative to full scale
// What the speech detector takes for speech, unlike steady noise: loud bursts, eight a second.
Samples Syllables(int ms);
Samples Join(std::initializer_list<Samples> parts);
Samples Mix(Samples a, const Samples& b);  // as long as `a`
double PowerDb(const Samples& samples);

// Resampled to the format's rate and encoded through libsndfile.
std::string Encode(const Samples& samples, AudioFormat format);

inline const std::string kPcm16 = "audio_format=pcm16k16bit";
std::string Bytes(const Samples& samples);  // in that format
inline std::string Voice(int ms) {
    return Bytes(Syllables(ms));
}
inline std::string Pause(int ms) {
    return Bytes(Silence(ms));
}

}  // namespace orvx::test
