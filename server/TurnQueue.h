// Who comes next of those whose work takes many turns, between which others are served.
#pragma once

#include <atomic>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

namespace orvx {

// Few turns are under way at a time. Every fourth goes to the work that has had the fewest, so that
// what takes no turns, or few, is never behind the many of a crowd of long recordings; the others
// to what has waited longest, so that those do not wait for ever for a crowd of short ones. Work
// that yields comes behind all that does not. Every member may be called by any thread.
class TurnQueue {
  public:
    // The turn lasts until the last copy is gone, which must be before the queue is.
    using Permit = std::shared_ptr<void>;
    using Turn = std::function<void(Permit)>;

    explicit TurnQueue(std::size_t at_once) : free_(at_once) {}
    TurnQueue(const TurnQueue&) = delete;
    TurnQueue& operator=(const TurnQueue&) = delete;

    // Work that waits for a turn.
    struct Work {
        int turns_had;
        std::shared_ptr<const std::atomic<bool>> yields;  // may change meanwhile
        Turn begin;  // called once it is its turn; only hands what is to be done to a thread
    };

    // Begins it at once, or when it is its turn.
    void Wait(Work work);
    // Those who wait are dropped, and no more turns begin.
    void Close();

  private:
    void Begin(const Turn& begin);
    void End();
    Turn TakeNext();

    std::mutex mutex_;
    std::size_t free_;
    bool is_closed_ = false;
    std::deque<Work> waiting_;  // as they came
    unsigned taken_ = 0;
};

}  // namespace orvx
