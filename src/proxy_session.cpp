#include "proxy_session.h"

#include "EngineInfo.h"
#include "Logger.h"
#include "RecogResult.h"
#include "proxy_params_mgr.h"

namespace {

constexpr std::size_t kCommonConfigBytes = 500;  // of the task configuration, seldom exceeded

bool IsPropertyText(Lexo_ParamKey key) {
    return key == LEXO_PARAM_PROPERTY_LANGUAGE || key == LEXO_PARAM_PROPERTY_DOMAIN;
}

bool IsText(Lexo_ParamKey key) {
    return IsPropertyText(key) || key == LEXO_PARAM_POST_PROCESS;
}

int TextBytes(Lexo_ParamKey key) {
    return key == LEXO_PARAM_POST_PROCESS ? kPostProcessTextBytes : kPropertyTextBytes;
}

}  // namespace

ProxySession::ProxySession(Lexo_EngineType engine_type, const std::string& cap_name,
                           const std::string& /*property*/, ParamMap& params)
    : params_(params), cap_name_(cap_name), engine_type_(engine_type) {
    if (!AllocateTexts(params)) {
        return;
    }
    LogParams();
    is_realtime_ = HoldsParam(LEXO_PARAM_STREAM, 1, 4) || HoldsParam(LEXO_PARAM_MODE, 1, 1);
    RebuildProperty();
    qa_paramter_ = TextOf(params_[LEXO_PARAM_POST_PROCESS]);
}

// An answer that the host could not fetch, or did not, still hangs from result_.
ProxySession::~ProxySession() {
    ReleaseResult(&result_);
}

bool ProxySession::AllocateTexts(ParamMap& params) {
    params_[LEXO_PARAM_PROPERTY_LANGUAGE] = nullptr;
    params_[LEXO_PARAM_PROPERTY_DOMAIN] = nullptr;
    params_[LEXO_PARAM_POST_PROCESS] = nullptr;
    if (!AllocateText(params, LEXO_PARAM_PROPERTY_LANGUAGE, &language_)) {
        ORVX_LOG_ERROR("new LEXO_PARAM_PROPERTY_LANGUAGE[%d] failed!", kPropertyTextBytes);
        return false;
    }
    if (!AllocateText(params, LEXO_PARAM_PROPERTY_DOMAIN, &domain_)) {
        ORVX_LOG_ERROR("new LEXO_PARAM_PROPERTY_DOMAIN[%d] failed!", kPropertyTextBytes);
        params_[LEXO_PARAM_PROPERTY_LANGUAGE] = nullptr;
        language_.reset();
        return false;
    }
    if (!AllocateText(params, LEXO_PARAM_POST_PROCESS, &post_process_)) {
        ORVX_LOG_ERROR("new LEXO_PARAM_POST_PROCESS[%d] failed!", kPostProcessTextBytes);
        return false;
    }
    return true;
}

bool ProxySession::AllocateText(ParamMap& params, Lexo_ParamKey key,
                                std::unique_ptr<char[]>* buffer) {
    buffer->reset(NewParamText(TextBytes(key)));
    if (*buffer == nullptr) {
        return false;
    }
    CopyParamText(buffer->get(), TextBytes(key), TextOf(params[key]));
    params_[key] = buffer->get();
    return true;
}

void ProxySession::LogParams() const {
    ORVX_LOG_DEBUG("engine_type:%d", static_cast<int>(engine_type_));
    for (const auto& [key, word] : params_) {
        if (IsPropertyText(key)) {
            ORVX_LOG_DEBUG("%d:%s", static_cast<int>(key), TextOf(word));
        } else {
            ORVX_LOG_DEBUG("%d:%d", static_cast<int>(key), IntOf(word));
        }
    }
}

bool ProxySession::HoldsParam(Lexo_ParamKey key, std::intptr_t smallest,
                              std::intptr_t largest) const {
    const auto param = params_.find(key);
    return param != params_.end() && smallest <= NumberOf(param->second) &&
           NumberOf(param->second) <= largest;
}

void ProxySession::RebuildProperty() {
    property_ = TextOf(params_[LEXO_PARAM_PROPERTY_LANGUAGE]);
    property_ += NumberOf(params_[LEXO_PARAM_PROPERTY_MODEL_TYPE]) == 0 ? "_8k_" : "_16k_";
    property_ += TextOf(params_[LEXO_PARAM_PROPERTY_DOMAIN]);
}

