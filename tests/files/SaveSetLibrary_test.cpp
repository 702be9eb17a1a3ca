#include "files/SaveSetLibrary.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <fstream>
#include <limits>

#include "support/TestPaths.h"
#include "workspace/Error.h"

namespace tintara {
namespace {

namespace fs = std::filesystem;

// A save set whose every field differs from the defaults, so that a field the storage drops or
// swaps shows up in a comparison.
SaveSetData SampleSet(int records, int16_t angles) {
    SaveSetData d{7, 3, angles, {1, 2, 9},      {4, 5, -6}, {2.0, 1.25, 0.5, 3.75},
                  2, 3, 0.8125, "Acme Färg AB", "ABIEXX",   203,
                  {}};
    for (int r = 0; r < records; ++r) {
        const std::string n = std::to_string(r);
        SaveSetRecord rec{"Tile " + n, "Serial-" + n,           "Sys" + n,
                          "note " + n, (r % 2) ? "" : "XXBIXX", static_cast<int16_t>(r % 300 - 20),
                          r * 1000 - 3};
        for (int a = 0; a < angles; ++a) {
            for (int p = 0; p < kPointCount; ++p)
                rec.Curves[a][p] = 1.0 + r * 0.001 + p * 2.25 - a * 0.375 + 1e-13 * p;
        }
        d.Records.push_back(rec);
    }
    return d;
}

std::string Slurp(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

void Exec(const fs::path& file, const std::string& sql) {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
    char* message = nullptr;
    const int rc = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &message);
    const std::string text = message ? message : "";
    sqlite3_free(message);
    sqlite3_close(db);
    ASSERT_EQ(rc, SQLITE_OK) << text;
}

// The file must be refused by both the storage and the library, with a reason that names the file
// and contains `fragment`.
void ExpectRefused(const fs::path& file, const std::string& fragment) {
    try {
        LoadSaveSet(file);
        ADD_FAILURE() << "accepted " << file;
    } catch (const Error& e) {
        const std::string what = e.what();
        EXPECT_NE(what.find(file.string()), std::string::npos) << what;
        EXPECT_NE(what.find(fragment), std::string::npos) << what;
    }
    SaveSetLibrary lib;
    EXPECT_EQ(lib.SS_Open(file.string()), 0);
    EXPECT_NE(lib.SS_GetIOError().find(file.string()), std::string::npos);
    EXPECT_EQ(lib.SS_GetNumRecords(), 0);
}

TEST(SaveSetStorage, EveryFieldSurvivesARoundTripOverALargerEarlierFile) {
    const auto dir = test::ScratchDir("SaveSetStorage_RoundTrip");
    for (int16_t angles : {1, 2}) {
        const fs::path file = dir / ("set" + std::to_string(angles) + ".wsv");
        StoreSaveSet(SampleSet(500, 2), file);  // replaced, not patched
        SaveSetData d = SampleSet(25, angles);
        d.Records[3].Name = std::string("Red\0junk", 8);  // library texts may carry a NUL
        d.Records[4].Curves[0][0] = -0.0;
        d.Records[4].Curves[0][1] = std::numeric_limits<double>::denorm_min();
        d.Records[4].Curves[0][2] = -1e300;
        d.Records[4].Curves[0][3] = 0.1 + 0.2;
        d.Records[5].Curves[1].fill(42.5);  // kept even beyond a one-angle set's NumAngles
        StoreSaveSet(d, file);
        const SaveSetData back = LoadSaveSet(file);
        EXPECT_EQ(back, d) << "angles " << angles;
        EXPECT_TRUE(std::signbit(back.Records[4].Curves[0][0]));
    }
}

TEST(SaveSetStorage, RefusesFilesThatAreNotReadableSaveSets) {
    const auto dir = test::ScratchDir("SaveSetStorage_Refuses");
    ExpectRefused(dir / "missing.wsv", "does not exist");
    ExpectRefused(dir, "is a directory");
    std::ofstream(dir / "empty.wsv").close();
    ExpectRefused(dir / "empty.wsv", "empty");
    std::ofstream(dir / "text.wsv") << "Name,R,G,B\r\nRed,1,2,3\r\n" << std::string(600, 'x');
    ExpectRefused(dir / "text.wsv", "not a save set");
    Exec(dir / "foreign.wsv", "CREATE TABLE t(x); INSERT INTO t VALUES (1);");
    ExpectRefused(dir / "foreign.wsv", "another program");
    StoreSaveSet(SampleSet(2, 1), dir / "newer.wsv");
    Exec(dir / "newer.wsv", "PRAGMA user_version = 2;");
    ExpectRefused(dir / "newer.wsv", "newer");
}

TEST(SaveSetStorage, RefusesDamagedDatabases) {
    const auto dir = test::ScratchDir("SaveSetStorage_Damaged");
    StoreSaveSet(SampleSet(2000, 2), dir / "good.wsv");  // about 1.4 MB, many pages
    const std::string bytes = Slurp(dir / "good.wsv");
    ASSERT_GT(bytes.size(), 100000u);
    // Page size: bytes 16-17 of the database header, big-endian, 1 meaning 65536.
    const std::size_t sizeField =
        (static_cast<unsigned char>(bytes[16]) << 8) | static_cast<unsigned char>(bytes[17]);
    const std::size_t page = sizeField == 1 ? 65536 : sizeField;
    const std::size_t n = bytes.size();
    // Truncated files, then garbled stretches: the file header, the schema page and the cell area
    // at the end of leaf pages further in (free space holds nothing worth garbling).
    std::vector<std::string> damaged;
    for (std::size_t keep : {std::size_t{50}, std::size_t{4096}, n / 2, n - 4096})
        damaged.push_back(bytes.substr(0, keep));
    for (std::size_t at : {std::size_t{20}, std::size_t{100}, 2 * page - 600,
                           (n / page / 2) * page - 600, n - 600}) {
        damaged.push_back(bytes);
        for (std::size_t i = at; i < at + 512; ++i)
            damaged.back()[i] = static_cast<char>(0xA5 ^ i);
    }
    for (std::size_t k = 0; k < damaged.size(); ++k) {
        const fs::path file = dir / ("damaged" + std::to_string(k) + ".wsv");
        std::ofstream(file, std::ios::binary) << damaged[k];
        SCOPED_TRACE(k);
        ExpectRefused(file, "");
    }
}

TEST(SaveSetStorage, RefusesRecordsThatBreakTheSchema) {
    const auto dir = test::ScratchDir("SaveSetStorage_BrokenSchema");
    const std::pair<const char*, const char*> cases[] = {
        {"UPDATE records SET curve_0 = substr(curve_0, 1, 312) WHERE ordinal = 2;", "record 2"},
        // 0x7FF8000000000000 little-endian is a NaN.
        {"UPDATE records SET curve_1 = CAST(x'000000000000F87F' || substr(curve_1, 9) AS BLOB) "
         "WHERE ordinal = 3;",
         "record 3: the curve at angle position 1 holds a value that is not a finite number"},
        {"UPDATE records SET name = x'41' WHERE ordinal = 2;", "record 2: the name is not a text"},
        {"UPDATE records SET time = 4294967296 WHERE ordinal = 1;",
         "record 1: the time is out of range (4294967296)"},
        {"UPDATE header SET illuminant_2 = 'D65';", "illuminant 2 is not a whole number"},
        {"UPDATE records SET curve_0 = 'abc' WHERE ordinal = 0;", "record 0"},
        {"UPDATE records SET curve_1 = NULL WHERE ordinal = 1;", "angle position 1"},
        {"DELETE FROM records WHERE ordinal = 1;", "record 1"},
        {"DELETE FROM header;", "header"},
        {"UPDATE header SET angle_count = 3;", "angle count"},
        {"DROP TABLE records;", "records"},
        // Edits that keep the schema intact still read as damage.
        {"UPDATE records SET name = 'X' WHERE ordinal = 2;", "damaged"},
        {"UPDATE header SET company = 'Other';", "damaged"},
    };
    int k = 0;
    for (const auto& [sql, fragment] : cases) {
        const fs::path file = dir / ("case" + std::to_string(k++) + ".wsv");
        StoreSaveSet(SampleSet(4, 2), file);
        Exec(file, sql);
        SCOPED_TRACE(sql);
        ExpectRefused(file, fragment);
    }
}

TEST(SaveSetStorage, RecordNumbersThatJumpAreRefusedWithoutReservingForThem) {
    const auto dir = test::ScratchDir("SaveSetStorage_Jump");
    const fs::path file = dir / "jump.wsv";
    StoreSaveSet(SampleSet(3, 1), file);
    // Just below any plausible cap, so only a bound from the file's size keeps memory small.
    Exec(file, "UPDATE records SET ordinal = 49999999 WHERE ordinal = 2;");
    rlimit old{};
    getrlimit(RLIMIT_AS, &old);
    rlimit capped = old;
    capped.rlim_cur = 2048ull * 1024 * 1024;  // 2 GB of address space: 50 M records need 40 GB
#ifndef __SANITIZE_ADDRESS__  // the sanitizer's shadow memory needs far more address space
    setrlimit(RLIMIT_AS, &capped);
#endif
    std::string what;
    try {
        LoadSaveSet(file);
    } catch (const ParseError& e) {
        what = e.what();
    } catch (const std::bad_alloc&) {
        what = "bad_alloc";
    }
    setrlimit(RLIMIT_AS, &old);
    EXPECT_NE(what.find("record 2 is missing"), std::string::npos) << what;
    EXPECT_NE(what.find(file.string()), std::string::npos) << what;
}

TEST(SaveSetStorage, FailedSaveLeavesTheEarlierFileAndNoLitter) {
    const auto dir = test::ScratchDir("SaveSetStorage_FailedSave");
    const fs::path file = dir / "keep.wsv";
    const SaveSetData earlier = SampleSet(3, 1);
    StoreSaveSet(earlier, file);

    // Data the format cannot hold is refused before anything is written.
    SaveSetData bad = SampleSet(5, 2);
    bad.Records[4].Curves[1][7] = std::numeric_limits<double>::infinity();
    EXPECT_THROW(StoreSaveSet(bad, file), Error);
    EXPECT_EQ(LoadSaveSet(file), earlier);

    // A write that fails half way (the file-size limit stops it; this works for root too).
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit old{};
    getrlimit(RLIMIT_FSIZE, &old);
    rlimit small = old;
    small.rlim_cur = 64 * 1024;
    setrlimit(RLIMIT_FSIZE, &small);
    std::string what;
    try {
        StoreSaveSet(SampleSet(3000, 2), file);
    } catch (const IoError& e) {
        what = e.what();
    }
    setrlimit(RLIMIT_FSIZE, &old);
    EXPECT_NE(what.find(file.string()), std::string::npos) << what;
    EXPECT_EQ(LoadSaveSet(file), earlier);

    fs::create_directory(dir / "taken.wsv");  // a folder in the way
    EXPECT_THROW(StoreSaveSet(earlier, dir / "taken.wsv"), IoError);
    EXPECT_THROW(StoreSaveSet(earlier, dir / "nowhere" / "x.wsv"), IoError);
    EXPECT_EQ(std::distance(fs::directory_iterator(dir), {}), 2);  // no temporary file left
}

// ---- the library (the readers' and writers' tests cover its ordinary paths) ----

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
    const SaveSetData back = LoadSaveSet(dir / "new.wsv");
    ASSERT_EQ(back.Records.size(), 2u);
    EXPECT_EQ(back.Records[0].Instrument, 77);
    EXPECT_EQ(back.Records[0].Curves[1][39], 12.5);
    EXPECT_EQ(back.Records[1].Instrument, 78);
    EXPECT_EQ(back.Records[1].Curves[0], Curve{});  // both refused curves left it empty
}

}  // namespace
}  // namespace tintara
