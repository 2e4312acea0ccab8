// Recorded speech through the whole server: socket, protocol, audio, speech detection,
// PocketSphinx.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <set>
#include <thread>

#include "TestAudio.h"
#include "TestClient.h"
#include "TestServer.h"
#include "TestStream.h"
#include "Utterance.h"

namespace orvx::test {
namespace {

const std::string kPcm16 = "audio_format=pcm16k16bit";

class RecognitionTest : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        server_ = std::make_unique<TestServer>(DefaultOptions(2), RealEngine());
    }
    static void TearDownTestSuite() { server_.reset(); }

    static Answer Recognise(const std::string& task_config, const std::string& audio) {
        return TestClient(server_->Port()).Ask(MakeRequest(task_config, audio));
    }

    static std::unique_ptr<TestServer> server_;
};

std::unique_ptr<TestServer> RecognitionTest::server_;

TEST_F(RecognitionTest, HearsACommandWordForWord) {
    const LexoRequestMessage request = MakeRequest(kPcm16, Bytes(Load(kGoForward.file)));
    const Answer answer = TestClient(server_->Port()).Ask(request);
    EXPECT_EQ(answer.header.message_type(), MessageHeader::LexoRecogResponse);
    EXPECT_EQ(answer.header.name(), "CapbilityAccessResponseMessage");
    EXPECT_EQ(answer.access.error_no(), 0);
    EXPECT_GT(answer.access.process_time(), 0);
    EXPECT_EQ(answer.response.identify(), request.identify());
    EXPECT_EQ(answer.Error(), LEXO_ERR_NONE);
    EXPECT_EQ(answer.Status(), kResultPresent);
    EXPECT_EQ(answer.Text(), kGoForward.said);
    ASSERT_EQ(answer.response.sfreetalkresult().nsegmentcount(), 1);
    const auto& segment = answer.response.sfreetalkresult().psegmentlist(0);
    EXPECT_EQ(segment.nresultcount(), 1);
    EXPECT_EQ(segment.pelementlistresults_size(), 0);
    EXPECT_GT(segment.psentenceresults(0).nscore(), 0);
    EXPECT_LE(segment.psentenceresults(0).nscore(), 100);
}

// The share of the words of all sentences that was heard.
double ShareHeard(const std::function<std::string(const Samples&)>& recognise) {
    int all_heard = 0;
    int all_said = 0;
    for (const Recording& sentence : BookSentences()) {
        const std::string text = recognise(Load(sentence.file));
        const auto [heard, said] = WordsHeard(sentence.said, text);
        EXPECT_GT(heard * 2, said) << "said: " << sentence.said << "\nheard: " << text;
        all_heard += heard;
        all_said += said;
    }
    return static_cast<double>(all_heard) / all_said;
}

TEST_F(RecognitionTest, HearsMostWordsOfReadSentences) {
    EXPECT_GT(
        ShareHeard([](const Samples& samples) { return Recognise(kPcm16, Bytes(samples)).Text(); }),
        0.65);
}

TEST_F(RecognitionTest, HearsMostWordsOfReadSentencesAsTheyStreamIn) {
    EXPECT_GT(ShareHeard([](const Samples& samples) {
                  TestStream stream(server_->Port(), kPcm16 + ",stream_recog=continue");
                  std::string text;
                  for (const Answer& answer : stream.SendAll(Bytes(samples))) {
                      text += answer.Text() + " ";
                  }
                  return text + stream.Close().Text();
              }),
              0.65);
}

class StreamModeTest : public RecognitionTest, public testing::WithParamInterface<const char*> {};

TEST_P(StreamModeTest, HearsTheCommandWhileAudioFlows) {
    TestStream stream(server_->Port(), kPcm16 + ",stream_recog=" + GetParam());
    const std::vector<Answer> results =
        stream.SendAll(Bytes(Join({Load(kGoForward.file), Silence(1000)})));
    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(results[0].Text(), kGoForward.said);
    const bool is_continuous = std::string_view(GetParam()).starts_with("continue");
    EXPECT_EQ(results[0].Status(),
              is_continuous ? kMoreAudioWanted | kResultPresent : kResultPresent);
    const Answer last = stream.Close();
    EXPECT_EQ(last.Error(), 0);
    EXPECT_EQ(last.Status(), 0);
}

