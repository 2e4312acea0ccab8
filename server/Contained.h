// Work for the threads of a pool, which an exception must not leave: it would end the process.
#pragma once

#include <exception>
#include <utility>

#include "Logger.h"

namespace orvx {

// Does the work; what it throws is logged, and dropped with the work. Whoever can, tells a client
// of failures before; this is for what is left then: there is no memory even to say so.
template <typename Work>
auto Contained(Work work) {
    return [work = std::move(work)]() mutable {
        try {
            work();
        } catch (const std::exception& error) {
            ORVX_LOG_ERROR("dropped: %s", error.what());
        }
    };
}

}  // namespace orvx
