// Grammars, keywords, user words and call analysis on recorded human speech.
#include <algorithm>

#include "SpeechSession.h"
#include "SpeechTest.h"

namespace {

const std::string kKeywords = "cold hearted\nforward\nselfish\ndisposed\nten meters\ntelephone\n";

// Loaded for a capability until the end of its life; sessions that use it end before.
class Resource {
  public:
    Resource(const char* capability, const std::string& data, Lexo_ResourceFormatType format,
             Lexo_ResourceType type = LEXO_RESOURCE_BUFFER)
        : capability_(capability) {
        EXPECT_EQ(orvx_proxy_LoadResource(capability, type, data.c_str(),
                                          static_cast<int>(data.size()), format, &id_),
                  LEXO_ERR_NONE);
    }
    ~Resource() { EXPECT_EQ(orvx_proxy_UnloadResource(capability_, id_), LEXO_ERR_NONE); }
    Resource(const Resource&) = delete;
    Resource& operator=(const Resource&) = delete;

    void BindTo(const Session& session) const {
        EXPECT_EQ(orvx_proxy_ActiveResource(session.Handle(), id_), LEXO_ERR_NONE);
    }

  private:
    const char* const capability_;
    unsigned int id_ = 0;
};

int CardsRight(Session* session) {
    int right = 0;
    const auto cards = Transcription("cards", "cards.transcription");
    EXPECT_EQ(cards.size(), 5U);
    for (const auto& [file, said] : cards) {
        right += session->Recognise(ReadAudio(file)).Text() == said ? 1 : 0;
    }
    return right;
}

TEST(GrammarTest, CardsComeBackAsSaidHoweverTheirGrammarIsBound) {
    const std::string path = kRecordings + "cards/cards.gram";
    const Resource file("grammar", path, LEXO_RESOURCE_GRAMMAR_JSGF, LEXO_RESOURCE_FILE);
    const Resource buffer("grammar", ReadAll(path), LEXO_RESOURCE_GRAMMAR_JSGF);
    Session session("grammar");
    file.BindTo(session);
    EXPECT_GE(CardsRight(&session), 4) << "as a file";
    buffer.BindTo(session);
    EXPECT_GE(CardsRight(&session), 4) << "as a buffer";
    EXPECT_EQ(orvx_proxy_ActivePreloadResource(session.Handle(), "cards"), LEXO_ERR_NONE);
    EXPECT_GE(CardsRight(&session), 4) << "by name";
}

TEST(GrammarTest, OtherFormatsAreFollowedAndFaultsComeBackAsCodes) {
    const std::tuple<Lexo_ResourceFormatType, std::string, std::string> grammars[] = {
        {LEXO_RESOURCE_GRAMMAR_WORDLIST, "go backward\nGo forward ten meters\n",
         "go forward ten meters"},
        {LEXO_RESOURCE_GRAMMAR_ABNF,
         "#ABNF 1.0;\nroot $go; $go = go (forward | back) $n<1-2> meters; $n = ten | two | four;",
         "go forward ten meters"},
        {LEXO_RESOURCE_GRAMMAR_ARPA,
         "\\data\\\nngram 1=6\n\n\\1-grams:\n-1 <s>\n-1 </s>\n-0.6 go\n-0.6 forward\n-0.6 ten\n"
         "-0.6 meters\n\n\\end\\\n",
         "go forward ten meters"}};
    for (const auto& [format, text, said] : grammars) {
        const Resource grammar("grammar", text, format);
        Session session("grammar");
        grammar.BindTo(session);
        EXPECT_EQ(session.Recognise(ReadAudio("goforward.raw")).Text(), said) << text;
    }
    const std::tuple<Lexo_ResourceFormatType, const char*, int> faults[] = {
        {LEXO_RESOURCE_GRAMMAR_JSGF, "#JSGF V1.0; public <a> = (;", LEXO_ERR_LOAD_RESOURCE_FAILED},
        {LEXO_RESOURCE_GRAMMAR_WORDLIST, "zwieback", LEXO_ERR_LOAD_RESOURCE_FAILED},
        {LEXO_RESOURCE_GRAMMAR_WFST, "0 1 a", LEXO_ERR_NOT_SUPPORT}};
    for (const auto& [format, text, code] : faults) {
        const Resource grammar("grammar", text, format);
        Session session("grammar");
        grammar.BindTo(session);
        EXPECT_EQ(session.Recognise(ReadAudio("goforward.raw")).code, code) << text;
    }
    Session unbound("grammar");
    EXPECT_EQ(unbound.Recognise(ReadAudio("goforward.raw")).code, LEXO_ERR_PARAM_INVALID);
}

// "KEYWORD" when it lies within the stretch; its fault otherwise.
std::string Place(const Lexo_Keyword& keyword, int start_ms, int end_ms) {
    const bool is_there = keyword.nStartTime >= start_ms && keyword.nEndTime <= end_ms &&
                          keyword.nStartTime < keyword.nEndTime;
    return std::string(keyword.szText) + (is_there ? ""
                                                   : " at " + std::to_string(keyword.nStartTime) +
                                                         "-" + std::to_string(keyword.nEndTime));
}

TEST(KeywordTest, KeywordsAreFoundWhereTheyAreSaid) {
    const Resource list("keywordspot", kKeywords, LEXO_RESOURCE_KEYWORD_LIST);
    for (const bool is_streamed : {false, true}) {
        Session session("keywordspot");
        session.Set(LEXO_PARAM_STREAM, is_streamed ? 2 : 0);
        list.BindTo(session);
        const Heard command = session.Recognise(ReadAudio("goforward.raw"), is_streamed);
        ASSERT_EQ(command.keywords.size(), 2U);
        EXPECT_EQ(Place(command.keywords[0], 600, 1300), "forward");
        EXPECT_EQ(Place(command.keywords[1], 1100, 2100), "ten meters");
        EXPECT_EQ(command.keywords[1].nKeywordIndex, 4);
        const Heard sentence = session.Recognise(
            ReadAudio("librivox/sense_and_sensibility_01_austen_64kb-0890.wav"), is_streamed);
        ASSERT_EQ(sentence.keywords.size(), 3U);
        EXPECT_EQ(Place(sentence.keywords[0], 1250, 2300), "cold hearted");
        EXPECT_EQ(Place(sentence.keywords[1], 2700, 3700), "selfish");
        EXPECT_EQ(Place(sentence.keywords[2], 4200, 5200), "disposed");
        EXPECT_GT(sentence.keywords[1].nScore, 50);
        const Heard other = session.Recognise(ReadAudio("cards/001.wav"), is_streamed);
        EXPECT_EQ(other.code, LEXO_ERR_NONE);
        EXPECT_TRUE(other.keywords.empty()) << "which is no failure";
    }
}

TEST(KeywordTest, LongAudioTellsItsKeywordsWhileItFlows) {
    const Resource list("keywordspot", kKeywords, LEXO_RESOURCE_KEYWORD_LIST);
    Session session("keywordspot");
    session.Set(LEXO_PARAM_STREAM, 2);
    list.BindTo(session);
    const std::string part = ReadAudio("goforward.raw") + std::string(640000, '\0');  // 20 s
    const Heard heard = session.Recognise(part + part + part, true);
    EXPECT_EQ(heard.results, 3);
    ASSERT_EQ(heard.keywords.size(), 6U);
    const int part_ms = static_cast<int>(part.size() / 32);
    EXPECT_EQ(Place(heard.keywords[4], 2 * part_ms + 600, 2 * part_ms + 1300), "forward");
}

TEST(UserWordsTest, AreHeardInTheirOwnSessionOnly) {
    const std::string audio = ReadAudio("librivox/sense_and_sensibility_01_austen_64kb-0870.wav");
    const Resource words("freetalk", "Dashwood D AE SH W UH D\n", LEXO_RESOURCE_FREETALK_USERWORD);
    Session plain("freetalk");
    const std::string before = plain.Recognise(audio).Text();
    EXPECT_EQ(before.find("dashwood"), std::string::npos);
    for (int i = 0; i < 4; ++i) {  // on every decoder
        Session session("freetalk");
        words.BindTo(session);
        EXPECT_NE(session.Recognise(audio).Text().find("john dashwood"), std::string::npos);
        EXPECT_EQ(plain.Recognise(audio).Text(), before);
    }
}

// Left and right sample by sample; silence fills up the shorter one.
std::string MakeCall(std::string left, std::string right) {
    left.resize(std::max(left.size(), right.size()));
    right.resize(left.size());
    std::string call;
    for (std::size_t at = 0; at < left.size(); at += 2) {
        call.append(left, at, 2).append(right, at, 2);
    }
    return call;
}

TEST(AnalysisTest, ACallOfTwoIsToldApart) {
    const auto [file, said] = Transcription("librivox", "transcription").at(2);
    const std::string call =
        MakeCall(ReadAudio(file), std::string(7 * 32000, '\0') + ReadAudio("goforward.raw"));
    const Resource list("analysis", kKeywords, LEXO_RESOURCE_KEYWORD_LIST);
    for (const bool is_online : {false, true}) {
        Session session("analysis");
        session.Set(LEXO_PARAM_CHANNEL_TYPE, is_online ? 2 : 1);
        session.Set(LEXO_PARAM_MODE, is_online ? 1 : 0);
        list.BindTo(session);
        const Heard heard = session.Recognise(call, is_online);
        ASSERT_EQ(heard.texts.size(), 2U);
        EXPECT_EQ(heard.roles, (is_online ? std::vector<int>{LEXO_ROLE_USER, LEXO_ROLE_AGENT}
                                          : std::vector<int>{LEXO_ROLE_AGENT, LEXO_ROLE_USER}));
        EXPECT_GT(WordsHeard(said, heard.texts[0]), 0.5);
        EXPECT_EQ(heard.texts[1], "go forward ten meters");
        for (const float words_a_minute : heard.rates) {
            EXPECT_GT(words_a_minute, 60);
            EXPECT_LT(words_a_minute, 300);
        }
        ASSERT_EQ(heard.keywords.size(), 5U);
        EXPECT_EQ(Place(heard.keywords[3], 7600, 8300), "forward");
        ASSERT_EQ(heard.silences.size(), 2U);
        EXPECT_EQ(heard.silences[0].first, heard.speech[0].second);
        EXPECT_EQ(heard.silences[0].second, heard.speech[1].first);
        EXPECT_NEAR(heard.silences[0].second, 7300, 200) << "shortly before the command";
        EXPECT_NEAR(heard.silences[1].second, 9786, 20) << "the end";
    }
    Session mono("analysis");
    const Heard heard = mono.Recognise(ReadAudio("goforward.raw"));
    EXPECT_EQ(heard.roles, std::vector<int>{LEXO_ROLE_UNKNOWN});
    EXPECT_EQ(heard.Text(), "go forward ten meters");
}

}  // namespace
