#include "CapabilityList.h"

#include "Capabilities.h"
#include "CommandLine.h"
#include "PlainText.h"
#include "Resource.h"
#include "Session.h"

namespace recognize {

namespace {

std::string Column(std::string_view text, std::size_t width) {
    std::string column(text);
    column.resize(std::max(width, column.size() + 2), ' ');
    return column;
}

std::string Describe(const Lexo_CapabilityInfo& capability) {
    const std::string name = capability.szCapabilityName;
    std::string text = name + " (" + std::string(ShortCapabilityName(name)) + ")\n";
    const Resource no_resource(name, {}, {});
    const Session session(name, AudioParameters({}), no_resource);
    for (const ParameterInfo& parameter : ParametersOf(capability.eEngineType)) {
        const std::string value = ShowValue(parameter.key, session.Value(parameter.key));
        text += "  " + Column(parameter.name, 21) + Column(parameter.type, 8) +
                Column(PlainText(value), 13) + parameter.values + "\n";
    }
    return text;
}

}  // namespace

std::string DescribeCapabilities(const std::vector<Lexo_CapabilityInfo>& capabilities) {
    std::string text = "  " + Column("parameter", 21) + Column("type", 8) + Column("default", 13) +
                       "what it can be\n";
    for (const Lexo_CapabilityInfo& capability : capabilities) {
        text += "\n" + Describe(capability);
    }
    return text;
}

}  // namespace recognize
