// The names of the four capabilities, and how a host's spelling of one is understood.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "Lexo.h"

// The two tables share their index, which is also the engine type.
inline constexpr std::array<std::string_view, 4> kCapkeyFull{
    "asr.cloud.freetalk", "asr.cloud.grammar", "asr.cloud.keywordspot", "asr.cloud.analysis"};
inline constexpr std::array<std::string_view, 4> kCapkeyShort{"freetalk", "grammar", "keywordspot",
                                                              "analysis"};
inline constexpr std::string_view kAsrCapkeyPrefix = "asr.cloud.";

// Comparisons ignore the case of ASCII letters, whatever the host's locale.
bool StartsWithIgnoringCase(std::string_view text, std::string_view prefix);
bool EqualsIgnoringCase(std::string_view left, std::string_view right);

// The engine type of a capability name; the analysis engine for a name that begins with none of the
// others.
Lexo_EngineType EngineTypeOf(std::string_view cap_name);

// Understands a full or a short capability name with white space around it. `cap_name` receives the
// full name in the table's spelling, `remainder` what stood behind a full name, without the one
// character in between; behind a short name everything is ignored. False (logged) when it is no
// capability's name.
bool ParseCapKeyName(const std::string& capkey, std::string& cap_name, std::string& remainder);
