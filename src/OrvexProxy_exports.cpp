// The boundary: each function only forwards to the member of the same name.
#include "ConnectionPool.h"
#include "FuncTracer.h"
#include "Lexo.h"
#include "OrvexProxy.h"

Lexo_ErrCode orvx_proxy_Init(const char* pcszLibPath) {
    const FuncTracer tracer(__func__, __FILE__, __LINE__);
    return OrvexProxy::GetInstance()->Init(pcszLibPath);
}

// The pool goes first: its connections are closed even when sessions make End refuse.
Lexo_ErrCode orvx_proxy_End(void) {
    const FuncTracer tracer(__func__, __FILE__, __LINE__);
    ConnectionPool::DestroyInstance();
    return OrvexProxy::GetInstance()->End();
}

Lexo_ErrCode orvx_proxy_GetCapabilityInfoList(Lexo_CapabilityInfoList* pCapabilityInfoList) {
    const FuncTracer tracer(__func__, __FILE__, __LINE__);
    return OrvexProxy::GetInstance()->GetCapabilityInfoList(pCapabilityInfoList);
}

Lexo_ErrCode orvx_proxy_ReleaseCapabilityInfoList(Lexo_CapabilityInfoList* pCapabilityInfoList) {
    const FuncTracer tracer(__func__, __FILE__, __LINE__);
    return OrvexProxy::GetInstance()->ReleaseCapabilityInfoList(pCapabilityInfoList);
}

Lexo_ErrCode orvx_proxy_PreLoad(const char* /*pcszCapabilityName*/) {
    return LEXO_ERR_NOT_SUPPORT;
}

Lexo_ErrCode orvx_proxy_SessionStart(const char* pszCapabilityName, Lexo_Handle* phSession) {
    const FuncTracer tracer(__func__, __FILE__, __LINE__);
    return OrvexProxy::GetInstance()->SessionStart(pszCapabilityName, phSession);
}

Lexo_ErrCode orvx_proxy_SessionStop(Lexo_Handle hSession) {
    const FuncTracer tracer(__func__, __FILE__, __LINE__);
    return OrvexProxy::GetInstance()->SessionStop(hSession);
}

Lexo_ErrCode orvx_proxy_Recognize(Lexo_Handle hSession, const char* pData, int nDataLen,
                                  int bIsDataOver, Lexo_RecogStatus* pRecogStatus) {
    const FuncTracer tracer(__func__, __FILE__, __LINE__);
    return OrvexProxy::GetInstance()->Recognize(hSession, pData, nDataLen, bIsDataOver,
                                                pRecogStatus);
}

Lexo_ErrCode orvx_proxy_GetRecogResult(Lexo_Handle hSession, Lexo_RecogResult** ppRecogResult) {
    const FuncTracer tracer(__func__, __FILE__, __LINE__);
    return OrvexProxy::GetInstance()->GetRecogResult(hSession, ppRecogResult);
}

Lexo_ErrCode orvx_proxy_FreeRecogResult(Lexo_Handle hSession, Lexo_RecogResult** ppRecogResult) {
    const FuncTracer tracer(__func__, __FILE__, __LINE__);
    return OrvexProxy::GetInstance()->FreeRecogResult(hSession, ppRecogResult);
}

Lexo_ErrCode orvx_proxy_SetParam(Lexo_Handle hSession, Lexo_ParamKey nParam,
                                 Lexo_ParamValue paramValue) {
    const FuncTracer tracer(__func__, __FILE__, __LINE__);
    return OrvexProxy::GetInstance()->SetParam(hSession, nParam, paramValue);
}

Lexo_ErrCode orvx_proxy_GetParam(Lexo_Handle hSession, Lexo_ParamKey nParam,
                                 Lexo_ParamValue* pParamValue) {
    const FuncTracer tracer(__func__, __FILE__, __LINE__);
    return OrvexProxy::GetInstance()->GetParam(hSession, nParam, pParamValue);
}

// The member takes the data before its type.
Lexo_ErrCode orvx_proxy_LoadResource(const char* pszCapabilityName, Lexo_ResourceType eResourceType,
                                     const char* pcszResourceData, int nResourceDataLen,
                                     Lexo_ResourceFormatType eResourceFormatType,
                                     unsigned int* pnResourceID) {
    const FuncTracer tracer(__func__, __FILE__, __LINE__);
    return OrvexProxy::GetInstance()->LoadResource(pszCapabilityName, pcszResourceData,
                                                   nResourceDataLen, eResourceType,
                                                   eResourceFormatType, pnResourceID);
}

Lexo_ErrCode orvx_proxy_UnloadResource(const char* pszCapabilityName, unsigned int nResourceID) {
    const FuncTracer tracer(__func__, __FILE__, __LINE__);
    return OrvexProxy::GetInstance()->UnloadResource(pszCapabilityName, nResourceID);
}

Lexo_ErrCode orvx_proxy_ActiveResource(Lexo_Handle hSession, unsigned int nResourceID) {
    const FuncTracer tracer(__func__, __FILE__, __LINE__);
    return OrvexProxy::GetInstance()->ActiveResource(hSession, nResourceID);
}

Lexo_ErrCode orvx_proxy_ActivePreloadResource(Lexo_Handle hSession, const char* pcszResourceName) {
    const FuncTracer tracer(__func__, __FILE__, __LINE__);
    return OrvexProxy::GetInstance()->ActivePreloadResource(hSession, pcszResourceName);
}

Lexo_ErrCode orvx_proxy_DeactiveResource(Lexo_Handle hSession) {
    const FuncTracer tracer(__func__, __FILE__, __LINE__);
    return OrvexProxy::GetInstance()->DeactiveResource(hSession);
}

Lexo_ErrCode orvx_proxy_SaveCompiledResource(const char* pszCapabilityName,
                                             unsigned int nResourceID, const char* pcszFileName) {
    const FuncTracer tracer(__func__, __FILE__, __LINE__);
    return OrvexProxy::GetInstance()->SaveCompiledResource(pszCapabilityName, nResourceID,
                                                           pcszFileName);
}
