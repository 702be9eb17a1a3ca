#include "support/TestPaths.h"

#include <sys/wait.h>

#include <unistd.h>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace tintara::test {

std::filesystem::path ScratchDir(const std::string& testName) {
    auto dir = std::filesystem::path(TINTARA_BINARY_DIR) / "test-scratch" /
               (testName + "-" + std::to_string(::getpid()));
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
    return dir;
}

std::string Slurp(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

int RunCommand(const std::string& commandLine, std::string* out, std::string* err) {
    const auto dir = std::filesystem::temp_directory_path();
    const std::string tag = std::to_string(::getpid()) + "-" + std::to_string(std::rand());
    const auto outFile = dir / ("tintara-test-out-" + tag);
    const auto errFile = dir / ("tintara-test-err-" + tag);
    const std::string full =
        commandLine + " >" + outFile.string() + " 2>" + errFile.string() + " </dev/null";
    const int status = std::system(full.c_str());
    if (out)
        *out = Slurp(outFile);
    if (err)
        *err = Slurp(errFile);
    std::filesystem::remove(outFile);
    std::filesystem::remove(errFile);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace tintara::test
