/*
 * Lexo.h: the interface between a speech-recognition host and the orvx engine plug-in,
 * liborvx_proxy.so.
 *
 * PURPOSE
 *   The library recognises nothing itself. Every orvx_proxy_Recognize call is one exchange with a
 *   recognition server over a pooled TCP connection; the answer comes back in the records below.
 *   It offers four capabilities: "asr.cloud.freetalk", "asr.cloud.grammar",
 *   "asr.cloud.keywordspot" and "asr.cloud.analysis".
 *
 * NOT OFFERED
 *   Preloading of capabilities and saving of compiled resources: both exports exist and return
 *   LEXO_ERR_NOT_SUPPORT. There are no call-backs, and the library starts no thread of its own: all
 *   work happens on the calling thread.
 *
 * ORDER OF CALLS
 *   Init, then for each utterance or call: SessionStart, SetParam as needed, Recognize (once for
 *   one-shot work, repeatedly for real-time work), GetRecogResult and FreeRecogResult when the
 *   status has bit value 2, SessionStop; at last End. With a resource: LoadResource before the
 *   sessions that use it, ActiveResource before Recognize, DeactiveResource before SessionStop,
 *   UnloadResource before End.
 *
 * CONVENTIONS
 *   Errors    Every function returns a Lexo_ErrCode; 0 is success. Details go to the log. Where
 *             memory does not suffice, for a large answer above all, std::bad_alloc may leave a
 *             function: a C++ host may catch it and go on, a C host ends.
 *   Strings   NUL-terminated bytes; the library converts no encoding. A null string argument reads
 *             as "". Arguments are read during the call only, and what is kept is copied.
 *   Pointers  A null output pointer has no effect and gives LEXO_ERR_PARAM_INVALID, unless
 *             something else is refused first.
 *   Outputs   Left as they were on failure, unless a function says otherwise.
 *   Records   What the library hands out belongs to it and goes back through the release function
 *             named beside it. The host neither frees nor changes it.
 *   Threads   Any thread may call any function at any time, with two promises of the host: at most
 *             one thread at a time works on one session, and End is called when no other call runs.
 *             exit may be called while calls run, but not by a signal handler, nor while another
 *             thread is within the first Init: the library that writes the log would crash.
 *             SessionStart, SessionStop, LoadResource, UnloadResource, Init and End wait until the
 *             exchanges in progress have returned, and calls that come later wait behind them.
 *   Forks     A child may call Init and work on; the connections of its parent stay its parent's.
 *             Not if another thread was within Init when it was forked, or in the C library with
 *             the time zone, random numbers or the locale (localtime, mktime, strftime, rand,
 *             setlocale): the child may wait for ever for its lock. And not with sessions on
 *             which other threads were working. The host's own fork handlers may call the library,
 *             or take locks that the host holds over calls of it, if they were registered after
 *             it was loaded: others wait for ever for a call that waits for the end of the fork.
 *             A fork waits for log lines that are being written.
 *   Units     Lengths are bytes, rates are hertz. Times in results are in the server's unit;
 *             orvx-server gives milliseconds from the start of the utterance's audio.
 */
#ifndef LEXO_H_
#define LEXO_H_

#if defined(__GNUC__)
#define LEXO_API __attribute__((visibility("default")))
#define LEXO_UNNAMED __extension__ /* C before C11 has no unnamed unions, the compilers do */
#else
#define LEXO_API
#define LEXO_UNNAMED
#endif

/* In C++ every enumeration has int as its underlying type, so that any number of the server fits.
 */
#if defined(__cplusplus) && __cplusplus >= 201103L
#define LEXO_ENUM_BASE : int
#else
#define LEXO_ENUM_BASE
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Types ---------------------------------------------------------------------------------- */

/* A session, from SessionStart to a successful SessionStop: a number, never an address. The null
 * pointer is a valid handle. */
typedef void* Lexo_Handle;

/* A parameter's value. Number parameters hold the number itself in the word (cast it through
 * intptr_t); text parameters (LEXO_PARAM_PROPERTY_LANGUAGE, LEXO_PARAM_PROPERTY_DOMAIN,
 * LEXO_PARAM_POST_PROCESS) point to NUL-terminated text. */
