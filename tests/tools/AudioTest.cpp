// Recordings of every kind, from files and pipes, on their way to the server.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include "Errors.h"
#include "SoundFiles.h"
#include "SpeechReader.h"
#include "TempDir.h"
#include "UniqueFd.h"

namespace {
// Of descriptors that were not open: another thread's file could have had the number by then.
std::atomic<int> g_wrong_closes{0};
}  // namespace

// In place of the system's, for the audio library as well.
extern "C" int close(int fd) {
    const long result = ::syscall(SYS_close, fd);
    if (result != 0 && errno == EBADF) ++g_wrong_closes;
    return static_cast<int>(result);
}

namespace recognize {
namespace {

class Audio : public testing::Test {
  protected:
    // Everything that is sent of a recording; warning_ is what is told about it.
    std::string Read(const std::string& name, int audio_format = kPcm16k16Bit) {
        SpeechReader reader(name, IsRawName(name) ? std::optional(16000) : std::nullopt,
                            FindAudioFormat(audio_format));
        const std::string bytes = reader.All(std::size_t{1} << 30);
        warning_ = reader.Source().Warning();
        return bytes;
    }

    // Writes to a new named pipe, the first bytes apart.
    std::jthread Feed(const std::string& pipe, const std::string& bytes) {
        EXPECT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
        return std::jthread([=] {
            std::ofstream out(pipe, std::ios::binary);
            out << bytes.substr(0, 12) << std::flush;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            out << bytes.substr(12) << std::flush;
        });
    }

