// The engine's four capabilities, by the names that a user writes.
#pragma once

#include <string>
#include <string_view>

namespace recognize {

inline constexpr std::string_view kCapabilityPrefix = "asr.cloud.";

// The full name of a capability given by its full or short name, in any letter case.
// Throws UsageError, listing the right names.
std::string FullCapabilityName(std::string_view name);

std::string LowerCase(std::string_view text);  // of ASCII

// "freetalk" of "asr.cloud.freetalk".
std::string_view ShortCapabilityName(std::string_view full_name);

}  // namespace recognize