typedef void* Lexo_ParamValue;

/* What the server says of the recognition, a set of bits. Bit value 2: a result waits for
 * GetRecogResult. The meaning of every other bit is the server's own. Recognize sets 1 before it
 * asks the server. */
typedef int Lexo_RecogStatus;

/* Return codes. 26, 27 and 28 are reserved. */
typedef enum _Lexo_ErrCode LEXO_ENUM_BASE {
    LEXO_ERR_NONE = 0,
    LEXO_ERR_PARAM_INVALID = 1,
    LEXO_ERR_NOT_SUPPORT = 2,
    LEXO_ERR_NOT_INIT = 3,
    LEXO_ERR_ALREADY_INIT = 4,
    LEXO_ERR_INIT_FAILED = 5,
    LEXO_ERR_CAPABILITY_NOT_EXIST = 6,
    LEXO_ERR_CAPABILITY_PRELOAD_FAILED = 7,
    LEXO_ERR_CAPABILITY_ALREADY_LOAD = 8,
    LEXO_ERR_SESSION_INVALID = 9,
    LEXO_ERR_SESSION_START_FAILED = 10,
    LEXO_ERR_SESSION_STOP_FAILED = 11,
    LEXO_ERR_NO_VOICE_INPUT = 12,
    LEXO_ERR_RECOG_FAILED = 13,
    LEXO_ERR_RESULT_NOT_FREE = 14,
    LEXO_ERR_GET_RECOG_RESULT_FAILED = 15,
    LEXO_ERR_FREE_RECOG_RESULT_FAILED = 16,
    LEXO_ERR_LOAD_RESOURCE_FAILED = 17,
    LEXO_ERR_UNLOAD_RESOURCE_FAILED = 18,
    LEXO_ERR_ACTIVE_RESOURCE_FAILED = 19,
    LEXO_ERR_DEACTIVE_RESOURCE_FAILED = 20,
    LEXO_ERR_GET_PARAM_FAILED = 21,
    LEXO_ERR_SET_PARAM_FAILED = 22,
    LEXO_ERR_ENGINE_FAILED = 23,
    LEXO_ERR_OPENFILE = 24,
    LEXO_ERR_MEMORY = 25,
    LEXO_ERR_ACTIVE_SESSION_EXIST = 29,
    LEXO_ERR_RESOURCE_NEED_UNLOAD = 30,
    LEXO_ERR_RESOURCE_NEED_DEACTIVE = 31,
    LEXO_ERR_NETWORK_FAILED = 32,
    LEXO_ERR_REALTIME_SESSION_TIMEOUT = 33,
    LEXO_ERR_ALL_SESSION_BUSY = 34,
    LEXO_ERR_LSB_QUERYCU = 35,
    LEXO_ERR_ENV_NOT_FOUND = 36,
    LEXO_ERR_ENV_NOT_VALID = 37,
    LEXO_ERR_UNKNOWN = 100
} Lexo_ErrCode;

/* The kind of a capability; it selects the valid member of Lexo_RecogResult's union. */
typedef enum _Lexo_EngineType LEXO_ENUM_BASE {
    LEXO_ENGINE_FREETALK = 0,    /* free dictation */
    LEXO_ENGINE_GRAMMAR = 1,     /* recognition within a grammar */
    LEXO_ENGINE_KEYWORDSPOT = 2, /* keyword spotting */
    LEXO_ENGINE_ANALYSIS = 3     /* call analysis: roles, emotions, silences, keywords */
} Lexo_EngineType;

/* Parameters of a session. Which of them a session has depends on its capability; the value set
 * or the range stands beside each, with the built-in default. */
