// Reads a configuration file of sections and keys:
//
//   # a comment, as is a line that starts with ";"
//   [section]
//   key = value
//
// Blanks around names and values do not count; a value may hold "=", "#" and ";". Names are
// case-sensitive, and the last of several equal keys holds, also across a section that is opened
// twice. Lines end with LF or CRLF; a byte-order mark is skipped. Keys before the first section
// belong to section "". A line that is none of these is passed over.
#pragma once

#include <map>
#include <string>
#include <string_view>

// Reading from several threads at once is fine; loading is not.
class ConfigFile {
  public:
    ConfigFile() = default;

    // Replaces the contents by those of the file. False, with the former contents kept, if the path
    // is empty or names no readable regular file.
    bool LoadFromFile(const char* path);

    // The value as a whole decimal integer, with an optional sign; `default_value` if the key is
    // missing or its value is anything else or does not fit.
    int ReadInt(const char* section, const char* key, int default_value) const;
    // The value, perhaps empty; `default_value` (null reads as "") if the key is missing.
    std::string ReadString(const char* section, const char* key, const char* default_value) const;

  private:
    using Keys = std::map<std::string, std::string>;

    void Parse(std::string_view text);
    const std::string* Find(const char* section, const char* key) const;

    std::map<std::string, Keys> sections_;
};
