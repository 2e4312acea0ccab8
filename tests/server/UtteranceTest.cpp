// What the answers to an utterance's chunks say, with an engine whose results are known beforehand.
#include <gtest/gtest.h>

#include <future>

#include "FakeEngine.h"
#include "TestAudio.h"
#include "Utterance.h"

namespace orvx::test {
namespace {

// The engine hears a word for each whole second of it.
std::string Voice(int ms) {
    return Bytes(Syllables(ms));
}
std::string Pause(int ms) {
    return Bytes(Silence(ms));
}

constexpr UtteranceLimits kLimits{600, 3600, 5};

class UtteranceTest : public testing::Test {
  protected:
    void Open(const std::string& task_config, const UtteranceLimits& limits = kLimits) {
        TaskParameters parameters;
        ASSERT_FALSE(ParseTaskParameters("audio_format=pcm16k16bit," + task_config, &parameters));
        utterance_ = std::make_shared<Utterance>(parameters, limits, &threads_, &decoders_);
        number_ = 0;
    }

    std::future<Outcome> Post(int number, bool is_closing, const std::string& audio) {
        auto promise = std::make_shared<std::promise<Outcome>>();
        utterance_->TakeChunk(number, is_closing, audio, [promise](Outcome outcome) {
            promise->set_value(std::move(outcome));
        });
        return promise->get_future();
    }
    static Outcome Await(std::future<Outcome> future) {
        if (future.wait_for(std::chrono::minutes(1)) != std::future_status::ready) {
            ADD_FAILURE() << "no answer";
            return {};
        }
        return future.get();
    }
    Outcome Send(const std::string& audio) { return Await(Post(++number_, false, audio)); }
    Outcome Close() { return Await(Post(++number_, true, "")); }
    Outcome Recognise(const std::string& audio) { return Await(Post(1, true, audio)); }

