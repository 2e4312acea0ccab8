#include "ServerAddress.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <sys/socket.h>

#include <charconv>
#include <memory>

#include "Errors.h"

namespace recognize {

namespace {

int ParsePort(const std::string& text, const std::string& port_text) {
    int port = 0;
    const char* end = port_text.data() + port_text.size();
    const auto [stop, error] = std::from_chars(port_text.data(), end, port);
    if (error != std::errc() || stop != end || port < 1 || port > 65535) {
        throw UsageError("the server address \"" + text + "\" needs a port from 1 to 65535");
    }
    return port;
}

std::string LookUpHost(const std::string& host) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int error = ::getaddrinfo(host.c_str(), nullptr, &hints, &found);
    if (error != 0) {
        throw UsageError("the server's host \"" + host +
                         "\" has no IPv4 address: " + ::gai_strerror(error));
    }
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owner(found, &::freeaddrinfo);
    char dotted[INET_ADDRSTRLEN] = {};
    const auto* address = reinterpret_cast<const sockaddr_in*>(found->ai_addr);
    ::inet_ntop(AF_INET, &address->sin_addr, dotted, sizeof dotted);
    return dotted;
}

}  // namespace

std::string ResolveServerAddress(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0) {
        throw UsageError("the server address \"" + text +
                         "\" is not HOST:PORT, such as 127.0.0.1:8800");
    }
    const int port = ParsePort(text, text.substr(colon + 1));
    return LookUpHost(text.substr(0, colon)) + ":" + std::to_string(port);
}

}  // namespace recognize