    const TempDir dir_;
    const std::string file_ = dir_.Path("file");
    std::string warning_;
};

TEST_F(Audio, ReadsContainersAndCodingsWholeOrCutFromFilesAndPipes) {
    const std::tuple<int, int, double, const char*> cases[] = {
        {SF_FORMAT_WAVEX | SF_FORMAT_PCM_24, 44100, 0.01, "announces 8.00 s, 4.00 s are there"},
        {SF_FORMAT_WAV | SF_FORMAT_FLOAT, 48000, 0.01, "announces 8.00 s, 4.00 s are there"},
        {SF_FORMAT_WAV | SF_FORMAT_PCM_U8, 16000, 0.02, "announces 8.00 s, 4.00 s are there"},
        {SF_FORMAT_WAV | SF_FORMAT_ULAW, 11025, 0.05, "announces 8.00 s, 4.00 s are there"},
        {SF_FORMAT_WAV | SF_FORMAT_GSM610, 8000, 0.3, "announces 8."},
        {SF_FORMAT_RF64 | SF_FORMAT_PCM_16, 96000, 0.01, "announces 8.00 s, 4.00 s are there"},
        {SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 22050, 0.01, "announces 8.00 s, "},
        {SF_FORMAT_OGG | SF_FORMAT_VORBIS, 16000, 0.1, "its end is missing"},
        {SF_FORMAT_OGG | SF_FORMAT_OPUS, 16000, 0.1, "its end is missing"},
        {SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 8000, 0.01, ""},
        {SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III, 22050, 0.1, ""},
    };
    for (const auto& [format, rate, allowed, told] : cases) {
        SCOPED_TRACE(format);
        WriteSound(file_, format, rate, 1, Tone(rate, 8));
        const Samples got = FromBytes(Read(file_));
        EXPECT_NEAR(static_cast<double>(got.size()), 128000, 640);
        EXPECT_LT(Difference(got, Tone(16000, 8)), allowed);
        EXPECT_EQ(warning_, "");
        const std::string pipe = dir_.Path(std::to_string(format));
        const auto writer = Feed(pipe, ReadAll(file_));
        EXPECT_EQ(FromBytes(Read(pipe)), got);
        EXPECT_EQ(warning_, "");
        std::filesystem::resize_file(file_, std::filesystem::file_size(file_) / 2);
        Read(file_);
        EXPECT_NE(warning_.find(told), std::string::npos) << warning_;
    }
    // Without this frame an MP3 does not tell its length, and the audio library only estimates it.
    WriteSound(file_, SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III, 22050, 1, Tone(22050, 8));
    std::string silent_on_length = ReadAll(file_);
    silent_on_length.replace(silent_on_length.find("Xing"), 4, 4, '\0');
    const std::string wav_head(
        "RIFF\0\0\1\0WAVEfmt \x1E\0\0\0\x55\0\1\0\x22\x56\0\0\xA0\x0F\0\0\1\0\0\0\x0C\0"
        "\1\0\2\0\0\0\1\1\1\0\0\0data\xFF\xFF\xFF\x7F",
        58);
    for (const std::string& head : {std::string(), wav_head}) {
        const std::string text = head + silent_on_length;
        const std::size_t whole = Read(dir_.Write("a", text)).size();
        EXPECT_GT(whole, 8 * 32000U);
        EXPECT_EQ(warning_, "");
        EXPECT_GT(Read(dir_.Write("a", text.substr(0, text.size() - 9))).size(), whole - 9000);
        EXPECT_EQ(warning_, "is cut short: its end is missing");
    }
    WriteSound(file_, SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III, 22050, 1, Tone(22050, 8));
    std::string cut = wav_head + ReadAll(file_);
    cut.replace(54, 4, "\0\0\1\0", 4);  // more than is there
    Read(dir_.Write("a", cut.substr(0, cut.size() / 2)));
    EXPECT_NE(warning_.find("announces 8.00 s, 3."), std::string::npos) << warning_;
}

TEST_F(Audio, KeepsClipsAndMixesSamples) {
    Samples every;
    for (int value = -32768; value <= 32767; ++value)
        every.push_back(static_cast<std::int16_t>(value));
    WriteWav(file_, every);
    EXPECT_EQ(Read(file_), Bytes(every));
    dir_.Write("a.raw", Bytes(every) + "x");  // half a sample too many
    EXPECT_EQ(Read(dir_.Path("a.raw")), Bytes(every));
    EXPECT_EQ(Read(dir_.Write("A.PCM", Bytes(every))), Bytes(every));
    SpeechReader call(dir_.Path("a.raw"), 8000, FindAudioFormat(kPcm16k16Bit), 2);
    dir_.Write("cut.raw", Bytes(every) + "xx");  // half a frame
    SpeechReader cut(dir_.Path("cut.raw"), 8000, FindAudioFormat(kPcm16k16Bit), 2);
    EXPECT_EQ(cut.All(1 << 20), call.All(1 << 20));
    const float loud[] = {1.5F, -1.5F};
    WriteSound(dir_.Path("b.wav"), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 16000, 1, {1, 1});
    std::string content = ReadAll(dir_.Path("b.wav"));
    std::memcpy(content.data() + content.find("data") + 8, loud, sizeof loud);
    EXPECT_EQ(FromBytes(Read(dir_.Write("b.wav", content))), (Samples{32767, -32768}));
    WriteSound(dir_.Path("c.wav"), SF_FORMAT_WAV | SF_FORMAT_PCM_16, 16000, 3,
               {3000, 600, 0, -300, -600, 300, 30000, 30000, 30000});
    EXPECT_EQ(FromBytes(Read(dir_.Path("c.wav"))), (Samples{1200, -200, 30000}));
}

// The sum of the pieces is the whole, for codings with and without blocks.
TEST_F(Audio, MakesEveryFormatOfASessionInPieces) {
    WriteWav(file_, Tone(44100, 1.01), 44100);
    const std::tuple<int, int, int, std::size_t, double, int, std::size_t> cases[] = {
        {0, SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE, 8000, 16160, 0.01, 100, 1600},
        {1, SF_FORMAT_ALAW, 8000, 8080, 0.05, 30, 240},
        {2, SF_FORMAT_ULAW, 8000, 8080, 0.05, 10, 80},
        {3, SF_FORMAT_VOX_ADPCM, 6000, 3030, 0.2, 100, 300},
        {4, SF_FORMAT_VOX_ADPCM, 8000, 4040, 0.2, 10, 40},
        // 10 ms are no whole block of GSM 06.10: the piece grows to two.
        {5, SF_FORMAT_GSM610, 8000, 51 * 33, 0.3, 10, 33},
        {6, SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE, 16000, 32320, 0.01, 10, 320},
    };
    for (const auto& [audio_format, coding, rate, bytes, allowed, chunk_ms, first_bytes] : cases) {
        SCOPED_TRACE(audio_format);
        SpeechReader reader(file_, {}, FindAudioFormat(audio_format));
        std::string all = reader.Next(chunk_ms);
        EXPECT_EQ(all.size(), first_bytes);
        for (std::string piece; !(piece = reader.Next(chunk_ms)).empty();) all += piece;
        EXPECT_EQ(all.size(), bytes);
        EXPECT_EQ(all, Read(file_, audio_format));
        EXPECT_NEAR(reader.SecondsRead(), 1.01, 0.001);
        EXPECT_DOUBLE_EQ(reader.FractionRead(), 1);
        SF_INFO info{0, rate, 1, SF_FORMAT_RAW | coding, 0, 0};
        SNDFILE* file = sf_open(dir_.Write("encoded", all).c_str(), SFM_READ, &info);
        Samples decoded(20000);
        decoded.resize(static_cast<std::size_t>(sf_read_short(file, decoded.data(), 20000)));
        sf_close(file);
        EXPECT_LT(Difference(decoded, Tone(rate, 1.01)), allowed);
    }
    SpeechReader limited(file_, {}, FindAudioFormat(0));
    EXPECT_THROW(limited.All(16159), AudioError);
}

TEST_F(Audio, TakesWhatARecorderWritesAndHearsItBeforeTheEnd) {
    const Samples tone = Tone(16000, 1);
    WriteWav(file_, tone);
    // A recorder does not know the length when it writes its header, in pieces.
    std::string live = ReadAll(file_);
    for (const char* length : {"\xFF\xFF\xFF\xFF", "\0\0\0\0"}) {
        live.replace(40, 4, length, 4);
        const auto writer = Feed(dir_.Path(std::to_string(*length)), live);
        EXPECT_EQ(Read(dir_.Path(std::to_string(*length))), Bytes(tone));
        EXPECT_EQ(warning_, "");
        EXPECT_EQ(Read(dir_.Write("b.wav", live)), Bytes(tone));
        EXPECT_EQ(warning_, *length != 0 ? ""
                                         : "was never finished: its header announces no audio, "
                                           "1.00 s are there");
    }
    const std::string list("LIST\4\0\0\0INFO", 12);
    EXPECT_EQ(Read(dir_.Write("b.wav", live.substr(0, 44) + list)), "");
    const std::string pipe = dir_.Path("open");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const UniqueFd held(::open(pipe.c_str(), O_RDWR));  // the end does not come
    WriteWav(file_, Tone(777, 1));
    const std::string finished = ReadAll(file_);
    ASSERT_EQ(::write(held.Get(), finished.data(), finished.size()), 44 + 2 * 777);
    EXPECT_EQ(Read(pipe), finished.substr(44));
    ASSERT_EQ(::write(held.Get(), live.data(), 44 + 8000), 44 + 8000);
    SpeechReader reader(pipe, {}, FindAudioFormat(kPcm16k16Bit));
    EXPECT_EQ(reader.Next(200), Bytes(tone).substr(0, 6400));
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_NONBLOCK), 0);  // as whoever shares standard input may have made it
    const UniqueFd saved(::dup(STDIN_FILENO));
    ::dup2(ends[0], STDIN_FILENO);
    ::close(ends[0]);
    const std::jthread pausing([&] {
        EXPECT_EQ(::write(ends[1], live.data(), 8000), 8000);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_EQ(::write(ends[1], live.data() + 8000, live.size() - 8000), live.size() - 8000);
        ::close(ends[1]);
    });
    EXPECT_EQ(Read("-"), Bytes(tone));
    ::dup2(saved.Get(), STDIN_FILENO);
}