typedef enum _Lexo_ParamKey LEXO_ENUM_BASE {
    LEXO_PARAM_SAMPLERATE = 0,           /* not settable */
    LEXO_PARAM_VAD_HEAD = 1,             /* longest silence before speech, 0..1800000 ms; 10000 */
    LEXO_PARAM_VAD_TAIL = 2,             /* silence that ends speech, 0..30000 ms; 500 */
    LEXO_PARAM_MAX_SECONDS = 3,          /* longest utterance, 1..60 s; 30 */
    LEXO_PARAM_AUDIOFORMAT = 4,          /* 0 pcm8k16bit, 1 alaw, 2 ulaw, 3 vox6k4bit, 4 vox8k4bit,
                                            5 gsm610, 6 pcm16k16bit, 7 v3_6k4bit; 0 */
    LEXO_PARAM_VAD_THRESHOLD = 5,        /* of the speech detector, 1..100; 10 */
    LEXO_PARAM_NBEST_RESULT = 6,         /* 0 no, 1 yes; 0 */
    LEXO_PARAM_ADD_PUNC = 7,             /* 0 no, 1 yes; 0 */
    LEXO_PARAM_STREAM = 8,               /* 0 no (one-shot), 1 yes, 2 continue, 3 continue-rt,
                                            4 yes-rt; 0. Any value but 0 makes the session real-time */
    LEXO_PARAM_RESULT_TYPE = 9,          /* 0 sentence, 1 wordlist, 2 charlist; 0 */
    LEXO_PARAM_MODE = 10,                /* analysis: 0 offline, 1 online (real-time); 0 */
    LEXO_PARAM_CHANNEL_TYPE = 11,        /* analysis: 0 mono, 1 left_agent, 2 right_agent; 0 */
    LEXO_PARAM_PROPERTY_LANGUAGE = 12,   /* text, not empty, 256 bytes of it count; "chinese" */
    LEXO_PARAM_PROPERTY_MODEL_TYPE = 13, /* 0 8k, 1 16k; 0 */
    LEXO_PARAM_PROPERTY_DOMAIN = 14,     /* text, not empty, 256 bytes of it count; "common" */
    LEXO_PARAM_POST_PROCESS = 15,        /* text, not empty, 1024 bytes count; "need_nlu=no" */
    LEXO_PARAM_FT_POST_PROCESS = 16      /* free talk, bits: 1 punctuate, 2 numnormal, 4 smooth,
                                            8 paragraph; 0 */
} Lexo_ParamKey;

/* How LoadResource reads its data argument. */
typedef enum _Lexo_ResourceType LEXO_ENUM_BASE {
    LEXO_RESOURCE_FILE = 0,  /* the path of a file */
    LEXO_RESOURCE_BUFFER = 1 /* the bytes themselves */
} Lexo_ResourceType;

/* What a resource's bytes are. */
typedef enum _Lexo_ResourceFormatType LEXO_ENUM_BASE {
    LEXO_RESOURCE_KEYWORD_LIST = 0,
    LEXO_RESOURCE_GRAMMAR_WORDLIST = 1,
    LEXO_RESOURCE_GRAMMAR_ABNF = 2,
    LEXO_RESOURCE_GRAMMAR_JSGF = 3,
    LEXO_RESOURCE_GRAMMAR_ARPA = 4,
    LEXO_RESOURCE_GRAMMAR_WFST = 5,
    LEXO_RESOURCE_FREETALK_USERWORD = 6,
    LEXO_RESOURCE_FREETALK_OLM = 7 /* loads for free talk, but cannot be sent */
} Lexo_ResourceFormatType;

/* Values of nEmotion. */
typedef enum LEXO_ENUM_BASE {
    LEXO_EMOTION_HAPPY = 0,
    LEXO_EMOTION_ANGRY = 1,
    LEXO_EMOTION_SAD = 2,
    LEXO_EMOTION_DISGUSTED = 3
} Lexo_EmotionType;

/* Values of nRole. */
typedef enum LEXO_ENUM_BASE {
    LEXO_ROLE_UNKNOWN = 0,
    LEXO_ROLE_AGENT = 1,
    LEXO_ROLE_USER = 2
} Lexo_RoleType;

/* ---- Records -------------------------------------------------------------------------------- */
/* Times are in the server's unit. A list pointer is null when its count is below
 * 1; a count may be negative if the server sent it so. */

typedef struct _Lexo_CapabilityInfo {
    char szCapabilityName[41]; /* NUL-terminated, e.g. "asr.cloud.freetalk" */
    Lexo_EngineType eEngineType;
} Lexo_CapabilityInfo;

