// Small file helpers shared by the file commands.
#pragma once

#include <filesystem>
#include <string>
#include <system_error>

#include "workspace/Error.h"

namespace tintara {

// The file's title: its name without the folder.
inline std::string FileTitle(const std::string& file) {
    return std::filesystem::path(file).filename().string();
}

// Reading a file's attributes is the reachability test; a missing or unreadable file fails it.
inline void RequireReachable(const std::string& file) {
    std::error_code error;
    const auto status = std::filesystem::status(file, error);
    if (error || !std::filesystem::exists(status)) {
        throw IoError(file + ": the file cannot be reached");
    }
}

}  // namespace tintara
