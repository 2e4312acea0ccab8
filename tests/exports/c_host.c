/* A host in C that makes one call of each kind.
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
    char language[] = "english";
    EXPECT_OK(orvx_proxy_SetParam(session, LEXO_PARAM_PROPERTY_LANGUAGE, language));
    EXPECT_OK(orvx_proxy_SetParam(session, LEXO_PARAM_STREAM, (Lexo_ParamValue)(intptr_t)1));
    EXPECT_OK(orvx_proxy_Recognize(session, "chunk", 5, 0, &status));
    EXPECT_OK(orvx_proxy_Recognize(session, NULL, 0, 1, &status));
    EXPECT(status == 0);
}

int main(int argc, char** argv) {
    Lexo_Handle session = NULL;
    Lexo_CapabilityInfoList list = {0, NULL};
    EXPECT(argc == 2);
    EXPECT_OK(orvx_proxy_Init(argv[1]));
    EXPECT_OK(orvx_proxy_GetCapabilityInfoList(&list));
    EXPECT(strcmp(list.pCapabilityInfoList[1].szCapabilityName, "asr.cloud.freetalk") == 0);
    EXPECT_OK(orvx_proxy_ReleaseCapabilityInfoList(&list));
    EXPECT_OK(orvx_proxy_SessionStart("freetalk", &session));
    OneShot(session);
    RealTime(session);
    EXPECT_OK(orvx_proxy_SessionStop(session));
    EXPECT_OK(orvx_proxy_End());
    return 0;
}
