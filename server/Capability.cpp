#include "Capability.h"

#include "LogText.h"

namespace orvx {
namespace {

constexpr std::string_view kServed = "asr.cloud.freetalk";
constexpr std::string_view kNotServed[] = {"asr.cloud.grammar", "asr.cloud.keywordspot",
                                           "asr.cloud.analysis"};

}  // namespace

std::optional<Failure> CheckCapability(const std::string& name) {
    if (name == kServed) return std::nullopt;
    for (const std::string_view known : kNotServed) {
        if (name == known) {
            return Failure{LEXO_ERR_NOT_SUPPORT, "this server does not offer " + name +
                                                     "; it offers " + std::string(kServed)};
        }
    }
    return Failure{
        LEXO_ERR_CAPABILITY_NOT_EXIST,
        "unknown capability " + Quote(name) + "; this server offers " + std::string(kServed)};
}

}  // namespace orvx
