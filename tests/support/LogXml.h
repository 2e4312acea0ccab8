// Log settings that tests write, and the log lines that they read.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <optional>
#include <string>

// A log4cxx configuration of the library's logger: one line for each message, at the end of `file`.
// `parameters` are more of the appender's parameters, `appender` is its class.
inline std::string LogXml(const std::string& file, const std::string& level,
                          const std::string& pattern = "%m%n", const std::string& parameters = "",
                          const std::string& appender = "FileAppender") {
    return R"(<log4j:configuration xmlns:log4j="http://jakarta.apache.org/log4j/">
  <appender name="file" class="org.apache.log4j.)" +
           appender + R"("><param name="File" value=")" + file +
           R"("/><param name="Append" value="true"/><param name="Encoding" value="UTF-8"/>)" +
           parameters + R"(<layout class="org.apache.log4j.PatternLayout">
      <param name="ConversionPattern" value=")" +
           pattern + R"("/></layout>
  </appender>
  <logger name="Lexo_SDK" additivity="false"><level value=")" +
           level + R"("/><appender-ref ref="file"/></logger>
</log4j:configuration>)";
}

// The text behind "PID : (FILE.cpp:LINE) ", if the line starts so and the number is this process's.
inline std::optional<std::string> MessageIn(const std::string& line) {
    int process = 0;
    int bytes = 0;
    std::sscanf(line.c_str(), "%d : (%*[A-Za-z_].cpp:%*d)%n", &process, &bytes);
    if (bytes == 0 || process != ::getpid()) return std::nullopt;
    return line.substr(static_cast<std::size_t>(bytes) + 1);
}