    FakeEngine engine_;
    asio::thread_pool threads_{2};
    DecoderPool decoders_{engine_.Factory(), 2};
    std::shared_ptr<Utterance> utterance_;
    int number_ = 0;
};

int ErrorOf(const Outcome& outcome) {
    return outcome.failure ? outcome.failure->error_no : 0;
}

std::string TextOf(const Outcome& outcome) {
    std::string text;
    for (const Segment& segment : outcome.segments) {
        text += (text.empty() ? "" : "|") + segment.sentences[0].text;
    }
    return text;
}

void ExpectOutcome(const Outcome& outcome, int error_no, int status, const std::string& text) {
    EXPECT_EQ(ErrorOf(outcome), error_no) << (outcome.failure ? outcome.failure->text : "");
    EXPECT_EQ(outcome.recog_status, status);
    EXPECT_EQ(TextOf(outcome), text);
}

const char* const kContinuousModes[] = {"stream_recog=continue", "stream_recog=continue-rt"};
const char* const kSingleModes[] = {"stream_recog=yes", "stream_recog=yes-rt"};

TEST_F(UtteranceTest, ARecordingGivesASegmentForEachStretch) {
    Open("");
    const Outcome outcome =
        Recognise(Pause(1000) + Voice(1000) + Pause(1500) + Voice(2000) + Pause(1000));
    ExpectOutcome(outcome, 0, kResultPresent, "word|word word");
    EXPECT_TRUE(outcome.is_over);
    const Segment& second = outcome.segments[1];
    EXPECT_NEAR(second.start_ms, 3500 - 250, 20);
    EXPECT_NEAR(second.end_ms, 5500 + 200, 20);
    EXPECT_EQ(second.sentences[0].words[1].start_ms, second.start_ms + 1000);
    EXPECT_EQ(second.sentences[0].words[1].end_ms, second.start_ms + 2000);
    EXPECT_DOUBLE_EQ(utterance_->SecondsOfAudio(), 6.5);
}

TEST_F(UtteranceTest, ARecordingWithoutSpeechIsNoVoiceInput) {
    Open("");
    ExpectOutcome(Recognise(Pause(3000)), LEXO_ERR_NO_VOICE_INPUT, 0, "");
    Open("");
    ExpectOutcome(Recognise(Pause(1000) + Voice(150) + Pause(1000)), LEXO_ERR_NO_VOICE_INPUT, 0,
                  "");  // in which the engine hears no word
    Open("");
    ExpectOutcome(Recognise("x"), LEXO_ERR_NO_VOICE_INPUT, 0, "");  // half a sample
}

TEST_F(UtteranceTest, TheEngineAdaptsToAllOfARecordingButNotOfAStream) {
    Open("");
    Recognise(Voice(5000));
    EXPECT_EQ(engine_.LongestOpening(), 16000U * 5);
    utterance_.reset();
    FakeEngine other;
    DecoderPool decoders(other.Factory(), 1);
    TaskParameters parameters;
    parameters.stream = StreamMode::kYes;
    parameters.audio_format = AudioFormat::kPcm16k16bit;
    utterance_ = std::make_shared<Utterance>(parameters, kLimits, &threads_, &decoders);
    Send(Voice(5000));
    other.WaitFor([](const FakeEngine& e) { return e.SamplesFed() > 16000U * 4; });
    EXPECT_EQ(other.LongestOpening(), 16000U * 3);
    ExpectOutcome(Close(), 0, kResultPresent, FakeEngine::Text(5 * 16000));
    EXPECT_EQ(other.Starts(), 1);
    utterance_.reset();
}

TEST_F(UtteranceTest, ASingleResultComesAtTheEndOfSpeech) {
    for (const char* const mode : kSingleModes) {
        Open(mode);
        ExpectOutcome(Send(Pause(800)), 0, kMoreAudioWanted, "");
        ExpectOutcome(Send(Voice(1000)), 0, kMoreAudioWanted, "");
        ExpectOutcome(Send(Pause(300)), 0, kMoreAudioWanted, "");
        ExpectOutcome(Send(Pause(300) + Voice(3000)), 0, kResultPresent, "word");
        ExpectOutcome(Send(Pause(1000) + Voice(1000)), 0, 0, "");
        const Outcome last = Close();
        ExpectOutcome(last, 0, 0, "");
        EXPECT_TRUE(last.is_over);
    }
}

TEST_F(UtteranceTest, ASingleResultComesAtTheCloseIfSpeechHasNotEnded) {
    Open("stream_recog=yes");
    ExpectOutcome(Send(Pause(800) + Voice(2000)), 0, kMoreAudioWanted, "");
    ExpectOutcome(Close(), 0, kResultPresent, "word word");
}

TEST_F(UtteranceTest, NoiseDoesNotUseUpTheSingleResult) {
    Open("stream_recog=yes");
    ExpectOutcome(Send(Pause(500) + Voice(150) + Pause(1000)), 0, kMoreAudioWanted, "");
    const Outcome outcome = Send(Voice(150) + Pause(800) + Voice(2000) + Pause(800));
    ExpectOutcome(outcome, 0, kResultPresent, "word word");
    EXPECT_NEAR(outcome.segments[0].start_ms, 2600 - 250, 20);
}

TEST_F(UtteranceTest, ContinuousResultsComeWhileAudioFlows) {
    for (const char* const mode : kContinuousModes) {
        Open(mode);
        ExpectOutcome(Send(Voice(1000)), 0, kMoreAudioWanted, "");
        ExpectOutcome(Send(Pause(700)), 0, kMoreAudioWanted | kResultPresent, "word");
        ExpectOutcome(Send(Voice(2000) + Pause(700) + Voice(1000) + Pause(700) + Voice(500)), 0,
                      kMoreAudioWanted | kResultPresent, "word word|word");
        ExpectOutcome(Send(Voice(2500)), 0, kMoreAudioWanted, "");
        ExpectOutcome(Close(), 0, kResultPresent, "word word word");
    }
}

TEST_F(UtteranceTest, ContinuousTimesCountFromTheStreamsStart) {
    Open("stream_recog=continue");
    Send(Voice(1000) + Pause(1000));
    const Outcome outcome = Send(Voice(1000) + Pause(1000));
    ASSERT_EQ(outcome.segments.size(), 1U);
    EXPECT_NEAR(outcome.segments[0].start_ms, 2000 - 250, 20);
    EXPECT_EQ(outcome.segments[0].sentences[0].words[0].start_ms, outcome.segments[0].start_ms);
}

TEST_F(UtteranceTest, TheCloseSaysWhetherAnythingWasHeard) {
    Open("stream_recog=continue");
    Send(Voice(1000) + Pause(1000));
    ExpectOutcome(Close(), 0, 0, "");
    for (const char* const mode : {"stream_recog=continue", "stream_recog=yes"}) {
        Open(mode);
        ExpectOutcome(Send(Pause(1000)), 0, kMoreAudioWanted, "");
        ExpectOutcome(Close(), LEXO_ERR_NO_VOICE_INPUT, 0, "");
        Open(mode);
        ExpectOutcome(Close(), LEXO_ERR_NO_VOICE_INPUT, 0, "");
    }
}

TEST_F(UtteranceTest, TheClosingChunkMayCarryTheLastAudio) {
    Open("stream_recog=yes");
    Send(Voice(1000));
    ExpectOutcome(Await(Post(2, true, Voice(1000))), 0, kResultPresent, "word word");
}

TEST_F(UtteranceTest, LeadingSilenceIsLimitedButForContinuousModes) {
    const std::string late = Pause(3000) + Voice(1000) + Pause(1000);
    Open("vad_head=2000");
    ExpectOutcome(Recognise(late), LEXO_ERR_NO_VOICE_INPUT, 0, "");
    Open("vad_head=3000");
    ExpectOutcome(Recognise(late), 0, kResultPresent, "word");
    Open("vad_head=1000");  // within the time that it takes to learn the background
    ExpectOutcome(Recognise(Pause(1400) + Voice(1000)), LEXO_ERR_NO_VOICE_INPUT, 0, "");
    Open("vad_head=0");
    ExpectOutcome(Recognise(Voice(1000)), 0, kResultPresent, "word");
    Open("vad_head=2000,stream_recog=continue");
    ExpectOutcome(Send(late), 0, kMoreAudioWanted | kResultPresent, "word");
    Open("vad_head=2000,stream_recog=yes");
    ExpectOutcome(Send(Pause(1900)), 0, kMoreAudioWanted, "");
    ExpectOutcome(Send(Pause(500) + Voice(1000)), LEXO_ERR_NO_VOICE_INPUT, 0, "");
    ExpectOutcome(Send(Voice(1000) + Pause(1000)), LEXO_ERR_NO_VOICE_INPUT, 0, "");
    ExpectOutcome(Close(), LEXO_ERR_NO_VOICE_INPUT, 0, "");
}

TEST_F(UtteranceTest, TheLongestStretchIsLimited) {
    Open("max_seconds=2");
    ExpectOutcome(Recognise(Voice(5000)), 0, kResultPresent, "word word|word word|word");
    Open("max_seconds=2,stream_recog=yes");
    ExpectOutcome(Send(Voice(5000)), 0, kResultPresent, "word word");
    ExpectOutcome(Close(), 0, 0, "");
    Open("max_seconds=2,stream_recog=continue");
    ExpectOutcome(Send(Voice(5000)), 0, kMoreAudioWanted | kResultPresent, "word word|word word");
    ExpectOutcome(Close(), 0, kResultPresent, "word");
}

TEST_F(UtteranceTest, WrongNumbersEndTheUtterance) {
    for (const int wrong : {1, 3, 7}) {
        Open("stream_recog=yes");
        Send(Voice(1000));
        const Outcome outcome = Await(Post(wrong, false, Voice(1000)));
        ExpectOutcome(outcome, LEXO_ERR_RECOG_FAILED, 0, "");
        EXPECT_TRUE(outcome.is_over);
        EXPECT_NE(outcome.failure->text.find("chunk 2 was due"), std::string::npos);
        ExpectOutcome(Await(Post(2, false, Voice(1000))), LEXO_ERR_REALTIME_SESSION_TIMEOUT, 0, "");
    }
}

TEST_F(UtteranceTest, ChunksThatArriveTogetherAreTakenInOrder) {
    Open("stream_recog=continue");
    engine_.HoldUp();
    auto first = Post(1, false, Voice(1000) + Pause(1000));
    auto second = Post(2, false, Voice(2000) + Pause(1000));
    auto third = Post(3, true, "");
    engine_.WaitFor([](const FakeEngine& e) { return e.HeldUp() == 1; });
    EXPECT_EQ(second.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    engine_.GoOn();
    EXPECT_EQ(TextOf(Await(std::move(first))), "word");
    EXPECT_EQ(TextOf(Await(std::move(second))), "word word");
    EXPECT_EQ(ErrorOf(Await(std::move(third))), 0);
}

TEST_F(UtteranceTest, AnAnswerWaitsForNothingButItsOwnStretches) {
    engine_.HoldUp();
    Open("stream_recog=continue");
    const auto busy = utterance_;
    auto waiting = Post(1, false, Voice(1000) + Pause(1000));
    auto more = Post(2, false, "");
    Open("stream_recog=continue");
    ExpectOutcome(Send(Voice(4000)), 0, kMoreAudioWanted, "");
    ExpectOutcome(Send(Voice(1000)), 0, kMoreAudioWanted, "");
    engine_.GoOn();
    EXPECT_EQ(TextOf(Await(std::move(waiting))), "word");
    ExpectOutcome(Close(), 0, kResultPresent, "word word word word word");
}

TEST_F(UtteranceTest, TooMuchAudioIsRefused) {
    const UtteranceLimits limits{2, 5, 1};
    Open("", limits);
    ExpectOutcome(Recognise(Voice(2100)), LEXO_ERR_PARAM_INVALID, 0, "");
    Open("", limits);
    ExpectOutcome(Recognise(Voice(2000)), 0, kResultPresent, "word word");
    Open("stream_recog=yes", limits);
    ExpectOutcome(Send(Voice(2100)), LEXO_ERR_RECOG_FAILED, 0, "");
    Open("stream_recog=continue", limits);
    Send(Voice(2000));
    Send(Voice(2000));
    const Outcome outcome = Send(Voice(2000));
    ExpectOutcome(outcome, LEXO_ERR_RECOG_FAILED, 0, "");
    EXPECT_TRUE(outcome.is_over);
    EXPECT_NE(outcome.failure->text.find("5 s"), std::string::npos);
}

TEST_F(UtteranceTest, AnEngineFailureEndsTheUtterance) {
    engine_.FailFinish();
    Open("stream_recog=continue");
    const Outcome outcome = Send(Voice(1000) + Pause(1000));
    ExpectOutcome(outcome, LEXO_ERR_RECOG_FAILED, 0, "");
    EXPECT_EQ(outcome.failure->text, "the engine failed: the fake engine is out of order");
    EXPECT_TRUE(outcome.is_over);
}

TEST_F(UtteranceTest, AlternativesComeOnlyWhereAskedFor) {
    Open("nbest_result=yes");
    EXPECT_EQ(Recognise(Voice(1000)).segments[0].sentences.size(), 5U);
    Open("nbest_result=no");
    EXPECT_EQ(Recognise(Voice(1000)).segments[0].sentences.size(), 1U);
}

TEST_F(UtteranceTest, AnAbandonedUtteranceFreesItsDecoder) {
    Open("stream_recog=yes");
    Send(Voice(4000));
    utterance_->Abandon();
    ExpectOutcome(Send(Voice(1000)), LEXO_ERR_REALTIME_SESSION_TIMEOUT, 0, "");
    const std::weak_ptr<Utterance> abandoned = utterance_;
    Open("");
    Recognise(Voice(1000));
    engine_.WaitFor([&](const FakeEngine&) { return abandoned.expired(); });
}

TEST_F(UtteranceTest, TelephoneFormatsKeepTheirTimes) {
    const Samples audio =
        Join({Silence(1000), Syllables(1000), Silence(1500), Syllables(2000), Silence(1000)});
    for (const char* const name : {"pcm8k16bit", "alaw", "vox6k4bit", "gsm610"}) {
        TaskParameters parameters;
        parameters.audio_format = *FindAudioFormat(name);
        utterance_ = std::make_shared<Utterance>(parameters, kLimits, &threads_, &decoders_);
        const Outcome outcome = Recognise(Encode(audio, parameters.audio_format));
        ExpectOutcome(outcome, 0, kResultPresent, "word|word word");
        EXPECT_NEAR(outcome.segments[1].start_ms, 3500 - 250, 40) << name;
        EXPECT_NEAR(outcome.segments[1].end_ms, 5500 + 200, 60) << name;
    }
}

}  // namespace
}  // namespace orvx::test
