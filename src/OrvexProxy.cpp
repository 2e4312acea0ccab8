// Start and end of the engine.
#include "OrvexProxy.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string_view>

#include "CallerState.h"
#include "FuncTracer.h"
#include "Logger.h"
#include "StreamPrint.h"
#include "test_connection_state.h"

namespace {

// Init's own mark for a probe that got no socket; no code that is ever returned.
constexpr auto kNoProbeSocket = static_cast<Lexo_ErrCode>(-1);

}  // namespace

std::atomic<OrvexProxy*> OrvexProxy::inst_{nullptr};
MutexLock OrvexProxy::mutex_inst_;
MutexLock OrvexProxy::change_lock_;
// As the library is loaded: the host's own handlers that come later, which may call the engine, run
// before these in the parent and after them in the child.
const int OrvexProxy::fork_handlers_ = SurviveForks();

OrvexProxy* OrvexProxy::GetInstance() {
    OrvexProxy* instance = inst_;
    if (instance == nullptr) {
        const MutexGuard guard(mutex_inst_);
        instance = inst_;
        if (instance == nullptr) {
            instance = new OrvexProxy;
            inst_ = instance;
        }
    }
    return instance;
}

// Init may be called again at any time, and does everything anew.
Lexo_ErrCode OrvexProxy::Init(const char* pcszLibPath) {
    const FuncTracer tracer("Init", __FILE__, __LINE__);
    const Lexo_ErrCode result = InitUnlocked(pcszLibPath == nullptr ? "" : pcszLibPath);
    if (result == kNoProbeSocket) {
        std::exit(0);  // without the lock: what the host does at exit may call the engine
    }
    return result;
}

Lexo_ErrCode OrvexProxy::InitUnlocked(const std::string& argument) {
    const CallerState caller;  // standard output may be a pipe that nobody reads
    const char* const home = std::getenv("QUORLAN_HOME");
    if (home == nullptr) {
        PrintOn(stdout,
                "fatal: env QUORLAN_HOME is not found, pls set QUORLAN_HOME first, try again\n");
        return LEXO_ERR_ENV_NOT_FOUND;
    }
    if (::access(home, F_OK) != 0) {
        PrintOn(stdout, std::string("fatal: env QUORLAN_HOME is not valid, ") + home + "\n");
        return LEXO_ERR_ENV_NOT_VALID;
    }
    const std::string conf_folder =
        std::string(home) + (std::string_view(home).ends_with('/') ? "" : "/") + "conf/";
    const std::string log_configuration = conf_folder + "Lexo_SDK_log.xml";
    PrintOn(stdout, "conf_file=" + log_configuration + "\n");
    g_logger.Init(log_configuration.c_str(), "Lexo_SDK");
    std::srand(static_cast<unsigned int>(std::time(nullptr)));
    return InitLocked(argument, conf_folder);
}

Lexo_ErrCode OrvexProxy::InitLocked(const std::string& argument, const std::string& conf_folder) {
    const RWLockGuard guard(rw_lock_, kWriteLockAction);
    const FuncTracer tracer("Init", __FILE__, __LINE__);
    return Configure(argument, conf_folder);
}

Lexo_ErrCode OrvexProxy::Configure(const std::string& argument, const std::string& conf_folder) {
    if (!GetEngineList()) {
        ORVX_LOG_ERROR("Error while get engine list.");
        ClearEngineList();
        return LEXO_ERR_INIT_FAILED;
    }
    std::string address = argument;
    std::string config_path = conf_folder + "Lexo_SDK.conf";
    if (const std::size_t comma = argument.find(','); comma != std::string::npos) {
        ORVX_LOG_INFO("User custom path");
        config_path = argument.substr(comma + 1);
        address.resize(comma);
    } else {
        ORVX_LOG_INFO("Not found [,] in pcszLibPath[%s]", config_path.c_str());
    }
    if (!ReadConfig(config_path.c_str())) {
        ORVX_LOG_INFO("Init path: [%s]", config_path.c_str());
        ClearEngineList();
        return LEXO_ERR_INIT_FAILED;
    }
    return ProbeServer(address);
}

Lexo_ErrCode OrvexProxy::ProbeServer(const std::string& address) {
    const std::size_t colon = address.find(':');
    if (colon == std::string::npos) {
        ORVX_LOG_ERROR("Not found [:] in ip_port[%s]", address.c_str());
        return LEXO_ERR_UNKNOWN;
    }
    ip_ = address.substr(0, colon);
    port_ = static_cast<int>(std::strtol(address.c_str() + colon + 1, nullptr, 10));
    const int state = test_connection_state(ip_.c_str(), port_);
    if (state == kProbeWithoutSocket) {
        return kNoProbeSocket;
    }
    if (state != 0) {
        ORVX_LOG_ERROR("connect to [%s] failed!", address.c_str());
        return LEXO_ERR_PARAM_INVALID;
    }
    return LEXO_ERR_NONE;
}

Lexo_ErrCode OrvexProxy::End() {
    const FuncTracer tracer("End", __FILE__, __LINE__);
    const RWLockGuard guard(rw_lock_, kWriteLockAction);
    if (!session_list_.empty()) {
        ORVX_LOG_ERROR("There're still %d sessions working.",
                       static_cast<int>(session_list_.size()));
        return LEXO_ERR_ACTIVE_SESSION_EXIST;
    }
    for (const auto& [cap_name, engine] : engine_list_) {
        if (!engine.res_map.empty()) {
            ORVX_LOG_ERROR("Resource for [%s] not unload, [%d] remaining.", cap_name.c_str(),
                           static_cast<int>(engine.res_map.size()));
            return LEXO_ERR_RESOURCE_NEED_UNLOAD;
        }
    }
    const MutexGuard change(change_lock_);
    for (auto& [cap_name, engine] : engine_list_) {
        engine.FreeDefaultTexts();
    }
    engine_list_.clear();
    session_index_ = 0;
    return LEXO_ERR_NONE;
}