Lexo_ErrCode ProxySession::SetParam(Lexo_ParamKey key, Lexo_ParamValue value) {
    const auto param = params_.find(key);
    if (param == params_.end()) {
        ORVX_LOG_ERROR("Param type [%d] unsupported in capability [%s][%d]", static_cast<int>(key),
                       cap_name_.c_str(), static_cast<int>(engine_type_));
        return LEXO_ERR_NOT_SUPPORT;
    }
    const int validation = ProxyParamsMgr::CheckConfig(key, value);
    if (validation != ProxyParamsMgr::kValid) {
        return validation == ProxyParamsMgr::kUnknownKey ? LEXO_ERR_NOT_SUPPORT
                                                         : LEXO_ERR_PARAM_INVALID;
    }
    if (IsText(key)) {
        return SetText(key, TextOf(value));
    }
    param->second = value;
    switch (key) {
        case LEXO_PARAM_STREAM:
            is_realtime_ = HoldsParam(key, 1, 4);
            break;
        case LEXO_PARAM_MODE:
            is_realtime_ = HoldsParam(key, 1, 1);
            break;
        case LEXO_PARAM_PROPERTY_MODEL_TYPE:
            RebuildProperty();
            break;
        default:
            break;
    }
    return LEXO_ERR_NONE;
}

Lexo_ErrCode ProxySession::SetText(Lexo_ParamKey key, const char* text) {
    auto* const buffer = static_cast<char*>(params_[key]);
    if (buffer == nullptr) {
        return LEXO_ERR_MEMORY;
    }
    CopyParamText(buffer, TextBytes(key), text);
    if (key == LEXO_PARAM_POST_PROCESS) {
        qa_paramter_ = buffer;
    } else {
        RebuildProperty();
    }
    return LEXO_ERR_NONE;
}

Lexo_ErrCode ProxySession::GetParam(Lexo_ParamKey key, Lexo_ParamValue* value) const {
    const auto param = params_.find(key);
    if (param == params_.end()) {
        ORVX_LOG_ERROR("Param type [%d] unsupported in capability [%s]", static_cast<int>(key),
                       cap_name_.c_str());
        return LEXO_ERR_NOT_SUPPORT;
    }
    if (value == nullptr) {
        return LEXO_ERR_PARAM_INVALID;
    }
    if (IsText(key) && param->second == nullptr) {
        return LEXO_ERR_MEMORY;
    }
    *value = param->second;
    return LEXO_ERR_NONE;
}

std::string ProxySession::GetConfig() const {
    std::string config;
    config.reserve(kCommonConfigBytes);
    for (const auto& [key, word] : params_) {
        // The post-processing text travels in a field of its own.
        if (key == LEXO_PARAM_POST_PROCESS) {
            ORVX_LOG_DEBUG("GetConfig  LEXO_PARAM_POST_PROCESS");
            continue;
        }
        if (key == LEXO_PARAM_FT_POST_PROCESS && NumberOf(word) == 0) {
            ORVX_LOG_DEBUG("GetConfig LEXO_PARAM_FT_POST_PROCESS LEXO_FT_POST_PROCESS_NONE");
            continue;
        }
        config += config.empty() ? "" : ",";
        ProxyParamsMgr::GetConfigPair(key, word, &config);
    }
    ORVX_LOG_INFO("Config for [%s] is [%s]", cap_name_.c_str(), config.c_str());
    return config;
}

Lexo_ErrCode ProxySession::SetResourceName(const char* name) {
    res_name_ = name;
    is_has_res_ = true;
    is_res_buildin_ = true;
    return LEXO_ERR_NONE;
}

Lexo_ErrCode ProxySession::SetResourceData(const char* data, unsigned int len,
                                           Lexo_ResourceFormatType type, unsigned int res_id) {
    if (data == nullptr || len == 0) {
        return LEXO_ERR_PARAM_INVALID;
    }
    is_has_res_ = true;
    is_res_buildin_ = false;
    res_id_ = res_id;
    res_data_ = data;
    res_data_len_ = len;
    res_type_ = type;
    return LEXO_ERR_NONE;
}

Lexo_ErrCode ProxySession::UnsetResource() {
    is_has_res_ = false;
    return LEXO_ERR_NONE;
}
