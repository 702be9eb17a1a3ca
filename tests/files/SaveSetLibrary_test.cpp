#include "files/SaveSetLibrary.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/TestPaths.h"
#include "workspace/Error.h"

namespace tintara {
namespace {

namespace fs = std::filesystem;

// The readers' and writers' tests cover the library's ordinary paths.

TEST(SaveSetLibrary, BuildsSavesAndRefusesWhatItCannotDo) {
    const auto dir = test::ScratchDir("SaveSetLibrary_Builds");
    SaveSetLibrary lib;
    EXPECT_EQ(lib.SS_SetCompany("too early"), 0);  // nothing created yet
    EXPECT_EQ(lib.SS_New(3, ".WSV"), 0);
    ASSERT_NE(lib.SS_New(2, ".WSV"), 0);
    lib.SS_SetInstrument(77);
    double a[kPointCount];
    std::fill(a, a + kPointCount, 12.5);
    lib.SS_SetReflectance(1, a, kPointCount);
    lib.SS_AddRecord();
    lib.SS_SetInstrument(78);
    EXPECT_EQ(lib.SS_SetReflectance(0, a, 0), 0);
    a[5] = std::nan("");
    EXPECT_EQ(lib.SS_SetReflectance(0, a, kPointCount), 0);
    lib.SS_AddRecord();

    fs::create_directory(dir / "folder.wsv");
    EXPECT_EQ(lib.SS_Save((dir / "folder.wsv").string()), 0);
    EXPECT_NE(lib.SS_GetIOError().find("folder.wsv"), std::string::npos);
    ASSERT_NE(lib.SS_Save((dir / "new.wsv").string()), 0) << lib.SS_GetIOError();
    // What the storage refuses, the library reports, naming the file, and holds nothing.
    SaveSetLibrary reader;
    EXPECT_EQ(reader.SS_Open((dir / "folder.wsv").string()), 0);
    EXPECT_NE(reader.SS_GetIOError().find("folder.wsv"), std::string::npos);
    EXPECT_EQ(reader.SS_GetNumRecords(), 0);
    const SaveSetData back = LoadSaveSet(dir / "new.wsv");
    ASSERT_EQ(back.Records.size(), 2u);
    EXPECT_EQ(back.Records[0].Instrument, 77);
    EXPECT_EQ(back.Records[0].Curves[1][39], 12.5);
    EXPECT_EQ(back.Records[1].Instrument, 78);
    EXPECT_EQ(back.Records[1].Curves[0], Curve{});  // both refused curves left it empty
}

}  // namespace
}  // namespace tintara
