// Free talk in every mode, on recorded human speech.
#include "SpeechSession.h"
#include "SpeechTest.h"

namespace {

const char* const kStreamNames[] = {"no", "yes", "continue", "continue-rt", "yes-rt"};

class RecordedSpeechTest : public testing::TestWithParam<int> {
  protected:
    static Heard Hear(const std::string& audio, int result_type = 0) {
        Session session("freetalk");
        session.Set(LEXO_PARAM_STREAM, GetParam());
        session.Set(LEXO_PARAM_RESULT_TYPE, result_type);
        return session.Recognise(audio, /*is_streamed=*/GetParam() != 0);
    }
};

TEST_P(RecordedSpeechTest, ACommandIsHeardWordForWord) {
    const Heard heard = Hear(ReadAudio("goforward.raw"));
    EXPECT_EQ(heard.Text(), "go forward ten meters");
    EXPECT_EQ(heard.results, 1);
    EXPECT_EQ(heard.code, LEXO_ERR_NONE);
}

TEST_P(RecordedSpeechTest, SilenceIsNoVoiceInput) {
    const Heard heard = Hear(std::string(64000, '\0'));
    EXPECT_EQ(heard.code, LEXO_ERR_NO_VOICE_INPUT);
    EXPECT_EQ(heard.results, 0);
}

using RecordedSentencesTest = RecordedSpeechTest;

TEST_P(RecordedSentencesTest, MostWordsOfEverySentenceAreHeard) {
    const auto sentences = Transcription("librivox", "transcription");
    for (const auto& [file, said] : sentences) {
        const std::string heard = Hear(ReadAudio(file)).Text();
        EXPECT_GT(WordsHeard(said, heard), 0.5) << said << "\n" << heard;
    }
    EXPECT_EQ(sentences.size(), 5U);
}

INSTANTIATE_TEST_SUITE_P(StreamModes, RecordedSpeechTest, testing::Range(0, 5),
                         [](const auto& stream) {
                             std::string name = kStreamNames[stream.param];
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

INSTANTIATE_TEST_SUITE_P(OneShotAndContinuous, RecordedSentencesTest, testing::Values(0, 3));

using RecordedSpeechDetailsTest = RecordedSpeechTest;

TEST_P(RecordedSpeechDetailsTest, WordsCarryTheirTimesAndPlaces) {
    const std::string audio = ReadAudio("goforward.raw");
    const Heard heard = Hear(audio, /*result_type=*/1);
    const std::string text = heard.Text();
    std::string from_elements;
    int last_end = 0;
    for (const Lexo_Freetalk_Element& element : heard.elements) {
        EXPECT_LE(last_end, element.nStartTime);
        EXPECT_LT(element.nStartTime, element.nEndTime);
        last_end = element.nEndTime;
        from_elements += (from_elements.empty() ? "" : " ") +
                         text.substr(static_cast<std::size_t>(element.nPosInText),
                                     static_cast<std::size_t>(element.nCountInText));
    }
    EXPECT_LE(last_end, static_cast<int>(audio.size() / 32));
    EXPECT_EQ(from_elements, text);
}

TEST_P(RecordedSpeechDetailsTest, EndedUtterancesArriveWhileAudioStillFlows) {
    const std::string command = ReadAudio("goforward.raw");
    const std::string pause(32000, '\0');  // 1 s
    const Heard heard = Hear(command + pause + command + pause);
    EXPECT_EQ(heard.Text(), "go forward ten meters go forward ten meters");
    EXPECT_EQ(heard.results, 2);
}

INSTANTIATE_TEST_SUITE_P(ContinuousModes, RecordedSpeechDetailsTest, testing::Values(2, 3));

}  // namespace
