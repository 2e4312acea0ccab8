#include "Parameters.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <span>

#include "Errors.h"

namespace recognize {

namespace {

struct ValueName {
    std::string_view name;
    int value;
};

enum class Kind { kNumber, kChoice, kFlags, kText };

struct Parameter {
    std::string_view name;
    Lexo_ParamKey key;
    Kind kind;
    int low;   // smallest number; for a text unused
    int high;  // greatest number; for a text its greatest length in bytes
    std::span<const ValueName> values;
    unsigned engines;  // that have it, a set of bits
};

constexpr unsigned Bit(Lexo_EngineType engine) {
    return 1U << static_cast<unsigned>(engine);
}

constexpr unsigned kFreetalk = Bit(LEXO_ENGINE_FREETALK);
constexpr unsigned kGrammar = Bit(LEXO_ENGINE_GRAMMAR);
constexpr unsigned kKeywordspot = Bit(LEXO_ENGINE_KEYWORDSPOT);
constexpr unsigned kAnalysis = Bit(LEXO_ENGINE_ANALYSIS);
constexpr unsigned kAll = kFreetalk | kGrammar | kKeywordspot | kAnalysis;

constexpr ValueName kNoYes[] = {{"no", 0}, {"yes", 1}};
constexpr ValueName kAudioFormats[] = {{"pcm8k16bit", 0},  {"alaw", 1},      {"ulaw", 2},
                                       {"vox6k4bit", 3},   {"vox8k4bit", 4}, {"gsm610", 5},
                                       {"pcm16k16bit", 6}, {"v3_6k4bit", 7}};
constexpr ValueName kStreams[] = {
    {"no", 0}, {"yes", 1}, {"continue", 2}, {"continue-rt", 3}, {"yes-rt", 4}};
constexpr ValueName kResultTypes[] = {{"sentence", 0}, {"wordlist", 1}, {"charlist", 2}};
constexpr ValueName kModes[] = {{"offline", 0}, {"online", 1}};
constexpr ValueName kChannels[] = {{"mono", 0}, {"left_agent", 1}, {"right_agent", 2}};
constexpr ValueName kModels[] = {{"8k", 0}, {"16k", 1}};
constexpr ValueName kPostProcesses[] = {
    {"punctuate", 1}, {"smooth", 4}, {"numnormal", 2}, {"paragraph", 8}};

constexpr Parameter kParameters[] = {
    {"vad_head", LEXO_PARAM_VAD_HEAD, Kind::kNumber, 0, 1800000, {}, kAll},
    {"vad_tail", LEXO_PARAM_VAD_TAIL, Kind::kNumber, 0, 30000, {}, kAll},
    {"vad_threshold", LEXO_PARAM_VAD_THRESHOLD, Kind::kNumber, 1, 100, {}, kAll},
    {"max_seconds", LEXO_PARAM_MAX_SECONDS, Kind::kNumber, 1, 60, {}, kAll},
    {"property_language", LEXO_PARAM_PROPERTY_LANGUAGE, Kind::kText, 0, 256, {}, kAll},
    {"property_domain", LEXO_PARAM_PROPERTY_DOMAIN, Kind::kText, 0, 256, {}, kAll},
    {"audio_format", LEXO_PARAM_AUDIOFORMAT, Kind::kChoice, 0, 0, kAudioFormats, kAll},
    {"nbest_result", LEXO_PARAM_NBEST_RESULT, Kind::kChoice, 0, 0, kNoYes, kGrammar},
    {"add_punc", LEXO_PARAM_ADD_PUNC, Kind::kChoice, 0, 0, kNoYes, kFreetalk | kAnalysis},
    {"stream_recog", LEXO_PARAM_STREAM, Kind::kChoice, 0, 0, kStreams,
     kFreetalk | kGrammar | kKeywordspot},
    {"result_type", LEXO_PARAM_RESULT_TYPE, Kind::kChoice, 0, 0, kResultTypes,
     kFreetalk | kAnalysis},
    {"analysis_mode", LEXO_PARAM_MODE, Kind::kChoice, 0, 0, kModes, kAnalysis},
    {"channel_type", LEXO_PARAM_CHANNEL_TYPE, Kind::kChoice, 0, 0, kChannels, kAnalysis},
    {"property_model_type", LEXO_PARAM_PROPERTY_MODEL_TYPE, Kind::kChoice, 0, 0, kModels, kAll},
    {"qa_paramter", LEXO_PARAM_POST_PROCESS, Kind::kText, 0, 1024, {}, kAll},
    {"textpostproc", LEXO_PARAM_FT_POST_PROCESS, Kind::kFlags, 0, 0, kPostProcesses, kFreetalk},
};

// The language and the domain travel in a list that is joined by commas: one within them would
// smuggle in another parameter.
bool MayHoldComma(const Parameter& parameter) {
    return parameter.key == LEXO_PARAM_POST_PROCESS;
}

bool IsLegalText(const Parameter& parameter, std::string_view text) {
    return !text.empty() && text.size() <= static_cast<std::size_t>(parameter.high) &&
           (MayHoldComma(parameter) || text.find(',') == std::string_view::npos);
}

std::string Quoted(std::string_view text) {
    return "\"" + std::string(text) + "\"";
}

template <typename Rows>
std::string JoinNames(const Rows& rows) {
    std::string joined;
    for (const auto& row : rows) {
        joined += (joined.empty() ? "" : ", ") + std::string(row.name);
    }
    return joined;
}

std::string_view TypeName(Kind kind) {
    switch (kind) {
        case Kind::kNumber:
            return "number";
        case Kind::kChoice:
            return "choice";
        case Kind::kFlags:
            return "flags";
        case Kind::kText:
            break;
    }
    return "text";
}

std::string AllowedValues(const Parameter& parameter) {
    switch (parameter.kind) {
        case Kind::kNumber:
            return "a whole number from " + std::to_string(parameter.low) + " to " +
                   std::to_string(parameter.high);
        case Kind::kChoice:
            return "one of " + JoinNames(parameter.values);
        case Kind::kFlags:
            return "one or more, joined by \";\", of " + JoinNames(parameter.values);
        case Kind::kText:
            break;
    }
    return "a text of 1 to " + std::to_string(parameter.high) + " bytes" +
           (MayHoldComma(parameter) ? "" : " without \",\"");
}

[[noreturn]] void RefuseValue(const Parameter& parameter, std::string_view value) {
    throw UsageError("parameter " + std::string(parameter.name) + " cannot be " + Quoted(value) +
                     ": it is " + AllowedValues(parameter));
}

const ValueName* FindValue(const Parameter& parameter, std::string_view name) {
    const auto found = std::find_if(parameter.values.begin(), parameter.values.end(),
                                    [name](const ValueName& row) { return row.name == name; });
    return found == parameter.values.end() ? nullptr : &*found;
}

int ParseNumber(const Parameter& parameter, std::string_view value) {
    int number = 0;
    const char* end = value.data() + value.size();
    const auto [stop, error] = std::from_chars(value.data(), end, number);
    if (error != std::errc() || stop != end || number < parameter.low || number > parameter.high) {
        RefuseValue(parameter, value);
    }
    return number;
}

int ParseChoice(const Parameter& parameter, std::string_view value) {
    const ValueName* found = FindValue(parameter, value);
    if (found == nullptr) {
        RefuseValue(parameter, value);
    }
    return found->value;
}

int ParseFlags(const Parameter& parameter, std::string_view value) {
    int mask = 0;
    for (std::string_view rest = value;;) {
        const std::size_t end = rest.find(';');
        const ValueName* found = FindValue(parameter, rest.substr(0, end));
        if (found == nullptr) {
            RefuseValue(parameter, value);
        }
        mask |= found->value;
        if (end == std::string_view::npos) {
            return mask;
        }
        rest.remove_prefix(end + 1);
    }
}

const Parameter& FindParameter(std::string_view name) {
    const auto* found = std::find_if(std::begin(kParameters), std::end(kParameters),
                                     [name](const Parameter& row) { return row.name == name; });
    if (found == std::end(kParameters)) {
        throw UsageError("there is no parameter " + Quoted(name) +
                         "; the parameters are: " + JoinNames(kParameters));
    }
    return *found;
}

}  // namespace

Lexo_ParamValue ParameterSetting::Word() const {
    if (!text.empty()) {
        return const_cast<char*>(text.c_str());  // the engine only reads it
    }
    return reinterpret_cast<Lexo_ParamValue>(static_cast<std::intptr_t>(number));
}

ParameterSetting ParseParameter(std::string_view assignment) {
    const std::size_t equals = assignment.find('=');
    if (equals == std::string_view::npos) {
        throw UsageError("a parameter is written name=value, not " + Quoted(assignment));
    }
    const std::string_view value = assignment.substr(equals + 1);
    const Parameter& parameter = FindParameter(assignment.substr(0, equals));
    ParameterSetting setting{parameter.name, parameter.key, 0, {}};
    switch (parameter.kind) {
        case Kind::kNumber:
            setting.number = ParseNumber(parameter, value);
            break;
        case Kind::kChoice:
            setting.number = ParseChoice(parameter, value);
            break;
        case Kind::kFlags:
            setting.number = ParseFlags(parameter, value);
            break;
        case Kind::kText:
            if (!IsLegalText(parameter, value)) {
                RefuseValue(parameter, value);
            }
            setting.text = value;
            break;
    }
    return setting;
}

std::string_view ParameterName(Lexo_ParamKey key) {
    const auto* found = std::find_if(std::begin(kParameters), std::end(kParameters),
                                     [key](const Parameter& row) { return row.key == key; });
    return found == std::end(kParameters) ? "sample_rate" : found->name;
}

std::string ParameterHelp() {
    std::string help;
    for (const Parameter& parameter : kParameters) {
        std::string name(parameter.name);
        name.resize(21, ' ');
        help += "  " + name + AllowedValues(parameter) + "\n";
    }
    return help;
}

std::vector<ParameterInfo> ParametersOf(Lexo_EngineType engine) {
    std::vector<ParameterInfo> infos;
    for (const Parameter& parameter : kParameters) {
        if ((parameter.engines & Bit(engine)) != 0) {
            infos.push_back({parameter.key, parameter.name, TypeName(parameter.kind),
                             AllowedValues(parameter)});
        }
    }
    return infos;
}

std::string ShowValue(Lexo_ParamKey key, Lexo_ParamValue value) {
    const Parameter& parameter = FindParameter(ParameterName(key));
    if (parameter.kind == Kind::kText) {
        return static_cast<const char*>(value);
    }
    const auto number = static_cast<int>(reinterpret_cast<std::intptr_t>(value));
    std::string shown;
    for (const ValueName& row : parameter.values) {
        const bool holds =
            parameter.kind == Kind::kFlags ? (number & row.value) != 0 : number == row.value;
        if (holds) {
            shown += (shown.empty() ? "" : ";") + std::string(row.name);
        }
    }
    // A configuration file may hold a number that has no name.
    const bool is_empty_set = parameter.kind == Kind::kFlags && number == 0;
    return !shown.empty() ? shown : is_empty_set ? "none" : std::to_string(number);
}

}  // namespace recognize