// The audio library alone would look for the end of the damaged list for ever, miss as many samples
// as there are bytes of the tag, and tell the seconds of the samples by a rate that is none.
TEST_F(Audio, WhatStandsAroundTheSamplesHarmsNone) {
    const Samples tone = Tone(16000, 1);
    WriteWav(file_, tone);
    const std::string wav = ReadAll(file_);
    const std::string list("LIST\x18\0\0\0INFOIXYZ\xF8\xFF\xFF\xFFxxxxxxxxxxxx", 32);
    const std::string tag = std::string("ID3\4\0\0\0\0\x20\0", 10) + std::string(4096, '\0');
    for (const std::string& text :
         {wav.substr(0, 36) + list + wav.substr(36), wav + list, tag + wav})
        EXPECT_EQ(Read(dir_.Write("a.wav", text)), Bytes(tone));
    WriteSound(file_, SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 16000, 1, tone);
    EXPECT_EQ(Read(dir_.Write("a.aiff", tag + ReadAll(file_))), Bytes(tone));
    WriteSound(file_, SF_FORMAT_WAV | SF_FORMAT_IMA_ADPCM, 16000, 1, Tone(16000, 8));
    std::string adpcm = ReadAll(file_);
    adpcm.replace(28, 4, "\x80\x3E\0\0", 4);  // bytes a second: 16000
    Read(dir_.Write("a.wav", adpcm.substr(0, adpcm.size() / 2)));
    EXPECT_NE(warning_.find("announces 8.0"), std::string::npos) << warning_;
}

