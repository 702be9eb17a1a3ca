// Where the program's own files are found, built or installed.
#include "workspace/ProgramFiles.h"

#include <system_error>

#ifndef TINTARA_INSTALLED_DATA_FOLDER
#define TINTARA_INSTALLED_DATA_FOLDER "../share/tintara"
#endif

namespace tintara {

std::filesystem::path InstalledDataFolder() {
    return std::filesystem::path(TINTARA_INSTALLED_DATA_FOLDER);
}

std::optional<std::filesystem::path> ProgramDataFolder(
    const std::filesystem::path& programDirectory) {
    std::error_code ec;
    const auto folder = (programDirectory / InstalledDataFolder()).lexically_normal();
    if (std::filesystem::is_directory(folder, ec))
        return folder;
    return std::nullopt;
}

std::filesystem::path ProgramFile(const std::filesystem::path& programDirectory,
                                  const std::string& name) {
    std::error_code ec;
    const auto beside = programDirectory / name;
    if (std::filesystem::exists(beside, ec))
        return beside;
    if (const auto folder = ProgramDataFolder(programDirectory))
        return *folder / name;
    return beside;
}

}  // namespace tintara
