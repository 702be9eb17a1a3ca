// Paths the tests need, fixed by the build rather than by the working directory.
#pragma once

#include <filesystem>
#include <string>

namespace tintara::test {

inline std::filesystem::path DataPath(const std::string& name) {
    return std::filesystem::path(TINTARA_TEST_DATA) / name;
}

inline std::filesystem::path CliPath() {
    return std::filesystem::path(TINTARA_CLI);
}

// A file's whole content ("" when it cannot be read).
std::string Slurp(const std::filesystem::path& file);

// A fresh, empty scratch folder under the build tree, unique to the calling test.
std::filesystem::path ScratchDir(const std::string& testName);

// Runs a command line through the shell; returns the exit status and fills stdout/stderr.
int RunCommand(const std::string& commandLine, std::string* out = nullptr,
               std::string* err = nullptr);

}  // namespace tintara::test
