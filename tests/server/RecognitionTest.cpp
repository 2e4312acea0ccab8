// Recorded speech through the whole server, with PocketSphinx. How many words of read sentences are
// heard, in every mode, is seen from the host's end.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <thread>

#include "TestAudio.h"
#include "TestServer.h"

namespace orvx::test {
namespace {

const std::string kWords = kPcm16 + ",result_type=wordlist";
const std::string kContinue = kWords + ",stream_recog=continue";

// One for all tests, as its models take long to load.
TestServer& Server() {
    static const Options options = DefaultOptions(2);
    static TestServer server(options, PocketSphinxFactory(options.model, /*is_verbose=*/false));
    return server;
}

Answer Recognise(const std::string& task_config, const Samples& audio) {
    return Server().Ask(MakeRequest(task_config, Bytes(audio)));
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

TEST(RecognitionTest, WordTimesCountFromTheStartOfTheAudio) {
    const int starts[] = {460, 640, 1170, 1530};  // by ear and by eye
    const Answer answer = Recognise(kWords, Join({Silence(5000), Load(kGoForward)}));
    EXPECT_EQ(answer.Text(), "go forward ten meters");
    const auto& words = answer.Segment(0).pelementlistresults(0);
    ASSERT_EQ(words.nelementcount(), 4);
    for (int i = 0; i < 4; ++i)
        EXPECT_NEAR(words.pelementlist(i).nstarttime(), 5000 + starts[i], 60);
}

TEST(RecognitionTest, AlternativesAreDifferentAndBestFirst) {
    const Answer answer = Recognise(kWords + ",nbest_result=yes", Load(kBookSentences[1]));
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

// The engine's own alternatives may break off where the grammar goes on.
TEST(RecognitionTest, AlternativesWithinAGrammarAreItsSentences) {
    const auto hear = [](const std::string& recording, const std::string& rule) {
        LexoRequestMessage request =
            MakeRequest(kPcm16 + ",nbest_result=yes", Bytes(Load(recording)));
        request.set_cap_name("asr.cloud.grammar");
        request.set_resource_data("#JSGF V1.0;\npublic <x> = " + rule + ";");
        request.set_resource_data_len(static_cast<int>(request.resource_data().size()));
        request.set_resource_type(LexoRequestMessage::LEXO_RESOURCE_GRAMMAR_JSGF);
        std::vector<std::string> heard;
        const Answer answer = Server().Ask(request);
        for (const auto& segment : answer.response.sgrammarresult().psegmentresults())
            for (const auto& sentence : segment.psentenceresults())
                heard.push_back(sentence.psztext());
        return heard;
    };
    EXPECT_EQ(hear(kGoForward, "go forward ten meters [per second]"),
              std::vector<std::string>{"go forward ten meters"});
    EXPECT_GT(hear("numbers.raw", "(three | seven | zero) three four six").size(), 1U);
}

// What one client hears may depend neither on what others said before, nor on how busy the decoders
// are, nor on how a stream is cut.
TEST(RecognitionTest, TheSameAudioAlwaysGivesTheSameAnswer) {
    const Samples audio = Load("cards/005.wav");
    const auto fingerprint = [](const Answer& answer) {
        return answer.response.sfreetalkresult().SerializeAsString();
    };
    const std::string alone = fingerprint(Recognise(kWords, audio));
    TestStream slow(Server().Port(), kContinue);
    slow.SendAll(Bytes(audio));
    const std::string streamed = fingerprint(slow.Close());
    std::vector<std::thread> others;
    for (int i = 0; i < 2; ++i)
        others.emplace_back([] { Recognise(kPcm16, Load("something.raw")); });
    EXPECT_EQ(fingerprint(Recognise(kWords, audio)), alone);
    TestStream fast(Server().Port(), kContinue);
    fast.Send(Bytes(audio));
    EXPECT_EQ(fingerprint(fast.Close()), streamed);
    for (std::thread& other : others) other.join();
}

}  // namespace
}  // namespace orvx::test
