#include "ResultLines.h"

#include <algorithm>
#include <cstdio>

namespace recognize {

namespace {

using Kind = ResultLine::Kind;
using Lines = std::vector<ResultLine>;

std::string TextOf(const char* text) {
    return text == nullptr ? "" : text;
}

std::string RoleName(Lexo_RoleType role) {
    switch (role) {
        case LEXO_ROLE_AGENT:
            return "agent";
        case LEXO_ROLE_USER:
            return "user";
        default:
            return "speaker";
    }
}

std::string EmotionName(Lexo_EmotionType emotion) {
    switch (emotion) {
        case LEXO_EMOTION_ANGRY:
            return "angry";
        case LEXO_EMOTION_SAD:
            return "sad";
        case LEXO_EMOTION_DISGUSTED:
            return "disgusted";
        default:
            return "happy";
    }
}

ResultLine KeywordLine(const Lexo_Keyword& keyword, Kind kind) {
    ResultLine line{kind, keyword.nStartTime, keyword.nEndTime, {}, keyword.szText, keyword.nScore};
    if (kind == Kind::kKeyword) {
        line.label = "keyword";
    }
    return line;
}

// The part of a sentence that is a word. Positions outside the text give an empty one.
std::string WordText(const std::string& sentence, int position, int count) {
    if (position < 0 || count < 1 || static_cast<std::size_t>(position) >= sentence.size()) {
        return {};
    }
    return sentence.substr(static_cast<std::size_t>(position), static_cast<std::size_t>(count));
}

// A segment without times of its own takes those of its words.
template <typename ElementList>
void TakeTimesOfWords(const ElementList& words, ResultLine* line) {
    if (line->end_ms > line->start_ms || words.nElementCount < 1) {
        return;
    }
    line->start_ms = words.pElementList[0].nStartTime;
    line->end_ms = words.pElementList[words.nElementCount - 1].nEndTime;
}

// The words of the best sentence, whose line is the last one.
template <typename ElementList>
void AddWords(const ElementList& words, Lines* lines) {
    TakeTimesOfWords(words, &lines->back());
    const std::string sentence = lines->back().text;
    for (int i = 0; i < words.nElementCount; ++i) {
        const auto& word = words.pElementList[i];
        lines->push_back({Kind::kWord,
                          word.nStartTime,
                          word.nEndTime,
                          {},
                          WordText(sentence, word.nPosInText, word.nCountInText),
                          word.nScore});
    }
}

template <typename Segment>
void AddSegment(const Segment& segment, const std::string& label, Lines* lines) {
    for (int i = 0; i < segment.nResultCount; ++i) {
        const auto& sentence = segment.pSentenceResults[i];
        lines->push_back({i == 0 ? Kind::kText : Kind::kAlternative, segment.nStartTime,
                          segment.nEndTime, label, TextOf(sentence.pszText), sentence.nScore});
        if constexpr (requires { segment.pElementListResults; }) {
            if (i == 0 && segment.pElementListResults != nullptr) {
                AddWords(segment.pElementListResults[0], lines);
            }
        }
    }
}

Lines FreetalkLines(const Lexo_Freetalk_Result& result) {
    Lines lines;
    for (int i = 0; i < result.nSegmentCount; ++i) {
        AddSegment(result.pSegmentList[i], {}, &lines);
    }
    return lines;
}

Lines GrammarLines(const Lexo_Grammar_Result& result) {
    Lines lines;
    for (int i = 0; i < result.nSegmentCount; ++i) {
        AddSegment(result.pSegmentResults[i], {}, &lines);
    }
    return lines;
}

Lines KeywordLines(const Lexo_Keywordspot_Result& result) {
    Lines lines;
    for (int i = 0; i < result.nKeywordCount; ++i) {
        lines.push_back(KeywordLine(result.pKeywordResults[i], Kind::kSpotted));
    }
    return lines;
}

void AddAnalysisSegment(const Lexo_Analysis_Segment& segment, Lines* lines) {
    AddSegment(segment, RoleName(segment.nRole), lines);
    for (int i = 0; i < segment.nEmotionCount; ++i) {
        const Lexo_Analysis_Emotion& emotion = segment.pEmotionResults[i];
        lines->push_back({Kind::kEmotion, emotion.nStartTime, emotion.nEndTime, "emotion",
                          EmotionName(emotion.nEmotion), emotion.nScore});
    }
    for (int i = 0; i < segment.nKeywordCount; ++i) {
        lines->push_back(KeywordLine(segment.pKeywordResults[i], Kind::kKeyword));
    }
}

Lines AnalysisLines(const Lexo_Analysis_Result& result) {
    Lines lines;
    for (int i = 0; i < result.nSegmentCount; ++i) {
        AddAnalysisSegment(result.pSegmentResults[i], &lines);
    }
    for (int i = 0; i < result.nSilenceCount; ++i) {
        const Lexo_Analysis_Silence_Result& silence = result.pSilenceResults[i];
        lines.push_back({Kind::kSilence, silence.nStartTime, silence.nEndTime, "silence", {}, {}});
    }
    return lines;
}

}  // namespace

Lines LinesOf(const Lexo_RecogResult& result) {
    switch (result.nEngineType) {
        case LEXO_ENGINE_FREETALK:
            return FreetalkLines(result.sFreetalkResult);
        case LEXO_ENGINE_GRAMMAR:
            return GrammarLines(result.sGrammarResult);
        case LEXO_ENGINE_KEYWORDSPOT:
            return KeywordLines(result.sKeywordspotResult);
        case LEXO_ENGINE_ANALYSIS:
            return AnalysisLines(result.sAnalysisResult);
    }
    return {};
}

std::string ClockTime(int milliseconds) {
    const int time = std::max(milliseconds, 0);
    const int hours = time / 3600000;
    char text[32];
    const int length = hours > 0 ? std::snprintf(text, sizeof text, "%d:", hours) : 0;
    std::snprintf(text + length, sizeof text - static_cast<std::size_t>(length), "%02d:%02d.%03d",
                  time / 60000 % 60, time / 1000 % 60, time % 1000);
    return text;
}

}  // namespace recognize