typedef struct _Lexo_CapabilityInfoList {
    int nCapabilityCount;
    Lexo_CapabilityInfo* pCapabilityInfoList; /* nCapabilityCount entries */
} Lexo_CapabilityInfoList;

typedef struct _Lexo_Freetalk_Sentence {
    char* pszText; /* NUL-terminated */
    int nScore;
} Lexo_Freetalk_Sentence;

/* One word or character of a sentence; nPosInText and nCountInText say which part of the text. */
typedef struct _Lexo_Freetalk_Element {
    int nStartTime;
    int nEndTime;
    int nScore;
    int nPosInText;
    int nCountInText;
    int nFlag;
} Lexo_Freetalk_Element;

typedef struct _Lexo_Freetalk_ElementList {
    int nElementCount;
    Lexo_Freetalk_Element* pElementList; /* nElementCount entries */
} Lexo_Freetalk_ElementList;

typedef struct _Lexo_Freetalk_Segment {
    int nStartTime;
    int nEndTime;
    int nResultCount;                               /* n-best sentences */
    Lexo_Freetalk_Sentence* pSentenceResults;       /* nResultCount entries */
    Lexo_Freetalk_ElementList* pElementListResults; /* one for each sentence, or null */
} Lexo_Freetalk_Segment;

typedef struct _Lexo_Freetalk_Result {
    int nSegmentCount;
    Lexo_Freetalk_Segment* pSegmentList; /* nSegmentCount entries */
} Lexo_Freetalk_Result;

typedef struct _Lexo_Grammar_Sentence_Result {
    char* pszText; /* NUL-terminated */
    int nScore;
} Lexo_Grammar_Sentence_Result;

typedef struct _Lexo_Grammar_Segment_Result {
    int nStartTime;
    int nEndTime;
    int nResultCount;
    Lexo_Grammar_Sentence_Result* pSentenceResults; /* nResultCount entries */
} Lexo_Grammar_Segment_Result;

typedef struct _Lexo_Grammar_Result {
    int nSegmentCount;
    Lexo_Grammar_Segment_Result* pSegmentResults; /* nSegmentCount entries */
} Lexo_Grammar_Result;

typedef struct _Lexo_Keyword {
    int nKeywordIndex;
    char szText[256]; /* NUL-terminated; a longer text is cut to 255 bytes */
    int nStartTime;
    int nEndTime;
    int nScore;
} Lexo_Keyword;

typedef struct _Lexo_Keywordspot_Result {
    int nKeywordCount;
    Lexo_Keyword* pKeywordResults; /* nKeywordCount entries */
} Lexo_Keywordspot_Result;

typedef struct _Lexo_Analysis_Sentence {
    char* pszText; /* NUL-terminated */
    int nScore;
    float fSpeed; /* speaking rate, in the server's unit */
} Lexo_Analysis_Sentence;

typedef struct _Lexo_Analysis_Element {
    int nStartTime;
    int nEndTime;
    int nScore;
    int nPosInText;
    int nCountInText;
    int nFlag;
} Lexo_Analysis_Element;

typedef struct _Lexo_Analysis_ElementList {
    int nElementCount;
    Lexo_Analysis_Element* pElementList; /* nElementCount entries */
} Lexo_Analysis_ElementList;

typedef struct _Lexo_Analysis_Silence_Result {
    int nStartTime;
    int nEndTime;
} Lexo_Analysis_Silence_Result;

typedef struct _Lexo_Analysis_Emotion {
    int nStartTime;
    int nEndTime;
    int nScore;
    Lexo_EmotionType nEmotion;
} Lexo_Analysis_Emotion;

typedef struct _Lexo_Analysis_Segment {
    int nStartTime;
    int nEndTime;
    Lexo_RoleType nRole;
    int nResultCount;
    Lexo_Analysis_Sentence* pSentenceResults;       /* nResultCount entries */
    Lexo_Analysis_ElementList* pElementListResults; /* one for each sentence, or null */
    int nEmotionCount;
    Lexo_Analysis_Emotion* pEmotionResults; /* nEmotionCount entries */
    int nKeywordCount;
    Lexo_Keyword* pKeywordResults; /* nKeywordCount entries */
} Lexo_Analysis_Segment;

