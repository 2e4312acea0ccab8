// JSON for programs. The fields are those of the public records, in lower case and in their order;
// nothing is renamed or left out, so that a reader of the library's header knows the format.
#include <cmath>
#include <nlohmann/json.hpp>
#include <string_view>

#include "ResultFormatter.h"

namespace recognize {

namespace {

using Json = nlohmann::ordered_json;

bool IsUtf8(std::string_view text) {
    try {
        static_cast<void>(Json(text).dump());
        return true;
    } catch (const Json::type_error&) {
        return false;
    }
}

// Text of the server, and a file's name, may be in any encoding. What is not UTF-8 shows
// replacement characters in its field; its bytes stand, as hexadecimal digits, in a field of their
// own beside it.
void AddText(Json& object, const std::string& field, std::string_view text) {
    object[field] = text;
    if (!IsUtf8(text)) {
        static constexpr char kDigits[] = "0123456789abcdef";
        std::string hex;
        for (const unsigned char byte : text) {
            hex += kDigits[byte >> 4];
            hex += kDigits[byte & 15];
        }
        object[field + "_hex"] = hex;
    }
}

void AddText(Json& object, const std::string& field, const char* text) {
    if (text == nullptr) {
        object[field] = nullptr;
    } else {
        AddText(object, field, std::string_view(text));
    }
}

// A list and its count as the records hold them: a null list is JSON's null.
template <typename T, typename ToJson>
Json List(const T* entries, int count, ToJson to_json) {
    if (entries == nullptr) {
        return nullptr;
    }
    Json list = Json::array();
    for (int i = 0; i < count; ++i) {
        list.push_back(to_json(entries[i]));
    }
    return list;
}

// Times and score of free talk's and analysis's words, which have the same fields.
template <typename Element>
Json ElementJson(const Element& e) {
    return {{"nstarttime", e.nStartTime}, {"nendtime", e.nEndTime},         {"nscore", e.nScore},
            {"nposintext", e.nPosInText}, {"ncountintext", e.nCountInText}, {"nflag", e.nFlag}};
}

template <typename ElementList>
Json ElementListJson(const ElementList& list) {
    return {{"nelementcount", list.nElementCount},
            {"pelementlist", List(list.pElementList, list.nElementCount,
                                  [](const auto& element) { return ElementJson(element); })}};
}

template <typename ElementLists>
Json ElementListsJson(const ElementLists* lists, int count) {
    return List(lists, count, [](const auto& list) { return ElementListJson(list); });
}

template <typename Sentence>
Json SentenceJson(const Sentence& sentence) {
    Json object;
    AddText(object, "psztext", sentence.pszText);
    object["nscore"] = sentence.nScore;
    return object;
}

Json SentenceJson(const Lexo_Analysis_Sentence& sentence) {
    Json object;
    AddText(object, "psztext", sentence.pszText);
    object["nscore"] = sentence.nScore;
    object["fspeed"] = sentence.fSpeed;
    return object;
}

template <typename Segment>
void AddSentences(Json& object, const Segment& segment) {
    object["nresultcount"] = segment.nResultCount;
    object["psentenceresults"] = List(segment.pSentenceResults, segment.nResultCount,
                                      [](const auto& sentence) { return SentenceJson(sentence); });
}

template <typename Record>
Json TimesJson(const Record& record) {
    return {{"nstarttime", record.nStartTime}, {"nendtime", record.nEndTime}};
}

Json KeywordJson(const Lexo_Keyword& keyword) {
    Json object = {{"nkeywordindex", keyword.nKeywordIndex}};
    AddText(object, "sztext", keyword.szText);
    object["nstarttime"] = keyword.nStartTime;
    object["nendtime"] = keyword.nEndTime;
    object["nscore"] = keyword.nScore;
    return object;
}

void AddKeywords(Json& object, int count, const Lexo_Keyword* keywords) {
    object["nkeywordcount"] = count;
    object["pkeywordresults"] = List(keywords, count, KeywordJson);
}

Json FreetalkSegmentJson(const Lexo_Freetalk_Segment& segment) {
    Json object = TimesJson(segment);
    AddSentences(object, segment);
    object["pelementlistresults"] =
        ElementListsJson(segment.pElementListResults, segment.nResultCount);
    return object;
}

Json GrammarSegmentJson(const Lexo_Grammar_Segment_Result& segment) {
    Json object = TimesJson(segment);
    AddSentences(object, segment);
    return object;
}

Json EmotionJson(const Lexo_Analysis_Emotion& emotion) {
    Json object = TimesJson(emotion);
    object["nscore"] = emotion.nScore;
    object["nemotion"] = static_cast<int>(emotion.nEmotion);
    return object;
}

Json AnalysisSegmentJson(const Lexo_Analysis_Segment& segment) {
    Json object = TimesJson(segment);
    object["nrole"] = static_cast<int>(segment.nRole);
    AddSentences(object, segment);
    object["pelementlistresults"] =
        ElementListsJson(segment.pElementListResults, segment.nResultCount);
    object["nemotioncount"] = segment.nEmotionCount;
    object["pemotionresults"] = List(segment.pEmotionResults, segment.nEmotionCount, EmotionJson);
    AddKeywords(object, segment.nKeywordCount, segment.pKeywordResults);
    return object;
}

Json AnalysisJson(const Lexo_Analysis_Result& analysis) {
    return {{"nsilencecount", analysis.nSilenceCount},
            {"psilenceresults", List(analysis.pSilenceResults, analysis.nSilenceCount,
                                     TimesJson<Lexo_Analysis_Silence_Result>)},
            {"nsegmentcount", analysis.nSegmentCount},
            {"psegmentresults",
             List(analysis.pSegmentResults, analysis.nSegmentCount, AnalysisSegmentJson)}};
}

Json ResultJson(const Lexo_RecogResult& result) {
    Json object = {{"nenginetype", static_cast<int>(result.nEngineType)}};
    switch (result.nEngineType) {
        case LEXO_ENGINE_FREETALK: {
            const Lexo_Freetalk_Result& freetalk = result.sFreetalkResult;
            object["sfreetalkresult"] = {
                {"nsegmentcount", freetalk.nSegmentCount},
                {"psegmentlist",
                 List(freetalk.pSegmentList, freetalk.nSegmentCount, FreetalkSegmentJson)}};
            break;
        }
        case LEXO_ENGINE_GRAMMAR: {
            const Lexo_Grammar_Result& grammar = result.sGrammarResult;
            object["sgrammarresult"] = {
                {"nsegmentcount", grammar.nSegmentCount},
                {"psegmentresults",
                 List(grammar.pSegmentResults, grammar.nSegmentCount, GrammarSegmentJson)}};
            break;
        }
        case LEXO_ENGINE_KEYWORDSPOT:
            object["skeywordspotresult"] = Json::object();
            AddKeywords(object["skeywordspotresult"], result.sKeywordspotResult.nKeywordCount,
                        result.sKeywordspotResult.pKeywordResults);
            break;
        case LEXO_ENGINE_ANALYSIS:
            object["sanalysisresult"] = AnalysisJson(result.sAnalysisResult);
            break;
    }
    return object;
}

Json ErrorJson(const Failure& failure) {
    const std::string name = failure.code == LEXO_ERR_NONE ? "" : NameOf(failure.code);
    return {{"name", name.empty() ? Json(nullptr) : Json(name)}, {"meaning", failure.meaning}};
}

// Milliseconds are as exact as a clock that other programs share can be read.
double ToMilliseconds(double seconds) {
    return std::round(seconds * 1000) / 1000;
}

// JSON lets DEL and the C1 control characters pass as they are; a terminal would obey some of them.
// They stand only within strings, where the escaped form means the same.
std::string WithoutControls(const std::string& json) {
    std::string clean;
    for (std::size_t i = 0; i < json.size(); ++i) {
        const auto next = static_cast<unsigned char>(i + 1 < json.size() ? json[i + 1] : 0);
        if (json[i] == '\x7F') {
            clean += "\\u007f";
        } else if (json[i] == '\xC2' && next < 0xA0) {
            clean += next < 0x90 ? "\\u008" : "\\u009";
            clean += "0123456789abcdef"[next & 15];
            ++i;
        } else {
            clean += json[i];
        }
    }
    return clean;
}

class JsonFormatter : public ResultFormatter {
  public:
    explicit JsonFormatter(const FileContext& context) : context_(context) {}

    std::string Add(const Lexo_RecogResult& result) override {
        results_.push_back(ResultJson(result));
        return {};
    }

    std::string Finish(const FileOutcome& outcome) override {
        Json object;
        AddText(object, "file", std::string_view(context_.file));
        object["capability"] = context_.capability;
        object["audio_seconds"] = outcome.audio_seconds;
        object["elapsed_seconds"] = ToMilliseconds(outcome.elapsed_seconds);
        object["results"] = std::move(results_);
        if (!outcome.warning.empty()) {
            object["warning"] = outcome.warning;
        }
        if (outcome.failure) {
            object["error"] = ErrorJson(*outcome.failure);
        }
        return WithoutControls(object.dump(-1, ' ', false, Json::error_handler_t::replace)) + "\n";
    }

  private:
    const FileContext context_;
    Json results_ = Json::array();
};

}  // namespace

std::unique_ptr<ResultFormatter> MakeJsonFormatter(const FileContext& context) {
    return std::make_unique<JsonFormatter>(context);
}

}  // namespace recognize
