// Every input a fuzz target ever found trouble with, replayed through the same entry points: each
// is read or refused with an Error, never a crash or another exception.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz/FuzzEntries.h"
#include "support/TestPaths.h"

namespace tintara {
namespace {

namespace fs = std::filesystem;

using Entry = void (*)(const uint8_t*, std::size_t);

int Replay(const std::string& target, Entry entry) {
    int count = 0;
    const fs::path folder = test::DataPath("fuzz") / target;
    std::vector<fs::path> files;
    for (const auto& e : fs::directory_iterator(folder))
        files.push_back(e.path());
    std::sort(files.begin(), files.end());
    for (const fs::path& file : files) {
        std::ifstream in(file, std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(in), {}};
        SCOPED_TRACE(file.filename().string());
        EXPECT_NO_THROW(entry(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()));
        ++count;
    }
    return count;
}

TEST(FuzzFindings, EveryKeptInputIsReadOrRefusedCleanly) {
    EXPECT_GT(Replay("SaveSet", fuzz::ReadSaveSet), 0);
    EXPECT_GT(Replay("Ccf", fuzz::ReadCoefficientFile), 0);
    EXPECT_GT(Replay("ProfilerIni", fuzz::ReadProfilerIni), 0);
    EXPECT_GT(Replay("Cgats", fuzz::ImportCgatsText), 0);
    EXPECT_GT(Replay("Cxf", fuzz::ImportCxfText), 0);
}

}  // namespace
}  // namespace tintara
