// The resource store: what the host loads for a capability, under ids that begin at 2 and are never
// used again.
#include <atomic>

#include "CapabilityKey.h"
#include "FuncTracer.h"
#include "Logger.h"
#include "OrvexProxy.h"
#include "ResourceFile.h"
#include "process_lifetime.h"

namespace {

Lexo_ErrCode CheckFormat(const EngineInfo& engine, Lexo_ResourceFormatType format) {
    switch (engine.engine_type) {
        case LEXO_ENGINE_KEYWORDSPOT:
        case LEXO_ENGINE_ANALYSIS:
            if (format != LEXO_RESOURCE_KEYWORD_LIST) {
                ORVX_LOG_ERROR(
                    "keywordspot and analysis need resource type [KEYWORD_LIST] real [%d].",
                    static_cast<int>(format));
                return LEXO_ERR_NOT_SUPPORT;
            }
            return LEXO_ERR_NONE;
        case LEXO_ENGINE_GRAMMAR:
            if (format < LEXO_RESOURCE_GRAMMAR_WORDLIST || format > LEXO_RESOURCE_GRAMMAR_WFST) {
                ORVX_LOG_ERROR("grammar don't need resource type [%d].", static_cast<int>(format));
                return LEXO_ERR_PARAM_INVALID;
            }
            return LEXO_ERR_NONE;
        case LEXO_ENGINE_FREETALK:
            // An error line, not an error: every format loads.
            if (format != LEXO_RESOURCE_FREETALK_USERWORD) {
                ORVX_LOG_ERROR("freetalk don't need resource type [%d].", static_cast<int>(format));
            }
            return LEXO_ERR_NONE;
        default:
            ORVX_LOG_ERROR("Engine [%s] doesn't need resource.", engine.cap_name.c_str());
            return LEXO_ERR_NOT_SUPPORT;
    }
}

bool TakesResources(const EngineInfo& engine) {
    if (engine.engine_type > LEXO_ENGINE_ANALYSIS) {
        ORVX_LOG_ERROR("Engine doesn't need resource.");
        return false;
    }
    return true;
}

ResourceInfo* FindResource(EngineInfo& engine, unsigned int res_id) {
    const auto resource = engine.res_map.find(res_id);
    if (resource == engine.res_map.end()) {
        ORVX_LOG_ERROR("Resource [%d] not found.", static_cast<int>(res_id));
        return nullptr;
    }
    return &resource->second;
}

}  // namespace

Lexo_ErrCode OrvexProxy::FindEngineByKey(const char* capability_key, EngineInfo** engine) {
    std::string cap_name;
    std::string domain;
    if (!ParseCapKeyName(capability_key == nullptr ? "" : capability_key, cap_name, domain)) {
        return LEXO_ERR_PARAM_INVALID;
    }
    *engine = FindEngine(cap_name);
    return *engine == nullptr ? LEXO_ERR_CAPABILITY_NOT_EXIST : LEXO_ERR_NONE;
}

Lexo_ErrCode OrvexProxy::LoadResource(const char* pszCapabilityName, const char* pcszResourceData,
                                      int nResourceDataLen, Lexo_ResourceType eResourceType,
                                      Lexo_ResourceFormatType eResourceFormatType,
                                      unsigned int* pnResourceID) {
    const FuncTracer tracer("LoadResource", __FILE__, __LINE__);
    if (pnResourceID == nullptr) {
        return LEXO_ERR_PARAM_INVALID;
    }
    *pnResourceID = 0;
    const RWLockGuard guard(rw_lock_, kWriteLockAction);
    EngineInfo* engine = nullptr;
    if (const Lexo_ErrCode error = FindEngineByKey(pszCapabilityName, &engine)) {
        return error;
    }
    if (const Lexo_ErrCode error = CheckFormat(*engine, eResourceFormatType)) {
        return error;
    }
    ResourceBytes bytes;
    if (const Lexo_ErrCode error =
            bytes.Obtain(eResourceType, pcszResourceData, nResourceDataLen)) {
        return error;
    }
    const unsigned int res_id = engine->res_index + 1;
    {
        const MutexGuard change(change_lock_);
        ResourceInfo& resource = engine->res_map[res_id];
        engine->res_index = res_id;
        KeepForProcessLifetime(resource.pcszResourceData);  // only once the counter has wrapped
        resource = {bytes.data.release(), bytes.length, eResourceFormatType, 0};
    }
    *pnResourceID = res_id;
    ORVX_LOG_DEBUG("LoadResource cap_name=%s, res_id=%d", engine->cap_name.c_str(),
                   static_cast<int>(res_id));
    return LEXO_ERR_NONE;
}

