// The one object behind every exported function: it owns the engine list, the sessions, the
// server's address and the lock over them.
//
// One reader-writer lock guards everything. Calls that change the engine list or the registry hold
// it for writing, calls that work on a session hold it for reading, a recognition across its whole
// exchange with the server: so a session is never destroyed while a call works on it, and no
// session needs a lock of its own. It prefers writers, or overlapping recognitions would keep
// SessionStart waiting for ever; hence no path may take it for reading twice.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>

#include "EngineInfo.h"
#include "Lexo.h"
#include "MutexLock.h"
#include "RWLock.h"
#include "proxy_session.h"

class ConfigFile;

class OrvexProxy {
  public:
    // The process-wide object, made by the first call and never destroyed. Any thread.
    static OrvexProxy* GetInstance();

    // Each of these is the body of the exported function of the same name in Lexo.h.
    Lexo_ErrCode Init(const char* pcszLibPath);
    Lexo_ErrCode End();
    Lexo_ErrCode GetCapabilityInfoList(Lexo_CapabilityInfoList* pCapabilityInfoList);
    Lexo_ErrCode ReleaseCapabilityInfoList(Lexo_CapabilityInfoList* pCapabilityInfoList);

    Lexo_ErrCode SessionStart(const char* pszCapabilityName, void** phSession);
    Lexo_ErrCode SessionStop(void* hSession);
    Lexo_ErrCode SetParam(void* hSession, Lexo_ParamKey nParam, void* paramValue);
    Lexo_ErrCode GetParam(void* hSession, Lexo_ParamKey nParam, void** pParamValue);
    Lexo_ErrCode Recognize(void* hSession, const char* pData, int nDataLen, int bIsDataOver,
                           int* pRecogStatus);
    Lexo_ErrCode GetRecogResult(void* hSession, Lexo_RecogResult** ppRecogResult);
    Lexo_ErrCode FreeRecogResult(void* hSession, Lexo_RecogResult** ppRecogResult);

    Lexo_ErrCode LoadResource(const char* pszCapabilityName, const char* pcszResourceData,
                              int nResourceDataLen, Lexo_ResourceType eResourceType,
                              Lexo_ResourceFormatType eResourceFormatType,
                              unsigned int* pnResourceID);
    Lexo_ErrCode UnloadResource(const char* pszCapabilityName, unsigned int nResourceID);
    Lexo_ErrCode ActiveResource(void* hSession, unsigned int nResourceID);
    Lexo_ErrCode ActivePreloadResource(void* hSession, const char* pcszResourceName);
    Lexo_ErrCode DeactiveResource(void* hSession);
    Lexo_ErrCode SaveCompiledResource(const char* pszCapabilityName, unsigned int nResourceID,
                                      const char* pcszFileName);

  private:
    OrvexProxy() = default;
    ~OrvexProxy() = default;

    Lexo_ErrCode InitUnlocked(const std::string& argument);
    // The steps of Init behind the logger's start.
    Lexo_ErrCode InitLocked(const std::string& argument, const std::string& conf_folder);
    // Reads the configuration and probes the server; the write lock is held.
    Lexo_ErrCode Configure(const std::string& argument, const std::string& conf_folder);
    Lexo_ErrCode ProbeServer(const std::string& address);
    // The engine list; the write lock is held.
    bool GetEngineList();
    void ClearEngineList();
    bool ReadConfig(const char* path);
    bool ParseEngineInfo(ConfigFile* config);
    void LogDefaults() const;

    // Null, and logged, when there is none; the lock is held.
    ProxySession* FindSession(void* hSession) const;
    EngineInfo* FindEngine(const std::string& cap_name);

    // The resource store (OrvexProxy_resources.cpp). The lock is held, for the second and the third
    // perhaps for reading only: they change nothing but the reference count, atomically.
    Lexo_ErrCode FindEngineByKey(const char* capability_key, EngineInfo** engine);
    Lexo_ErrCode GetResouceByID(const std::string& cap_name, unsigned int res_id,
                                ResourceInfo& info);
    Lexo_ErrCode ResourceReleaseRef(const std::string& cap_name, unsigned int res_id);

    void FreeResource(ResourceInfo* resource);

    // The bindings behind ActiveResource, ActivePreloadResource and DeactiveResource.
    Lexo_ErrCode SetResourceData(void* hSession, unsigned int nResourceID);
    Lexo_ErrCode SetResourceName(void* hSession, const char* pcszResourceName);
    Lexo_ErrCode UnsetResource(void* hSession);

    static int SurviveForks();
    static void BeforeFork();
    static void AfterForkInParent();
    static void AfterForkInChild();

    static std::atomic<OrvexProxy*> inst_;
    static const int fork_handlers_;
    static MutexLock mutex_inst_;
    // Held for the moments in which a call but Init changes the lists that rw_lock_ guards. A fork
    // waits for it; for rw_lock_ it cannot, as an exchange may hold that for long.
    static MutexLock change_lock_;

    // Guarded by rw_lock_.
    std::map<std::string, EngineInfo> engine_list_;
    int session_index_ = 10000;  // the next handle
    std::unordered_map<void*, std::unique_ptr<ProxySession>> session_list_;
    std::string ip_;
    int port_ = 0;

    RWLock rw_lock_{true};
};
