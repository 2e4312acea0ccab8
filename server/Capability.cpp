#include "Capability.h"

#include <algorithm>
#include <array>
#include <string>

#include "LogText.h"

namespace orvx {
namespace {

// In the order of Capability.
constexpr std::array<std::string_view, 4> kNames{"asr.cloud.freetalk", "asr.cloud.grammar",
                                                 "asr.cloud.keywordspot", "asr.cloud.analysis"};

}  // namespace

std::string_view CapabilityName(Capability capability) {
    return kNames[static_cast<std::size_t>(capability)];
}

std::variant<Capability, Failure> FindCapability(std::string_view name) {
    const auto found = std::find(kNames.begin(), kNames.end(), name);
    if (found != kNames.end()) return static_cast<Capability>(found - kNames.begin());
    std::string offered;
    for (const std::string_view known : kNames) {
        offered.append(offered.empty() ? "" : ", ").append(known);
    }
    return Failure{LEXO_ERR_CAPABILITY_NOT_EXIST,
                   "unknown capability " + Quote(name) + "; this server offers " + offered};
}

}  // namespace orvx
