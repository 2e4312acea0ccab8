#include "ResultToken.h"

#include <sys/random.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace orvx {

std::string MakeResultToken() {
    std::array<unsigned char, 16> bytes{};
    // Requests of up to 256 bytes are answered whole once the kernel's pool is ready.
    while (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        if (errno != EINTR) throw std::system_error(errno, std::generic_category(), "getrandom");
    }
    constexpr char kDigits[] = "0123456789abcdef";
    std::string token;
    for (const unsigned char byte : bytes) {
        token.append({kDigits[byte >> 4], kDigits[byte & 0xF]});
    }
    return token;
}

}  // namespace orvx