typedef struct _Lexo_Analysis_Result {
    int nSilenceCount;
    Lexo_Analysis_Silence_Result* pSilenceResults; /* nSilenceCount entries */
    int nSegmentCount;
    Lexo_Analysis_Segment* pSegmentResults; /* nSegmentCount entries */
} Lexo_Analysis_Result;

/* A result, owned by its session: GetRecogResult lends it, FreeRecogResult gives it back. */
typedef struct _Lexo_RecogResult {
    Lexo_EngineType nEngineType; /* tells which member below is valid */
    LEXO_UNNAMED union {
        Lexo_Freetalk_Result sFreetalkResult;
        Lexo_Grammar_Result sGrammarResult;
        Lexo_Keywordspot_Result sKeywordspotResult;
        Lexo_Analysis_Result sAnalysisResult;
    };
} Lexo_RecogResult;

/* ---- Functions ------------------------------------------------------------------------------ */

/* Starts the engine and checks once, for at most 0.3 s, that the server accepts connections; a
 * signal that the host handles meanwhile ends the check as if it did.
 * pcszLibPath is the server's "IPv4:port", optionally followed by "," and the path of a
 * configuration file; the default file is $QUORLAN_HOME/conf/Lexo_SDK.conf. Logging is configured
 * by $QUORLAN_HOME/conf/Lexo_SDK_log.xml. Init may be called again at any time and does everything
 * anew; release every binding and unload every resource before, for resource ids are forgotten and
 * begin at 2 again. It prints "conf_file=" and the outcome of the check to standard output, and
 * seeds rand(). The host process ends with status 0 if no socket can be created for the check.
 * Returns NONE; ENV_NOT_FOUND or ENV_NOT_VALID (QUORLAN_HOME unset, or names nothing); INIT_FAILED
 * (configuration file not readable: there are no capabilities then, and all resources are
 * forgotten); UNKNOWN (no ":" in the address); PARAM_INVALID (the server cannot be reached: the
 * engine is ready all the same, and works once the server is up). */
LEXO_API Lexo_ErrCode orvx_proxy_Init(const char* pcszLibPath);

/* Closes every pooled connection, then ends the engine.
 * Returns NONE; ACTIVE_SESSION_EXIST or RESOURCE_NEED_UNLOAD (nothing but the pool is released). */
LEXO_API Lexo_ErrCode orvx_proxy_End(void);

/* Fills *pCapabilityInfoList with the capabilities, in ascending order of their names. Before Init
 * the list is empty. Give it back with ReleaseCapabilityInfoList; a list that still holds an array
 * is overwritten.
 * Returns NONE; PARAM_INVALID (null). */
LEXO_API Lexo_ErrCode
orvx_proxy_GetCapabilityInfoList(Lexo_CapabilityInfoList* pCapabilityInfoList);

/* Frees the array and empties the list; an empty list is fine.
 * Returns NONE; PARAM_INVALID (null). */
LEXO_API Lexo_ErrCode
orvx_proxy_ReleaseCapabilityInfoList(Lexo_CapabilityInfoList* pCapabilityInfoList);

/* Not offered. Returns NOT_SUPPORT. */
LEXO_API Lexo_ErrCode orvx_proxy_PreLoad(const char* pcszCapabilityName);

/* Opens a session on a capability, with the engine's default parameters, and writes its handle.
 * The name may be full ("asr.cloud.grammar") or short ("grammar"), in any letter case, with white
 * space around it. The first session of a process is number 10000; after an End, counting starts
 * from 0.
 * Returns NONE; PARAM_INVALID (name not understood; not all text behind a name is noticed);
 * CAPABILITY_NOT_EXIST (before Init). */
LEXO_API Lexo_ErrCode orvx_proxy_SessionStart(const char* pszCapabilityName,
                                              Lexo_Handle* phSession);

/* Ends a session.
 * Returns NONE; SESSION_INVALID; RESULT_NOT_FREE (give the result back first);
 * RESOURCE_NEED_DEACTIVE (release the binding first). */
LEXO_API Lexo_ErrCode orvx_proxy_SessionStop(Lexo_Handle hSession);