Lexo_ErrCode OrvexProxy::UnloadResource(const char* pszCapabilityName, unsigned int nResourceID) {
    const FuncTracer tracer("UnloadResource", __FILE__, __LINE__);
    const RWLockGuard guard(rw_lock_, kWriteLockAction);
    EngineInfo* engine = nullptr;
    if (const Lexo_ErrCode error = FindEngineByKey(pszCapabilityName, &engine)) {
        return error;
    }
    if (!TakesResources(*engine)) {
        return LEXO_ERR_NOT_SUPPORT;
    }
    ResourceInfo* const resource = FindResource(*engine, nResourceID);
    if (resource == nullptr) {
        return LEXO_ERR_UNLOAD_RESOURCE_FAILED;
    }
    if (resource->ref >= 1) {
        ORVX_LOG_ERROR("Resource [%s][%d] still referenced", engine->cap_name.c_str(),
                       static_cast<int>(nResourceID));
        return LEXO_ERR_UNLOAD_RESOURCE_FAILED;
    }
    const MutexGuard change(change_lock_);
    FreeResource(resource);
    engine->res_map.erase(nResourceID);
    return LEXO_ERR_NONE;
}

// A count can be too low: a session that was bound before a second Init gives its reference back to
// whatever has the same id now. So the sessions themselves are asked who borrows the bytes.
void OrvexProxy::FreeResource(ResourceInfo* resource) {
    for (const auto& [handle, session] : session_list_) {
        if (session->Borrows(resource->pcszResourceData)) {
            KeepForProcessLifetime(resource->pcszResourceData);
            return;
        }
    }
    delete[] resource->pcszResourceData;
}

Lexo_ErrCode OrvexProxy::GetResouceByID(const std::string& cap_name, unsigned int res_id,
                                        ResourceInfo& info) {
    EngineInfo* const engine = FindEngine(cap_name);
    if (engine == nullptr) {
        return LEXO_ERR_CAPABILITY_NOT_EXIST;
    }
    ResourceInfo* const resource = FindResource(*engine, res_id);
    if (resource == nullptr) {
        return LEXO_ERR_ACTIVE_RESOURCE_FAILED;
    }
    std::atomic_ref(resource->ref).fetch_add(1);
    info.eResourceFormatType = resource->eResourceFormatType;
    info.pcszResourceData = resource->pcszResourceData;
    info.nResourceDataLen = resource->nResourceDataLen;
    return LEXO_ERR_NONE;
}

Lexo_ErrCode OrvexProxy::ResourceReleaseRef(const std::string& cap_name, unsigned int res_id) {
    EngineInfo* const engine = FindEngine(cap_name);
    if (engine == nullptr) {
        return LEXO_ERR_CAPABILITY_NOT_EXIST;
    }
    if (!TakesResources(*engine)) {
        return LEXO_ERR_NOT_SUPPORT;
    }
    ResourceInfo* const resource = FindResource(*engine, res_id);
    if (resource == nullptr) {
        return LEXO_ERR_DEACTIVE_RESOURCE_FAILED;
    }
    std::atomic_ref(resource->ref).fetch_sub(1);
    return LEXO_ERR_NONE;
}
