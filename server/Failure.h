// What the answer to a request that cannot be served says.
#pragma once

#include <string>

#include "Lexo.h"

namespace orvx {

struct Failure {
    Lexo_ErrCode error_no;
    std::string text;  // what is wrong and what would be right; printable ASCII
};

}  // namespace orvx
