// Recorded speech through the whole server: socket, protocol, audio, speech detection,
// PocketSphinx.
#include <gtest/gtest.h>

#include <iterator>
#include <memory>
#include <set>
#include <sstream>
#include <thread>

#include "TestAudio.h"
#include "TestServer.h"
#include "Utterance.h"

namespace orvx::test {
namespace {

const std::string kWords = kPcm16 + ",result_type=wordlist";
const std::string kContinue = kWords + ",stream_recog=continue";

class RecognitionTest : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        const Options options = DefaultOptions(2);
        server_ = std::make_unique<TestServer>(
            options, PocketSphinxFactory(options.model, /*is_verbose=*/false));
    }
    static void TearDownTestSuite() { server_.reset(); }

    static Answer Recognise(const std::string& task_config, const Samples& audio) {
        return server_->Ask(MakeRequest(task_config, Bytes(audio)));
    }

    static std::unique_ptr<TestServer> server_;
};

std::unique_ptr<TestServer> RecognitionTest::server_;

std::size_t CountCommon(const std::string& said, const std::string& heard) {
    std::istringstream stream(heard);
    std::multiset<std::string> left{std::istream_iterator<std::string>(stream), {}};
    std::istringstream words(said);
    std::size_t common = 0;
    for (std::string word; words >> word;) {
        if (const auto found = left.find(word); found != left.end()) left.erase(found), ++common;
    }
    return common;
}

TEST_F(RecognitionTest, HearsMostWordsOfReadSentencesAtOnceAndAsTheyStreamIn) {
    std::size_t said = 0;
    std::size_t heard = 0;
    std::size_t heard_streaming = 0;
    for (const Recording& sentence : BookSentences()) {
        const Samples audio = Load(sentence.file);
        said += CountCommon(sentence.said, sentence.said);
        heard += CountCommon(sentence.said, Recognise(kPcm16, audio).Text());
        TestStream stream(server_->Port(), kContinue);
        std::string text;
        for (const Answer& answer : stream.SendAll(Bytes(audio))) text += answer.Text() + " ";
        heard_streaming += CountCommon(sentence.said, text + stream.Close().Text());
    }
    EXPECT_GT(heard * 3, said * 2);
    EXPECT_GT(heard_streaming * 3, said * 2);
}

void ExpectGoodWords(const LexoResponseMessage::Lexo_Freetalk_Segment& segment, int sentence) {
    const std::string& text = segment.psentenceresults(sentence).psztext();
    std::string joined;
    int last_end = segment.nstarttime();
    for (const auto& word : segment.pelementlistresults(sentence).pelementlist()) {
        joined += (joined.empty() ? "" : " ") +
                  text.substr(static_cast<std::size_t>(word.nposintext()),
                              static_cast<std::size_t>(word.ncountintext()));
        EXPECT_LE(last_end, word.nstarttime());
        EXPECT_LT(word.nstarttime(), word.nendtime());
        last_end = word.nendtime();
        EXPECT_EQ(std::clamp(word.nscore(), 0, 100), word.nscore());
    }
    EXPECT_LE(last_end, segment.nendtime());
    EXPECT_EQ(joined, text);
}

TEST_F(RecognitionTest, WordTimesCountFromTheStartOfTheAudio) {
    const int starts[] = {460, 640, 1170, 1530};  // by ear and by eye
    for (const int lead_ms : {0, 5000}) {
        const Answer answer = Recognise(kWords, Join({Silence(lead_ms), Load(kGoForward.file)}));
        EXPECT_EQ(answer.Text(), kGoForward.said);
        ExpectGoodWords(answer.Segment(0), 0);
        const auto& words = answer.Segment(0).pelementlistresults(0);
        ASSERT_EQ(words.nelementcount(), 4);
        for (int i = 0; i < 4; ++i) {
            EXPECT_NEAR(words.pelementlist(i).nstarttime(), lead_ms + starts[i], 60);
        }
    }
}

TEST_F(RecognitionTest, ContinuousStreamsGiveEveryUtteranceWithItsTimes) {
    TestStream stream(server_->Port(), kContinue);
    const Samples command = Load(kGoForward.file);
    std::vector<Answer> results = stream.SendAll(Bytes(Join({command, Silence(500), command})));
    const Answer last = stream.Close();
    if (last.Status() == kResultPresent) results.push_back(last);
    ASSERT_EQ(results.size(), 2U);
    std::vector<int> starts;
    for (const Answer& answer : results) {
        EXPECT_EQ(answer.Text(), kGoForward.said);
        starts.push_back(answer.Segment(0).pelementlistresults(0).pelementlist(0).nstarttime());
    }
    EXPECT_NEAR(starts[1] - starts[0], static_cast<int>(command.size() / 16) + 500, 30);
}

TEST_F(RecognitionTest, AlternativesAreDifferentAndBestFirst) {
    const Answer answer = Recognise(kWords + ",nbest_result=yes", Load(BookSentences()[1].file));
    const auto& segment = answer.Segment(0);
    ASSERT_EQ(segment.psentenceresults_size(), 5);
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
    const auto score = [](const Samples& audio) {
        return Recognise(kPcm16, audio).Segment(0).psentenceresults(0).nscore();
    };
    EXPECT_GT(score(command), score(Mix(command, Load("something.raw"))) + 10);
}

TEST_F(RecognitionTest, EveryTelephoneFormatIsUnderstood) {
    const std::pair<const char*, Recording> cases[] = {
        {"pcm8k16bit", kGoForward},
        {"alaw", kGoForward},
        {"vox6k4bit", kGoForward},
        {"gsm610", {"cards/003.wav", "seven of clubs"}}};
    for (const auto& [name, recording] : cases) {
        const std::string audio = Encode(Load(recording.file), *FindAudioFormat(name));
        EXPECT_EQ(server_->Ask(MakeRequest(std::string("audio_format=") + name, audio)).Text(),
                  recording.said);
    }
    for (const double level_db : {-60.0, -40.0, -25.0}) {
        EXPECT_EQ(Recognise(kPcm16, Noise(4000, level_db)).Error(), LEXO_ERR_NO_VOICE_INPUT);
    }
}

// What one client hears may depend neither on what others said before, nor on how busy the decoders
// are, nor on how a stream is cut.
TEST_F(RecognitionTest, TheSameAudioAlwaysGivesTheSameAnswer) {
    const Samples audio = Load("cards/005.wav");
    const auto fingerprint = [](const Answer& answer) {
        return answer.response.sfreetalkresult().SerializeAsString();
    };
    const std::string alone = fingerprint(Recognise(kWords, audio));
    TestStream slow(server_->Port(), kContinue);
    slow.SendAll(Bytes(audio));
    const std::string streamed = fingerprint(slow.Close());
    std::vector<std::thread> others;
    for (int i = 0; i < 2; ++i) {
        others.emplace_back([] { Recognise(kPcm16, Load("something.raw")); });
    }
    EXPECT_EQ(fingerprint(Recognise(kWords, audio)), alone);
    TestStream fast(server_->Port(), kContinue);
    fast.Send(Bytes(audio));
    EXPECT_EQ(fingerprint(fast.Close()), streamed);
    for (std::thread& other : others) other.join();
}

}  // namespace
}  // namespace orvx::test
