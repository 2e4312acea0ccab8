// What the answers to an utterance's chunks say, with an engine whose results are known beforehand.
#include <gtest/gtest.h>

#include <future>
#include <sstream>
#include <thread>
#include <vector>

#include "FakeEngine.h"
#include "TestAudio.h"
#include "Utterance.h"

namespace orvx::test {
namespace {

class UtteranceTest : public testing::Test {
  protected:
    void Open(const std::string& task_config, const UtteranceLimits& limits = {600, 3600, 5}) {
        RecognitionTask task;
        task.capability = capability_;
        if (has_keywords_) {
            task.resource = std::make_shared<Resource>(Resource{1, KeywordList{{"Key", "key", 0}}});
        }
        ASSERT_FALSE(ParseTaskParameters(kPcm16 + "," + task_config, &task.parameters));
        utterance_ = std::make_shared<Utterance>(task, limits, &threads_, &turns_, &decoders_);
        number_ = 0;
    }
    std::future<Outcome> Post(const std::string& audio, bool is_closing = false) {
        auto promise = std::make_shared<std::promise<Outcome>>();
        utterance_->TakeChunk(++number_, is_closing, audio, [promise](Outcome outcome) {
            promise->set_value(std::move(outcome));
        });
        return promise->get_future();
    }
    static Outcome Await(std::future<Outcome> future) {
        EXPECT_EQ(future.wait_for(std::chrono::minutes(1)), std::future_status::ready);
        return future.get();
    }
    Outcome Send(const std::string& audio) { return Await(Post(audio)); }
    // The last chunk, or a whole recording.
    Outcome Close(const std::string& audio = "") { return Await(Post(audio, true)); }

