// What the server said when it refused a request. The engine hands its host a code only and writes
// the server's text to its log. So, unless the user gave the engine a home of his own, it gets a
// passing one with the same settings, whose log goes to a file that is read here.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "UniqueFd.h"

namespace recognize {

class EngineLog {
  public:
    // Sets QUORLAN_HOME: to a temporary folder with the settings of `home`, or, where none can be
    // made, to `home` itself. Without a home nothing is set, and nothing will be known. To be
    // called before a second thread starts and before the engine does.
    explicit EngineLog(const std::optional<std::filesystem::path>& home);
    // Removes the folder.
    ~EngineLog();
    EngineLog(const EngineLog&) = delete;
    EngineLog& operator=(const EngineLog&) = delete;

    // Whether the log is read here; otherwise only the user may read it.
    bool IsRead() const { return static_cast<bool>(log_); }

    // What the server said, possibly nothing, if it refused this thread's last call of the engine;
    // null if it did not or that is not known. Any thread may ask, once for each failed call.
    std::optional<std::string> ServerWords() const;

  private:
    void MakeHome(const std::filesystem::path& home);

    std::string folder_;  // empty: none was made
    UniqueFd log_;
};

}  // namespace recognize