/* Sends nDataLen bytes of audio to the server, as they are, and waits for the answer.
 * One-shot session: each call is a complete utterance, and bIsDataOver has no effect. Real-time
 * session: the calls of one utterance form a stream; the call with bIsDataOver = 1 closes it and
 * sends no audio, whatever pData holds. Close an open utterance before LEXO_PARAM_STREAM or
 * LEXO_PARAM_MODE makes the session a one-shot one: the server refuses to go on with it later.
 * *pRecogStatus is 1 as soon as the arguments are accepted, and the server's status when it answers
 * with NONE or NO_VOICE_INPUT, also if the result is then of an unknown kind. While a result waits,
 * every call returns RESULT_NOT_FREE. A live but silent server is waited for as long as 2147483 ms;
 * one that is dead, or leaves the request unread, is given up after 25 s. Returns NONE;
 * NO_VOICE_INPUT (the server heard no speech); SESSION_INVALID; RESULT_NOT_FREE; PARAM_INVALID (no
 * data; a bound resource that cannot be sent); NETWORK_FAILED (no exchange with the server; a
 * real-time utterance is lost); RECOG_FAILED (request refused, answer not understood, or the server
 * says so); ENGINE_FAILED (answer to another request, or the server says so); UNKNOWN (negative
 * server error, or unknown kind of result); MEMORY; any other code is the server's. */
LEXO_API Lexo_ErrCode orvx_proxy_Recognize(Lexo_Handle hSession, const char* pData, int nDataLen,
                                           int bIsDataOver, Lexo_RecogStatus* pRecogStatus);

/* Lends the session's result: *ppRecogResult stays valid until FreeRecogResult. Asking again gives
 * the same address.
 * Returns NONE; SESSION_INVALID; PARAM_INVALID (null); GET_RECOG_RESULT_FAILED (none waits). */
LEXO_API Lexo_ErrCode orvx_proxy_GetRecogResult(Lexo_Handle hSession,
                                                Lexo_RecogResult** ppRecogResult);

/* Gives the result back. *ppRecogResult must be the address that GetRecogResult lent; it is not
 * changed.
 * Returns NONE; SESSION_INVALID; PARAM_INVALID (null, or another address);
 * FREE_RECOG_RESULT_FAILED (none waits). */
LEXO_API Lexo_ErrCode orvx_proxy_FreeRecogResult(Lexo_Handle hSession,
                                                 Lexo_RecogResult** ppRecogResult);

/* Sets a parameter; text is copied. On failure the old value stays.
 * Returns NONE; SESSION_INVALID; NOT_SUPPORT (the session does not have it); PARAM_INVALID (value
 * out of its set or range); MEMORY (SessionStart got no memory for the texts). */
LEXO_API Lexo_ErrCode orvx_proxy_SetParam(Lexo_Handle hSession, Lexo_ParamKey nParam,
                                          Lexo_ParamValue paramValue);

/* Reads a parameter. Text is the session's own buffer: read it, do not free it; a later SetParam
 * overwrites it, and SessionStop frees it.
 * Returns NONE; SESSION_INVALID; PARAM_INVALID (null); NOT_SUPPORT (the session does not have it);
 * MEMORY (SessionStart got no memory for the texts). */
LEXO_API Lexo_ErrCode orvx_proxy_GetParam(Lexo_Handle hSession, Lexo_ParamKey nParam,
                                          Lexo_ParamValue* pParamValue);

/* Loads a resource for a capability and writes its id; 0 on failure. The capability is named as in
 * SessionStart, but what stands behind a full name does not count.
 * Each capability counts for itself: its first id is 2, and none is used twice before the next
 * Init. The library owns what it loaded until UnloadResource.
 * LEXO_RESOURCE_FILE: the data argument is a path, and the length is not read; the file is read
 * here, while the other calls wait. LEXO_RESOURCE_BUFFER: the data argument is nResourceDataLen
 * bytes, which are copied. A buffer of 0 bytes, like any other eResourceType, loads an empty
 * resource, which cannot be bound.
 * grammar takes the formats WORDLIST to WFST, keywordspot and analysis take KEYWORD_LIST; freetalk
 * is for USERWORD and loads any other number too, with an error in the log; Recognize refuses what
 * is beyond 0 to 6. The bytes are not looked into: whether a grammar is right the server says, with
 * the code of Recognize.
 * Returns NONE; PARAM_INVALID (name not understood; grammar with another format; null id pointer;
 * null buffer with a length); CAPABILITY_NOT_EXIST (also before Init, and after one that gave
 * INIT_FAILED); NOT_SUPPORT (keywordspot, analysis with another format); OPENFILE (no such file, a
 * directory, or it cannot be opened); LOAD_RESOURCE_FAILED (file empty, or it cannot be read to its
 * end, as a pipe); MEMORY (also: a buffer of negative length, a file above 2147483643 bytes). */
