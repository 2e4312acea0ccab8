// Recordings of every kind, from files and pipes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "AudioSource.h"
#include "Errors.h"
#include "SpeechBytes.h"
#include "TempDir.h"
#include "UniqueFd.h"

namespace recognize {
namespace {

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

TEST(Audio, MixesChannelsDownToTheirMean) {
    const TempDir dir;
    WriteSound(dir.Path("a.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 16000, 3,
               {3000, 600, 0, -300, -600, 300, 30000, 30000, 30000});
    EXPECT_EQ(FromBytes(ReadAllSpeech(dir.Path("a.wav"))), (Samples{1200, -200, 30000}));
    EXPECT_EQ(OpenAudio(dir.Path("a.wav"), {})->Channels(), 3);
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
        {dir.Path("empty.wav"), "is empty"},
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
