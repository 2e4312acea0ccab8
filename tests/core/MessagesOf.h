// What the library logs during a piece of a test. The tests never start the logger, so every
// message is one line on standard output, whatever its level.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "CapturedOutput.h"

using Messages = std::vector<std::string>;

// One entry for each line that `action` prints: the message without the prefix
// "PID : (FILE.cpp:LINE) " of this process. A line whose prefix is not well formed stays as it is.
template <typename Action>
Messages MessagesOf(const Action& action) {
    const scripted::CapturedOutput output(stdout);
    action();
    Messages messages;
    std::istringstream lines(output.Text());
    for (std::string line; std::getline(lines, line);) {
        int process = 0;
        int prefix_bytes = 0;
        std::sscanf(line.c_str(), "%d : (%*[A-Za-z_].cpp:%*d)%n", &process, &prefix_bytes);
        const bool has_prefix = prefix_bytes > 0 && process == ::getpid();
        messages.push_back(has_prefix ? line.substr(static_cast<std::size_t>(prefix_bytes) + 1)
                                      : line);
    }
    return messages;
}
