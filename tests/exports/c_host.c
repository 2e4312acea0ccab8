/* A host in C that walks through the whole interface.
 *
 * c_host IPv4:port    QUORLAN_HOME names its home. The server answers with a free-talk result when
 *                     it gets one-shot audio, and with the status 0 otherwise.
 * Exit status 0 when every expectation held. */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "Lexo.h"

#define EXPECT(condition)                                                     \
    do {                                                                      \
        if (!(condition)) {                                                   \
            fprintf(stderr, "c_host:%d: failed: %s\n", __LINE__, #condition); \
            exit(1);                                                          \
        }                                                                     \
    } while (0)
#define EXPECT_OK(call) EXPECT((call) == LEXO_ERR_NONE)

static void Capabilities(void) {
    Lexo_CapabilityInfoList list = {0, NULL};
    EXPECT_OK(orvx_proxy_GetCapabilityInfoList(&list));
    EXPECT(list.nCapabilityCount == 4);
    EXPECT(strcmp(list.pCapabilityInfoList[1].szCapabilityName, "asr.cloud.freetalk") == 0);
    EXPECT_OK(orvx_proxy_ReleaseCapabilityInfoList(&list));
    EXPECT(orvx_proxy_PreLoad("freetalk") == LEXO_ERR_NOT_SUPPORT);
}

static void Parameters(Lexo_Handle session) {
    Lexo_ParamValue value = NULL;
    char language[] = "english";
    EXPECT_OK(orvx_proxy_SetParam(session, LEXO_PARAM_VAD_HEAD, (Lexo_ParamValue)(intptr_t)1234));
    EXPECT_OK(orvx_proxy_GetParam(session, LEXO_PARAM_VAD_HEAD, &value));
    EXPECT((intptr_t)value == 1234);
    EXPECT_OK(orvx_proxy_SetParam(session, LEXO_PARAM_PROPERTY_LANGUAGE, language));
}

static void OneShot(Lexo_Handle session) {
    Lexo_RecogStatus status = 0;
    Lexo_RecogResult* result = NULL;
    const Lexo_Freetalk_Segment* segment;
    EXPECT_OK(orvx_proxy_Recognize(session, "audio", 5, 0, &status));
    EXPECT((status & 2) != 0);
    EXPECT_OK(orvx_proxy_GetRecogResult(session, &result));
    EXPECT(sizeof(*result) == 40 && result->nEngineType == LEXO_ENGINE_FREETALK);
    EXPECT(result->sFreetalkResult.nSegmentCount == 1);
    segment = &result->sFreetalkResult.pSegmentList[0];
    EXPECT(strncmp(segment->pSentenceResults[1].pszText, "sentence ", 9) == 0);
    EXPECT(segment->pElementListResults[1].nElementCount == 3);
    EXPECT_OK(orvx_proxy_FreeRecogResult(session, &result));
}

static void RealTime(Lexo_Handle session) {
    Lexo_RecogStatus status = -1;
    EXPECT_OK(orvx_proxy_SetParam(session, LEXO_PARAM_STREAM, (Lexo_ParamValue)(intptr_t)1));
    EXPECT_OK(orvx_proxy_Recognize(session, "chunk", 5, 0, &status));
    EXPECT_OK(orvx_proxy_Recognize(session, NULL, 0, 1, &status));
    EXPECT(status == 0);
}

static void Resources(void) {
    Lexo_Handle session = NULL;
    unsigned int id = 0;
    EXPECT_OK(orvx_proxy_LoadResource("grammar", LEXO_RESOURCE_BUFFER, "yes\nno\n", 7,
                                      LEXO_RESOURCE_GRAMMAR_WORDLIST, &id));
    EXPECT_OK(orvx_proxy_SessionStart("grammar", &session));
    EXPECT_OK(orvx_proxy_ActiveResource(session, id));
    EXPECT_OK(orvx_proxy_ActivePreloadResource(session, "digits"));
    EXPECT_OK(orvx_proxy_DeactiveResource(session));
    EXPECT_OK(orvx_proxy_SessionStop(session));
    EXPECT(orvx_proxy_SaveCompiledResource("grammar", id, "file") == LEXO_ERR_NOT_SUPPORT);
    EXPECT_OK(orvx_proxy_UnloadResource("grammar", id));
}

int main(int argc, char** argv) {
    Lexo_Handle session = NULL;
    EXPECT(argc == 2);
    EXPECT_OK(orvx_proxy_Init(argv[1]));
    Capabilities();
    EXPECT_OK(orvx_proxy_SessionStart("freetalk", &session));
    Parameters(session);
    OneShot(session);
    RealTime(session);
    Resources();
    EXPECT_OK(orvx_proxy_SessionStop(session));
    EXPECT_OK(orvx_proxy_End());
    return 0;
}
