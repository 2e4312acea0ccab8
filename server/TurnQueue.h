// Who comes next of those whose work takes many turns, between which others are served.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>

namespace orvx {

// Few turns are under way at a time, those of the work that has had the fewest before the others.
// So what takes no turns, or few, is never behind the many of a crowd of long recordings. Every
// member may be called by any thread.
class TurnQueue {
  public:
    // The turn lasts until the last copy is gone, which must be before the queue is.
    using Permit = std::shared_ptr<void>;
    using Turn = std::function<void(Permit)>;

    explicit TurnQueue(std::size_t at_once) : free_(at_once) {}
    TurnQueue(const TurnQueue&) = delete;
    TurnQueue& operator=(const TurnQueue&) = delete;

    // Calls `begin`, which only hands the turn's work to a thread: at once, or when it is the turn
    // of a work that has had so many.
    void Wait(int turns_had, Turn begin);
    // Those who wait are dropped, and no more turns begin.
    void Close();

  private:
    void Begin(const Turn& begin);
    void End();

    std::mutex mutex_;
    std::size_t free_;
    bool is_closed_ = false;
    std::multimap<int, Turn> waiting_;  // by the turns they had; equal ones as they came
};

}  // namespace orvx
