#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "AudioInput.h"
#include "TestAudio.h"

namespace orvx::test {
namespace {

Samples Decode(const std::string& bytes, AudioFormat format, std::size_t chunk_bytes = 1U << 20) {
    AudioInput input(format);
    Samples samples;
    for (std::size_t at = 0; at < bytes.size(); at += chunk_bytes) {
        samples = Join({samples, input.Push(std::string_view(bytes).substr(at, chunk_bytes))[0]});
    }
    return Join({samples, input.Finish()[0]});
}

double SignalToNoiseDb(const Samples& signal, Samples copy) {
    for (std::int16_t& sample : copy) sample = static_cast<std::int16_t>(-sample);
    copy.resize(signal.size());
    return PowerDb(signal) - PowerDb(Mix(signal, copy));
}

// A chord below 2.5 kHz, which every format can carry.
Samples Chord(int ms) {
    Samples samples = Silence(ms);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double t = 2 * M_PI * static_cast<double>(i) / 16000;
        samples[i] = static_cast<std::int16_t>(
            4000 * (std::sin(300 * t) + std::sin(1100 * t) + 0.3 * std::sin(2300 * t)));
    }
    return samples;
}

TEST(AudioInputTest, DecodesEveryFormatHoweverItIsCut) {
    const struct {
        const char* name;
        double chord_db;   // what coding and resampling may cost a chord
        double speech_db;  // and real speech, which loses what lies above the format's band
    } cases[] = {{"pcm8k16bit", 50, 10}, {"alaw", 30, 10},     {"ulaw", 30, 10},
                 {"vox6k4bit", 14, 6},   {"vox8k4bit", 18, 8}, {"gsm610", 8, 5},
                 {"pcm16k16bit", 80, 80}};
    const Samples chord = Chord(1500);
    const Samples speech = Load(kGoForward);
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        const AudioFormat format = *FindAudioFormat(test.name);
        const Samples decoded = Decode(Encode(chord, format), format);
        // GSM fills its last block up.
        EXPECT_NEAR(static_cast<double>(decoded.size()), static_cast<double>(chord.size()), 330);
        EXPECT_GT(SignalToNoiseDb(chord, decoded), test.chord_db);
        const std::string bytes = Encode(speech, format);
        const Samples whole = Decode(bytes, format);
        EXPECT_GT(SignalToNoiseDb(speech, whole), test.speech_db);
        for (const std::size_t chunk_bytes : {1U, 7U, 33U, 1001U}) {
            EXPECT_EQ(Decode(bytes, format, chunk_bytes), whole) << chunk_bytes;
        }
        // An incomplete block at the end does not count.
        const std::size_t block = DescribeAudioFormat(format).block_bytes;
        const std::string ten = bytes.substr(0, 10 * block);
        EXPECT_EQ(Decode(ten + ten.substr(0, block - 1), format), Decode(ten, format));
        EXPECT_TRUE(Decode("", format).empty());
    }
}

TEST(AudioInputTest, TwoChannelsAreTakenApartWhereverTheyAreCut) {
    for (const char* const name : {"pcm16k16bit", "alaw"}) {
        const AudioFormat format = *FindAudioFormat(name);
        const std::size_t size = DescribeAudioFormat(format).block_bytes;
        const std::string left = Encode(Chord(300), format);
        const std::string right = Encode(Noise(300, -20), format);
        std::string both;
        for (std::size_t at = 0; at < left.size(); at += size) {
            both += left.substr(at, size) + right.substr(at, size);
        }
        AudioInput input(format, 2);
        Samples samples[2];
        for (std::size_t at = 0; at < both.size(); at += 7) {
            const auto pushed = input.Push(std::string_view(both).substr(at, 7));
            for (std::size_t i : {0U, 1U}) samples[i] = Join({samples[i], pushed[i]});
        }
        const auto rest = input.Finish();
        EXPECT_EQ(Join({samples[0], rest[0]}), Decode(left, format)) << name;
        EXPECT_EQ(Join({samples[1], rest[1]}), Decode(right, format)) << name;
    }
}

TEST(AudioInputTest, AnyBytesDecodeToSomething) {
    std::mt19937 random(7);
    std::string garbage(20000, '\0');
    for (char& byte : garbage) byte = static_cast<char>(random());
    for (const char* const name : {"alaw", "ulaw", "vox6k4bit", "gsm610", "pcm8k16bit"}) {
        EXPECT_GT(Decode(garbage, *FindAudioFormat(name), 999).size(), 10000U) << name;
    }
}

}  // namespace
}  // namespace orvx::test
