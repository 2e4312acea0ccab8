// From a recording to the bytes that a session sends.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <thread>

#include "AudioSource.h"
#include "Errors.h"
#include "SoundFiles.h"
#include "SpeechReader.h"
#include "TempDir.h"
#include "UniqueFd.h"

namespace recognize {
namespace {

constexpr std::size_t kNoLimit = std::size_t{1} << 30;

std::string ReadAllSpeech(const std::string& name, int audio_format = kPcm16k16Bit,
                          std::optional<int> raw_rate = std::nullopt) {
    return SpeechReader(name, raw_rate, FindAudioFormat(audio_format)).All(kNoLimit);
}

Samples FromBytes(const std::string& bytes) {
    Samples samples(bytes.size() / 2);
    std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
    return samples;
}

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

// Strength of what differs, relative to the tone itself; the middle is compared, as filters swing
// in and out at the ends.
double Difference(const Samples& got, const Samples& wanted) {
    double error = 0;
    double power = 0;
    const std::size_t last = std::min(got.size(), wanted.size()) * 9 / 10;
    for (std::size_t i = wanted.size() / 10; i < last; ++i) {
        error += std::pow(got[i] - wanted[i], 2);
        power += std::pow(wanted[i], 2);
    }
    return power == 0 ? 1 : std::sqrt(error / power);
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

TEST(Audio, ReadsTheUsualContainersAndCodings) {
    const TempDir dir;
    const struct {
        const char* name;
        int format;
        double allowed;
    } cases[] = {
        {"a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 0.001},
        {"b.wav", SF_FORMAT_WAV | SF_FORMAT_FLOAT, 0.001},
        {"c.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_U8, 0.02},
        {"d.wav", SF_FORMAT_WAV | SF_FORMAT_ULAW, 0.05},
        {"e.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 0.001},
        {"f.ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS, 0.1},
        {"g.opus", SF_FORMAT_OGG | SF_FORMAT_OPUS, 0.1},
        {"h.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 0.001},
        {"name without extension", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 0.001},
    };
    const Samples tone = Tone(16000, 1);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        WriteSound(dir.Path(c.name), c.format, 16000, 1, tone);
        const Samples got = FromBytes(ReadAllSpeech(dir.Path(c.name)));
        EXPECT_NEAR(static_cast<double>(got.size()), 16000, 16);
        EXPECT_LT(Difference(got, tone), c.allowed);
    }
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

TEST(Audio, MixesChannelsDownToTheirMean) {
    const TempDir dir;
    WriteSound(dir.Path("a.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 16000, 3,
               {3000, 600, 0, -300, -600, 300, 30000, 30000, 30000});
    EXPECT_EQ(FromBytes(ReadAllSpeech(dir.Path("a.wav"))), (Samples{1200, -200, 30000}));
    EXPECT_EQ(OpenAudio(dir.Path("a.wav"), {})->Channels(), 3);
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

TEST(Audio, ComesThroughAPipeAsFromAFile) {
    const TempDir dir;
    const struct {
        const char* name;
        int format;
        int rate;
    } cases[] = {
        {"a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 16000},
        {"b.wav", SF_FORMAT_WAVEX | SF_FORMAT_PCM_24, 44100},
        {"c.wav", SF_FORMAT_WAV | SF_FORMAT_ALAW, 8000},
        {"d.wav", SF_FORMAT_WAV | SF_FORMAT_GSM610, 8000},
        {"e.wav", SF_FORMAT_RF64 | SF_FORMAT_PCM_16, 16000},
        {"f.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 16000},
        {"g.ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS, 16000},
        {"h.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 16000},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string file = dir.Path(c.name);
        WriteSound(file, c.format, c.rate, 1, Tone(c.rate, 1));
        const std::string pipe = file + ".pipe";
        ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
        const std::jthread writer(
            [&] { std::ofstream(pipe, std::ios::binary) << ReadAll(file) << std::flush; });
        EXPECT_EQ(ReadAllSpeech(pipe), ReadAllSpeech(file));
    }
}

TEST(Audio, TakesWhatARecorderWrites) {
    const TempDir dir;
    const Samples tone = Tone(16000, 1);
    WriteWav(dir.Path("a.wav"), tone);
    const struct {
        const char* name;
        std::string header;
    } cases[] = {{"live.wav", ReadAll(dir.Path("a.wav")).substr(0, 44)}, {"live.raw", ""}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string pipe = dir.Path(c.name);
        ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
        // The header comes in pieces, and a recorder does not know the length when it writes it.
        const std::jthread writer([&] {
            std::ofstream out(pipe, std::ios::binary);
            std::string header = c.header;
            if (!header.empty()) {
                header.replace(40, 4, "\xFF\xFF\xFF\xFF");
                out << header.substr(0, 12) << std::flush;
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
                out << header.substr(12);
            }
            out << Bytes(tone);
        });
        EXPECT_EQ(ReadAllSpeech(pipe, kPcm16k16Bit, 16000), Bytes(tone));
    }
}

TEST(Audio, IsHeardBeforeTheRecordingEnds) {
    const TempDir dir;
    const Samples tone = Tone(16000, 1);
    WriteWav(dir.Path("a.wav"), tone);
    const std::string content = ReadAll(dir.Path("a.wav"));
    ASSERT_EQ(::mkfifo(dir.Path("live").c_str(), 0600), 0);
    // Opened for reading too, so that the end does not come by itself.
    const UniqueFd writer(::open(dir.Path("live").c_str(), O_RDWR));
    ASSERT_EQ(::write(writer.Get(), content.data(), 44 + 8000), 44 + 8000);
    SpeechReader reader(dir.Path("live"), {}, FindAudioFormat(kPcm16k16Bit));
    EXPECT_EQ(reader.Next(200), Bytes(tone).substr(0, 6400));
    EXPECT_EQ(reader.Source().Seconds(), std::nullopt);
}

TEST(Audio, TellsWhatCannotBeRead) {
    const TempDir dir;
    std::filesystem::create_directory(dir.Path("folder"));
    dir.Write("empty.wav", "");
    dir.Write("notes.wav", "this is a text, and long enough to hold a header of any kind");
    WriteWav(dir.Path("silent.wav"), {});
    WriteSound(dir.Path("cut.flac"), SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 16000, 1, Tone(16000, 2));
    std::filesystem::resize_file(dir.Path("cut.flac"), 30);
    const struct {
        std::string name;
        const char* told;
    } cases[] = {
        {dir.Path("missing.wav"), "No such file"},
        {dir.Path("folder"), "folder"},
        {"/dev/null", "device"},
        {dir.Path("empty.wav"), "no recording"},
        {dir.Path("notes.wav"), "no recording"},
        {dir.Path("cut.flac"), "no recording"},
        {dir.Path("a.raw"), "--rate"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        try {
            ReadAllSpeech(c.name);
            ADD_FAILURE() << "was read";
        } catch (const AudioError& error) {
            EXPECT_NE(std::string(error.what()).find(c.told), std::string::npos) << error.what();
        }
    }
    EXPECT_EQ(ReadAllSpeech(dir.Path("silent.wav")), "");
}

}  // namespace
}  // namespace recognize
