// JSON for programs. The fields are those of the public records, in lower case and in their order;
// nothing is renamed or left out, so that a reader of the library's header knows the format.
#include <cmath>
#include <string_view>
#include <vector>

#include "JsonWriter.h"
#include "ResultFormatter.h"

namespace recognize {

namespace {

void WriteNumber(JsonWriter& json, const char* name, int number) {
    json.Name(name);
    json.Number(number);
}

void WriteNumber(JsonWriter& json, const char* name, double number) {
    json.Name(name);
    json.Number(number);
}

// Text of the server, and a file's name, may be in any encoding. What is not UTF-8 shows
// replacement characters in its field; its bytes stand, as hexadecimal digits, in a field of their
// own beside it.
void WriteText(JsonWriter& json, const std::string& name, std::string_view text) {
    json.Name(name);
    json.Text(text);
    if (!IsUtf8(text)) {
        static constexpr char kDigits[] = "0123456789abcdef";
        std::string hex;
        for (const unsigned char byte : text) {
            hex += kDigits[byte >> 4];
            hex += kDigits[byte & 15];
        }
        json.Name(name + "_hex");
        json.Text(hex);
    }
}

void WriteText(JsonWriter& json, const char* name, const char* text) {
    if (text == nullptr) {
        json.Name(name);
        json.Null();
    } else {
        WriteText(json, name, std::string_view(text));
    }
}

// A list as the records hold it: a null list is JSON's null.
template <typename T, typename WriteEntry>
void WriteList(JsonWriter& json, const char* name, const T* entries, int count,
               WriteEntry write_entry) {
    json.Name(name);
    if (entries == nullptr) {
        json.Null();
        return;
    }
    json.Array([&] {
        for (int i = 0; i < count; ++i) {
            json.Object([&] { write_entry(entries[i]); });
        }
    });
}

// What follows writes the fields of a record into the object that is open.

template <typename Record>
void WriteTimes(JsonWriter& json, const Record& record) {
    WriteNumber(json, "nstarttime", record.nStartTime);
    WriteNumber(json, "nendtime", record.nEndTime);
}

// Times and score of free talk's and analysis's words, which have the same fields.
template <typename Element>
void WriteElement(JsonWriter& json, const Element& element) {
    WriteTimes(json, element);
    WriteNumber(json, "nscore", element.nScore);
    WriteNumber(json, "nposintext", element.nPosInText);
    WriteNumber(json, "ncountintext", element.nCountInText);
    WriteNumber(json, "nflag", element.nFlag);
}

template <typename ElementList>
void WriteElementList(JsonWriter& json, const ElementList& list) {
    WriteNumber(json, "nelementcount", list.nElementCount);
    WriteList(json, "pelementlist", list.pElementList, list.nElementCount,
              [&](const auto& element) { WriteElement(json, element); });
}

template <typename Segment>
void WriteElementLists(JsonWriter& json, const Segment& segment) {
    WriteList(json, "pelementlistresults", segment.pElementListResults, segment.nResultCount,
              [&](const auto& list) { WriteElementList(json, list); });
}

template <typename Sentence>
void WriteSentence(JsonWriter& json, const Sentence& sentence) {
    WriteText(json, "psztext", sentence.pszText);
    WriteNumber(json, "nscore", sentence.nScore);
}

void WriteSentence(JsonWriter& json, const Lexo_Analysis_Sentence& sentence) {
    WriteText(json, "psztext", sentence.pszText);
    WriteNumber(json, "nscore", sentence.nScore);
    WriteNumber(json, "fspeed", double{sentence.fSpeed});
}

template <typename Segment>
void WriteSentences(JsonWriter& json, const Segment& segment) {
    WriteNumber(json, "nresultcount", segment.nResultCount);
    WriteList(json, "psentenceresults", segment.pSentenceResults, segment.nResultCount,
              [&](const auto& sentence) { WriteSentence(json, sentence); });
}

void WriteKeyword(JsonWriter& json, const Lexo_Keyword& keyword) {
    WriteNumber(json, "nkeywordindex", keyword.nKeywordIndex);
    WriteText(json, "sztext", keyword.szText);
    WriteTimes(json, keyword);
    WriteNumber(json, "nscore", keyword.nScore);
}

void WriteKeywords(JsonWriter& json, int count, const Lexo_Keyword* keywords) {
    WriteNumber(json, "nkeywordcount", count);
    WriteList(json, "pkeywordresults", keywords, count,
              [&](const auto& keyword) { WriteKeyword(json, keyword); });
}

void WriteFreetalkSegment(JsonWriter& json, const Lexo_Freetalk_Segment& segment) {
    WriteTimes(json, segment);
    WriteSentences(json, segment);
    WriteElementLists(json, segment);
}

void WriteGrammarSegment(JsonWriter& json, const Lexo_Grammar_Segment_Result& segment) {
    WriteTimes(json, segment);
    WriteSentences(json, segment);
}

void WriteEmotion(JsonWriter& json, const Lexo_Analysis_Emotion& emotion) {
    WriteTimes(json, emotion);
    WriteNumber(json, "nscore", emotion.nScore);
    WriteNumber(json, "nemotion", static_cast<int>(emotion.nEmotion));
}

void WriteAnalysisSegment(JsonWriter& json, const Lexo_Analysis_Segment& segment) {
    WriteTimes(json, segment);
    WriteNumber(json, "nrole", static_cast<int>(segment.nRole));
    WriteSentences(json, segment);
    WriteElementLists(json, segment);
    WriteNumber(json, "nemotioncount", segment.nEmotionCount);
    WriteList(json, "pemotionresults", segment.pEmotionResults, segment.nEmotionCount,
              [&](const auto& emotion) { WriteEmotion(json, emotion); });
    WriteKeywords(json, segment.nKeywordCount, segment.pKeywordResults);
}

void WriteFreetalk(JsonWriter& json, const Lexo_Freetalk_Result& freetalk) {
    WriteNumber(json, "nsegmentcount", freetalk.nSegmentCount);
    WriteList(json, "psegmentlist", freetalk.pSegmentList, freetalk.nSegmentCount,
              [&](const auto& segment) { WriteFreetalkSegment(json, segment); });
}

void WriteGrammar(JsonWriter& json, const Lexo_Grammar_Result& grammar) {
    WriteNumber(json, "nsegmentcount", grammar.nSegmentCount);
    WriteList(json, "psegmentresults", grammar.pSegmentResults, grammar.nSegmentCount,
              [&](const auto& segment) { WriteGrammarSegment(json, segment); });
}

void WriteAnalysis(JsonWriter& json, const Lexo_Analysis_Result& analysis) {
    WriteNumber(json, "nsilencecount", analysis.nSilenceCount);
    WriteList(json, "psilenceresults", analysis.pSilenceResults, analysis.nSilenceCount,
              [&](const auto& silence) { WriteTimes(json, silence); });
    WriteNumber(json, "nsegmentcount", analysis.nSegmentCount);
    WriteList(json, "psegmentresults", analysis.pSegmentResults, analysis.nSegmentCount,
              [&](const auto& segment) { WriteAnalysisSegment(json, segment); });
}

void WriteResult(JsonWriter& json, const Lexo_RecogResult& result) {
    WriteNumber(json, "nenginetype", static_cast<int>(result.nEngineType));
    switch (result.nEngineType) {
        case LEXO_ENGINE_FREETALK:
            json.Name("sfreetalkresult");
            json.Object([&] { WriteFreetalk(json, result.sFreetalkResult); });
            break;
        case LEXO_ENGINE_GRAMMAR:
            json.Name("sgrammarresult");
            json.Object([&] { WriteGrammar(json, result.sGrammarResult); });
            break;
        case LEXO_ENGINE_KEYWORDSPOT:
            json.Name("skeywordspotresult");
            json.Object([&] {
                WriteKeywords(json, result.sKeywordspotResult.nKeywordCount,
                              result.sKeywordspotResult.pKeywordResults);
            });
            break;
        case LEXO_ENGINE_ANALYSIS:
            json.Name("sanalysisresult");
            json.Object([&] { WriteAnalysis(json, result.sAnalysisResult); });
            break;
    }
}

void WriteFailure(JsonWriter& json, const Failure& failure) {
    const std::string name = failure.code == LEXO_ERR_NONE ? "" : NameOf(failure.code);
    json.Name("name");
    if (name.empty()) {
        json.Null();
    } else {
        json.Text(name);
    }
    json.Name("meaning");
    json.Text(failure.meaning);
}

// Milliseconds are as exact as a clock that other programs share can be read.
double ToMilliseconds(double seconds) {
    return std::round(seconds * 1000) / 1000;
}

class JsonFormatter : public ResultFormatter {
  public:
    explicit JsonFormatter(const FileContext& context) : context_(context) {}

