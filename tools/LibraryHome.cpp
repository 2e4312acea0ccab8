#include "LibraryHome.h"

#include <cstdlib>

#include "Errors.h"

namespace recognize {

namespace {

constexpr char kHomeVariable[] = "QUORLAN_HOME";

}  // namespace

std::filesystem::path FindLibraryHome(const std::filesystem::path& bin) {
    // The data folder first: a prefix such as /usr may hold a conf/ of somebody else.
    for (const char* candidate : {ORVX_DATA_FROM_BIN, ".."}) {
        std::filesystem::path home = (bin / candidate).lexically_normal();
        std::error_code ignored;
        if (std::filesystem::exists(home / "conf" / "Lexo_SDK.conf", ignored)) {
            return home;
        }
    }
    return {};
}

std::optional<std::filesystem::path> DefaultLibraryHome() {
    const char* value = std::getenv(kHomeVariable);
    if (value != nullptr && *value != '\0') {
        return std::nullopt;
    }
    std::error_code error;
    const auto executable = std::filesystem::read_symlink("/proc/self/exe", error);
    const auto home = error ? std::filesystem::path() : FindLibraryHome(executable.parent_path());
    if (home.empty()) {
        throw UsageError(
            "the engine's configuration is not found: set QUORLAN_HOME to the folder that holds "
            "conf/Lexo_SDK.conf");
    }
    return home;
}

}  // namespace recognize
