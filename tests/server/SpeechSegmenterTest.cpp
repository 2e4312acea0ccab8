#include <gtest/gtest.h>

#include <cmath>

#include "SpeechSegmenter.h"
#include "TestAudio.h"

namespace orvx::test {
namespace {

struct Found {
    double start;  // seconds
    double end;
    bool operator==(const Found&) const = default;
};

struct Collector : SpeechSink {
    void OnSpeechBegin(std::int64_t first_sample) override {
        EXPECT_FALSE(std::exchange(is_open, true));
        found.push_back({static_cast<double>(first_sample) / 16000, 0});
    }
    void OnSpeech(std::span<const std::int16_t> samples) override {
        EXPECT_TRUE(is_open);
        audio.insert(audio.end(), samples.begin(), samples.end());
    }
    void OnSpeechEnd(std::int64_t end_sample) override {
        EXPECT_TRUE(std::exchange(is_open, false));
        found.back().end = static_cast<double>(end_sample) / 16000;
    }

    bool is_open = false;
    std::vector<Found> found;
    Samples audio;  // of all stretches
};

constexpr SegmenterSettings kDefaults{500, 30000, 10};

Collector Segment(const Samples& samples, const SegmenterSettings& settings = kDefaults,
                  std::size_t chunk = 1000000) {
    Collector collector;
    SpeechSegmenter segmenter(settings, &collector);
    for (std::size_t at = 0; at < samples.size();)
        at += segmenter.Push(std::span(samples).subspan(at, std::min(chunk, samples.size() - at)));
    EXPECT_EQ(segmenter.Samples(), static_cast<std::int64_t>(samples.size()));
    segmenter.Finish();
    return collector;
}

// "go forward ten meters" is spoken from 0.5 s to 2.1 s of its recording; a little room around it
// belongs to the stretch.
void ExpectTheCommand(const Found& found, double offset) {
    EXPECT_NEAR(found.start, offset + 0.3, 0.2);
    EXPECT_NEAR(found.end, offset + 2.3, 0.2);
}

TEST(SpeechSegmenterTest, FindsSpeechAnywhereInSilenceAndNoise) {
    const Samples speech = Load(kGoForward);
    for (const double noise_db : {-95.0, -70.0, -55.0, -46.0}) {
        for (const int lead_ms : {0, 500, 15000}) {
            const Samples padded = Join({Silence(lead_ms), speech, Silence(2000)});
            const Collector result =
                Segment(Mix(padded, Noise(static_cast<int>(padded.size() / 16), noise_db)));
            ASSERT_EQ(result.found.size(), 1U) << noise_db << " dB, " << lead_ms << " ms";
            ExpectTheCommand(result.found[0], lead_ms / 1000.0);
        }
    }
    for (const std::string& sentence : kBookSentences) {  // cut, so that they start at once
        const Samples whole = Load(sentence);
        const Collector result = Segment({whole.end() - 2 * std::ssize(whole) / 3, whole.end()});
        ASSERT_FALSE(result.found.empty()) << sentence;
        EXPECT_LT(result.found[0].start, 0.05) << sentence;
    }
}

TEST(SpeechSegmenterTest, HearsNoSpeechInWhatIsNone) {
    Samples clicks = Silence(10000);
    for (std::size_t at = 8000; at < clicks.size(); at += 15000)
        for (std::size_t i = 0; i < 400; ++i) clicks[at + i] = i % 8 < 4 ? 10000 : -10000;
    const Samples offset = Mix(Noise(10000, -80), Samples(160000, 3000));
    for (const Samples& none : {clicks, offset, Silence(10000), Noise(10000, -70),
                                Noise(10000, -50), Noise(10000, -20), Samples()})
        EXPECT_TRUE(Segment(none).found.empty());
}

TEST(SpeechSegmenterTest, TheTailPartsStretchesAndIsWaitedForNoLonger) {
    const Samples speech = Load(kGoForward);  // 0.95 s of silence lie between the two
    const Samples twice = Join({speech, speech});
    const Collector parted = Segment(twice, {500, 30000, 10});
    ASSERT_EQ(parted.found.size(), 2U);
    ExpectTheCommand(parted.found[1], static_cast<double>(speech.size()) / 16000);
    EXPECT_EQ(Segment(twice, {2000, 30000, 10}).found.size(), 1U);
    EXPECT_GE(Segment(twice, {0, 30000, 10}).found.size(), 2U);
    Collector collector;
    SpeechSegmenter segmenter(kDefaults, &collector);
    const std::size_t used = segmenter.Push(twice);
    // The stretch ends 0.2 s behind the speech, the tail 0.5 s behind it.
    EXPECT_NEAR(static_cast<double>(used) / 16000, collector.found[0].end + 0.3, 0.05);
}

TEST(SpeechSegmenterTest, AStretchThatBecomesTooLongGoesOnAsTheNext) {
    const Samples speech = Load(kBookSentences[3]);
    const Collector parts = Segment(speech, {500, 2000, 10});
    ASSERT_EQ(parts.found.size(), 3U);
    EXPECT_NEAR(parts.found[0].end - parts.found[0].start, 2.0, 0.011);
    EXPECT_EQ(parts.found[0].end, parts.found[1].start);
    EXPECT_EQ(parts.audio, Segment(speech).audio);
}

TEST(SpeechSegmenterTest, TheThresholdDecidesHowLoudSpeechMustBe) {
    const Samples speech = Load(kGoForward);
    const Samples noisy = Mix(speech, Noise(3000, PowerDb(speech) - 15));
    EXPECT_EQ(Segment(noisy, {500, 30000, 10}).found.size(), 1U);
    EXPECT_TRUE(Segment(noisy, {500, 30000, 100}).found.empty());
    const std::vector<Found> everything{{0, 2}, {2, 4}, {4, 5}};
    EXPECT_EQ(Segment(Silence(5000), {500, 2000, 1}).found, everything);
}

TEST(SpeechSegmenterTest, DoesNotDependOnWhereTheStreamIsCut) {
    const Samples speech = Join({Load(kGoForward), Load("cards/005.wav"), Silence(700),
                                 Load("numbers.raw"), Noise(1000, -60)});
    const Collector whole = Segment(speech);
    EXPECT_GE(whole.found.size(), 3U);
    Samples between;  // the stretches' times
    for (const Found& found : whole.found) {
        between.insert(between.end(), speech.begin() + std::lround(found.start * 16000),
                       speech.begin() + std::lround(found.end * 16000));
    }
    EXPECT_EQ(between, whole.audio);
    for (const std::size_t chunk : {1U, 159U, 161U, 16001U}) {
        const Collector cut = Segment(speech, kDefaults, chunk);
        EXPECT_EQ(cut.audio, whole.audio) << chunk;
        EXPECT_EQ(cut.found, whole.found) << chunk;
    }
}

}  // namespace
}  // namespace orvx::test
