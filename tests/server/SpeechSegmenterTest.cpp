#include <gtest/gtest.h>

#include "SpeechSegmenter.h"
#include "TestAudio.h"

namespace orvx::test {
namespace {

struct Found {
    double start;  // seconds
    double end;
    std::size_t samples;
};

class Collector : public SpeechSink {
  public:
    void OnSpeechBegin(std::int64_t first_sample) override {
        EXPECT_FALSE(is_open_);
        is_open_ = true;
        found.push_back({static_cast<double>(first_sample) / 16000, 0, 0});
    }
    void OnSpeech(std::span<const std::int16_t> samples) override {
        EXPECT_TRUE(is_open_);
        found.back().samples += samples.size();
        audio.insert(audio.end(), samples.begin(), samples.end());
    }
    void OnSpeechEnd(std::int64_t end_sample) override {
        EXPECT_TRUE(is_open_);
        is_open_ = false;
        found.back().end = static_cast<double>(end_sample) / 16000;
    }

    std::vector<Found> found;
    Samples audio;  // of all stretches

  private:
    bool is_open_ = false;
};

constexpr SegmenterSettings kDefaults{500, 30000, 10};

Collector Segment(const Samples& samples, const SegmenterSettings& settings = kDefaults,
                  std::size_t chunk = 1000000) {
    Collector collector;
    SpeechSegmenter segmenter(settings, &collector);
    for (std::size_t at = 0; at < samples.size();) {
        const std::size_t count = std::min(chunk, samples.size() - at);
        at += segmenter.Push(std::span(samples).subspan(at, count));
    }
    EXPECT_EQ(segmenter.Samples(), static_cast<std::int64_t>(samples.size()));
    segmenter.Finish();
    return collector;
}

// "go forward ten meters" is spoken from 0.5 s to 2.1 s of its recording, with a little room around
// it.
void ExpectTheCommand(const Found& found, double offset) {
    EXPECT_NEAR(found.start, offset + 0.3, 0.2);
    EXPECT_NEAR(found.end, offset + 2.3, 0.2);
}

TEST(SpeechSegmenterTest, FindsTheCommandWithinItsRecording) {
    const Collector result = Segment(Load(kGoForward.file));
    ASSERT_EQ(result.found.size(), 1U);
    ExpectTheCommand(result.found[0], 0);
}

TEST(SpeechSegmenterTest, FindsItAnywhereInSilenceAndNoise) {
    const Samples speech = Load(kGoForward.file);
    for (const double noise_db : {-95.0, -70.0, -55.0, -46.0}) {
        for (const int lead_ms : {500, 2000, 15000}) {
            const Samples padded = Join({Silence(lead_ms), speech, Silence(2000)});
            const Collector result =
                Segment(Mix(padded, Noise(static_cast<int>(padded.size() / 16), noise_db)));
            ASSERT_EQ(result.found.size(), 1U) << noise_db << " dB, " << lead_ms << " ms";
            ExpectTheCommand(result.found[0], lead_ms / 1000.0);
        }
    }
}

TEST(SpeechSegmenterTest, FindsSpeechThatStartsAtTheFirstSample) {
    for (const Recording& sentence : BookSentences()) {
        const Samples speech = Load(sentence.file);
        const Samples cut(speech.begin() + static_cast<std::ptrdiff_t>(speech.size() / 3),
                          speech.end());
        const Collector result = Segment(cut);
        ASSERT_FALSE(result.found.empty()) << sentence.file;
        EXPECT_LT(result.found[0].start, 0.05) << sentence.file;
    }
}

TEST(SpeechSegmenterTest, HearsNoSpeechInWhatIsNone) {
    Samples clicks = Silence(10000);
    for (std::size_t at = 8000; at < clicks.size(); at += 15000) {
        for (std::size_t i = 0; i < 400; ++i) clicks[at + i] = i % 8 < 4 ? 10000 : -10000;
    }
    Samples offset = Noise(10000, -80);
    for (std::int16_t& sample : offset) sample = static_cast<std::int16_t>(sample + 3000);
    EXPECT_TRUE(Segment(clicks).found.empty());
    EXPECT_TRUE(Segment(offset).found.empty());
    EXPECT_TRUE(Segment(Silence(10000)).found.empty());
    for (const double level_db : {-70.0, -50.0, -30.0, -20.0}) {
        EXPECT_TRUE(Segment(Noise(10000, level_db)).found.empty()) << level_db;
    }
    EXPECT_TRUE(Segment({}).found.empty());
}

TEST(SpeechSegmenterTest, TheTailPartsStretches) {
    const Samples speech = Load(kGoForward.file);  // 0.95 s of silence lie between the two
    const Samples twice = Join({speech, speech});
    const Collector parted = Segment(twice, {500, 30000, 10});
    ASSERT_EQ(parted.found.size(), 2U);
    ExpectTheCommand(parted.found[0], 0);
    ExpectTheCommand(parted.found[1], static_cast<double>(speech.size()) / 16000);
    EXPECT_EQ(Segment(twice, {2000, 30000, 10}).found.size(), 1U);
    EXPECT_GE(Segment(twice, {0, 30000, 10}).found.size(), 2U);
}

TEST(SpeechSegmenterTest, AStretchThatBecomesTooLongGoesOnAsTheNext) {
    const Samples speech = Load(BookSentences()[3].file);
    const Collector whole = Segment(speech);
    ASSERT_EQ(whole.found.size(), 1U);
    const Collector parts = Segment(speech, {500, 2000, 10});
    ASSERT_EQ(parts.found.size(), 3U);
    for (std::size_t i = 0; i + 1 < parts.found.size(); ++i) {
        EXPECT_NEAR(parts.found[i].end - parts.found[i].start, 2.0, 0.011);
        EXPECT_DOUBLE_EQ(parts.found[i].end, parts.found[i + 1].start);
    }
    EXPECT_EQ(parts.audio, whole.audio);
}

TEST(SpeechSegmenterTest, TheThresholdDecidesHowLoudSpeechMustBe) {
    const Samples speech = Load(kGoForward.file);
    const Samples noisy = Mix(speech, Noise(3000, LevelDb(speech) - 15));
    EXPECT_EQ(Segment(noisy, {500, 30000, 10}).found.size(), 1U);
    EXPECT_TRUE(Segment(noisy, {500, 30000, 100}).found.empty());
    const Collector everything = Segment(Silence(5000), {500, 2000, 1});
    ASSERT_EQ(everything.found.size(), 3U);
    EXPECT_EQ(everything.found[0].start, 0);
    EXPECT_EQ(everything.found[2].end, 5);
}

TEST(SpeechSegmenterTest, DoesNotDependOnWhereTheStreamIsCut) {
    const Samples speech = Join({Load(kGoForward.file), Load("cards/005.wav"), Silence(700),
                                 Load("numbers.raw"), Noise(1000, -60)});
    const Collector whole = Segment(speech);
    EXPECT_GE(whole.found.size(), 3U);
    for (const std::size_t chunk : {1U, 159U, 161U, 1600U, 16001U}) {
        const Collector cut = Segment(speech, kDefaults, chunk);
        EXPECT_EQ(cut.audio, whole.audio) << chunk;
        ASSERT_EQ(cut.found.size(), whole.found.size()) << chunk;
        for (std::size_t i = 0; i < cut.found.size(); ++i) {
            EXPECT_EQ(cut.found[i].start, whole.found[i].start);
            EXPECT_EQ(cut.found[i].end, whole.found[i].end);
        }
    }
}

TEST(SpeechSegmenterTest, TellsTheEndAsSoonAsTheTailIsOver) {
    const Samples speech = Join({Load(kGoForward.file), Silence(1000)});
    Collector collector;
    SpeechSegmenter segmenter(kDefaults, &collector);
    const std::size_t used = segmenter.Push(speech);
    ASSERT_LT(used, speech.size());
    EXPECT_FALSE(segmenter.IsInSpeech());
    // The stretch ends 0.2 s behind the speech, the tail 0.5 s behind it.
    EXPECT_NEAR(static_cast<double>(used) / 16000, collector.found[0].end + 0.3, 0.05);
}

TEST(SpeechSegmenterTest, TimesAgreeWithTheAudio) {
    const Samples speech = Join({Load("cards/005.wav"), Silence(800), Load(kGoForward.file)});
    const Collector result = Segment(speech);
    Samples cut;
    for (const Found& found : result.found) {
        const auto start = static_cast<std::ptrdiff_t>(found.start * 16000);
        EXPECT_NEAR(static_cast<double>(found.samples) / 16000, found.end - found.start, 1e-9);
        cut.insert(cut.end(), speech.begin() + start,
                   speech.begin() + start + static_cast<std::ptrdiff_t>(found.samples));
    }
    EXPECT_EQ(cut, result.audio);
}

}  // namespace
}  // namespace orvx::test
