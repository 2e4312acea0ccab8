/* A host in C that walks through the whole interface function by function.
 *
 * c_host IPv4:port    QUORLAN_HOME names its home. The server answers with a free-talk result when
 *                     it gets one-shot audio, and with the status 0 otherwise.
 * Exit status 0 when every expectation held. */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "Lexo.h"

#define EXPECT(condition)                                                                   \
    do {                                                                                    \
        if (!(condition)) {                                                                 \
            fprintf(stderr, "c_host:%d: %s: failed: %s\n", __LINE__, __func__, #condition); \
            exit(1);                                                                        \
        }                                                                                   \
    } while (0)
#define EXPECT_OK(call) EXPECT((call) == LEXO_ERR_NONE)

static void BeforeInit(void) {
    Lexo_Handle session = NULL;
    EXPECT(orvx_proxy_SessionStart("freetalk", &session) == LEXO_ERR_CAPABILITY_NOT_EXIST);
    EXPECT(orvx_proxy_PreLoad("freetalk") == LEXO_ERR_NOT_SUPPORT);
    EXPECT(orvx_proxy_SaveCompiledResource("freetalk", 1, "file") == LEXO_ERR_NOT_SUPPORT);
}

static void Capabilities(void) {
    Lexo_CapabilityInfoList list = {0, NULL};
    EXPECT_OK(orvx_proxy_GetCapabilityInfoList(&list));
    EXPECT(list.nCapabilityCount == 4);
    EXPECT(strcmp(list.pCapabilityInfoList[1].szCapabilityName, "asr.cloud.freetalk") == 0);
    EXPECT(list.pCapabilityInfoList[1].eEngineType == LEXO_ENGINE_FREETALK);
    EXPECT_OK(orvx_proxy_ReleaseCapabilityInfoList(&list));
    EXPECT(list.pCapabilityInfoList == NULL);
}

static void Parameters(Lexo_Handle session) {
    Lexo_ParamValue value = NULL;
    char language[] = "english";
    EXPECT_OK(orvx_proxy_SetParam(session, LEXO_PARAM_VAD_HEAD, (Lexo_ParamValue)(intptr_t)1234));
    EXPECT_OK(orvx_proxy_GetParam(session, LEXO_PARAM_VAD_HEAD, &value));
    EXPECT((intptr_t)value == 1234);
    EXPECT_OK(orvx_proxy_SetParam(session, LEXO_PARAM_PROPERTY_LANGUAGE, language));
    EXPECT_OK(orvx_proxy_GetParam(session, LEXO_PARAM_PROPERTY_LANGUAGE, &value));
    EXPECT(value != (Lexo_ParamValue)language);
    EXPECT(strcmp((const char*)value, "english") == 0);
    EXPECT(orvx_proxy_SetParam(session, LEXO_PARAM_NBEST_RESULT, NULL) == LEXO_ERR_NOT_SUPPORT);
}

static void OneShot(Lexo_Handle session) {
    static const char audio[320] = {1, 2, 3};
    Lexo_RecogStatus status = 0;
    Lexo_RecogResult* result = NULL;
    const Lexo_Freetalk_Segment* segment;
    EXPECT_OK(orvx_proxy_Recognize(session, audio, (int)sizeof(audio), 0, &status));
    EXPECT((status & 2) != 0);
    EXPECT(orvx_proxy_SessionStop(session) == LEXO_ERR_RESULT_NOT_FREE);
    EXPECT_OK(orvx_proxy_GetRecogResult(session, &result));
    EXPECT(result->nEngineType == LEXO_ENGINE_FREETALK);
    EXPECT(result->sFreetalkResult.nSegmentCount == 1);
    segment = &result->sFreetalkResult.pSegmentList[0];
    EXPECT(segment->nResultCount == 2);
    EXPECT(strncmp(segment->pSentenceResults[1].pszText, "sentence ", 9) == 0);
    EXPECT(segment->pElementListResults[1].nElementCount == 3);
    EXPECT_OK(orvx_proxy_FreeRecogResult(session, &result));
    EXPECT(orvx_proxy_GetRecogResult(session, &result) == LEXO_ERR_GET_RECOG_RESULT_FAILED);
}

static void RealTime(Lexo_Handle session) {
    Lexo_RecogStatus status = -1;
    int chunk;
    EXPECT_OK(orvx_proxy_SetParam(session, LEXO_PARAM_STREAM, (Lexo_ParamValue)(intptr_t)1));
    for (chunk = 0; chunk < 3; ++chunk) {
        EXPECT_OK(orvx_proxy_Recognize(session, "chunk", 5, 0, &status));
        EXPECT(status == 0);
    }
    EXPECT_OK(orvx_proxy_Recognize(session, NULL, 0, 1, &status));
}

static void Resources(void) {
    Lexo_Handle session = NULL;
    unsigned int id = 0;
    EXPECT_OK(orvx_proxy_LoadResource("grammar", LEXO_RESOURCE_BUFFER, "yes\nno\n", 7,
                                      LEXO_RESOURCE_GRAMMAR_WORDLIST, &id));
    EXPECT(id == 2);
    EXPECT_OK(orvx_proxy_SessionStart("grammar", &session));
    EXPECT_OK(orvx_proxy_ActiveResource(session, id));
    EXPECT(orvx_proxy_UnloadResource("grammar", id) == LEXO_ERR_UNLOAD_RESOURCE_FAILED);
    EXPECT_OK(orvx_proxy_ActivePreloadResource(session, "digits"));
    EXPECT_OK(orvx_proxy_DeactiveResource(session));
    EXPECT_OK(orvx_proxy_SessionStop(session));
    EXPECT_OK(orvx_proxy_UnloadResource("grammar", id));
}

static void Finish(Lexo_Handle session) {
    EXPECT(orvx_proxy_End() == LEXO_ERR_ACTIVE_SESSION_EXIST);
    EXPECT_OK(orvx_proxy_SessionStop(session));
    EXPECT(orvx_proxy_SessionStop(session) == LEXO_ERR_SESSION_INVALID);
    EXPECT_OK(orvx_proxy_End());
}

int main(int argc, char** argv) {
    Lexo_Handle session = NULL;
    if (argc != 2) {
        fprintf(stderr, "usage: c_host IPv4:port\n");
        return 2;
    }
    BeforeInit();
    EXPECT_OK(orvx_proxy_Init(argv[1]));
    Capabilities();
    EXPECT_OK(orvx_proxy_SessionStart("freetalk", &session));
    EXPECT((intptr_t)session == 10000);
    Parameters(session);
    OneShot(session);
    RealTime(session);
    Resources();
    Finish(session);
    return 0;
}
