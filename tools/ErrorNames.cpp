#include "ErrorNames.h"

#include <algorithm>
#include <iterator>

namespace recognize {

namespace {

struct Row {
    Lexo_ErrCode code;
    ErrorName text;
};

// The enumerator is written once, so that a name cannot drift from its number.
#define ORVX_ERROR_ROW(enumerator, meaning) \
    {                                       \
        enumerator, {                       \
#enumerator, meaning            \
        }                                   \
    }
constexpr Row kRows[] = {
    ORVX_ERROR_ROW(LEXO_ERR_NONE, "success"),
    ORVX_ERROR_ROW(LEXO_ERR_PARAM_INVALID, "an argument or a value was refused"),
    ORVX_ERROR_ROW(LEXO_ERR_NOT_SUPPORT, "the capability, or the server, does not offer this"),
    ORVX_ERROR_ROW(LEXO_ERR_NOT_INIT, "the engine was not started"),
    ORVX_ERROR_ROW(LEXO_ERR_ALREADY_INIT, "the engine was started before"),
    ORVX_ERROR_ROW(LEXO_ERR_INIT_FAILED, "the engine's configuration file cannot be read"),
    ORVX_ERROR_ROW(LEXO_ERR_CAPABILITY_NOT_EXIST, "the engine has no such capability"),
    ORVX_ERROR_ROW(LEXO_ERR_CAPABILITY_PRELOAD_FAILED, "the capability could not be preloaded"),
    ORVX_ERROR_ROW(LEXO_ERR_CAPABILITY_ALREADY_LOAD, "the capability is loaded already"),
    ORVX_ERROR_ROW(LEXO_ERR_SESSION_INVALID, "there is no such session"),
    ORVX_ERROR_ROW(LEXO_ERR_SESSION_START_FAILED, "the session could not be started"),
    ORVX_ERROR_ROW(LEXO_ERR_SESSION_STOP_FAILED, "the session could not be stopped"),
    ORVX_ERROR_ROW(LEXO_ERR_NO_VOICE_INPUT, "no speech was heard in the recording"),
    ORVX_ERROR_ROW(LEXO_ERR_RECOG_FAILED,
                   "the server refused or failed the recognition, or its answer is damaged"),
    ORVX_ERROR_ROW(LEXO_ERR_RESULT_NOT_FREE, "the result before was not given back"),
    ORVX_ERROR_ROW(LEXO_ERR_GET_RECOG_RESULT_FAILED, "there is no result to fetch"),
    ORVX_ERROR_ROW(LEXO_ERR_FREE_RECOG_RESULT_FAILED, "there is no result to give back"),
    ORVX_ERROR_ROW(LEXO_ERR_LOAD_RESOURCE_FAILED, "the resource is empty or cannot be read"),
    ORVX_ERROR_ROW(LEXO_ERR_UNLOAD_RESOURCE_FAILED, "the resource is unknown or still in use"),
    ORVX_ERROR_ROW(LEXO_ERR_ACTIVE_RESOURCE_FAILED, "the resource to bind is unknown"),
    ORVX_ERROR_ROW(LEXO_ERR_DEACTIVE_RESOURCE_FAILED, "no resource is bound"),
    ORVX_ERROR_ROW(LEXO_ERR_GET_PARAM_FAILED, "the parameter could not be read"),
    ORVX_ERROR_ROW(LEXO_ERR_SET_PARAM_FAILED, "the parameter could not be set"),
    ORVX_ERROR_ROW(LEXO_ERR_ENGINE_FAILED,
                   "the server's engine failed, or it answered another request"),
    ORVX_ERROR_ROW(LEXO_ERR_OPENFILE, "a file cannot be opened"),
    ORVX_ERROR_ROW(LEXO_ERR_MEMORY, "out of memory"),
    ORVX_ERROR_ROW(LEXO_ERR_ACTIVE_SESSION_EXIST, "sessions are still open"),
    ORVX_ERROR_ROW(LEXO_ERR_RESOURCE_NEED_UNLOAD, "resources are still loaded"),
    ORVX_ERROR_ROW(LEXO_ERR_RESOURCE_NEED_DEACTIVE, "a resource is still bound"),
    ORVX_ERROR_ROW(LEXO_ERR_NETWORK_FAILED, "no exchange with the recognition server"),
    ORVX_ERROR_ROW(LEXO_ERR_REALTIME_SESSION_TIMEOUT,
                   "the server closed the real-time utterance: audio came too late"),
    ORVX_ERROR_ROW(LEXO_ERR_ALL_SESSION_BUSY, "all recognisers of the server are busy"),
    ORVX_ERROR_ROW(LEXO_ERR_LSB_QUERYCU, "the server found no computing unit for the request"),
    ORVX_ERROR_ROW(LEXO_ERR_ENV_NOT_FOUND, "QUORLAN_HOME is not set"),
    ORVX_ERROR_ROW(LEXO_ERR_ENV_NOT_VALID, "QUORLAN_HOME names no existing folder"),
    ORVX_ERROR_ROW(LEXO_ERR_UNKNOWN, "an error without a more exact name"),
};
#undef ORVX_ERROR_ROW

}  // namespace

ErrorName FindErrorName(Lexo_ErrCode code) {
    const Row* row = std::find_if(std::begin(kRows), std::end(kRows),
                                  [code](const Row& r) { return r.code == code; });
    if (row == std::end(kRows)) {
        return {{}, "an error of the server that has no name in the engine's interface"};
    }
    return row->text;
}

std::string NameOf(Lexo_ErrCode code) {
    const ErrorName found = FindErrorName(code);
    return found.name.empty() ? "server code " + std::to_string(code) : std::string(found.name);
}

std::string MeaningOf(Lexo_ErrCode code) {
    return std::string(FindErrorName(code).meaning);
}

std::string Describe(Lexo_ErrCode code) {
    return NameOf(code) + ": " + MeaningOf(code);
}

}  // namespace recognize
