// Compares the records of a result with the message that the server sent.
#pragma once

#include "Lexo.h"
#include "LexoMessage.pb.h"

// Every field agrees; a list has as many entries as its count says, and is null when that is below
// 1. Keywords agree in their first 255 bytes.
void ExpectEqual(const Lexo_RecogResult& result,
                 const quorlan::protocol::LexoResponseMessage& sent);

// What a free leaves of the record: no top-level list, counts of 0.
void ExpectReleased(const Lexo_RecogResult& result);
