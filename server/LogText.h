// Text for logs and messages: what clients sent, made safe, and numbers with their nouns.
#pragma once

#include <asio/ip/tcp.hpp>
#include <cstddef>
#include <string>
#include <string_view>

namespace orvx {

// In double quotes. Everything but printable ASCII, and the quote and the backslash, is escaped, so
// that no client can forge a log line; what is longer than 200 bytes is cut and ends in "...".
std::string Quote(std::string_view text);

// "1 decoder", "2 decoders".
std::string Count(std::size_t number, const std::string& noun);

// "127.0.0.1:8800", "[::1]:8800".
std::string EndpointText(const asio::ip::tcp::endpoint& endpoint);

}  // namespace orvx
