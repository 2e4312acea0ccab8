// The capabilities that a request may name; their numbers are those of the engine types.
#pragma once

#include <optional>
#include <string_view>
#include <variant>

#include "Failure.h"

namespace orvx {

enum class Capability { kFreeTalk, kGrammar, kKeywordSpot, kAnalysis };

// As in a request's cap_name.
std::string_view CapabilityName(Capability capability);

// Fails with LEXO_ERR_CAPABILITY_NOT_EXIST.
std::variant<Capability, Failure> FindCapability(std::string_view name);

}  // namespace orvx
