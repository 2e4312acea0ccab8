// The header compiles first and alone as C++11.
#include <cstddef>
#include <type_traits>

#include "Lexo.h"

#define ABI_CHECK(condition) static_assert(condition, #condition)
#include "LexoAbi.inc"

// Any number of the server's must fit an enumeration's variable.
ABI_CHECK((std::is_same<std::underlying_type<Lexo_ErrCode>::type, int>::value));
ABI_CHECK((std::is_same<std::underlying_type<Lexo_EngineType>::type, int>::value));
ABI_CHECK(std::is_standard_layout<Lexo_RecogResult>::value);
ABI_CHECK(std::is_trivial<Lexo_RecogResult>::value);

// The signatures, each as a host would hold it.
template <typename Function, Function* function>
struct Export {};
template struct Export<Lexo_ErrCode(const char*), orvx_proxy_Init>;
template struct Export<Lexo_ErrCode(), orvx_proxy_End>;
template struct Export<Lexo_ErrCode(Lexo_CapabilityInfoList*), orvx_proxy_GetCapabilityInfoList>;
template struct Export<Lexo_ErrCode(Lexo_CapabilityInfoList*),
                       orvx_proxy_ReleaseCapabilityInfoList>;
template struct Export<Lexo_ErrCode(const char*), orvx_proxy_PreLoad>;
template struct Export<Lexo_ErrCode(const char*, Lexo_Handle*), orvx_proxy_SessionStart>;
template struct Export<Lexo_ErrCode(Lexo_Handle), orvx_proxy_SessionStop>;
template struct Export<Lexo_ErrCode(Lexo_Handle, const char*, int, int, Lexo_RecogStatus*),
                       orvx_proxy_Recognize>;
template struct Export<Lexo_ErrCode(Lexo_Handle, Lexo_RecogResult**), orvx_proxy_GetRecogResult>;
template struct Export<Lexo_ErrCode(Lexo_Handle, Lexo_RecogResult**), orvx_proxy_FreeRecogResult>;
template struct Export<Lexo_ErrCode(Lexo_Handle, Lexo_ParamKey, Lexo_ParamValue),
                       orvx_proxy_SetParam>;
template struct Export<Lexo_ErrCode(Lexo_Handle, Lexo_ParamKey, Lexo_ParamValue*),
                       orvx_proxy_GetParam>;
template struct Export<Lexo_ErrCode(const char*, Lexo_ResourceType, const char*, int,
                                    Lexo_ResourceFormatType, unsigned int*),
                       orvx_proxy_LoadResource>;
template struct Export<Lexo_ErrCode(const char*, unsigned int), orvx_proxy_UnloadResource>;
template struct Export<Lexo_ErrCode(Lexo_Handle, unsigned int), orvx_proxy_ActiveResource>;
template struct Export<Lexo_ErrCode(Lexo_Handle, const char*), orvx_proxy_ActivePreloadResource>;
template struct Export<Lexo_ErrCode(Lexo_Handle), orvx_proxy_DeactiveResource>;
template struct Export<Lexo_ErrCode(const char*, unsigned int, const char*),
                       orvx_proxy_SaveCompiledResource>;
