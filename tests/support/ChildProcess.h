// Runs a part of a test in a process of its own: the logger is one for each process and cannot be
// stopped, and what it does while a process ends is tested, too.
#pragma once

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

#include "LogXml.h"
#include "TempDir.h"

struct ChildResult {
    bool exited_normally;  // with status 0
    std::string out;       // standard output
    std::string err;       // standard error
};

// Waits for its end: 0 when it was normal and with status 0.
inline int StatusOf(pid_t child) {
    int status = -1;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

// The child ends through exit(0) after `body`; the alarm ends it if it hangs.
inline ChildResult RunInChild(const std::function<void()>& body) {
    const TempDir dir;
    const std::string out = dir.Write("out", "");
    const std::string err = dir.Write("err", "");
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        alarm(60);
        dup2(open(out.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC), STDOUT_FILENO);
        dup2(open(err.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC), STDERR_FILENO);
        body();
        std::exit(0);
    }
    return {StatusOf(pid) == 0, ReadAll(out), ReadAll(err)};
}
