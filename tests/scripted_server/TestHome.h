// An installation folder of a test's own: QUORLAN_HOME names it while the object lives.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "LogXml.h"
#include "TempDir.h"

namespace scripted {

struct HomeOptions {
    std::string level = "debug";  // lowest level that reaches the log file
    bool has_log = true;          // whether conf/Lexo_SDK_log.xml exists
};

class TestHome {
  public:
    explicit TestHome(const HomeOptions& options = {}) {
        std::filesystem::create_directory(dir_.Path("conf"));
        if (options.has_log) {
            WriteFile("conf/Lexo_SDK_log.xml",
                      LogXml(dir_.Path("test.log"), options.level, "%p %m%n"));
        }
        WriteFile("conf/Lexo_SDK.conf", "");
        ::setenv("QUORLAN_HOME", Path().c_str(), 1);
    }
    ~TestHome() { ::unsetenv("QUORLAN_HOME"); }
    TestHome(const TestHome&) = delete;
    TestHome& operator=(const TestHome&) = delete;

    // Absolute, without a "/" at the end.
    std::string Path() const { return std::filesystem::path(dir_.Path("")).parent_path(); }
    std::string LogSettingsPath() const { return dir_.Path("conf/Lexo_SDK_log.xml"); }
    std::string SettingsPath() const { return dir_.Path("conf/Lexo_SDK.conf"); }
    // A new file in the folder with this content; returns its path.
    std::string WriteFile(const std::string& name, const std::string& content) const {
        return dir_.Write(name, content);
    }

    // The log records since the last call, each as "LEVEL text"; a line without the prefix of the
    // process and the place continues the record before it.
    std::vector<std::string> NewLog() {
        std::ifstream file(dir_.Path("test.log"), std::ios::binary);
        file.seekg(log_seen_);
        std::vector<std::string> records;
        for (std::string line; std::getline(file, line);) {
            log_seen_ = file.tellg();
            const std::size_t blank = line.find(' ');
            if (const auto text = MessageIn(line.substr(blank + 1)))
                records.push_back(line.substr(0, blank + 1) + *text);
            else if (!records.empty())
                records.back() += '\n' + line;
        }
        return records;
    }

  private:
    const TempDir dir_;
    std::streamoff log_seen_ = 0;  // bytes
};

}  // namespace scripted
