// What the library logs during a piece of a test. The tests never start the logger, so every
// message is one line on standard output, whatever its level.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "CapturedOutput.h"
#include "LogXml.h"

using Messages = std::vector<std::string>;

// One entry for each line that `action` prints: the message without its prefix. A line whose prefix
// is not well formed stays as it is.
template <typename Action>
Messages MessagesOf(const Action& action) {
    const scripted::CapturedOutput output(stdout);
    action();
    Messages messages;
    std::istringstream lines(output.Text());
    for (std::string line; std::getline(lines, line);)
        messages.push_back(MessageIn(line).value_or(line));
    return messages;
}
