// Threads that start together, and times that any of them reports.
#pragma once

#include <atomic>
#include <barrier>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <thread>
#include <vector>

using Clock = std::chrono::steady_clock;

// How long timed tests run; ORVX_STRESS_SECONDS makes it longer.
inline std::chrono::seconds StressTime() {
    const char* seconds = std::getenv("ORVX_STRESS_SECONDS");
    return std::chrono::seconds(seconds != nullptr ? std::atoi(seconds) : 2);
}

// Runs the function in so many threads, which start together, and waits for all of them.
inline void InThreads(int count, const std::function<void(int)>& function) {
    std::barrier start(count);
    std::vector<std::jthread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            function(i);
        });
    }
}

// The longest of the durations that any thread reports.
class Longest {
  public:
    void Add(Clock::duration time) {
        Clock::rep seen = ticks_.load();
        while (time.count() > seen && !ticks_.compare_exchange_weak(seen, time.count())) {
        }
    }
    std::chrono::milliseconds Get() const {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
            Clock::duration(ticks_.load()));
    }

  private:
    std::atomic<Clock::rep> ticks_{0};
};

template <typename Function>
Clock::duration Timed(Function function) {
    const auto start = Clock::now();
    function();
    return Clock::now() - start;
}
