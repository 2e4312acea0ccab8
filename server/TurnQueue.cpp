#include "TurnQueue.h"

#include <algorithm>
#include <utility>

#include "Contained.h"

namespace orvx {
namespace {

// More would slow down long work too much for those who begin much and take no answer.
constexpr unsigned kOfFewest = 4;

}  // namespace

void TurnQueue::Wait(Work work) {
    {
        const std::lock_guard lock(mutex_);
        if (is_closed_) return;
        if (free_ == 0) {
            waiting_.push_back(std::move(work));
            return;
        }
        --free_;
    }
    Begin(work.begin);
}

void TurnQueue::Close() {
    std::deque<Work> dropped;  // goes without the lock: with them much may end
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
        next = TakeNext();
    }
    Contained([&] { Begin(next); })();
}

TurnQueue::Turn TurnQueue::TakeNext() {
    const bool is_of_fewest = taken_++ % kOfFewest == 0;
    const auto taken = std::ranges::min_element(waiting_, {}, [=](const Work& work) {
        return std::pair(work.yields->load(), is_of_fewest ? work.turns_had : 0);
    });
    Turn next = std::move(taken->begin);
    waiting_.erase(taken);
    return next;
}

}  // namespace orvx