    std::string Add(const Lexo_RecogResult& result) override {
        JsonWriter json;
        json.Object([&] { WriteResult(json, result); });
        results_.push_back(json.Take());
        return {};
    }

    std::string Finish(const FileOutcome& outcome) override {
        JsonWriter json;
        json.Object([&] { WriteFile(json, outcome); });
        return json.Take() + "\n";
    }

  private:
    void WriteFile(JsonWriter& json, const FileOutcome& outcome) const {
        WriteText(json, "file", std::string_view(context_.file));
        json.Name("capability");
        json.Text(context_.capability);
        WriteNumber(json, "audio_seconds", outcome.audio_seconds);
        WriteNumber(json, "elapsed_seconds", ToMilliseconds(outcome.elapsed_seconds));
        json.Name("results");
        json.Array([&] {
            for (const std::string& result : results_) {
                json.Verbatim(result);
            }
        });
        if (!outcome.warning.empty()) {
            json.Name("warning");
            json.Text(outcome.warning);
        }
        if (outcome.failure) {
            json.Name("error");
            json.Object([&] { WriteFailure(json, *outcome.failure); });
        }
    }

    const FileContext context_;
    std::vector<std::string> results_;
};

}  // namespace

std::unique_ptr<ResultFormatter> MakeJsonFormatter(const FileContext& context) {
    return std::make_unique<JsonFormatter>(context);
}

}  // namespace recognize
