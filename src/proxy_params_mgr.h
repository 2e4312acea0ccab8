// Validation of recognition parameters against g_params_family, and their textual form in the task
// configuration. Static operations without state: any thread, any time, no lock.
#pragma once

#include <map>
#include <string>

#include "Lexo.h"

class TaskConfig;

class ProxyParamsMgr {
  public:
    // The validators' own result; callers translate it into a Lexo_ErrCode.
    enum Validation { kValid = 0, kUnknownKey = 1, kInvalidValue = 2 };

    // Validates a typed value. A failure is logged.
    static int CheckConfig(Lexo_ParamKey key, Lexo_ParamValue value);

    // Appends the parameter as "name=value" to the task configuration; nothing when the key has no
    // row or the value no name, which is logged.
    static void GetConfigPair(Lexo_ParamKey key, Lexo_ParamValue word, std::string* config);

    // Collects in `out_map` the pairs of `config` that fail validation, with an unset word each,
    // and returns true when every pair fails; the first valid pair ends it with false. A name that
    // is no parameter's has no key to be stored under. `cap_name` is not used.
    static bool CheckTaskConfig(const std::string& cap_name, TaskConfig& config,
                                std::map<Lexo_ParamKey, Lexo_ParamValue>& out_map);

  private:
    friend struct ProxyParamsMgrTestAccess;

    // Validates a textual pair. `pKey` receives the key as soon as the name is known, `pValue` the
    // typed value of a valid number (text values are neither checked nor stored).
    static int CheckAndGetConfig(const std::string& name, const std::string& value_text,
                                 Lexo_ParamKey* pKey, Lexo_ParamValue* pValue);
    // The value of a text of decimal digits ("" is 0), modulo 2^32; -1 when it is anything else.
    static int toInt(const std::string& str);
};
