#include "process_lifetime.h"

#include <memory>
#include <vector>

#include "MutexLock.h"

namespace {

MutexLock g_kept_lock;

// Never destroyed: the bytes outlive every static destructor.
std::vector<std::unique_ptr<const char[]>>& KeptBytes() {
    static auto* const kept = new std::vector<std::unique_ptr<const char[]>>;
    return *kept;
}

}  // namespace

void KeepForProcessLifetime(const char* bytes) {
    if (bytes != nullptr) {
        const MutexGuard guard(g_kept_lock);
        KeptBytes().emplace_back(bytes);
    }
}
