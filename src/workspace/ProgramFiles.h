// Where the program's own files (pictures, the default Profiler.ini) are found, built or installed.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace tintara {

// The installed data folder, relative to the folder of the executables (bin/../share/tintara).
// CMake derives it from the install directories, so a relocated install keeps working.
std::filesystem::path InstalledDataFolder();

// `programDirectory`/InstalledDataFolder() when that folder exists (an installed program).
std::optional<std::filesystem::path> ProgramDataFolder(
    const std::filesystem::path& programDirectory);

// The program's own file `name`: beside the executable when it is there (the build tree copies
// the pictures there), else in the installed data folder when that folder exists, else beside the
// executable (the path a message then names).
std::filesystem::path ProgramFile(const std::filesystem::path& programDirectory,
                                  const std::string& name);

}  // namespace tintara
