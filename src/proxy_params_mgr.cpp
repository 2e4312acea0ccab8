#include "proxy_params_mgr.h"

#include <cstdint>
#include <set>
#include <span>

#include "Logger.h"
#include "TaskConfig.h"
#include "param_word.h"
#include "proxy_params_mgr_tables.h"

namespace {

bool HasKnownType(const params_item& item) {
    return item.value_type == kParamEnumerated || item.value_type == kParamIntRange ||
           item.value_type == kParamText || item.value_type == kParamFlagSet;
}

std::span<const name_value_pair> RowsOf(const params_item& item) {
    return {static_cast<const name_value_pair*>(item.value_first),
            static_cast<std::size_t>(NumberOf(item.value_second))};
}

bool IsInRange(const params_item& item, int value) {
    return IntOf(item.value_first) <= value && value <= IntOf(item.value_second);
}

const name_value_pair* FindRow(const params_item& item, const void* value) {
    for (const name_value_pair& row : RowsOf(item)) {
        if (row.value == value) {
            return &row;
        }
    }
    return nullptr;
}

const name_value_pair* FindRow(const params_item& item, const std::string& name) {
    for (const name_value_pair& row : RowsOf(item)) {
        if (name == row.name) {
            return &row;
        }
    }
    return nullptr;
}

bool IsLegalMask(const params_item& item, std::intptr_t mask) {
    if (mask == 0) {
        return item.key == LEXO_PARAM_FT_POST_PROCESS;
    }
    std::intptr_t all = 0;
    for (const name_value_pair& row : RowsOf(item)) {
        all |= NumberOf(row.value);
    }
    return (mask & all) != 0 && (mask | all) == all;
}

int CheckWord(const params_item& item, Lexo_ParamValue value) {
    const int key = item.key;
    switch (item.value_type) {
        case kParamIntRange:
        case kParamEnumerated: {
            const bool valid = item.value_type == kParamIntRange ? IsInRange(item, IntOf(value))
                                                                 : FindRow(item, value) != nullptr;
            if (!valid) {
                ORVX_LOG_ERROR("Param value [%d=%d] invalid.", key, IntOf(value));
            }
            return valid ? ProxyParamsMgr::kValid : ProxyParamsMgr::kInvalidValue;
        }
        default: {
            const bool valid = item.value_type == kParamText ? *TextOf(value) != '\0'
                                                             : IsLegalMask(item, NumberOf(value));
            if (!valid) {
                ORVX_LOG_ERROR("Param value [%d] invalid.", key);
            }
            return valid ? ProxyParamsMgr::kValid : ProxyParamsMgr::kInvalidValue;
        }
    }
}

// The distinct tokens between ";"; empty ones count, but for one behind the last ";".
std::set<std::string> SplitTokens(const std::string& text) {
    std::set<std::string> tokens;
    std::size_t start = 0;
    for (std::size_t end; (end = text.find(';', start)) != std::string::npos; start = end + 1) {
        tokens.insert(text.substr(start, end - start));
    }
    if (start < text.size()) {
        tokens.insert(text.substr(start));
    }
    return tokens;
}

int GetNamedValue(const params_item& item, const std::string& text, Lexo_ParamValue* pValue) {
    const name_value_pair* row = FindRow(item, text);
    if (row == nullptr) {
        ORVX_LOG_ERROR("Param value [%s=%s] invalid.", item.key_name, text.c_str());
        return ProxyParamsMgr::kInvalidValue;
    }
    if (pValue != nullptr) {
        *pValue = row->value;
    }
    return ProxyParamsMgr::kValid;
}

int GetFlags(const params_item& item, const std::string& text, Lexo_ParamValue* pValue) {
    const std::set<std::string> tokens = SplitTokens(text);
    std::intptr_t mask = 0;
    for (const name_value_pair& row : RowsOf(item)) {
        if (tokens.contains(row.name)) {
            mask |= NumberOf(row.value);
        }
    }
    if (mask == 0) {
        ORVX_LOG_ERROR("Param value[%s=%s] invalid.", item.key_name, text.c_str());
        return ProxyParamsMgr::kInvalidValue;
    }
    *pValue = WordOf(mask);
    return ProxyParamsMgr::kValid;
}

int GetInteger(const params_item& item, const std::string& text, int number,
               Lexo_ParamValue* pValue) {
    if (number == -1) {
        ORVX_LOG_ERROR("Param value [%s] not a number.", text.c_str());
        return ProxyParamsMgr::kInvalidValue;
    }
    if (!IsInRange(item, number)) {
        ORVX_LOG_ERROR("Param value [%s=%s] invalid.", item.key_name, text.c_str());
        return ProxyParamsMgr::kInvalidValue;
    }
    *pValue = WordOf(number);
    return ProxyParamsMgr::kValid;
}

void AppendFlagNames(const params_item& item, std::intptr_t mask, std::string* text) {
    bool is_first = true;
    for (const name_value_pair& row : RowsOf(item)) {
        if ((NumberOf(row.value) & mask) != 0) {
            text->append(is_first ? "" : ";").append(row.name);
            is_first = false;
        }
    }
}

// Nothing when the table holds no name for the value.
void AppendValue(const params_item& item, Lexo_ParamValue word, std::string* text) {
    switch (item.value_type) {
        case kParamIntRange:
            text->append(std::to_string(IntOf(word)));
            break;
        case kParamText:
            text->append(TextOf(word));
            break;
        case kParamEnumerated: {
            const name_value_pair* row = FindRow(item, word);
            text->append(row == nullptr ? "" : row->name);
            break;
        }
        default:
            AppendFlagNames(item, NumberOf(word), text);
    }
}

}  // namespace

