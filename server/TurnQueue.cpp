#include "TurnQueue.h"

#include "Contained.h"

namespace orvx {
namespace {

// More would slow down long work too much for those who begin much and take no answer.
constexpr unsigned kOfFewest = 4;

}  // namespace

void TurnQueue::Wait(int turns_had, Turn begin) {
    {
        const std::lock_guard lock(mutex_);
        if (is_closed_) return;
        if (free_ == 0) {
            by_turns_.emplace(turns_had, ++arrivals_);
            waiting_.emplace(arrivals_, Waiting{turns_had, std::move(begin)});
            return;
        }
        --free_;
    }
    Begin(begin);
}

void TurnQueue::Close() {
    std::map<std::uint64_t, Waiting> dropped;  // goes without the lock: with them much may end
    const std::lock_guard lock(mutex_);
    is_closed_ = true;
    dropped.swap(waiting_);
    by_turns_.clear();
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
        next = TakeNext();
    }
    Contained([&] { Begin(next); })();
}

TurnQueue::Turn TurnQueue::TakeNext() {
    const bool is_of_fewest = taken_++ % kOfFewest == 0;
    const auto taken = is_of_fewest ? waiting_.find(by_turns_.begin()->second) : waiting_.begin();
    by_turns_.erase({taken->second.turns_had, taken->first});
    Turn next = std::move(taken->second.begin);
    waiting_.erase(taken);
    return next;
}

}  // namespace orvx
