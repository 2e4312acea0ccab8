// The binary interface, for a 64-bit system: what a host compiled against it relies on. The header
// compiles first and alone, as C++11; c_host.c has it as C.
#include <cstddef>
#include <type_traits>

#include "Lexo.h"

#define SIGNATURE(name, ...) \
    static_assert(std::is_same<decltype(name), Lexo_ErrCode(__VA_ARGS__)>::value, #name)
SIGNATURE(orvx_proxy_Init, const char*);
SIGNATURE(orvx_proxy_End, void);
SIGNATURE(orvx_proxy_GetCapabilityInfoList, Lexo_CapabilityInfoList*);
SIGNATURE(orvx_proxy_ReleaseCapabilityInfoList, Lexo_CapabilityInfoList*);
SIGNATURE(orvx_proxy_PreLoad, const char*);
SIGNATURE(orvx_proxy_SessionStart, const char*, Lexo_Handle*);
SIGNATURE(orvx_proxy_SessionStop, Lexo_Handle);
SIGNATURE(orvx_proxy_Recognize, Lexo_Handle, const char*, int, int, Lexo_RecogStatus*);
SIGNATURE(orvx_proxy_GetRecogResult, Lexo_Handle, Lexo_RecogResult**);
SIGNATURE(orvx_proxy_FreeRecogResult, Lexo_Handle, Lexo_RecogResult**);
SIGNATURE(orvx_proxy_SetParam, Lexo_Handle, Lexo_ParamKey, Lexo_ParamValue);
SIGNATURE(orvx_proxy_GetParam, Lexo_Handle, Lexo_ParamKey, Lexo_ParamValue*);
SIGNATURE(orvx_proxy_LoadResource, const char*, Lexo_ResourceType, const char*, int,
          Lexo_ResourceFormatType, unsigned int*);
SIGNATURE(orvx_proxy_UnloadResource, const char*, unsigned int);
SIGNATURE(orvx_proxy_ActiveResource, Lexo_Handle, unsigned int);
SIGNATURE(orvx_proxy_ActivePreloadResource, Lexo_Handle, const char*);
SIGNATURE(orvx_proxy_DeactiveResource, Lexo_Handle);
SIGNATURE(orvx_proxy_SaveCompiledResource, const char*, unsigned int, const char*);

static_assert(std::is_same<Lexo_Handle, void*>::value, "a number in a pointer");
static_assert(std::is_same<Lexo_ParamValue, void*>::value, "a number or a text");
static_assert(std::is_same<Lexo_RecogStatus, int>::value, "a set of bits");

// Any number of the server's must fit an enumeration's variable. Values follow one another.
constexpr bool Follow(int) {
    return true;
}
template <typename Enum, typename... More>
constexpr bool Follow(int first, Enum value, More... more) {
    return std::is_same<typename std::underlying_type<Enum>::type, int>::value && value == first &&
           Follow(first + 1, more...);
}
#define FOLLOW(first, ...) static_assert(Follow(first, __VA_ARGS__), "values")
FOLLOW(0, LEXO_ERR_NONE, LEXO_ERR_PARAM_INVALID, LEXO_ERR_NOT_SUPPORT, LEXO_ERR_NOT_INIT,
       LEXO_ERR_ALREADY_INIT, LEXO_ERR_INIT_FAILED, LEXO_ERR_CAPABILITY_NOT_EXIST,
       LEXO_ERR_CAPABILITY_PRELOAD_FAILED, LEXO_ERR_CAPABILITY_ALREADY_LOAD,
       LEXO_ERR_SESSION_INVALID, LEXO_ERR_SESSION_START_FAILED, LEXO_ERR_SESSION_STOP_FAILED,
       LEXO_ERR_NO_VOICE_INPUT, LEXO_ERR_RECOG_FAILED, LEXO_ERR_RESULT_NOT_FREE,
       LEXO_ERR_GET_RECOG_RESULT_FAILED, LEXO_ERR_FREE_RECOG_RESULT_FAILED,
       LEXO_ERR_LOAD_RESOURCE_FAILED, LEXO_ERR_UNLOAD_RESOURCE_FAILED,
       LEXO_ERR_ACTIVE_RESOURCE_FAILED, LEXO_ERR_DEACTIVE_RESOURCE_FAILED,
       LEXO_ERR_GET_PARAM_FAILED, LEXO_ERR_SET_PARAM_FAILED, LEXO_ERR_ENGINE_FAILED,
       LEXO_ERR_OPENFILE, LEXO_ERR_MEMORY);
FOLLOW(29, LEXO_ERR_ACTIVE_SESSION_EXIST, LEXO_ERR_RESOURCE_NEED_UNLOAD,
       LEXO_ERR_RESOURCE_NEED_DEACTIVE, LEXO_ERR_NETWORK_FAILED, LEXO_ERR_REALTIME_SESSION_TIMEOUT,
       LEXO_ERR_ALL_SESSION_BUSY, LEXO_ERR_LSB_QUERYCU, LEXO_ERR_ENV_NOT_FOUND,
       LEXO_ERR_ENV_NOT_VALID);
FOLLOW(100, LEXO_ERR_UNKNOWN);
FOLLOW(0, LEXO_ENGINE_FREETALK, LEXO_ENGINE_GRAMMAR, LEXO_ENGINE_KEYWORDSPOT, LEXO_ENGINE_ANALYSIS);
FOLLOW(0, LEXO_PARAM_SAMPLERATE, LEXO_PARAM_VAD_HEAD, LEXO_PARAM_VAD_TAIL, LEXO_PARAM_MAX_SECONDS,
       LEXO_PARAM_AUDIOFORMAT, LEXO_PARAM_VAD_THRESHOLD, LEXO_PARAM_NBEST_RESULT,
       LEXO_PARAM_ADD_PUNC, LEXO_PARAM_STREAM, LEXO_PARAM_RESULT_TYPE, LEXO_PARAM_MODE,
       LEXO_PARAM_CHANNEL_TYPE, LEXO_PARAM_PROPERTY_LANGUAGE, LEXO_PARAM_PROPERTY_MODEL_TYPE,
       LEXO_PARAM_PROPERTY_DOMAIN, LEXO_PARAM_POST_PROCESS, LEXO_PARAM_FT_POST_PROCESS);
FOLLOW(0, LEXO_RESOURCE_FILE, LEXO_RESOURCE_BUFFER);
FOLLOW(0, LEXO_RESOURCE_KEYWORD_LIST, LEXO_RESOURCE_GRAMMAR_WORDLIST, LEXO_RESOURCE_GRAMMAR_ABNF,
       LEXO_RESOURCE_GRAMMAR_JSGF, LEXO_RESOURCE_GRAMMAR_ARPA, LEXO_RESOURCE_GRAMMAR_WFST,
       LEXO_RESOURCE_FREETALK_USERWORD, LEXO_RESOURCE_FREETALK_OLM);
FOLLOW(0, LEXO_EMOTION_HAPPY, LEXO_EMOTION_ANGRY, LEXO_EMOTION_SAD, LEXO_EMOTION_DISGUSTED);
FOLLOW(0, LEXO_ROLE_UNKNOWN, LEXO_ROLE_AGENT, LEXO_ROLE_USER);

#define AT(field, bytes) offsetof(Record, field) == (bytes)
#define RECORD(type, size, ...)                                                \
    namespace of_##type {                                                      \
        using Record = type;                                                   \
        static_assert(sizeof(Record) == (size) && (__VA_ARGS__), #type);       \
        static_assert(std::is_pod<Record>::value, "the same in C and in C++"); \
    }
#define TIMES AT(nStartTime, 0) && AT(nEndTime, 4)
#define ELEMENT TIMES&& AT(nScore, 8) && AT(nPosInText, 12) && AT(nCountInText, 16) && AT(nFlag, 20)
RECORD(Lexo_CapabilityInfo, 48,
       AT(szCapabilityName, 0) && AT(eEngineType, 44) && sizeof(Record::szCapabilityName) == 41)
RECORD(Lexo_CapabilityInfoList, 16, AT(nCapabilityCount, 0) && AT(pCapabilityInfoList, 8))
RECORD(Lexo_Freetalk_Sentence, 16, AT(pszText, 0) && AT(nScore, 8))
RECORD(Lexo_Freetalk_Element, 24, ELEMENT)
RECORD(Lexo_Freetalk_ElementList, 16, AT(nElementCount, 0) && AT(pElementList, 8))
RECORD(Lexo_Freetalk_Segment, 32,
       TIMES&& AT(nResultCount, 8) && AT(pSentenceResults, 16) && AT(pElementListResults, 24))
RECORD(Lexo_Freetalk_Result, 16, AT(nSegmentCount, 0) && AT(pSegmentList, 8))
RECORD(Lexo_Grammar_Sentence_Result, 16, AT(pszText, 0) && AT(nScore, 8))
RECORD(Lexo_Grammar_Segment_Result, 24, TIMES&& AT(nResultCount, 8) && AT(pSentenceResults, 16))
RECORD(Lexo_Grammar_Result, 16, AT(nSegmentCount, 0) && AT(pSegmentResults, 8))
RECORD(Lexo_Keyword, 272,
       AT(nKeywordIndex, 0) && AT(szText, 4) && AT(nStartTime, 260) && AT(nEndTime, 264) &&
           AT(nScore, 268))
RECORD(Lexo_Keywordspot_Result, 16, AT(nKeywordCount, 0) && AT(pKeywordResults, 8))
RECORD(Lexo_Analysis_Sentence, 16, AT(pszText, 0) && AT(nScore, 8) && AT(fSpeed, 12))
RECORD(Lexo_Analysis_Element, 24, ELEMENT)
RECORD(Lexo_Analysis_ElementList, 16, AT(nElementCount, 0) && AT(pElementList, 8))
RECORD(Lexo_Analysis_Silence_Result, 8, TIMES)
RECORD(Lexo_Analysis_Emotion, 16, TIMES&& AT(nScore, 8) && AT(nEmotion, 12))
RECORD(Lexo_Analysis_Segment, 64,
       TIMES&& AT(nRole, 8) && AT(nResultCount, 12) && AT(pSentenceResults, 16) &&
           AT(pElementListResults, 24) && AT(nEmotionCount, 32) && AT(pEmotionResults, 40) &&
           AT(nKeywordCount, 48) && AT(pKeywordResults, 56))
RECORD(Lexo_Analysis_Result, 32,
       AT(nSilenceCount, 0) && AT(pSilenceResults, 8) && AT(nSegmentCount, 16) &&
           AT(pSegmentResults, 24))
RECORD(Lexo_RecogResult, 40,
       AT(nEngineType, 0) && AT(sFreetalkResult, 8) && AT(sGrammarResult, 8) &&
           AT(sKeywordspotResult, 8) && AT(sAnalysisResult, 8))
