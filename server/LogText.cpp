#include "LogText.h"

#include <cstdio>

namespace orvx {

std::string Quote(std::string_view text) {
    constexpr std::size_t kMostBytes = 200;
    std::string quoted = "\"";
    for (const char c : text.substr(0, kMostBytes)) {
        if (c == '"' || c == '\\') {
            quoted.append({'\\', c});
        } else if (c >= ' ' && c <= '~') {
            quoted.push_back(c);
        } else {
            char escape[5];
            std::snprintf(escape, sizeof escape, "\\x%02X", static_cast<unsigned char>(c));
            quoted.append(escape);
        }
    }
    return quoted.append(text.size() > kMostBytes ? "\"..." : "\"");
}

std::string Count(std::size_t number, const std::string& noun) {
    return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

std::string EndpointText(const asio::ip::tcp::endpoint& endpoint) {
    const std::string host = endpoint.address().to_string();
    const std::string shown = endpoint.address().is_v6() ? "[" + host + "]" : host;
    return shown + ":" + std::to_string(endpoint.port());
}

}  // namespace orvx
