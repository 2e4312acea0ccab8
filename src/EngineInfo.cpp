#include "EngineInfo.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <span>

#include "ConfigFile.h"
#include "Logger.h"
#include "process_lifetime.h"
#include "proxy_params_mgr_tables.h"

namespace {

constexpr const char* kDefaultSection = "default";

constexpr Lexo_ParamKey kFreetalkKeys[] = {LEXO_PARAM_ADD_PUNC, LEXO_PARAM_STREAM,
                                           LEXO_PARAM_RESULT_TYPE, LEXO_PARAM_FT_POST_PROCESS};
constexpr Lexo_ParamKey kGrammarKeys[] = {LEXO_PARAM_NBEST_RESULT, LEXO_PARAM_STREAM};
constexpr Lexo_ParamKey kKeywordspotKeys[] = {LEXO_PARAM_STREAM};
constexpr Lexo_ParamKey kAnalysisKeys[] = {LEXO_PARAM_ADD_PUNC, LEXO_PARAM_RESULT_TYPE,
                                           LEXO_PARAM_MODE, LEXO_PARAM_CHANNEL_TYPE};

// The parameters that not every engine type has; empty for an unknown type.
std::span<const Lexo_ParamKey> OwnKeys(Lexo_EngineType engine_type) {
    switch (engine_type) {
        case LEXO_ENGINE_FREETALK:
            return kFreetalkKeys;
        case LEXO_ENGINE_GRAMMAR:
            return kGrammarKeys;
        case LEXO_ENGINE_KEYWORDSPOT:
            return kKeywordspotKeys;
        case LEXO_ENGINE_ANALYSIS:
            return kAnalysisKeys;
        default:
            return {};
    }
}

bool IsPropertyText(Lexo_ParamKey key) {
    return key == LEXO_PARAM_PROPERTY_LANGUAGE || key == LEXO_PARAM_PROPERTY_DOMAIN;
}

// Whether the configuration file may set this number. Free-talk post-processing has no name there.
bool IsConfigurableNumber(Lexo_EngineType engine_type, Lexo_ParamKey key) {
    if ((key >= LEXO_PARAM_VAD_HEAD && key <= LEXO_PARAM_VAD_THRESHOLD) ||
        key == LEXO_PARAM_PROPERTY_MODEL_TYPE) {
        return true;
    }
    return std::ranges::count(OwnKeys(engine_type), key) != 0;
}

}  // namespace

char* NewParamText(int text_bytes) {
    return new (std::nothrow) char[static_cast<std::size_t>(text_bytes) + 1]();
}

void CopyParamText(char* buffer, int text_bytes, const char* text) {
    const auto capacity = static_cast<std::size_t>(text_bytes);
    const std::string copy(text, ::strnlen(text, capacity));
    std::fill_n(std::copy(copy.begin(), copy.end(), buffer), capacity + 1 - copy.size(), '\0');
}

bool EngineInfo::SetEngineDefaultParams() {
    if (OwnKeys(engine_type).empty()) {
        ORVX_LOG_ERROR("First set the engine type.");
        return false;
    }
    for (const Lexo_ParamKey key : OwnKeys(engine_type)) {
        default_params[key] = WordOf(0);
    }
    SetCommonParams();
    return SetTextParams();
}

void EngineInfo::SetCommonParams() {
    default_params[LEXO_PARAM_VAD_HEAD] = WordOf(10000);
    default_params[LEXO_PARAM_VAD_TAIL] = WordOf(500);
    default_params[LEXO_PARAM_MAX_SECONDS] = WordOf(30);
    default_params[LEXO_PARAM_AUDIOFORMAT] = WordOf(0);
    default_params[LEXO_PARAM_VAD_THRESHOLD] = WordOf(10);
    for (const Lexo_ParamKey key :
         {LEXO_PARAM_PROPERTY_LANGUAGE, LEXO_PARAM_PROPERTY_DOMAIN, LEXO_PARAM_POST_PROCESS}) {
        KeepForProcessLifetime(static_cast<const char*>(default_params[key]));
        default_params[key] = nullptr;
    }
}

bool EngineInfo::SetTextParams() {
    if (!SetTextParam(LEXO_PARAM_PROPERTY_LANGUAGE, kPropertyTextBytes, "chinese")) {
        ORVX_LOG_ERROR("new LEXO_PARAM_PROPERTY_LANGUAGE[%d] failed!", kPropertyTextBytes);
        return false;
    }
    default_params[LEXO_PARAM_PROPERTY_MODEL_TYPE] = WordOf(0);
    if (!SetTextParam(LEXO_PARAM_PROPERTY_DOMAIN, kPropertyTextBytes, "common")) {
        ORVX_LOG_ERROR("new LEXO_PARAM_PROPERTY_DOMAIN[%d] failed!", kPropertyTextBytes);
        delete[] static_cast<char*>(default_params[LEXO_PARAM_PROPERTY_LANGUAGE]);
        default_params[LEXO_PARAM_PROPERTY_LANGUAGE] = nullptr;
        return false;
    }
    return SetTextParam(LEXO_PARAM_POST_PROCESS, kPostProcessTextBytes, "need_nlu=no");
}

bool EngineInfo::SetTextParam(Lexo_ParamKey key, int text_bytes, const char* text) {
    char* const buffer = NewParamText(text_bytes);
    if (buffer != nullptr) {
        CopyParamText(buffer, text_bytes, text);
        default_params[key] = buffer;
    }
    return buffer != nullptr;
}

bool EngineInfo::SetEngineDefaultParams(ConfigFile* config) {
    SetEngineDefaultParams();
    for (const StringParamPair& param : g_param_list) {
        if (IsConfigurableNumber(engine_type, param.key)) {
            const int number = config->ReadInt(kDefaultSection, param.name, -1);
            if (number != -1) {
                default_params[param.key] = WordOf(number);
            }
        } else if (IsPropertyText(param.key)) {
            const std::string text = config->ReadString(kDefaultSection, param.name, "");
            auto* const buffer = static_cast<char*>(default_params[param.key]);
            if (!text.empty() && buffer != nullptr) {
                CopyParamText(buffer, kPropertyTextBytes, text.c_str());
            }
        }
    }
    return true;
}

void EngineInfo::FreeDefaultTexts() {
    for (const Lexo_ParamKey key :
         {LEXO_PARAM_PROPERTY_LANGUAGE, LEXO_PARAM_PROPERTY_DOMAIN, LEXO_PARAM_POST_PROCESS}) {
        delete[] static_cast<char*>(default_params[key]);
        default_params[key] = nullptr;
    }
}

void EngineInfo::AbandonBuffers() {
    for (const Lexo_ParamKey key :
         {LEXO_PARAM_PROPERTY_LANGUAGE, LEXO_PARAM_PROPERTY_DOMAIN, LEXO_PARAM_POST_PROCESS}) {
        KeepForProcessLifetime(static_cast<const char*>(default_params[key]));
        default_params[key] = nullptr;
    }
    for (const auto& [id, resource] : res_map) {
        KeepForProcessLifetime(resource.pcszResourceData);
    }
    res_map.clear();
}

std::string EngineInfo::DescribeDefaults() const {
    std::string text = " <" + cap_name + ">:\n";
    for (const auto& [key, word] : default_params) {
        if (static_cast<std::size_t>(key) >= g_param_list.size()) {
            continue;
        }
        text += g_param_list[static_cast<std::size_t>(key)].name;
        text += "\t=\t";
        text += IsPropertyText(key) ? TextOf(word) : std::to_string(IntOf(word));
        text += "\n";
    }
    return text;
}
