#include "TestHome.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <stdexcept>

namespace scripted {
namespace {

// Removes what a process leaves behind that exits while a home lives.
struct Homes : std::set<std::filesystem::path> {
    ~Homes() {
        std::error_code ignored;
        for (const std::filesystem::path& path : *this) {
            std::filesystem::remove_all(path, ignored);
        }
    }
};
Homes g_homes;

std::filesystem::path MakeFolder() {
    std::string pattern = std::filesystem::temp_directory_path() / "orvx-home-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("test home: cannot create a folder");
    }
    return *g_homes.insert(pattern).first;
}

std::string LogSettings(const std::string& log_file, const std::string& level) {
    return R"(<?xml version="1.0" encoding="UTF-8"?>
<log4j:configuration xmlns:log4j="http://jakarta.apache.org/log4j/">
  <appender name="file" class="org.apache.log4j.FileAppender">
    <param name="File" value=")" +
           log_file + R"("/>
    <param name="Append" value="true"/>
    <param name="Encoding" value="UTF-8"/>
    <layout class="org.apache.log4j.PatternLayout">
      <param name="ConversionPattern" value="%p %m%n"/>
    </layout>
  </appender>
  <logger name="Lexo_SDK" additivity="false">
    <level value=")" +
           level + R"("/>
    <appender-ref ref="file"/>
  </logger>
</log4j:configuration>
)";
}

}  // namespace

TestHome::TestHome(const HomeOptions& options) : path_(MakeFolder()) {
    std::filesystem::create_directory(path_ / "conf");
    if (options.has_log) {
        WriteFile("conf/Lexo_SDK_log.xml", LogSettings(path_ / "test.log", options.level));
    }
    WriteFile("conf/Lexo_SDK.conf", "");
    ::setenv("QUORLAN_HOME", path_.c_str(), 1);
}

TestHome::~TestHome() {
    ::unsetenv("QUORLAN_HOME");
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
    g_homes.erase(path_);
}

std::string TestHome::WriteFile(const std::string& name, const std::string& content) const {
    const std::filesystem::path file = path_ / name;
    std::ofstream(file, std::ios::binary) << content;
    return file.string();
}

std::vector<std::string> TestHome::NewLog() {
    std::ifstream file(path_ / "test.log", std::ios::binary);
    file.seekg(log_seen_);
    std::vector<std::string> records;
    for (std::string line; std::getline(file, line);) {
        log_seen_ = file.tellg();
        char level[16];
        int process = 0;
        int prefix_bytes = 0;
        std::sscanf(line.c_str(), "%15[A-Z] %d : (%*[A-Za-z_].cpp:%*d)%n", level, &process,
                    &prefix_bytes);
        if (prefix_bytes > 0 && process == ::getpid()) {
            records.push_back(level + line.substr(static_cast<std::size_t>(prefix_bytes)));
        } else if (!records.empty()) {
            records.back() += '\n' + line;
        }
    }
    return records;
}

}  // namespace scripted
