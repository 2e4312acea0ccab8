// Many threads that start at once.
#pragma once

#include <barrier>
#include <functional>
#include <thread>
#include <vector>

// Runs function(0) ... function(count - 1) in threads that start together, and waits for all.
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