TEST_P(StreamModeTest, HearsTheCommandAtTheClose) {
    TestStream stream(server_->Port(), kPcm16 + ",stream_recog=" + GetParam());
    const Samples speech = Load(kGoForward.file);
    EXPECT_TRUE(stream.SendAll(Bytes({speech.begin(), speech.begin() + 37000})).empty());
    const Answer last = stream.Close();
    EXPECT_EQ(last.Text(), kGoForward.said);
    EXPECT_EQ(last.Status(), kResultPresent);
}

TEST_P(StreamModeTest, SilenceIsNoVoiceInput) {
    TestStream stream(server_->Port(), kPcm16 + ",stream_recog=" + GetParam());
    EXPECT_TRUE(stream.SendAll(Bytes(Noise(2000, -60))).empty());
    EXPECT_EQ(stream.Close().Error(), LEXO_ERR_NO_VOICE_INPUT);
}

INSTANTIATE_TEST_SUITE_P(Modes, StreamModeTest,
                         testing::Values("yes", "continue", "continue-rt", "yes-rt"),
                         [](const auto& mode) {
                             std::string name = mode.param;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

TEST_F(RecognitionTest, ContinuousStreamsGiveEveryUtterance) {
    TestStream stream(server_->Port(), kPcm16 + ",stream_recog=continue,result_type=wordlist");
    const Samples command = Load(kGoForward.file);
    const auto results = stream.SendAll(Bytes(Join({command, Silence(500), command})));
    const Answer last = stream.Close();
    ASSERT_EQ(results.size() + static_cast<std::size_t>(last.Status() / kResultPresent), 2U);
    const Answer& second = results.size() == 2 ? results[1] : last;
    EXPECT_EQ(results[0].Text(), kGoForward.said);
    EXPECT_EQ(second.Text(), kGoForward.said);
    // The same words, later by what lies between the two.
    const auto start = [](const Answer& answer) {
        return answer.response.sfreetalkresult()
            .psegmentlist(0)
            .pelementlistresults(0)
            .pelementlist(0)
            .nstarttime();
    };
    const int offset_ms = static_cast<int>(command.size() / 16) + 500;
    EXPECT_NEAR(start(second) - start(results[0]), offset_ms, 30);
}

void ExpectGoodWords(const LexoResponseMessage::Lexo_Freetalk_Segment& segment, int sentence) {
    const std::string& text = segment.psentenceresults(sentence).psztext();
    const auto& list = segment.pelementlistresults(sentence);
    ASSERT_EQ(list.nelementcount(), list.pelementlist_size());
    std::string joined;
    int last_end = segment.nstarttime();
    for (const auto& word : list.pelementlist()) {
        joined += (joined.empty() ? "" : " ") +
                  text.substr(static_cast<std::size_t>(word.nposintext()),
                              static_cast<std::size_t>(word.ncountintext()));
        EXPECT_LE(last_end, word.nstarttime());
        EXPECT_LT(word.nstarttime(), word.nendtime());
        last_end = word.nendtime();
        EXPECT_GE(word.nscore(), 0);
        EXPECT_LE(word.nscore(), 100);
    }
    EXPECT_LE(last_end, segment.nendtime());
    EXPECT_EQ(joined, text);
}

TEST_F(RecognitionTest, WordTimesCountFromTheStartOfTheAudio) {
    // By ear and by eye, in ms from the start of the recording.
    const std::vector<int> starts = {460, 640, 1170, 1530};
    for (const int lead_ms : {0, 5000}) {
        const Answer answer = Recognise(kPcm16 + ",result_type=wordlist",
                                        Bytes(Join({Silence(lead_ms), Load(kGoForward.file)})));
        ASSERT_EQ(answer.response.sfreetalkresult().nsegmentcount(), 1);
        const auto& segment = answer.response.sfreetalkresult().psegmentlist(0);
        ASSERT_EQ(segment.pelementlistresults_size(), 1);
        ExpectGoodWords(segment, 0);
        ASSERT_EQ(segment.pelementlistresults(0).nelementcount(), 4);
        for (int i = 0; i < 4; ++i) {
            EXPECT_NEAR(segment.pelementlistresults(0).pelementlist(i).nstarttime(),
                        lead_ms + starts[static_cast<std::size_t>(i)], 60);
        }
    }
}

TEST_F(RecognitionTest, AlternativesAreDifferentAndBestFirst) {
    const Answer answer = Recognise(kPcm16 + ",nbest_result=yes,result_type=wordlist",
                                    Bytes(Load(BookSentences()[1].file)));
    ASSERT_EQ(answer.response.sfreetalkresult().nsegmentcount(), 1);
    const auto& segment = answer.response.sfreetalkresult().psegmentlist(0);
    ASSERT_EQ(segment.nresultcount(), 5);
    ASSERT_EQ(segment.psentenceresults_size(), 5);
    ASSERT_EQ(segment.pelementlistresults_size(), 5);
    std::set<std::string> texts;
    int last_score = 100;
    for (int i = 0; i < 5; ++i) {
        texts.insert(segment.psentenceresults(i).psztext());
        EXPECT_LE(segment.psentenceresults(i).nscore(), last_score);
        last_score = segment.psentenceresults(i).nscore();
        ExpectGoodWords(segment, i);
    }
    EXPECT_EQ(texts.size(), 5U);
}

TEST_F(RecognitionTest, AWellSpokenCommandScoresHigherThanAnotherVoiceOverIt) {
    const Samples command = Load(kGoForward.file);
    const auto score = [](const Answer& answer) {
        return answer.response.sfreetalkresult().psegmentlist(0).psentenceresults(0).nscore();
    };
    const int clean = score(Recognise(kPcm16, Bytes(command)));
    const int mixed = score(Recognise(kPcm16, Bytes(Mix(command, Load("something.raw")))));
    EXPECT_GT(clean, mixed + 10);
}

TEST_F(RecognitionTest, EveryTelephoneFormatIsUnderstood) {
    const std::pair<const char*, Recording> cases[] = {
        {"pcm8k16bit", kGoForward},
        {"alaw", kGoForward},
        {"vox6k4bit", kGoForward},
        {"gsm610", {"cards/003.wav", "seven of clubs"}}};
    for (const auto& [name, recording] : cases) {
        const std::string audio = Encode(Load(recording.file), *FindAudioFormat(name));
        const Answer answer = Recognise(std::string("audio_format=") + name, audio);
        EXPECT_EQ(answer.Text(), recording.said) << name;
    }
}

TEST_F(RecognitionTest, PausesPartARecordingIntoSegments) {
    const Samples command = Load(kGoForward.file);
    const Answer answer = Recognise(kPcm16, Bytes(Join({command, Load("numbers.raw"), command})));
    const auto& result = answer.response.sfreetalkresult();
    ASSERT_EQ(result.nsegmentcount(), 3);
    EXPECT_EQ(result.psegmentlist(0).psentenceresults(0).psztext(), kGoForward.said);
    EXPECT_EQ(result.psegmentlist(2).psentenceresults(0).psztext(), kGoForward.said);
    EXPECT_LT(result.psegmentlist(0).nendtime(), result.psegmentlist(1).nstarttime());
}

TEST_F(RecognitionTest, NoiseIsNoVoiceInput) {
    for (const double level_db : {-60.0, -40.0, -25.0}) {
        const Answer answer = Recognise(kPcm16, Bytes(Noise(4000, level_db)));
        EXPECT_EQ(answer.Error(), LEXO_ERR_NO_VOICE_INPUT) << answer.Text();
    }
}

// What one client hears may depend neither on what others said before, nor on how busy the decoders
// are, nor on how a stream is cut.
TEST_F(RecognitionTest, TheSameAudioAlwaysGivesTheSameAnswer) {
    const std::string audio = Bytes(Load("cards/005.wav"));
    const auto fingerprint = [](const Answer& answer) {
        return answer.response.sfreetalkresult().SerializeAsString();
    };
    const std::string task_config = kPcm16 + ",result_type=wordlist";
    const std::string alone = fingerprint(Recognise(task_config, audio));
    const std::string stream_config = task_config + ",stream_recog=continue";
    TestStream slow(server_->Port(), stream_config);
    slow.SendAll(audio);
    const std::string streamed = fingerprint(slow.Close());
    std::vector<std::thread> others;
    for (int i = 0; i < 2; ++i) {
        others.emplace_back([] { Recognise(kPcm16, Bytes(Load("something.raw"))); });
    }
    EXPECT_EQ(fingerprint(Recognise(task_config, audio)), alone);
    TestStream fast(server_->Port(), stream_config);
    fast.Send(audio);
    EXPECT_EQ(fingerprint(fast.Close()), streamed);
    for (std::thread& other : others) other.join();
}

}  // namespace
}  // namespace orvx::test
