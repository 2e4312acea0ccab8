// Who comes next of those whose work takes many turns, between which others are served.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

namespace orvx {

// Few turns are under way at a time. Every fourth goes to the work that has had the fewest, so that
// what takes no turns, or few, is never behind the many of a crowd of long recordings; the others
// to what has waited longest, so that those do not wait for ever for a crowd of short ones. Every
// member may be called by any thread.
class TurnQueue {
  public:
    // The turn lasts until the last copy is gone, which must be before the queue is.
    using Permit = std::shared_ptr<void>;
    using Turn = std::function<void(Permit)>;

    explicit TurnQueue(std::size_t at_once) : free_(at_once) {}
    TurnQueue(const TurnQueue&) = delete;
    TurnQueue& operator=(const TurnQueue&) = delete;

    // Calls `begin`, which only hands the turn's work to a thread, of a work that has had so many
    // turns: at once, or when it is its turn.
    void Wait(int turns_had, Turn begin);
    // Those who wait are dropped, and no more turns begin.
    void Close();

  private:
    struct Waiting {
        int turns_had;
        Turn begin;
    };

    void Begin(const Turn& begin);
    void End();
    Turn TakeNext();

    std::mutex mutex_;
    std::size_t free_;
    bool is_closed_ = false;
    std::deque<Waiting> waiting_;  // as they came
    unsigned taken_ = 0;
};

}  // namespace orvx
