// Where temporary files go.
#pragma once

#include <cstdlib>
#include <filesystem>

namespace recognize {

// What TMPDIR names, which may be no folder.
inline std::filesystem::path TemporaryFolder() {
    const char* const named = std::getenv("TMPDIR");
    return named != nullptr && *named != '\0' ? named : "/tmp";
}

}  // namespace recognize
