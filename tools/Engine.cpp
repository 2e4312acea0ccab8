#include "Engine.h"

#include <Lexo.h>
#include <unistd.h>

#include <cstdlib>
#include <new>

#include "ErrorNames.h"
#include "Errors.h"

namespace recognize {

namespace {

int g_messages_fd = -1;  // standard error while the engine starts, -1 otherwise

// The engine ends the whole process, with status 0, when it gets no socket for its probe. Nothing
// was recognised then, and a caller must not read success.
void OnExit() {
    if (g_messages_fd >= 0) {
        static constexpr char kText[] = "orvx-recognize: the engine got no socket and gave up\n";
        [[maybe_unused]] const auto written = ::write(g_messages_fd, kText, sizeof kText - 1);
        ::_exit(1);
    }
}

Lexo_ErrCode Start(const EngineSettings& settings, bool verbose) {
    const std::string argument =
        settings.server_address + (settings.config_file.empty() ? "" : "," + settings.config_file);
    static const int registered = std::atexit(&OnExit);
    static_cast<void>(registered);
    const QuietStandardError quiet(verbose);
    g_messages_fd = quiet.RealFd();
    const Lexo_ErrCode code = orvx_proxy_Init(argument.c_str());
    g_messages_fd = -1;
    return code;
}

std::string Advice(Lexo_ErrCode code, const EngineSettings& settings) {
    switch (code) {
        case LEXO_ERR_PARAM_INVALID:
            return "no recognition server answers at " + settings.server_address +
                   ": start one (orvx-server), or name another with --server HOST:PORT";
        case LEXO_ERR_INIT_FAILED:
            return settings.config_file.empty()
                       ? "conf/Lexo_SDK.conf below QUORLAN_HOME cannot be read"
                       : "the configuration file " + settings.config_file + " cannot be read";
        case LEXO_ERR_ENV_NOT_FOUND:
        case LEXO_ERR_ENV_NOT_VALID:
            return "set QUORLAN_HOME to the folder that holds conf/Lexo_SDK.conf";
        default:
            return MeaningOf(code);
    }
}

}  // namespace

Engine::Engine(const EngineSettings& settings, Console& console) : console_(console) {
    const Lexo_ErrCode code = Start(settings, console.Verbose());
    const bool unreachable = code == LEXO_ERR_PARAM_INVALID;  // the engine works all the same
    if (code != LEXO_ERR_NONE && !(unreachable && !settings.needs_server)) {
        if (unreachable) {
            orvx_proxy_End();
        }
        throw EngineError(code, Advice(code, settings));
    }
}

Engine::~Engine() {
    try {
        const Lexo_ErrCode code = orvx_proxy_End();
        if (code != LEXO_ERR_NONE) {
            console_.Message("the engine did not end: " + Describe(code));
        }
    } catch (const std::bad_alloc&) {  // the process ends it
    }
}

std::vector<Lexo_CapabilityInfo> Engine::Capabilities() const {
    Lexo_CapabilityInfoList list = {};
    const Lexo_ErrCode code = orvx_proxy_GetCapabilityInfoList(&list);
    if (code != LEXO_ERR_NONE) {
        throw EngineError(code, MeaningOf(code));
    }
    std::vector<Lexo_CapabilityInfo> infos(list.pCapabilityInfoList,
                                           list.pCapabilityInfoList + list.nCapabilityCount);
    orvx_proxy_ReleaseCapabilityInfoList(&list);
    return infos;
}

}  // namespace recognize
