#include <gtest/gtest.h>

#include <random>

#include "AudioInput.h"
#include "TestAudio.h"

namespace orvx::test {
namespace {

Samples Decode(const std::string& bytes, AudioFormat format, std::size_t chunk_bytes = 1U << 20) {
    AudioInput input(format);
    Samples samples;
    for (std::size_t at = 0; at < bytes.size(); at += chunk_bytes)
        samples = Join({samples, input.Push(std::string_view(bytes).substr(at, chunk_bytes))[0]});
    return Join({samples, input.Finish()[0]});
}

TEST(AudioInputTest, DecodesEveryFormatHoweverItIsCut) {
    const std::pair<const char*, double> cases[] = {
        {"pcm8k16bit", 0.01}, {"alaw", 0.04},  {"ulaw", 0.04},         {"vox6k4bit", 0.2},
        {"vox8k4bit", 0.2},   {"gsm610", 0.3}, {"pcm16k16bit", 0.0001}};
    const Samples tone = Tone(16000, 1.5);
    for (const auto& [name, allowed] : cases) {
        SCOPED_TRACE(name);
        const AudioFormat format = *FindAudioFormat(name);
        const AudioFormatInfo& info = DescribeAudioFormat(format);
        const std::string bytes = Encode(Tone(info.sample_rate_hz, 1.5), format);
        const Samples whole = Decode(bytes, format);
        // GSM fills its last block up.
        EXPECT_NEAR(static_cast<double>(whole.size()), static_cast<double>(tone.size()), 330);
        EXPECT_LT(Difference(whole, tone), allowed);
        for (const std::size_t chunk_bytes : {1U, 7U, 1001U})
            EXPECT_EQ(Decode(bytes, format, chunk_bytes), whole) << chunk_bytes;
        // An incomplete block at the end does not count.
        const std::string ten = bytes.substr(0, 10 * info.block_bytes);
        EXPECT_EQ(Decode(ten + ten.substr(0, info.block_bytes - 1), format), Decode(ten, format));
        EXPECT_TRUE(Decode("", format).empty());
    }
    const AudioFormat narrow = AudioFormat::kPcm8k16bit;  // of which the whole band is heard
    const Samples high = Decode(Encode(Tone(8000, 1.5, 3000), narrow), narrow);
    EXPECT_LT(Difference(high, Tone(16000, 1.5, 3000)), 0.02);
}

TEST(AudioInputTest, TwoChannelsAreTakenApartWhereverTheyAreCut) {
    for (const char* const name : {"pcm16k16bit", "alaw"}) {
        const AudioFormat format = *FindAudioFormat(name);
        const std::size_t size = DescribeAudioFormat(format).block_bytes;
        const std::string left = Encode(Tone(16000, 0.3), format);
        const std::string right = Encode(Noise(300, -20), format);
        std::string both;
        for (std::size_t at = 0; at < left.size(); at += size)
            both += left.substr(at, size) + right.substr(at, size);
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
    for (const char* const name : {"alaw", "ulaw", "vox6k4bit", "gsm610", "pcm8k16bit"})
        EXPECT_GT(Decode(garbage, *FindAudioFormat(name), 999).size(), 10000U) << name;
}

}  // namespace
}  // namespace orvx::test
