// Text of clients, made safe for logs and messages.
#pragma once

#include <string>
#include <string_view>

namespace orvx {

// In double quotes. Everything but printable ASCII, and the quote and the backslash, is escaped, so
// that no client can forge a log line; what is longer than 200 bytes is cut and ends in "...".
std::string Quote(std::string_view text);

}  // namespace orvx
