// Rates, codings and pieces of what is sent.
#include <gtest/gtest.h>

#include "Errors.h"
#include "SpeechBytes.h"
#include "TempDir.h"

namespace recognize {
namespace {

// Decodes headerless audio through libsndfile.
Samples Decode(const TempDir& dir, const std::string& bytes, int format, int rate) {
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = 1;
    info.format = SF_FORMAT_RAW | format;
    SNDFILE* file = sf_open(dir.Write("encoded", bytes).c_str(), SFM_READ, &info);
    Samples samples(bytes.size() * 8);
    samples.resize(static_cast<std::size_t>(
        sf_read_short(file, samples.data(), static_cast<sf_count_t>(samples.size()))));
    sf_close(file);
    return samples;
}

TEST(Audio, SixteenBitSamplesArriveUnchanged) {
    const TempDir dir;
    Samples every;
    for (int value = -32768; value <= 32767; ++value) {
        every.push_back(static_cast<std::int16_t>(value));
    }
    WriteWav(dir.Path("a.wav"), every);
    EXPECT_EQ(ReadAllSpeech(dir.Path("a.wav")), Bytes(every));
    dir.Write("a.raw", Bytes(every) + "x");  // half a sample too many
    EXPECT_EQ(ReadAllSpeech(dir.Path("a.raw"), kPcm16k16Bit, 16000), Bytes(every));
}

TEST(Audio, ConvertsAnyRate) {
    const TempDir dir;
    for (const int rate : {8000, 11025, 22050, 44100, 48000, 96000}) {
        SCOPED_TRACE(rate);
        WriteWav(dir.Path("a.wav"), Tone(rate, 1), rate);
        const Samples wide = FromBytes(ReadAllSpeech(dir.Path("a.wav"), kPcm16k16Bit));
        EXPECT_NEAR(static_cast<double>(wide.size()), 16000, 1);
        EXPECT_LT(Difference(wide, Tone(16000, 1)), 0.01);
        const Samples narrow = FromBytes(ReadAllSpeech(dir.Path("a.wav"), 0));
        EXPECT_NEAR(static_cast<double>(narrow.size()), 8000, 1);
        EXPECT_LT(Difference(narrow, Tone(8000, 1)), 0.01);
    }
}

TEST(Audio, ClipsWhatIsTooLoud) {
    const TempDir dir;
    const float loud[] = {1.5F, -1.5F, 1.0F, -1.0F};
    SF_INFO info{};
    info.samplerate = 16000;
    info.channels = 1;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* file = sf_open(dir.Path("a.wav").c_str(), SFM_WRITE, &info);
    sf_write_float(file, loud, 4);
    sf_close(file);
    EXPECT_EQ(FromBytes(ReadAllSpeech(dir.Path("a.wav"))), (Samples{32767, -32768, 32767, -32768}));
}

TEST(Audio, MakesEveryFormatOfASession) {
    const TempDir dir;
    WriteWav(dir.Path("a.wav"), Tone(16000, 1.01));
    const struct {
        int audio_format;
        int coding;
        int rate;
        std::size_t bytes;
        double allowed;
    } cases[] = {
        {0, SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE, 8000, 16160, 0.01},
        {1, SF_FORMAT_ALAW, 8000, 8080, 0.05},
        {2, SF_FORMAT_ULAW, 8000, 8080, 0.05},
        {3, SF_FORMAT_VOX_ADPCM, 6000, 3030, 0.2},
        {4, SF_FORMAT_VOX_ADPCM, 8000, 4040, 0.2},
        {5, SF_FORMAT_GSM610, 8000, 51 * 33, 0.3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.audio_format);
        const AudioFormat& format = FindAudioFormat(c.audio_format);
        EXPECT_EQ(format.rate, c.rate);
        const std::string bytes = ReadAllSpeech(dir.Path("a.wav"), c.audio_format);
        EXPECT_EQ(bytes.size(), c.bytes);
        const Samples decoded = Decode(dir, bytes, c.coding, c.rate);
        EXPECT_LT(Difference(decoded, Tone(c.rate, 1.01)), c.allowed);
    }
    EXPECT_THROW(FindAudioFormat(7), UsageError);
    EXPECT_THROW(FindAudioFormat(8), UsageError);
}

// The sum of the pieces is the whole, for codings with and without blocks.
TEST(Audio, ComesInPiecesOfTheWishedLength) {
    const TempDir dir;
    WriteWav(dir.Path("a.wav"), Tone(44100, 1.01), 44100);
    const struct {
        int audio_format;
        int chunk_ms;
        std::size_t first_bytes;
    } cases[] = {{kPcm16k16Bit, 100, 3200},
                 {kPcm16k16Bit, 10, 320},
                 {1, 30, 240},
                 {4, 10, 40},  // 10 ms are no whole block of GSM 06.10: the piece grows to two
                 {5, 10, 33},
                 {5, 100, 165}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.audio_format * 1000 + c.chunk_ms);
        SpeechReader reader(dir.Path("a.wav"), {}, FindAudioFormat(c.audio_format));
        std::string all = reader.Next(c.chunk_ms);
        EXPECT_EQ(all.size(), c.first_bytes);
        for (std::string piece; !(piece = reader.Next(c.chunk_ms)).empty();) {
            all += piece;
        }
        EXPECT_EQ(all, ReadAllSpeech(dir.Path("a.wav"), c.audio_format));
        EXPECT_NEAR(reader.SecondsRead(), 1.01, 0.001);
        EXPECT_DOUBLE_EQ(reader.FractionRead(), 1);
        EXPECT_EQ(reader.Next(c.chunk_ms), "");
    }
}

TEST(Audio, LimitsWhatIsSentInOnePiece) {
    const TempDir dir;
    WriteWav(dir.Path("a.wav"), Tone(16000, 1));
    SpeechReader reader(dir.Path("a.wav"), {}, FindAudioFormat(kPcm16k16Bit));
    EXPECT_THROW(reader.All(31999), AudioError);
}

}  // namespace
}  // namespace recognize
