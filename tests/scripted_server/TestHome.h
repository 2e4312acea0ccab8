// An installation folder of a test's own: QUORLAN_HOME names it while the object lives.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace scripted {

struct HomeOptions {
    std::string level = "debug";  // lowest level that reaches the log file
    bool has_log = true;          // whether conf/Lexo_SDK_log.xml exists
};

class TestHome {
  public:
    explicit TestHome(const HomeOptions& options = {});
    ~TestHome();  // removes the folder and the variable
    TestHome(const TestHome&) = delete;
    TestHome& operator=(const TestHome&) = delete;

    // Absolute, without a "/" at the end.
    std::string Path() const { return path_.string(); }
    std::string LogSettingsPath() const { return (path_ / "conf/Lexo_SDK_log.xml").string(); }
    std::string SettingsPath() const { return (path_ / "conf/Lexo_SDK.conf").string(); }
    // A new file in the folder with this content; returns its path.
    std::string WriteFile(const std::string& name, const std::string& content) const;

    // The log records since the last call, each as "LEVEL text": the prefix with the process and
    // the place is checked and left out. A line without one continues the record before it.
    std::vector<std::string> NewLog();

  private:
    std::filesystem::path path_;
    std::streamoff log_seen_ = 0;  // bytes
};

}  // namespace scripted
