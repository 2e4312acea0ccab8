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

#include "TempDir.h"

struct ChildResult {
    bool exited_normally;  // with status 0
    std::string out;       // standard output
    std::string err;       // standard error
};

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
    int status = -1;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return {WIFEXITED(status) && WEXITSTATUS(status) == 0, ReadAll(out), ReadAll(err)};
}

// A log4cxx configuration: messages alone, one for each line, at the end of `file`. `parameters`
// are more of the appender's parameters, `appender` is its class.
inline std::string LogXml(const std::string& file, const std::string& level,
                          const std::string& parameters = "",
                          const std::string& appender = "FileAppender") {
    return R"(<log4j:configuration xmlns:log4j="http://jakarta.apache.org/log4j/">
  <appender name="file" class="org.apache.log4j.)" +
           appender + R"("><param name="File" value=")" + file +
           R"("/><param name="Append" value="true"/><param name="Encoding" value="UTF-8"/>)" +
           parameters + R"(<layout class="org.apache.log4j.PatternLayout">
      <param name="ConversionPattern" value="%m%n"/></layout>
  </appender>
  <root><level value=")" +
           level + R"("/><appender-ref ref="file"/></root>
</log4j:configuration>)";
}