int ProxyParamsMgr::CheckConfig(Lexo_ParamKey key, Lexo_ParamValue value) {
    for (const params_item& item : g_params_family) {
        if (item.key == key && HasKnownType(item)) {
            return CheckWord(item, value);
        }
    }
    ORVX_LOG_ERROR("Param type [%d] not found.", static_cast<int>(key));
    return kUnknownKey;
}

int ProxyParamsMgr::CheckAndGetConfig(const std::string& name, const std::string& value_text,
                                      Lexo_ParamKey* pKey, Lexo_ParamValue* pValue) {
    for (const params_item& item : g_params_family) {
        if (name != item.key_name) {
            continue;
        }
        if (pKey != nullptr) {
            *pKey = item.key;
        }
        switch (item.value_type) {
            case kParamEnumerated:
                return GetNamedValue(item, value_text, pValue);
            case kParamIntRange:
                return GetInteger(item, value_text, toInt(value_text), pValue);
            case kParamText:
                return kValid;
            case kParamFlagSet:
                return GetFlags(item, value_text, pValue);
            default:
                break;
        }
    }
    ORVX_LOG_ERROR("Param type [%s] not found.", name.c_str());
    return kUnknownKey;
}

int ProxyParamsMgr::toInt(const std::string& str) {
    std::uint32_t result = 0;
    for (const char character : str) {
        if (character < '0' || character > '9') {
            return -1;
        }
        result = result * 10 + static_cast<std::uint32_t>(character - '0');
    }
    return static_cast<int>(result);
}

void ProxyParamsMgr::GetConfigPair(Lexo_ParamKey key, Lexo_ParamValue word, std::string* config) {
    const std::size_t start = config->size();
    for (const params_item& item : g_params_family) {
        if (item.key != key || !HasKnownType(item)) {
            continue;
        }
        config->append(item.key_name).append("=");
        const std::size_t value_start = config->size();
        AppendValue(item, word, config);
        if (config->size() > value_start || item.value_type == kParamText) {
            return;
        }
        config->resize(start);
        ORVX_LOG_ERROR("Param value [%d=%d] invalid.", static_cast<int>(key), IntOf(word));
    }
    ORVX_LOG_ERROR("Param type [%d] not found.", static_cast<int>(key));
}

bool ProxyParamsMgr::CheckTaskConfig(const std::string& /*cap_name*/, TaskConfig& config,
                                     std::map<Lexo_ParamKey, Lexo_ParamValue>& out_map) {
    for (const auto& [name, value_text] : config.GetMapConfig()) {
        Lexo_ParamKey key{};
        Lexo_ParamValue word = nullptr;
        const int validation = CheckAndGetConfig(name, value_text, &key, &word);
        if (validation == kValid) {
            return false;
        }
        if (validation == kInvalidValue) {
            out_map[key] = word;
        }
    }
    return true;
}