    FakeEngine engine_;
    TurnQueue turns_{1};
    asio::thread_pool threads_{2};
    DecoderPool decoders_{engine_.Factory(), 2};
    std::shared_ptr<Utterance> utterance_;
    int number_ = 0;
    Capability capability_ = Capability::kFreeTalk;
    bool has_keywords_ = false;
};

// "STATUS TEXT|TEXT", or the error and its text. Keywords stand behind "@", speakers before ":".
std::string Show(const Outcome& outcome) {
    if (outcome.failure) {
        return "error " + std::to_string(outcome.failure->error_no) + ": " + outcome.failure->text;
    }
    std::string text = std::to_string(outcome.recog_status);
    for (const Segment& segment : outcome.segments) {
        text += &segment == outcome.segments.data() ? " " : "|";
        if (segment.role != Role::kUnknown) text += segment.role == Role::kAgent ? "A:" : "U:";
        if (!segment.sentences.empty()) text += segment.sentences[0].text;
        for (const SpottedKeyword& keyword : segment.keywords) text += "@" + keyword.text;
    }
    return text;
}

const std::string kNoVoice = "error 12: no speech was heard";
const std::string kOver = "error 33: the utterance is over";

TEST_F(UtteranceTest, ARecordingGivesASegmentForEachStretchWithItsTimes) {
    Open("nbest_result=yes");
    const Outcome outcome =
        Close(Pause(1000) + Voice(1000) + Pause(1500) + Voice(2000) + Pause(1000));
    EXPECT_EQ(Show(outcome), "2 word|word word");
    EXPECT_TRUE(outcome.is_over);
    const Segment& second = outcome.segments[1];
    EXPECT_NEAR(second.start_ms, 3500 - 250, 20);
    EXPECT_NEAR(second.end_ms, 5500 + 200, 20);
    EXPECT_EQ(second.sentences.size(), 5U);
    EXPECT_EQ(second.sentences[0].words[1].start_ms, second.start_ms + 1000);
    EXPECT_EQ(second.sentences[0].words[1].end_ms, second.start_ms + 2000);
    EXPECT_DOUBLE_EQ(utterance_->SecondsOfAudio(), 6.5);
    const auto samples = static_cast<std::size_t>(second.end_ms - second.start_ms) * 16;
    EXPECT_EQ(engine_.Get().longest_opening, samples) << "all of the longer stretch";
}

// "v1000 p300": so many ms of voice, then of a pause.
std::string Sounds(const std::string& script) {
    std::istringstream words(script);
    std::string audio;
    for (std::string word; words >> word;) {
        audio += (word[0] == 'v' ? Voice : Pause)(std::stoi(word.substr(1)));
    }
    return audio;
}

TEST_F(UtteranceTest, EveryChunkIsAnsweredAsItsModeSays) {
    const struct {
        const char* task_config;
        std::vector<std::pair<std::string, std::string>> chunks;  // and their answers
        std::string at_close;
    } dialogues[] = {
        // One result, at the end of speech or at the close; noise does not use it up.
        {"stream_recog=yes",
         {{"p800", "1"}, {"v1000", "1"}, {"p300", "1"}, {"p300 v3000", "2 word"}, {"v1000", "0"}},
         "0"},
        {"stream_recog=yes-rt", {{"p800 v2000", "1"}}, "2 word word"},
        {"stream_recog=yes", {{"p500 v150 p1000", "1"}, {"v150 p800 v1000 p800", "2 word"}}, "0"},
        // A result for each stretch, while audio flows.
        {"stream_recog=continue",
         {{"v1000", "1"}, {"p700", "3 word"}, {"v2000 p700 v1000 p700 v500", "3 word word|word"}},
         "0"},
        {"stream_recog=continue-rt",
         {{"v1000 p700 v1000", "3 word"}, {"v1000", "1"}},
         "2 word word"},
        {"stream_recog=continue", {{"p1000", "1"}}, kNoVoice},
        {"stream_recog=yes", {}, kNoVoice},
        // The silence before the first speech is limited, but for continuous streams.
        {"vad_head=2000,stream_recog=continue", {{"p3000 v1000 p1000", "3 word"}}, "0"},
        {"vad_head=2000,stream_recog=yes", {{"p1900", "1"}, {"p500 v1000", kNoVoice}}, kNoVoice},
        // So is the longest stretch.
        {"max_seconds=2,stream_recog=yes", {{"v5000", "2 word word"}}, "0"},
        {"max_seconds=2,stream_recog=continue", {{"v5000", "3 word word|word word"}}, "2 word"}};
    for (const auto& dialogue : dialogues) {
        Open(dialogue.task_config);
        for (const auto& [script, answer] : dialogue.chunks) {
            EXPECT_EQ(Show(Send(Sounds(script))), answer) << dialogue.task_config << script;
        }
        EXPECT_EQ(Show(Close()), dialogue.at_close) << dialogue.task_config;
    }
}

TEST_F(UtteranceTest, ARecordingIsAnsweredAsItsParametersSay) {
    const std::tuple<const char*, const char*, std::string> recordings[] = {
        {"", "p1000 v150 p1000", kNoVoice},  // in which there is no word
        {"vad_head=2000", "p3000 v1000", kNoVoice},
        {"vad_head=3000", "p3000 v1000", "2 word"},
        {"vad_head=1000", "p1400 v1000", kNoVoice},  // before the background is known
        {"vad_head=0", "v1000", "2 word"},
        {"max_seconds=2", "v5000", "2 word word|word word|word"}};
    for (const auto& [task_config, script, answer] : recordings) {
        Open(task_config);
        EXPECT_EQ(Show(Close(Sounds(script))), answer) << task_config;
    }
}

TEST_F(UtteranceTest, EachCapabilityHearsInItsOwnWay) {
    const struct {
        Capability capability;
        bool has_keywords;
        const char* task_config;
        const char* script;
        std::string answer;
    } recordings[] = {
        // Whoever says something that is not in the grammar or the list has spoken all the same.
        {Capability::kGrammar, false, "", "v1000 p1000 v2000", "2 word|word word"},
        {Capability::kGrammar, false, "", "p1000 v300 p1000", "2"},
        {Capability::kGrammar, false, "", "p1000", kNoVoice},
        {Capability::kKeywordSpot, true, "", "p15000 v1000 p1000 v2000", "2 @Key|@Key"},
        {Capability::kKeywordSpot, true, "", "v300 p1000", "2"},
        {Capability::kAnalysis, false, "", "p15000 v1000", "2 word"},
        {Capability::kAnalysis, true, "", "v1000", "2 word@Key"},
        {Capability::kAnalysis, true, "", "p1000 v150 p1000", kNoVoice}};
    for (const auto& recording : recordings) {
        capability_ = recording.capability;
        has_keywords_ = recording.has_keywords;
        Open(recording.task_config);
        EXPECT_EQ(Show(Close(Sounds(recording.script))), recording.answer) << recording.script;
    }
    capability_ = Capability::kKeywordSpot;
    has_keywords_ = true;
    Open("stream_recog=continue");
    EXPECT_EQ(Show(Send(Sounds("v1000 p700 v200 p600"))), "3 @Key");
    EXPECT_EQ(Show(Send(Sounds("v200 p600"))), "1") << "spoken, but not a keyword";
    const Outcome outcome = Close(Sounds("v1000"));
    EXPECT_EQ(Show(outcome), "2 @Key");
    EXPECT_EQ(outcome.segments[0].keywords[0].start_ms, outcome.segments[0].start_ms + 100);
}

// Left and right channel, sample by sample; the shorter one is filled up.
std::string Interleave(std::string left, std::string right) {
    left.resize(std::max(left.size(), right.size()));
    right.resize(left.size());
    std::string both;
    for (std::size_t at = 0; at < left.size(); at += 2) {
        both += left.substr(at, 2) + right.substr(at, 2);
    }
    return both;
}

std::string ShowSilences(const Outcome& outcome) {
    std::string text;
    for (const auto& silence : outcome.silences) {
        text.append(text.empty() ? "" : " ").append(std::to_string((silence.start_ms + 50) / 100));
        text.append("-").append(std::to_string((silence.end_ms + 50) / 100));
    }
    return text;
}

TEST_F(UtteranceTest, ACallsSpeakersAreToldApartAndItsSilencesAreEverybodys) {
    capability_ = Capability::kAnalysis;
    const std::string call =
        Interleave(Sounds("p1000 v1000 p4000 v2000 p1000"), Sounds("p1500 v2000 p1000"));
    Open("channel_type=left_agent");
    const Outcome outcome = Close(call);
    EXPECT_EQ(Show(outcome), "2 A:word|U:word word|A:word word");
    // Stretches begin 0.25 s before the first sound and end 0.2 s behind the last.
    EXPECT_EQ(ShowSilences(outcome), "0-8 37-58 82-90");
    EXPECT_DOUBLE_EQ(utterance_->SecondsOfAudio(), 9);
    Open("channel_type=right_agent,analysis_mode=online");
    EXPECT_EQ(Show(Send(call)), "3 U:word|A:word word|U:word word");
    const std::string more = Interleave(Sounds("p3000 v1000 p3000"), Sounds("p2000 v4000 p1000"));
    const Outcome later = Send(more);
    EXPECT_EQ(Show(later), "3 A:word word word word|U:word");
    const Outcome last = Close(Interleave(Sounds("p1000 v150 p1000"), ""));
    EXPECT_EQ(Show(last), "2") << "the rest of the silences";
    EXPECT_EQ(ShowSilences(last), "152-182");
}

TEST_F(UtteranceTest, AStreamsTimesCountFromItsStartAndItsOpeningIsShort) {
    Open("stream_recog=continue");
    Send(Voice(1000) + Pause(1000));
    const Outcome outcome = Send(Voice(5000) + Pause(1000));
    EXPECT_NEAR(outcome.segments.at(0).start_ms, 2000 - 250, 20);
    EXPECT_EQ(outcome.segments[0].sentences[0].words[0].start_ms, outcome.segments[0].start_ms);
    EXPECT_EQ(engine_.Get().longest_opening, 16000U * 3);
    EXPECT_EQ(Show(Close(Voice(2000))), "2 word word") << "the last chunk may hold audio";
}

TEST_F(UtteranceTest, WrongNumbersEndTheUtterance) {
    for (const int wrong : {1, 3, 7}) {
        Open("stream_recog=yes");
        Send(Voice(1000));
        number_ = wrong - 1;
        const Outcome outcome = Send(Voice(1000));
        EXPECT_EQ(Show(outcome).find("error 13: chunk"), 0U);
        EXPECT_NE(Show(outcome).find("chunk 2 was due"), std::string::npos);
        EXPECT_TRUE(outcome.is_over);
        EXPECT_EQ(Show(Send(Voice(1000))), kOver);
    }
}

TEST_F(UtteranceTest, AnAnswerWaitsForItsOwnStretchesOnlyAndComesInOrder) {
    Open("stream_recog=continue");
    engine_.HoldUp();
    auto first = Post(Voice(1000) + Pause(1000));
    auto second = Post(Voice(2000) + Pause(1000));
    auto third = Post("", true);
    engine_.WaitForHeldUp(1);
    const auto busy = utterance_;
    Open("stream_recog=continue");
    EXPECT_EQ(Show(Send(Voice(5000))), "1") << "though the other waits";
    EXPECT_EQ(second.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    engine_.GoOn();
    EXPECT_EQ(Show(Await(std::move(first))), "3 word");
    EXPECT_EQ(Show(Await(std::move(second))), "3 word word");
    EXPECT_EQ(Show(Await(std::move(third))), "0");
    EXPECT_EQ(Show(Close()), "2 " + Words(5));
}

TEST_F(UtteranceTest, LongRecordingsLeaveTurnsToOthersAndDoNotRunAheadOfTheDecoders) {
    const std::string audio = Voice(300000);
    std::vector<std::shared_ptr<Utterance>> busy;
    for (int i = 0; i < 3; ++i) {
        Open("audio_format=pcm8k16bit");
        Post(audio, true);
        busy.push_back(utterance_);
    }
    Open("");
    EXPECT_EQ(Show(Close(Voice(2000))), "2 word word");
    for (const auto& recording : busy) {
        EXPECT_LT(recording->SecondsOfAudio(), 600);
        recording->Abandon();
    }
    engine_.HoldUp();
    Open("max_seconds=10");
    auto whole = Post(audio, true);
    for (double heard = -1; heard < utterance_->SecondsOfAudio();) {
        heard = utterance_->SecondsOfAudio();
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    EXPECT_LT(utterance_->SecondsOfAudio(), 260);
    engine_.GoOn();
    EXPECT_EQ(Await(std::move(whole)).segments.size(), 30U);
}

TEST_F(UtteranceTest, TooManyKeywordsForOneAnswerAreRefused) {
    capability_ = Capability::kKeywordSpot;
    has_keywords_ = true;
    engine_.Set([](auto* s) { s->keywords = 60000; });
    Open("stream_recog=continue");
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(Send(Voice(1000) + Pause(1000)).segments.at(0).keywords.size(), 60000U);
    }
    EXPECT_EQ(Show(Send(Voice(1000) + Pause(1000) + Voice(1000) + Pause(1000))),
              "error 13: too many keywords were spotted: their thresholds are too low");
}

TEST_F(UtteranceTest, TooMuchAudioIsRefused) {
    const UtteranceLimits limits{2, 5, 1};
    Open("", limits);
    EXPECT_EQ(Show(Close(Voice(2100))).find("error 1: "), 0U);
    Open("", limits);
    EXPECT_EQ(Show(Close(Voice(2000))), "2 word word");
    Open("stream_recog=yes", limits);
    EXPECT_EQ(Show(Send(Voice(2100))).find("error 13: "), 0U);
    Open("stream_recog=continue", limits);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(Show(Send(Voice(2000))), "1");
    const Outcome outcome = Send(Voice(2000));
    EXPECT_NE(Show(outcome).find("longer than this server takes, 5 s"), std::string::npos);
    EXPECT_TRUE(outcome.is_over);
}

TEST_F(UtteranceTest, AFailureOrAbandoningEndsTheUtteranceAndFreesWhatItHolds) {
    engine_.Set([](auto* s) { s->fails_finish = true; });
    Open("stream_recog=continue");
    const Outcome failed = Send(Voice(1000) + Pause(1000));
    EXPECT_EQ(Show(failed), "error 13: the engine failed: the fake engine is out of order");
    EXPECT_TRUE(failed.is_over);
    engine_.GoOn();
    Open("stream_recog=yes");
    Send(Voice(4000));
    utterance_->Abandon();
    EXPECT_EQ(Show(Send(Voice(1000))), kOver);
    engine_.HoldUp();
    Open("");
    auto under_way = Post(Voice(1000), true);
    engine_.WaitForHeldUp(1);
    utterance_->Abandon();
    EXPECT_EQ(Show(Await(std::move(under_way))), "error 13: the utterance was abandoned");
    engine_.GoOn();
    const std::weak_ptr<Utterance> abandoned = std::exchange(utterance_, nullptr);
    engine_.WaitFor([&](const auto&) { return abandoned.expired(); });
}

}  // namespace
}  // namespace orvx::test
