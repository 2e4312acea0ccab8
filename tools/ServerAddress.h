// The server's address as a user writes it, host name or IPv4 address and port.
#pragma once

#include <string>

namespace recognize {

// The "IPv4:port" text that the engine wants, from "HOST:PORT". A host name is looked up.
// Throws UsageError when the text is malformed or the host unknown.
std::string ResolveServerAddress(const std::string& text);

}  // namespace recognize
