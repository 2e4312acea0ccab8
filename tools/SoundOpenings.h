// The audio library tells why an opening failed of any thread's last one.
#pragma once

#include <shared_mutex>

namespace recognize {

// Held, shared, by whoever opens with the audio library, to read or to write; by one thread alone
// while it wants to know the reason.
inline std::shared_mutex g_openings;

}  // namespace recognize
