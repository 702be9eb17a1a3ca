// The program's own files: beside the executable in a build tree, in share/tintara when installed.
#include <gtest/gtest.h>

#include <fstream>

#include "support/TestPaths.h"
#include "workspace/ProgramFiles.h"

namespace tintara {
namespace {

namespace fs = std::filesystem;

void Touch(const fs::path& file) {
    fs::create_directories(file.parent_path());
    std::ofstream(file) << "x";
}

TEST(ProgramFiles, BesideTheExecutableFirstThenTheInstalledDataFolder) {
    EXPECT_EQ(InstalledDataFolder(), fs::path("../share/tintara"));
    const auto dir = test::ScratchDir("ProgramFilesLookup");
    // A build tree: no data folder, so the file beside the executable is named, there or not.
    const auto buildTree = dir / "build";
    fs::create_directories(buildTree);
    EXPECT_FALSE(ProgramDataFolder(buildTree));
    EXPECT_EQ(ProgramFile(buildTree, "Watermark.jpg"), buildTree / "Watermark.jpg");

    // An install under any prefix: bin/ next to share/tintara/.
    const auto bin = dir / "opt" / "usr" / "bin", data = dir / "opt" / "usr" / "share" / "tintara";
    fs::create_directories(bin);
    fs::create_directories(data);
    ASSERT_TRUE(ProgramDataFolder(bin));
    EXPECT_EQ(*ProgramDataFolder(bin), data);
    // A missing picture of an installed program is reported where it belongs.
    EXPECT_EQ(ProgramFile(bin, "Watermark.jpg"), data / "Watermark.jpg");
    Touch(data / "Watermark.jpg");
    EXPECT_EQ(ProgramFile(bin, "Watermark.jpg"), data / "Watermark.jpg");
    // A copy beside the executable wins (a build tree inside an install prefix).
    Touch(bin / "Watermark.jpg");
    EXPECT_EQ(ProgramFile(bin, "Watermark.jpg"), bin / "Watermark.jpg");

    // Moved elsewhere, the install still finds its own folder.
    const auto moved = dir / "elsewhere";
    fs::rename(dir / "opt", moved);
    EXPECT_EQ(ProgramFile(moved / "usr" / "bin", "Profiler_Background.jpg"),
              moved / "usr" / "share" / "tintara" / "Profiler_Background.jpg");
}

}  // namespace
}  // namespace tintara
