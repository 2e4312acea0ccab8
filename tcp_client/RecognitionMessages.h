// The messages within the access layer's, which one exchange fills: kept by the connection, because
// parsing into a message that was used before costs half of parsing into a new one.
#pragma once

#include "CapbilityAccess.pb.h"
#include "LexoMessage.pb.h"

struct RecognitionMessages {
    quorlan::protocol::LexoRequestMessage request;
    quorlan::protocol::capbility::CapbilityAccessMessage access;
    quorlan::protocol::LexoResponseMessage response;

    // Empties them and keeps their memory.
    void Clear() {
        request.Clear();
        access.Clear();
        response.Clear();
    }
};