// Encoders and recorders that write to a pipe cannot go back to tell a length.
TEST_F(Audio, WhatTellsNoLengthIsReadToItsEnd) {
    WriteSound(file_, SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 16000, 1, Tone(16000, 1));
    std::string flac = ReadAll(file_);
    flac[21] = static_cast<char>(flac[21] & 0xF0);  // the number of samples, 36 bits
    flac.replace(22, 4, 4, '\0');
    EXPECT_EQ(Read(dir_.Write("a.flac", flac)), Bytes(Tone(16000, 1)));
    EXPECT_EQ(warning_, "");
    WriteWav(file_, Tone(16000, 1));
    std::string wav = ReadAll(file_);
    wav.replace(40, 4, "\xFF\xFF\xFF\x7F", 4);
    std::filesystem::resize_file(dir_.Write("a.wav", wav), 44 + (std::uintmax_t{5} << 30));
    EXPECT_EQ(OpenAudio(dir_.Path("a.wav"), {}, 1)->Seconds(), (5LL << 30) / 32000.0);
}

TEST_F(Audio, ReadsADamagedRecordingAsFarAsItGoes) {
    WriteSound(file_, SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III, 22050, 1, Tone(22050, 8));
    std::string told = ReadAll(file_);
    told.replace(told.size() / 2, 5000, 5000, '\0');
    std::string untold = told;
    untold.replace(untold.find("Xing"), 4, 4, '\0');
    for (const std::string& text : {told, untold}) {
        const double seconds = static_cast<double>(Read(dir_.Write("a.mp3", text)).size()) / 32000;
        EXPECT_GT(seconds, 3);
        EXPECT_LT(seconds, 5);
        EXPECT_TRUE(warning_.starts_with("is damaged after ")) << warning_;
    }
}

TEST_F(Audio, TellsWhatCannotBeRead) {
    WriteSound(dir_.Path("cut.flac"), SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 16000, 1, Tone(16000, 2));
    std::filesystem::resize_file(dir_.Path("cut.flac"), 30);
    for (const int rate : {999, 2000000000}) {
        WriteSound(dir_.Path(std::to_string(rate)), SF_FORMAT_WAV | SF_FORMAT_PCM_16, rate, 1,
                   Tone(16000, 2));
    }
    const std::pair<std::string, const char*> cases[] = {
        {dir_.Path("999"), "has a rate of 999 Hz; it must be 1000 to 768000"},
        {dir_.Path("2000000000"), "has a rate of 2000000000 Hz"},
        {dir_.Path("missing.wav"), "No such file"},
        {dir_.Path(""), "folder"},
        {"/dev/null", "device"},
        {dir_.Write("empty.wav", ""), "is empty"},
        {dir_.Write("notes.wav", "this is a text, and long enough to hold a header"),
         "no recording of a known form"},
        {dir_.Path("cut.flac"), "no recording that can be read"},
        {dir_.Write(
             "list.wav",  // which would keep the audio library busy for ever
             std::string("RIFF\x44\0\0\0WAVEfmt \x10\0\0\0\1\0\1\0\x80\x3E\0\0\0\x7D\0\0\2\0\x10\0"
                         "LIST\x18\0\0\0INFOIXYZ\xF8\xFF\xFF\xFFxxxxxxxxxxxx",
                         68)),
         "header is damaged"},
    };
    const int wrong_closes_before = g_wrong_closes;
    const auto expect_all_told = [&] {
        for (const auto& [name, told] : cases) {
            try {
                Read(name);
                ADD_FAILURE() << name << " was read";
            } catch (const AudioError& error) {
                EXPECT_NE(std::string(error.what()).find(told), std::string::npos) << error.what();
            }
        }
    };
    expect_all_told();
    EXPECT_EQ(g_wrong_closes, wrong_closes_before);
    // The audio library has one place for the reasons of all threads.
    const std::jthread other([](const std::stop_token& is_over) {
        while (!is_over.stop_requested()) AudioEncoder(FindAudioFormat(kPcm16k16Bit), 1);
    });
    for (int i = 0; i < 300; ++i) expect_all_told();
}

}  // namespace
}  // namespace recognize
