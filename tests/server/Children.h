// The processes that a process has started.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace orvx::test {

inline std::vector<pid_t> Children(pid_t parent) {
    std::vector<pid_t> found;
    for (const auto& thread :
         std::filesystem::directory_iterator("/proc/" + std::to_string(parent) + "/task")) {
        std::ifstream children(thread.path() / "children");
        for (pid_t child = 0; children >> child;) found.push_back(child);
    }
    return found;
}

}  // namespace orvx::test
