// The settings of one task, parsed from their text form "name=value,name=value".
#pragma once

#include <map>
#include <string>

// Items are parted at ",", name and value at the first "="; blanks around both do not count. An
// item without "=" is a name with an empty value, an empty item is skipped, and the last of several
// equal names holds. Never changes once built.
class TaskConfig {
  public:
    explicit TaskConfig(const std::string& text);

    const std::map<std::string, std::string>& GetMapConfig() const { return map_config_; }

  private:
    std::map<std::string, std::string> map_config_;
};
