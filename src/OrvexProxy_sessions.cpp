// The session registry: handles, and the calls that go to one session.
#include "CapabilityKey.h"
#include "FuncTracer.h"
#include "Logger.h"
#include "OrvexProxy.h"
#include "param_word.h"

ProxySession* OrvexProxy::FindSession(void* hSession) const {
    const auto session = session_list_.find(hSession);
    if (session == session_list_.end()) {
        ORVX_LOG_ERROR("Session [%d] not found in session list.", IntOf(hSession));
        return nullptr;
    }
    return session->second.get();
}

Lexo_ErrCode OrvexProxy::SessionStart(const char* pszCapabilityName, void** phSession) {
    const FuncTracer tracer("SessionStart", __FILE__, __LINE__);
    const RWLockGuard guard(rw_lock_, kWriteLockAction);
    const std::string capability_key = pszCapabilityName == nullptr ? "" : pszCapabilityName;
    std::string cap_name;
    std::string property;
    if (!ParseCapKeyName(capability_key, cap_name, property) || !property.empty()) {
        ORVX_LOG_ERROR("capkey name is invalid[%s].", capability_key.c_str());
        return LEXO_ERR_PARAM_INVALID;
    }
    EngineInfo* const engine = FindEngine(cap_name);
    if (engine == nullptr) {
        return LEXO_ERR_CAPABILITY_NOT_EXIST;
    }
    if (phSession == nullptr) {
        return LEXO_ERR_PARAM_INVALID;
    }
    auto session = std::make_unique<ProxySession>(engine->engine_type, cap_name, property,
                                                  engine->default_params);
    // A handle is a number, never an address. After End it may be 0, the null pointer.
    void* const handle = WordOf(session_index_);
    const MutexGuard change(change_lock_);
    session_list_[handle] = std::move(session);
    session_index_ = static_cast<int>(static_cast<unsigned int>(session_index_) + 1);
    *phSession = handle;
    return LEXO_ERR_NONE;
}

Lexo_ErrCode OrvexProxy::SessionStop(void* hSession) {
    const FuncTracer tracer("SessionStop", __FILE__, __LINE__);
    const RWLockGuard guard(rw_lock_, kWriteLockAction);
    const auto session = session_list_.find(hSession);
    if (session == session_list_.end()) {
        ORVX_LOG_ERROR("Session [%p] not found in session list.", hSession);
        return LEXO_ERR_SESSION_INVALID;
    }
    if (session->second->HasResult()) {
        return LEXO_ERR_RESULT_NOT_FREE;
    }
    if (session->second->HasResource()) {
        return LEXO_ERR_RESOURCE_NEED_DEACTIVE;
    }
    const MutexGuard change(change_lock_);
    session_list_.erase(session);
    return LEXO_ERR_NONE;
}

Lexo_ErrCode OrvexProxy::SetParam(void* hSession, Lexo_ParamKey nParam, void* paramValue) {
    const FuncTracer tracer("SetParam", __FILE__, __LINE__);
    const RWLockGuard guard(rw_lock_, kReadLockAction);
    ProxySession* const session = FindSession(hSession);
    return session == nullptr ? LEXO_ERR_SESSION_INVALID : session->SetParam(nParam, paramValue);
}

Lexo_ErrCode OrvexProxy::GetParam(void* hSession, Lexo_ParamKey nParam, void** pParamValue) {
    const FuncTracer tracer("GetParam", __FILE__, __LINE__);
    const RWLockGuard guard(rw_lock_, kReadLockAction);
    const ProxySession* const session = FindSession(hSession);
    return session == nullptr ? LEXO_ERR_SESSION_INVALID : session->GetParam(nParam, pParamValue);
}

Lexo_ErrCode OrvexProxy::Recognize(void* hSession, const char* pData, int nDataLen, int bIsDataOver,
                                   int* pRecogStatus) {
    const FuncTracer tracer("Recognize", __FILE__, __LINE__);
    const RWLockGuard guard(rw_lock_, kReadLockAction);
    ProxySession* const session = FindSession(hSession);
    if (session == nullptr) {
        return LEXO_ERR_SESSION_INVALID;
    }
    return static_cast<Lexo_ErrCode>(
        session->RecognizeStream(ip_, port_, pData, nDataLen, bIsDataOver, pRecogStatus));
}

Lexo_ErrCode OrvexProxy::GetRecogResult(void* hSession, Lexo_RecogResult** ppRecogResult) {
    const FuncTracer tracer("GetRecogResult", __FILE__, __LINE__);
    const RWLockGuard guard(rw_lock_, kReadLockAction);
    ProxySession* const session = FindSession(hSession);
    if (session == nullptr) {
        return LEXO_ERR_SESSION_INVALID;
    }
    return static_cast<Lexo_ErrCode>(session->GetRecogResult(ppRecogResult));
}

Lexo_ErrCode OrvexProxy::FreeRecogResult(void* hSession, Lexo_RecogResult** ppRecogResult) {
    const FuncTracer tracer("FreeRecogResult", __FILE__, __LINE__);
    const RWLockGuard guard(rw_lock_, kReadLockAction);
    ProxySession* const session = FindSession(hSession);
    if (session == nullptr) {
        return LEXO_ERR_SESSION_INVALID;
    }
    if (ppRecogResult == nullptr) {
        return LEXO_ERR_PARAM_INVALID;
    }
    return static_cast<Lexo_ErrCode>(session->FreeRecogResult(*ppRecogResult));
}
