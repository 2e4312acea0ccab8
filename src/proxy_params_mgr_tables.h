// The parameter tables: constant data, defined once for the process and valid as long as it runs.
#pragma once

#include <array>
#include <cstddef>

#include "Lexo.h"

// One legal value of an enumerated or flag-set parameter.
struct name_value_pair {
    const char* name;
    Lexo_ParamValue value;  // the number that the name stands for
};

// The name of a parameter in the configuration file.
struct StringParamPair {
    const char* name;
    Lexo_ParamKey key;
};

// Kinds of parameter values; the numbers have gaps.
enum ParamValueType {
    kParamEnumerated = 1,  // the value of one row of the value table
    kParamIntRange = 2,    // a signed 32-bit integer within inclusive bounds
    kParamText = 4,        // NUL-terminated text, not empty
    kParamFlagSet = 5      // an OR of values of the value table
};

// One parameter. value_first and value_second depend on value_type: the first row and the number of
// rows of the value table (enumerated, flag set), the smallest and the largest value (integer
// range), or 1 and 100 (text: carried, not checked).
struct params_item {
    const char* key_name;  // the name in the task configuration
    Lexo_ParamKey key;
    int value_type;
    const void* value_first;
    const void* value_second;
    const char* default_value;  // documents the default; the defaults in force are EngineInfo's
    Lexo_ErrCode err_no;
};

extern const std::array<name_value_pair, 2> g_LEXO_PARAM_SAMPLERATE;
extern const std::array<name_value_pair, 8> g_LEXO_PARAM_AUDIOFORMAT;
extern const std::array<name_value_pair, 5> g_LEXO_PARAM_STREAM;
extern const std::array<name_value_pair, 3> g_LEXO_PARAM_RESULT_TYPE;
extern const std::array<name_value_pair, 2> g_LEXO_PARAM_MODE;
extern const std::array<name_value_pair, 3> g_LEXO_PARAM_CHANNEL_TYPE;
extern const std::array<name_value_pair, 2> g_LEXO_PARAM_NBEST_RESULT;
extern const std::array<name_value_pair, 2> g_LEXO_PARAM_ADD_PUNC;
extern const std::array<name_value_pair, 2> g_LEXO_PARAM_PROPERTY_MODEL_TYPE;
extern const std::array<name_value_pair, 4> g_LEXO_PARAM_FT_POST_PROCESS;

// Every parameter that a session or a task configuration may hold. Look-ups take the first row that
// matches, so the second row of the VAD threshold is never reached. The sample rate has no row.
extern const std::array<params_item, 17> g_params_family;

// The configuration-file names, one for each key from LEXO_PARAM_SAMPLERATE (0) to
// LEXO_PARAM_PROPERTY_DOMAIN (14). Several differ from the task-configuration names.
extern const std::array<StringParamPair, 15> g_param_list;
