// A point on the monotonic clock by which a whole exchange must be over. The remaining time is
// computed anew before each wait, so that an interrupted or partial wait never prolongs the whole.
#pragma once

#include <algorithm>
#include <chrono>
#include <climits>

class Deadline {
  public:
    explicit Deadline(std::chrono::milliseconds timeout) : end_(Clock::now() + timeout) {}

    // What is left, in whole milliseconds for poll(): 0 when it has passed, else at least 1.
    int RemainingMilliseconds() const {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now()).count();
        return static_cast<int>(std::clamp<decltype(left)>(left, 0, INT_MAX));
    }

    // The earlier of this deadline and `timeout` from now.
    Deadline CappedAt(std::chrono::milliseconds timeout) const {
        Deadline capped(timeout);
        capped.end_ = std::min(capped.end_, end_);
        return capped;
    }

  private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point end_;
};
