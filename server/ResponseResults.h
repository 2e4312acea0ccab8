// The result within a response: one form for each capability.
#pragma once

#include "LexoMessage.pb.h"
#include "ResponseBuilder.h"

namespace orvx {

// Sets the engine type and, where the outcome's status says that there is one, the result.
void AddResult(const ResultForm& form, const Outcome& outcome,
               quorlan::protocol::LexoResponseMessage* response);

}  // namespace orvx
