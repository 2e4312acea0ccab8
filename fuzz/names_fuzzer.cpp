// The texts that a host passes: capability names, and parameters by name and by number.
#include <string>

#include "CapabilityKey.h"
#include "TaskConfig.h"
#include "proxy_params_mgr.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::string name;
    std::string remainder;
    ParseCapKeyName(text, name, remainder);
    EngineTypeOf(name);

    TaskConfig config(text);
    std::map<Lexo_ParamKey, Lexo_ParamValue> values;
    for (const char* const capability : {"asr.cloud.freetalk", "asr.cloud.analysis"}) {
        values.clear();
        ProxyParamsMgr::CheckTaskConfig(capability, config, values);
    }
    for (int key = -1; key <= LEXO_PARAM_FT_POST_PROCESS + 1; ++key) {
        const auto parameter = static_cast<Lexo_ParamKey>(key);
        const bool is_text = key == LEXO_PARAM_PROPERTY_LANGUAGE ||
                             key == LEXO_PARAM_PROPERTY_DOMAIN || key == LEXO_PARAM_POST_PROCESS;
        const auto number =
            static_cast<std::intptr_t>(size == 0 ? 0 : static_cast<int>(data[0]) - 2);
        const Lexo_ParamValue value =
            is_text ? const_cast<char*>(text.c_str()) : reinterpret_cast<Lexo_ParamValue>(number);
        if (ProxyParamsMgr::CheckConfig(parameter, value) == ProxyParamsMgr::kValid) {
            std::string task_config;
            ProxyParamsMgr::GetConfigPair(parameter, value, &task_config);
        }
    }
    return 0;
}
