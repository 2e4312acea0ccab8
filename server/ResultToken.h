// The server's names for open utterances.
#pragma once

#include <string>

namespace orvx {

// 128 random bits of the kernel's, as 32 hexadecimal digits: nobody can guess another client's
// token. Throws std::system_error if the kernel gives none.
std::string MakeResultToken();

}  // namespace orvx