LEXO_API Lexo_ErrCode orvx_proxy_LoadResource(const char* pszCapabilityName,
                                              Lexo_ResourceType eResourceType,
                                              const char* pcszResourceData, int nResourceDataLen,
                                              Lexo_ResourceFormatType eResourceFormatType,
                                              unsigned int* pnResourceID);

/* Frees a resource that nobody holds; its id is unknown from then on. The capability is named as in
 * LoadResource.
 * Returns NONE; PARAM_INVALID (name not understood); CAPABILITY_NOT_EXIST; UNLOAD_RESOURCE_FAILED
 * (the capability has no such id, or it is held by a session or by an ActiveResource that failed:
 * nothing changes). */
LEXO_API Lexo_ErrCode orvx_proxy_UnloadResource(const char* pszCapabilityName,
                                                unsigned int nResourceID);

/* Binds a resource, loaded for the session's capability, in place of what was bound. Any number of
 * sessions may bind the same one, each holding it against UnloadResource until the session binds
 * something else or calls DeactiveResource; but another Init forgets all resources. It goes to the
 * server with every one-shot request and with the first chunk of a real-time utterance: an open
 * utterance keeps what it began with. The session's thread calls this, so never while the session
 * recognises.
 * Returns NONE (also when this id is bound already: then nothing changes, even if another Init has
 * given the id to another resource); SESSION_INVALID; CAPABILITY_NOT_EXIST (after an Init that gave
 * INIT_FAILED); ACTIVE_RESOURCE_FAILED (unknown id: the old binding stays; or the resource bound
 * before was forgotten by another Init: the old binding stays, and the new resource is held for
 * good); PARAM_INVALID (the resource is empty: a loaded resource bound before is released, a name
 * stays bound, and the empty resource is held for good). */
LEXO_API Lexo_ErrCode orvx_proxy_ActiveResource(Lexo_Handle hSession, unsigned int nResourceID);

/* Binds a resource that the server holds under a name, in place of what was bound; not for free
 * talk. The name is copied and not checked here: a name that the server does not know fails in
 * Recognize. Otherwise as ActiveResource.
 * Returns NONE; SESSION_INVALID; NOT_SUPPORT (free talk); CAPABILITY_NOT_EXIST or
 * ACTIVE_RESOURCE_FAILED (the resource bound before was forgotten by another Init: that binding
 * stays). */
LEXO_API Lexo_ErrCode orvx_proxy_ActivePreloadResource(Lexo_Handle hSession,
                                                       const char* pcszResourceName);

/* Releases the session's binding, of either kind. The resource stays loaded. SessionStop does not
 * do this, and returns RESOURCE_NEED_DEACTIVE until it is done.
 * Returns NONE; SESSION_INVALID; DEACTIVE_RESOURCE_FAILED (nothing bound, or the resource was
 * forgotten by another Init) and CAPABILITY_NOT_EXIST (after an Init that gave INIT_FAILED): the
 * binding stays, and with it the refusal of SessionStop. */
LEXO_API Lexo_ErrCode orvx_proxy_DeactiveResource(Lexo_Handle hSession);

/* Not offered: writes no file and looks at no argument. Returns NOT_SUPPORT. */
LEXO_API Lexo_ErrCode orvx_proxy_SaveCompiledResource(const char* pszCapabilityName,
                                                      unsigned int nResourceID,
                                                      const char* pcszFileName);

#undef LEXO_UNNAMED
#undef LEXO_ENUM_BASE
#undef LEXO_API

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* LEXO_H_ */
