// The real executable as a process, with the fake engine in place of the real library.
#pragma once

#include <map>
#include <string>
#include <vector>

struct ToolRun {
    std::vector<std::string> arguments;
    std::map<std::string, std::string> environment;
    std::string input_file = "/dev/null";
    bool has_terminal = false;  // standard error is one
    std::string output_file;    // empty: what is written is returned in ToolResult::out
};

struct ToolResult {
    int status = -1;  // exit status, or 128 and the number of the signal that ended it
    std::string out;
    std::string err;
};

// Runs the tool to its end; one that hangs is ended after 60 s. The environment is this process's
// without QUORLAN_HOME, plus what the run adds.
ToolResult RunTool(const ToolRun& run);
