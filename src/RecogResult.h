// Conversion of a server's answer into the public result records, and their release.
#pragma once

#include "Lexo.h"

namespace quorlan::protocol {
class LexoResponseMessage;
}

// The engine type as the server sent it, also when it is none of the known ones.
int EngineTypeInAnswer(const quorlan::protocol::LexoResponseMessage& response);

// Fills `result` from `response` and releases what it held. False, with `result` untouched, for an
// engine type outside 0 to 3. Without memory it throws and leaves an empty result.
//
// Every list is as long as the count beside it says; below 1 the list pointer stays null. A count
// that is larger than its list is a broken promise of the server, and ends the process as the
// protocol runtime's own index check would.
bool ParseResponse(const quorlan::protocol::LexoResponseMessage& response,
                   Lexo_RecogResult* result);

// Frees everything that hangs from `result`; its top-level list is empty afterwards, so releasing
// again does nothing. False, with nothing freed, for an engine type outside 0 to 3.
bool ReleaseResult(Lexo_RecogResult* result);
