// The texts that a host passes: capability names, and parameters by name and by number.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "CapabilityKey.h"
#include "Logger.h"
#include "TaskConfig.h"
#include "proxy_params_mgr.h"

namespace {

// A log that takes nothing: before its start, the log prints a line for each refusal, which takes
// longer than the refusal.
bool StartQuietLog() {
    constexpr const char* kPath = "quiet_log.xml";
    std::FILE* const file = std::fopen(kPath, "w");
    if (file == nullptr) return false;
    std::fputs(
        "<log4j:configuration xmlns:log4j='http://jakarta.apache.org/log4j/'>"
        "<appender name='none' class='org.apache.log4j.ConsoleAppender'>"
        "<layout class='org.apache.log4j.SimpleLayout'/></appender>"
        "<root><level value='off'/><appender-ref ref='none'/></root></log4j:configuration>",
        file);
    std::fclose(file);
    return g_logger.Init(kPath, "fuzzer");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool is_quiet = StartQuietLog();
    if (!is_quiet) std::abort();
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
