// log4cxx configurations for tests.
#pragma once

#include <string>

// Messages alone, one for each line, at the end of `file`. `parameters` are more of the appender's
// parameters, `appender` is its class.
inline std::string LogXml(const std::string& file, const std::string& level,
                          const std::string& parameters = "",
                          const std::string& appender = "FileAppender") {
    return R"(<?xml version="1.0" encoding="UTF-8" ?>
<log4j:configuration xmlns:log4j="http://jakarta.apache.org/log4j/">
  <appender name="file" class="org.apache.log4j.)" +
           appender + R"(">
    <param name="File" value=")" +
           file +
           R"("/><param name="Append" value="true"/><param name="Encoding" value="UTF-8"/>)" +
           parameters + R"(
    <layout class="org.apache.log4j.PatternLayout">
      <param name="ConversionPattern" value="%m%n"/>
    </layout>
  </appender>
  <root><level value=")" +
           level + R"("/><appender-ref ref="file"/></root>
</log4j:configuration>
)";
}
