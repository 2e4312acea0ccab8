// Which capabilities there are, and which of them this server has.
#pragma once

#include <optional>
#include <string>

#include "Failure.h"

namespace orvx {

// Why a request for this capability cannot be served: it does not exist
// (LEXO_ERR_CAPABILITY_NOT_EXIST), or is not offered here (LEXO_ERR_NOT_SUPPORT).
std::optional<Failure> CheckCapability(const std::string& name);

}  // namespace orvx
