#include "Session.h"

#include <climits>

#include "ErrorNames.h"
#include "Errors.h"
#include "Interruption.h"

namespace recognize {

namespace {

constexpr Lexo_RecogStatus kResultWaits = 2;

// Values of LEXO_PARAM_STREAM.
constexpr std::intptr_t kStreamNo = 0;
constexpr std::intptr_t kStreamYes = 1;
constexpr std::intptr_t kStreamYesRt = 4;

// The value of LEXO_PARAM_MODE that makes an analysis real-time.
constexpr std::intptr_t kModeOnline = 1;

// The value of LEXO_PARAM_CHANNEL_TYPE for one channel.
constexpr std::intptr_t kChannelsMono = 0;

constexpr std::string_view kAnalysis = "asr.cloud.analysis";

std::string Refusal(const std::string& capability, const ParameterSetting& setting,
                    Lexo_ErrCode code) {
    const std::string name(setting.name);
    if (code != LEXO_ERR_NOT_SUPPORT) {
        return Describe(code) + " (parameter " + name + ")";
    }
    std::string text = NameOf(code) + ": capability " + capability + " has no parameter " + name;
    if (setting.key == LEXO_PARAM_STREAM) {
        text += "; --param analysis_mode=online makes an analysis real-time";
    }
    return text;
}

}  // namespace

Session::Session(const std::string& capability, const std::vector<ParameterSetting>& parameters,
                 const Resource& resource)
    : capability_(capability), resource_(resource) {
    const Lexo_ErrCode code = orvx_proxy_SessionStart(capability.c_str(), &handle_);
    if (code != LEXO_ERR_NONE) {
        throw EngineError(code, "no session on " + capability + ": " + MeaningOf(code));
    }
    try {
        for (const ParameterSetting& setting : parameters) {
            Set(setting);
        }
        resource_.BindTo(handle_);
    } catch (...) {
        Stop();
        throw;
    }
}

Session::~Session() {
    Stop();
}

void Session::Stop() {
    resource_.ReleaseFrom(handle_);
    if (orvx_proxy_SessionStop(handle_) == LEXO_ERR_RESULT_NOT_FREE) {
        TakeResult({});
        orvx_proxy_SessionStop(handle_);
    }
}

void Session::Set(const ParameterSetting& setting) {
    const Lexo_ErrCode code = orvx_proxy_SetParam(handle_, setting.key, setting.Word());
    if (code == LEXO_ERR_MEMORY) {  // there was none for the session's texts
        throw EngineError(code, "no session on " + capability_ + ": " + MeaningOf(code));
    }
    if (code != LEXO_ERR_NONE) {
        throw UsageError(Refusal(capability_, setting, code));
    }
}

Lexo_ParamValue Session::Value(Lexo_ParamKey key) const {
    Lexo_ParamValue value = nullptr;
    const Lexo_ErrCode code = orvx_proxy_GetParam(handle_, key, &value);
    if (code != LEXO_ERR_NONE) {
        throw EngineError(code, "parameter " + std::string(ParameterName(key)) + " of " +
                                    capability_ + ": " + MeaningOf(code));
    }
    return value;
}

std::optional<std::intptr_t> Session::Number(Lexo_ParamKey key) const {
    Lexo_ParamValue value = nullptr;
    if (orvx_proxy_GetParam(handle_, key, &value) != LEXO_ERR_NONE) {
        return std::nullopt;
    }
    return reinterpret_cast<std::intptr_t>(value);
}

StreamMode Session::Mode() const {
    // Each capability is asked for its own parameter only: the engine logs any other as an error.
    if (capability_ == kAnalysis) {
        return Number(LEXO_PARAM_MODE) == kModeOnline ? StreamMode::kContinuous
                                                      : StreamMode::kOneShot;
    }
    switch (Number(LEXO_PARAM_STREAM).value_or(kStreamNo)) {
        case kStreamNo:
            return StreamMode::kOneShot;
        case kStreamYes:
        case kStreamYesRt:
            return StreamMode::kSingle;
        default:
            return StreamMode::kContinuous;
    }
}

std::size_t Session::Channels() const {
    if (capability_ != kAnalysis) {
        return 1;
    }
    return Number(LEXO_PARAM_CHANNEL_TYPE).value_or(kChannelsMono) == kChannelsMono ? 1 : 2;
}

Lexo_ErrCode Session::Recognize(std::string_view audio, const ResultHandler& on_result) {
    return Exchange(audio, false, on_result);
}

Lexo_ErrCode Session::Close(const ResultHandler& on_result) {
    return Exchange({}, true, on_result);
}

Lexo_ErrCode Session::Exchange(std::string_view audio, bool is_data_over,
                               const ResultHandler& on_result) {
    if (audio.size() > INT_MAX) {
        return LEXO_ERR_PARAM_INVALID;
    }
    try {
        Lexo_RecogStatus status = 0;
        const Lexo_ErrCode code = [&] {
            const AwaitedAnswer awaited;
            return orvx_proxy_Recognize(handle_, audio.data(), static_cast<int>(audio.size()),
                                        is_data_over ? 1 : 0, &status);
        }();
        if ((status & kResultWaits) == 0) {
            return code;
        }
        const bool is_good = code == LEXO_ERR_NONE || code == LEXO_ERR_NO_VOICE_INPUT;
        const Lexo_ErrCode taken = TakeResult(is_good ? on_result : ResultHandler());
        return is_good && taken != LEXO_ERR_NONE ? taken : code;
    } catch (...) {  // there was no memory for the result, or for what is made of it
        TakeResult({});
        throw;
    }
}

Lexo_ErrCode Session::TakeResult(const ResultHandler& on_result) {
    Lexo_RecogResult* result = nullptr;
    const Lexo_ErrCode code = orvx_proxy_GetRecogResult(handle_, &result);
    if (code != LEXO_ERR_NONE) {
        return code;
    }
    if (on_result) {
        on_result(*result);
    }
    return orvx_proxy_FreeRecogResult(handle_, &result);
}

}  // namespace recognize
