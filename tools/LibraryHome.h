// Where the engine finds its conf/ folder: the environment variable QUORLAN_HOME, or else the
// place that belongs to this executable.
#pragma once

#include <filesystem>

namespace recognize {

// The folder that holds conf/ for an executable in `bin`: the installed data folder, or the build
// tree's. Empty when there is neither.
std::filesystem::path FindLibraryHome(const std::filesystem::path& bin);

// Sets QUORLAN_HOME for this process unless it is set and not empty. To be called before a second
// thread starts. Throws UsageError when no folder can be found.
void EnsureLibraryHome();

}  // namespace recognize
