// What the library logs during a piece of a test. The tests never start the logger, so every
// message is one line on standard output, whatever its level.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "CapturedOutput.h"

using Messages = std::vector<std::string>;

// One entry for each line that `action` prints. The prefix "PID : (FILE:LINE) " is taken off where
// it is well formed; a line that bypasses the log stays as it is.
template <typename Action>
Messages MessagesOf(const Action& action) {
    const scripted::CapturedOutput output(stdout);
    action();
    static const std::regex prefix(R"((\d+) : \([A-Za-z_]+\.cpp:[1-9]\d*\) )");
    Messages messages;
    std::istringstream lines(output.Text());
    for (std::string line; std::getline(lines, line);) {
        std::smatch match;
        const bool has_prefix =
            std::regex_search(line, match, prefix, std::regex_constants::match_continuous) &&
            match[1] == std::to_string(::getpid());
        messages.push_back(has_prefix ? std::string(match.suffix()) : line);
    }
    return messages;
}
