// The engine list: its building, its configuration, and what the host is told of it.
#include <cstdio>

#include "CapabilityKey.h"
#include "ConfigFile.h"
#include "FuncTracer.h"
#include "Logger.h"
#include "OrvexProxy.h"
#include "StreamPrint.h"

namespace {

constexpr std::string_view kCandidates[] = {"asr.cloud.freetalk", "asr.cloud.analysis",
                                            "asr.cloud.keywordspot", "asr.cloud.grammar"};
constexpr int kDefaultSampleRate = 8000;  // Hz

}  // namespace

bool OrvexProxy::GetEngineList() {
    const FuncTracer tracer("GetEngineList", __FILE__, __LINE__);
    ClearEngineList();
    for (const std::string_view name : kCandidates) {
        EngineInfo engine;
        engine.cap_name = name;
        engine.engine_type = EngineTypeOf(name);
        engine.SetEngineDefaultParams();
        engine_list_.emplace(engine.cap_name, std::move(engine));
    }
    return !engine_list_.empty();
}

// Sessions outlive the list that they were started from, and may borrow resources from it.
void OrvexProxy::ClearEngineList() {
    for (auto& [cap_name, engine] : engine_list_) {
        engine.AbandonBuffers();
    }
    engine_list_.clear();
}

bool OrvexProxy::ReadConfig(const char* path) {
    ConfigFile config;
    if (!config.LoadFromFile(path)) {
        PrintOn(stdout, std::string("config file load from (") + path + ") failed\n");
        return false;
    }
    ParseEngineInfo(&config);
    for (auto& [cap_name, engine] : engine_list_) {
        engine.SetEngineDefaultParams(&config);
    }
    LogDefaults();
    return true;
}

bool OrvexProxy::ParseEngineInfo(ConfigFile* config) {
    const int sample_rate = config->ReadInt("engine", "sample_rate", kDefaultSampleRate);
    for (auto& [cap_name, engine] : engine_list_) {
        engine.sample_rate = static_cast<unsigned int>(sample_rate);
    }
    return true;
}

void OrvexProxy::LogDefaults() const {
    ORVX_LOG_INFO("%s", "Default params for engine :");
    for (const auto& [cap_name, engine] : engine_list_) {
        ORVX_LOG_INFO("%s", engine.DescribeDefaults().c_str());
    }
}

EngineInfo* OrvexProxy::FindEngine(const std::string& cap_name) {
    const auto engine = engine_list_.find(cap_name);
    if (engine == engine_list_.end()) {
        ORVX_LOG_ERROR("Engine[%s] not found.", cap_name.c_str());
        return nullptr;
    }
    return &engine->second;
}

Lexo_ErrCode OrvexProxy::GetCapabilityInfoList(Lexo_CapabilityInfoList* pCapabilityInfoList) {
    const FuncTracer tracer("GetCapabilityInfoList", __FILE__, __LINE__);
    const RWLockGuard guard(rw_lock_, kReadLockAction);
    if (pCapabilityInfoList == nullptr) {
        return LEXO_ERR_PARAM_INVALID;
    }
    *pCapabilityInfoList = {};
    if (engine_list_.empty()) {
        ORVX_LOG_WARNING("No engine found.");
        return LEXO_ERR_NONE;
    }
    auto* entry = new Lexo_CapabilityInfo[engine_list_.size()]();
    pCapabilityInfoList->pCapabilityInfoList = entry;
    pCapabilityInfoList->nCapabilityCount = static_cast<int>(engine_list_.size());
    for (const auto& [cap_name, engine] : engine_list_) {
        cap_name.copy(entry->szCapabilityName, sizeof entry->szCapabilityName - 1);
        entry->eEngineType = engine.engine_type;
        ++entry;
    }
    return LEXO_ERR_NONE;
}

Lexo_ErrCode OrvexProxy::ReleaseCapabilityInfoList(Lexo_CapabilityInfoList* pCapabilityInfoList) {
    if (pCapabilityInfoList == nullptr) {
        return LEXO_ERR_PARAM_INVALID;
    }
    delete[] pCapabilityInfoList->pCapabilityInfoList;
    pCapabilityInfoList->pCapabilityInfoList = nullptr;
    pCapabilityInfoList->nCapabilityCount = 0;
    return LEXO_ERR_NONE;
}
