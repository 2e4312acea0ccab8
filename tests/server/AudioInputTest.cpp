#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "AudioInput.h"
#include "TestAudio.h"

namespace orvx::test {
namespace {

Samples Decode(const std::string& bytes, AudioFormat format, std::size_t chunk_bytes) {
    AudioInput input(format);
    Samples samples;
    for (std::size_t at = 0; at < bytes.size(); at += chunk_bytes) {
        const auto piece = input.Push(std::string_view(bytes).substr(at, chunk_bytes));
        samples.insert(samples.end(), piece.begin(), piece.end());
    }
    const auto rest = input.Finish();
    samples.insert(samples.end(), rest.begin(), rest.end());
    return samples;
}

double SignalToNoiseDb(const Samples& signal, const Samples& copy) {
    double power = 0;
    double noise = 1e-9;
    for (std::size_t i = 0; i < std::min(signal.size(), copy.size()); ++i) {
        power += std::pow(signal[i], 2);
        noise += std::pow(signal[i] - copy[i], 2);
    }
    return 10 * std::log10(power / noise);
}

// A chord below 2.5 kHz, which every format can carry.
Samples Chord(int ms) {
    Samples samples = Silence(ms);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double t = static_cast<double>(i) / 16000;
        samples[i] = static_cast<std::int16_t>(4000 * (std::sin(2 * M_PI * 300 * t) +
                                                       std::sin(2 * M_PI * 1100 * t) +
                                                       0.3 * std::sin(2 * M_PI * 2300 * t)));
    }
    return samples;
}

struct FormatCase {
    const char* name;
    double chord_db;   // what coding and resampling may cost a chord
    double speech_db;  // and real speech, which loses what lies above the format's band
};

class AudioFormatTest : public testing::TestWithParam<FormatCase> {
  protected:
    const AudioFormat format_ = *FindAudioFormat(GetParam().name);
};

TEST_P(AudioFormatTest, GivesBackWhatWasEncoded) {
    const Samples chord = Chord(1500);
    const Samples decoded = Decode(Encode(chord, format_), format_, 1U << 20);
    // GSM fills its last block up.
    EXPECT_NEAR(static_cast<double>(decoded.size()), static_cast<double>(chord.size()), 330);
    EXPECT_GT(SignalToNoiseDb(chord, decoded), GetParam().chord_db);
    const Samples speech = Load(kGoForward.file);
    EXPECT_GT(SignalToNoiseDb(speech, Decode(Encode(speech, format_), format_, 1U << 20)),
              GetParam().speech_db);
}

TEST_P(AudioFormatTest, DoesNotDependOnWhereItIsCut) {
    const std::string bytes = Encode(Load(kGoForward.file), format_);
    const Samples whole = Decode(bytes, format_, bytes.size());
    for (const std::size_t chunk_bytes : {1U, 7U, 33U, 320U, 1001U}) {
        EXPECT_EQ(Decode(bytes, format_, chunk_bytes), whole) << chunk_bytes;
    }
}

TEST_P(AudioFormatTest, AnIncompleteBlockAtTheEndDoesNotCount) {
    const std::size_t block = DescribeAudioFormat(format_).block_bytes;
    const std::string bytes = Encode(Chord(500), format_).substr(0, 10 * block);
    EXPECT_EQ(Decode(bytes + bytes.substr(0, block - 1), format_, 100),
              Decode(bytes, format_, 100));
}

TEST_P(AudioFormatTest, NothingGivesNothing) {
    EXPECT_TRUE(Decode("", format_, 1).empty());
}

INSTANTIATE_TEST_SUITE_P(Formats, AudioFormatTest,
                         testing::Values(FormatCase{"pcm8k16bit", 50, 10},
                                         FormatCase{"alaw", 30, 10}, FormatCase{"ulaw", 30, 10},
                                         FormatCase{"vox6k4bit", 14, 6},
                                         FormatCase{"vox8k4bit", 18, 8}, FormatCase{"gsm610", 8, 5},
                                         FormatCase{"pcm16k16bit", 90, 90}),
                         [](const auto& format) { return std::string(format.param.name); });

TEST(AudioInputTest, KeepsEverySampleOf16kHzAudio) {
    const Samples samples{0, 1, -1, 32767, -32768, 12345, -12345};
    EXPECT_EQ(Decode(Bytes(samples), AudioFormat::kPcm16k16bit, 3), samples);
}

TEST(AudioInputTest, AnyBytesDecodeToSomething) {
    std::mt19937 random(7);
    std::string garbage(20000, '\0');
    for (char& byte : garbage) byte = static_cast<char>(random());
    for (const char* const name : {"alaw", "ulaw", "vox6k4bit", "gsm610", "pcm8k16bit"}) {
        EXPECT_GT(Decode(garbage, *FindAudioFormat(name), 999).size(), 10000U) << name;
    }
}

TEST(AudioFormatTest, KnowsItsNamesAndNoOthers) {
    EXPECT_EQ(FindAudioFormat("v3_6k4bit"), AudioFormat::kV3_6k4bit);
    EXPECT_EQ(FindAudioFormat("PCM8K16BIT"), std::nullopt);
    EXPECT_EQ(FindAudioFormat(""), std::nullopt);
    EXPECT_EQ(AudioFormatNames(),
              "pcm8k16bit, alaw, ulaw, vox6k4bit, vox8k4bit, gsm610, pcm16k16bit, v3_6k4bit");
}

}  // namespace
}  // namespace orvx::test
