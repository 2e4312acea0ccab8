// Audio for tests: the recordings that Debian's pocketsphinx-testdata ships, and made signals.
// Samples are 16 bit, mono, at 16 kHz unless a rate is named.
#pragma once

#include <string>

#include "AudioFormat.h"
#include "SoundFiles.h"

namespace orvx::test {

// "go forward ten meters", 2.8 s with 0.45 s of silence before it.
inline const std::string kGoForward = "goforward.raw";
// Sentences read from a book, 4 to 12 s long.
inline const std::string kBook = "librivox/sense_and_sensibility_01_austen_64kb-0";
inline const std::string kBookSentences[] = {kBook + "870.wav", kBook + "880.wav",
                                             kBook + "890.wav", kBook + "920.wav"};

Samples Load(const std::string& file);
Samples Silence(int ms);
Samples Noise(int ms, double level_db);  // white, dB relative to full scale
// What the speech detector takes for speech, unlike steady noise: loud bursts, eight a second.
Samples Syllables(int ms);
Samples Join(std::initializer_list<Samples> parts);
Samples Mix(Samples a, const Samples& b);  // as long as `a`
double PowerDb(const Samples& samples);

// Samples at the format's rate, encoded through libsndfile.
std::string Encode(const Samples& samples, AudioFormat format);

inline const std::string kPcm16 = "audio_format=pcm16k16bit";
inline std::string Voice(int ms) {
    return Bytes(Syllables(ms));
}
inline std::string Pause(int ms) {
    return Bytes(Silence(ms));
}

}  // namespace orvx::test
