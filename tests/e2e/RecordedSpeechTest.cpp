// Free talk in every mode, on recorded human speech.
#include "SpeechTest.h"

namespace {

const char* const kStreamNames[] = {"no", "yes", "continue", "continue-rt", "yes-rt"};

class Session {
  public:
    explicit Session(int stream, int result_type = 0) : is_realtime_(stream != 0) {
        EXPECT_EQ(orvx_proxy_SessionStart("freetalk", &handle_), LEXO_ERR_NONE);
        Set(LEXO_PARAM_AUDIOFORMAT, kPcm16k16bit);
        Set(LEXO_PARAM_STREAM, stream);
        Set(LEXO_PARAM_RESULT_TYPE, result_type);
    }
    ~Session() { EXPECT_EQ(orvx_proxy_SessionStop(handle_), LEXO_ERR_NONE); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    void Set(Lexo_ParamKey key, int value) {
        EXPECT_EQ(orvx_proxy_SetParam(handle_, key, Number(value)), LEXO_ERR_NONE);
    }

    // The recognised text of the whole audio; segments are joined by a blank.
    std::string Recognize(const std::string& audio) {
        for (std::size_t at = 0; is_realtime_ && at < audio.size(); at += kChunkBytes) {
            Exchange(audio.substr(at, kChunkBytes), 0);
        }
        Exchange(is_realtime_ ? "" : audio, 1);
        return text_;
    }

    Lexo_ErrCode LastError() const { return last_error_; }
    int Results() const { return results_; }
    const std::vector<Lexo_Freetalk_Element>& Elements() const { return elements_; }

  private:
    void Exchange(const std::string& chunk, int is_over) {
        Lexo_RecogStatus status = 0;
        last_error_ = orvx_proxy_Recognize(handle_, chunk.data(), static_cast<int>(chunk.size()),
                                           is_over, &status);
        if ((status & kBitResult) != 0) {
            TakeResult();
        }
    }

    void TakeResult() {
        Lexo_RecogResult* result = nullptr;
        ASSERT_EQ(orvx_proxy_GetRecogResult(handle_, &result), LEXO_ERR_NONE);
        ASSERT_EQ(result->nEngineType, LEXO_ENGINE_FREETALK);
        const Lexo_Freetalk_Result& freetalk = result->sFreetalkResult;
        for (int i = 0; i < freetalk.nSegmentCount; ++i) {
            const Lexo_Freetalk_Segment& segment = freetalk.pSegmentList[i];
            ASSERT_GE(segment.nResultCount, 1);
            text_ += (text_.empty() ? "" : " ") + std::string(segment.pSentenceResults[0].pszText);
            if (segment.pElementListResults != nullptr) {
                const Lexo_Freetalk_ElementList& list = segment.pElementListResults[0];
                elements_.insert(elements_.end(), list.pElementList,
                                 list.pElementList + list.nElementCount);
            }
        }
        ++results_;
        EXPECT_EQ(orvx_proxy_FreeRecogResult(handle_, &result), LEXO_ERR_NONE);
    }

    const bool is_realtime_;
    Lexo_Handle handle_ = nullptr;
    Lexo_ErrCode last_error_ = LEXO_ERR_NONE;
    std::string text_;
    int results_ = 0;
    std::vector<Lexo_Freetalk_Element> elements_;
};

class RecordedSpeechTest : public testing::TestWithParam<int> {};

TEST_P(RecordedSpeechTest, ACommandIsHeardWordForWord) {
    Session session(GetParam());
    EXPECT_EQ(session.Recognize(ReadAudio("goforward.raw")), "go forward ten meters");
    EXPECT_EQ(session.Results(), 1);
    EXPECT_EQ(session.LastError(), LEXO_ERR_NONE);
}

TEST_P(RecordedSpeechTest, SilenceIsNoVoiceInput) {
    Session session(GetParam());
    EXPECT_EQ(session.Recognize(std::string(64000, '\0')), "");
    EXPECT_EQ(session.LastError(), LEXO_ERR_NO_VOICE_INPUT);
    EXPECT_EQ(session.Results(), 0);
}

using RecordedSentencesTest = RecordedSpeechTest;

TEST_P(RecordedSentencesTest, MostWordsOfEverySentenceAreHeard) {
    const auto sentences = Transcription("librivox", "transcription");
    for (const auto& [file, said] : sentences) {
        const std::string heard = Session(GetParam()).Recognize(ReadAudio(file));
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
    const int audio_ms = static_cast<int>(audio.size() / 32);
    Session session(GetParam(), /*result_type=*/1);
    const std::string text = session.Recognize(audio);
    std::string from_elements;
    int last_end = 0;
    for (const Lexo_Freetalk_Element& element : session.Elements()) {
        EXPECT_LE(last_end, element.nStartTime);
        EXPECT_LT(element.nStartTime, element.nEndTime);
        last_end = element.nEndTime;
        from_elements += (from_elements.empty() ? "" : " ") +
                         text.substr(static_cast<std::size_t>(element.nPosInText),
                                     static_cast<std::size_t>(element.nCountInText));
    }
    EXPECT_LE(last_end, audio_ms);
    EXPECT_EQ(from_elements, text);
}

TEST_P(RecordedSpeechDetailsTest, EndedUtterancesArriveWhileAudioStillFlows) {
    const std::string command = ReadAudio("goforward.raw");
    const std::string pause(32000, '\0');  // 1 s
    Session session(GetParam());
    const std::string text = session.Recognize(command + pause + command + pause);
    EXPECT_EQ(text, "go forward ten meters go forward ten meters");
    EXPECT_EQ(session.Results(), 2);
}

INSTANTIATE_TEST_SUITE_P(ContinuousModes, RecordedSpeechDetailsTest, testing::Values(2, 3));

}  // namespace
