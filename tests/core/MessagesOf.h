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

// The message of a log line: without the prefix "PID : (FILE.cpp:LINE) " of this process. A line
// whose prefix is not well formed stays as it is.
inline std::string MessageIn(const std::string& line) {
    int process = 0;
    int number = 0;
    int prefix_bytes = 0;
    std::sscanf(line.c_str(), "%d : (%*[A-Za-z_].cpp:%d)%n", &process, &number, &prefix_bytes);
    const auto end = static_cast<std::size_t>(prefix_bytes);
    const bool has_prefix =
        end > 0 && process == ::getpid() && number > 0 && line.compare(end, 1, " ") == 0;
    return has_prefix ? line.substr(end + 1) : line;
}

// One entry for each line that `action` prints; what bypasses the log has no prefix to take off.
template <typename Action>
Messages MessagesOf(const Action& action) {
    const scripted::CapturedOutput output(stdout);
    action();
    Messages messages;
    std::istringstream lines(output.Text());
    for (std::string line; std::getline(lines, line);) {
        messages.push_back(MessageIn(line));
    }
    return messages;
}
