// The parameters of a session by the names that a user writes, "name=value". Everything about a
// setting that can be wrong is found here, before any connection: only whether a capability has
// the parameter is left to the engine.
#pragma once

#include <Lexo.h>

#include <string>
#include <string_view>
#include <vector>

namespace recognize {

// One checked setting. `text` holds the value of a text parameter; for every other one it is empty
// and `number` holds the value.
struct ParameterSetting {
    std::string_view name;  // of static storage
    Lexo_ParamKey key = LEXO_PARAM_SAMPLERATE;
    int number = 0;
    std::string text;

    // The word for SetParam; valid while this setting lives and does not change.
    Lexo_ParamValue Word() const;
};

// Reads "name=value". Throws UsageError, listing the right names or values.
ParameterSetting ParseParameter(std::string_view assignment);

// The name of a parameter; of static storage.
std::string_view ParameterName(Lexo_ParamKey key);

struct ParameterInfo {
    Lexo_ParamKey key;
    std::string_view name;  // of static storage
    std::string_view type;  // "number", "choice", "flags" or "text"
    std::string values;     // what it can be set to, in words
};

// The parameters that sessions of a kind have, for the values of which the engine can be asked.
std::vector<ParameterInfo> ParametersOf(Lexo_EngineType engine);

// A value as a user would write it; "none" for an empty set of flags.
std::string ShowValue(Lexo_ParamKey key, Lexo_ParamValue value);

// One line for each parameter, with its values: for --help.
std::string ParameterHelp();

}  // namespace recognize
