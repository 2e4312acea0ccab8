// Where the engine finds its conf/ folder: the environment variable QUORLAN_HOME, or else the
// place that belongs to this executable.
#pragma once

#include <filesystem>
#include <optional>

namespace recognize {

// The folder that holds conf/ for an executable in `bin`: the installed data folder, or the build
// tree's. Empty when there is neither.
std::filesystem::path FindLibraryHome(const std::filesystem::path& bin);

// The home for the engine when the user gave it none: nothing when QUORLAN_HOME is set and not
// empty. Throws UsageError when no folder can be found.
std::optional<std::filesystem::path> DefaultLibraryHome();

}  // namespace recognize
