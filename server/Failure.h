// What the answer to a request that cannot be served says.
#pragma once

#include <exception>
#include <new>
#include <string>

#include "Lexo.h"

namespace orvx {

struct Failure {
    Lexo_ErrCode error_no;
    std::string text;  // what is wrong and what would be right; printable ASCII
};

// Why something failed, as a client is told.
inline std::string FailureText(const std::exception& error) {
    const bool is_memory = dynamic_cast<const std::bad_alloc*>(&error) != nullptr;
    return is_memory ? "the server is out of memory" : error.what();
}

}  // namespace orvx
