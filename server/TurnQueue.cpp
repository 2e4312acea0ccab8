#include "TurnQueue.h"

#include <utility>

#include "Contained.h"

namespace orvx {

void TurnQueue::Wait(int turns_had, Turn begin) {
    {
        const std::lock_guard lock(mutex_);
        if (is_closed_) return;
        if (free_ == 0) {
            waiting_.emplace(turns_had, std::move(begin));
            return;
        }
        --free_;
    }
    Begin(begin);
}

void TurnQueue::Close() {
    std::multimap<int, Turn> dropped;  // goes without the lock: with them much may end
    const std::lock_guard lock(mutex_);
    is_closed_ = true;
    dropped.swap(waiting_);
}

void TurnQueue::Begin(const Turn& begin) {
    begin(Permit(this, [](void* self) { static_cast<TurnQueue*>(self)->End(); }));
}

void TurnQueue::End() {
    Turn next;
    {
        const std::lock_guard lock(mutex_);
        if (waiting_.empty()) {
            ++free_;
            return;
        }
        next = std::move(waiting_.begin()->second);
        waiting_.erase(waiting_.begin());
    }
    Contained([&] { Begin(next); })();
}

}  // namespace orvx
