// A folder of one test, removed with everything in it at the end.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>

class TempDir {
  public:
    TempDir() {
        std::string pattern = testing::TempDir() + "orvx-test-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp " + pattern);
        path_ = pattern;
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    std::string Path(std::string_view name) const { return path_ / name; }

    // Returns the path of the file.
    std::string Write(std::string_view name, std::string_view content) const {
        std::ofstream(Path(name), std::ios::binary) << content;
        return Path(name);
    }

  private:
    std::filesystem::path path_;
};

// "" if there is no such file.
inline std::string ReadAll(const std::string& path) {
    std::stringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}
