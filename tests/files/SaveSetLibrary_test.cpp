#include "files/SaveSetLibrary.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstring>
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
    SaveSetData d;
    d.Version = 7;
    d.FileType = 3;
    d.NumAngles = angles;
    d.AngleTypes = {1, 2, 9};
    d.Illuminants = {4, 5, -6};
    d.CMCFactors = {2.0, 1.25, 0.5, 3.75};
    d.ColorSpace = 2;
    d.Observer = 3;
    d.WarningLevel = 0.8125;
    d.Company = "Acme Färg AB";
    d.Status = "ABIEXX";
    d.Instrument = 203;
    for (int r = 0; r < records; ++r) {
        SaveSetRecord rec;
        rec.Name = "Tile " + std::to_string(r);
        rec.Name2 = "Serial-" + std::to_string(r * 7);
        rec.System = "Sys" + std::to_string(r % 5);
        rec.Notes = "note for " + std::to_string(r);
        rec.Status = (r % 2) ? "" : "XXBIXX";
        rec.Instrument = static_cast<int16_t>(r % 300 - 20);
        rec.Time = r * 1000 - 3;
        for (int a = 0; a < angles; ++a) {
            for (int p = 0; p < kPointCount; ++p) {
                rec.Curves[a][p] = 1.0 + r * 0.001 + p * 2.25 - a * 0.375 + 1e-13 * p;
            }
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
    EXPECT_FALSE(lib.IsOpen());
}

std::vector<fs::path> FolderContents(const fs::path& folder) {
    std::vector<fs::path> names;
    for (const auto& entry : fs::directory_iterator(folder))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

TEST(SaveSetStorage, EveryFieldSurvivesARoundTrip) {
    const auto dir = test::ScratchDir("SaveSetStorage_RoundTrip");
    for (int16_t angles : {1, 2}) {
        SaveSetData d = SampleSet(25, angles);
        // Texts the library hands back may carry a NUL and whatever follows it.
        d.Records[3].Name = std::string("Red\0junk", 8);
        d.Records[4].Curves[0][0] = -0.0;
        d.Records[4].Curves[0][1] = std::numeric_limits<double>::denorm_min();
        d.Records[4].Curves[0][2] = -1e300;
        d.Records[4].Curves[0][3] = 0.1 + 0.2;
        const fs::path file = dir / ("set" + std::to_string(angles) + ".wsv");
        StoreSaveSet(d, file);
        const SaveSetData back = LoadSaveSet(file);
        EXPECT_EQ(back, d) << "angles " << angles;
        EXPECT_EQ(back.Records[3].Name.size(), 8u);
        EXPECT_TRUE(std::signbit(back.Records[4].Curves[0][0]));
        EXPECT_EQ(back.Records[4].Curves[0][3], 0.1 + 0.2);
    }
}

TEST(SaveSetStorage, OneAngleSetKeepsASecondCurveThatWasWritten) {
    const auto dir = test::ScratchDir("SaveSetStorage_SecondCurve");
    SaveSetData d = SampleSet(3, 1);
    d.Records[1].Curves[1].fill(42.5);
    StoreSaveSet(d, dir / "one.wsv");
    const SaveSetData back = LoadSaveSet(dir / "one.wsv");
    EXPECT_EQ(back.Records[1].Curves[1][39], 42.5);
    EXPECT_EQ(back.Records[0].Curves[1][0], 0.0);
    EXPECT_EQ(back, d);
}

TEST(SaveSetStorage, FileIsTheDocumentedSqliteSchema) {
    const auto dir = test::ScratchDir("SaveSetStorage_Schema");
    SaveSetData d = SampleSet(2, 2);
    d.Records[1].Curves[1][0] = 1.0;   // 00 00 00 00 00 00 F0 3F little-endian
    d.Records[1].Curves[1][1] = -2.5;  // 00 00 00 00 00 00 04 C0
    StoreSaveSet(d, dir / "s.wsv");

    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open_v2((dir / "s.wsv").c_str(), &db, SQLITE_OPEN_READONLY, nullptr),
              SQLITE_OK);
    auto scalar = [&](const char* sql) {
        sqlite3_stmt* s = nullptr;
        EXPECT_EQ(sqlite3_prepare_v2(db, sql, -1, &s, nullptr), SQLITE_OK) << sql;
        EXPECT_EQ(sqlite3_step(s), SQLITE_ROW) << sql;
        const int64_t v = sqlite3_column_int64(s, 0);
        sqlite3_finalize(s);
        return v;
    };
    EXPECT_EQ(scalar("PRAGMA application_id"), 0x54494E54);
    EXPECT_EQ(scalar("PRAGMA user_version"), 1);
    EXPECT_EQ(scalar("SELECT count(*) FROM header"), 1);
    EXPECT_EQ(scalar("SELECT angle_count FROM header"), 2);
    EXPECT_EQ(scalar("SELECT instrument FROM records WHERE ordinal = 1"), d.Records[1].Instrument);

    sqlite3_stmt* s = nullptr;
    ASSERT_EQ(
        sqlite3_prepare_v2(db, "SELECT curve_1 FROM records WHERE ordinal = 1", -1, &s, nullptr),
        SQLITE_OK);
    ASSERT_EQ(sqlite3_step(s), SQLITE_ROW);
    ASSERT_EQ(sqlite3_column_bytes(s, 0), 320);
    const auto* bytes = static_cast<const unsigned char*>(sqlite3_column_blob(s, 0));
    const unsigned char one[8] = {0, 0, 0, 0, 0, 0, 0xF0, 0x3F};
    const unsigned char minus[8] = {0, 0, 0, 0, 0, 0, 0x04, 0xC0};
    EXPECT_EQ(std::memcmp(bytes, one, 8), 0);
    EXPECT_EQ(std::memcmp(bytes + 8, minus, 8), 0);
    sqlite3_finalize(s);
    sqlite3_close(db);
}

TEST(SaveSetStorage, RefusesFilesThatAreNotReadableSaveSets) {
    const auto dir = test::ScratchDir("SaveSetStorage_Refuses");
    ExpectRefused(dir / "missing.wsv", "does not exist");
    ExpectRefused(dir, "folder");

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
    const fs::path good = dir / "good.wsv";
    StoreSaveSet(SampleSet(2000, 2), good);  // about 1.4 MB, many pages
    const std::string bytes = Slurp(good);
    ASSERT_GT(bytes.size(), 100000u);

    for (std::size_t keep :
         {std::size_t{50}, std::size_t{4096}, bytes.size() / 2, bytes.size() - 4096}) {
        const fs::path cut = dir / ("cut" + std::to_string(keep) + ".wsv");
        std::ofstream(cut, std::ios::binary) << bytes.substr(0, keep);
        SCOPED_TRACE(keep);
        ExpectRefused(cut, "");
    }
    // Garbled pages: the file header and schema page, and the cell area at the end of leaf pages
    // further in (page free space, which holds nothing, is not worth garbling).
    // Page size: bytes 16-17 of the database header, big-endian, 1 meaning 65536.
    const std::size_t sizeField =
        (static_cast<unsigned char>(bytes[16]) << 8) | static_cast<unsigned char>(bytes[17]);
    const std::size_t pageSize = sizeField == 1 ? 65536 : sizeField;
    const std::size_t pages = bytes.size() / pageSize;
    for (std::size_t at : {std::size_t{20}, std::size_t{100}, 2 * pageSize - 600,
                           (pages / 2) * pageSize - 600, bytes.size() - 600}) {
        std::string damaged = bytes;
        for (std::size_t i = at; i < at + 512; ++i)
            damaged[i] = static_cast<char>(0xA5 ^ i);
        const fs::path file = dir / ("garbled" + std::to_string(at) + ".wsv");
        std::ofstream(file, std::ios::binary) << damaged;
        SCOPED_TRACE(at);
        ExpectRefused(file, "");
    }
}

TEST(SaveSetStorage, RefusesRecordsThatBreakTheSchema) {
    const auto dir = test::ScratchDir("SaveSetStorage_Schema");
    auto variant = [&](const std::string& name, const std::string& sql) {
        const fs::path file = dir / name;
        StoreSaveSet(SampleSet(4, 2), file);
        Exec(file, sql);
        return file;
    };
    ExpectRefused(variant("short.wsv",
                          "UPDATE records SET curve_0 = substr(curve_0, 1, 312) "
                          "WHERE ordinal = 2;"),
                  "record 2");
    ExpectRefused(variant("long.wsv",
                          "UPDATE records SET curve_0 = CAST(curve_0 || x'00' AS BLOB) "
                          "WHERE ordinal = 1;"),
                  "record 1");
    // 0x7FF8000000000000 little-endian is a NaN.
    ExpectRefused(variant("nan.wsv",
                          "UPDATE records SET curve_1 = CAST(x'000000000000F87F' || "
                          "substr(curve_1, 9) AS BLOB) WHERE ordinal = 3;"),
                  "finite");
    ExpectRefused(variant("text.wsv", "UPDATE records SET curve_0 = 'abc' WHERE ordinal = 0;"),
                  "record 0");
    ExpectRefused(variant("nosecond.wsv", "UPDATE records SET curve_1 = NULL WHERE ordinal = 1;"),
                  "angle position 1");
    ExpectRefused(variant("gap.wsv", "DELETE FROM records WHERE ordinal = 1;"), "record 1");
    ExpectRefused(variant("noheader.wsv", "DELETE FROM header;"), "header");
    ExpectRefused(variant("angles.wsv", "UPDATE header SET angle_count = 3;"), "angle count");
    ExpectRefused(variant("instrument.wsv", "UPDATE records SET instrument = 40000;"),
                  "instrument");
    ExpectRefused(variant("notable.wsv", "DROP TABLE records;"), "records");
    // Edits that keep the schema intact are still caught: a plain value changed behind the
    // program's back reads as damage.
    ExpectRefused(variant("renamed.wsv", "UPDATE records SET name = 'X' WHERE ordinal = 2;"),
                  "damaged");
    ExpectRefused(variant("swapped.wsv", "UPDATE records SET curve_0 = curve_1 WHERE ordinal = 0;"),
                  "damaged");
    ExpectRefused(variant("company.wsv", "UPDATE header SET company = 'Other';"), "damaged");
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
    {
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit old{};
        getrlimit(RLIMIT_FSIZE, &old);
        rlimit small = old;
        small.rlim_cur = 64 * 1024;
        setrlimit(RLIMIT_FSIZE, &small);
        bool threw = false;
        std::string what;
        try {
            StoreSaveSet(SampleSet(3000, 2), file);
        } catch (const IoError& e) {
            threw = true;
            what = e.what();
        }
        setrlimit(RLIMIT_FSIZE, &old);
        EXPECT_TRUE(threw);
        EXPECT_NE(what.find(file.string()), std::string::npos) << what;
    }
    EXPECT_EQ(LoadSaveSet(file), earlier);

    // A folder in the way of the target.
    fs::create_directory(dir / "taken.wsv");
    EXPECT_THROW(StoreSaveSet(earlier, dir / "taken.wsv"), IoError);
    EXPECT_TRUE(fs::is_directory(dir / "taken.wsv"));
    // A folder that does not exist.
    EXPECT_THROW(StoreSaveSet(earlier, dir / "nowhere" / "x.wsv"), IoError);

    EXPECT_EQ(FolderContents(dir), (std::vector<fs::path>{"keep.wsv", "taken.wsv"}));
}

TEST(SaveSetStorage, ReadOnlyFolderRefusesTheSaveAndKeepsTheFile) {
    if (::geteuid() == 0)
        GTEST_SKIP() << "root writes into read-only folders";
    const auto dir = test::ScratchDir("SaveSetStorage_ReadOnly");
    const SaveSetData earlier = SampleSet(2, 1);
    StoreSaveSet(earlier, dir / "keep.wsv");
    fs::permissions(dir, fs::perms::owner_read | fs::perms::owner_exec);
    EXPECT_THROW(StoreSaveSet(SampleSet(9, 2), dir / "keep.wsv"), IoError);
    fs::permissions(dir, fs::perms::owner_all);
    EXPECT_EQ(LoadSaveSet(dir / "keep.wsv"), earlier);
}

TEST(SaveSetStorage, SaveReplacesAnEarlierLargerFile) {
    const auto dir = test::ScratchDir("SaveSetStorage_Replace");
    StoreSaveSet(SampleSet(500, 2), dir / "s.wsv");
    const SaveSetData smaller = SampleSet(2, 1);
    StoreSaveSet(smaller, dir / "s.wsv");
    EXPECT_EQ(LoadSaveSet(dir / "s.wsv"), smaller);
    EXPECT_EQ(FolderContents(dir), std::vector<fs::path>{"s.wsv"});
}

// ---- the library ----

TEST(SaveSetLibrary, ReadsHeaderAndRecordsOfAnOpenedSet) {
    const auto dir = test::ScratchDir("SaveSetLibrary_Reads");
    const SaveSetData d = SampleSet(4, 2);
    StoreSaveSet(d, dir / "r.wsv");

    SaveSetLibrary lib;
    ASSERT_NE(lib.SS_Open((dir / "r.wsv").string()), 0) << lib.SS_GetIOError();
    EXPECT_EQ(lib.SS_GetNumRecords(), 4);
    EXPECT_EQ(lib.SS_GetNumAngles(), 2);
    std::array<int16_t, 3> types{};
    EXPECT_NE(lib.SS_GetAngleTypes(types), 0);
    EXPECT_EQ(types, d.AngleTypes);
    std::string text;
    EXPECT_NE(lib.SS_GetStatus(text), 0);
    EXPECT_EQ(text, "ABIEXX");  // the save set's, before a record is current
    EXPECT_NE(lib.SS_GetCompany(text), 0);
    EXPECT_EQ(text, d.Company);
    // Without a current record the record getters fail and say so.
    EXPECT_EQ(lib.SS_GetName(text), 0);
    EXPECT_NE(lib.SS_GetIOError().find("SS_RecallRecord"), std::string::npos);

    for (int r : {2, 1}) {
        ASSERT_NE(lib.SS_RecallRecord(r), 0);
        const SaveSetRecord& rec = d.Records[r];
        lib.SS_GetName(text);
        EXPECT_EQ(text, rec.Name);
        lib.SS_GetName2(text);
        EXPECT_EQ(text, rec.Name2);
        lib.SS_GetSystem(text);
        EXPECT_EQ(text, rec.System);
        lib.SS_GetNotes(text);
        EXPECT_EQ(text, rec.Notes);
        EXPECT_EQ(lib.SS_GetInstrument(), rec.Instrument);
        lib.SS_GetStatus(text);
        // Record 1 has no status of its own and answers with the save set's.
        EXPECT_EQ(text, rec.Status.empty() ? d.Status : rec.Status);
        double curve[kPointCount];
        ASSERT_NE(lib.SS_GetReflectance(1, curve, kPointCount), 0);
        for (int p = 0; p < kPointCount; ++p)
            EXPECT_EQ(curve[p], rec.Curves[1][p]);
    }
    double curve[kPointCount];
    EXPECT_EQ(lib.SS_GetReflectance(2, curve, kPointCount), 0);
    EXPECT_EQ(lib.SS_GetReflectance(0, curve, 41), 0);
    EXPECT_EQ(lib.SS_RecallRecord(4), 0);
    EXPECT_NE(lib.SS_GetIOError().find("record 4"), std::string::npos);
    EXPECT_EQ(lib.SS_RecallRecord(-1), 0);

    EXPECT_NE(lib.SS_Close(), 0);
    EXPECT_EQ(lib.SS_GetNumRecords(), 0);
    EXPECT_EQ(lib.SS_GetStatus(text), 0);
    EXPECT_EQ(lib.SS_Close(), 0);
}

TEST(SaveSetLibrary, BuildsAndSavesANewSet) {
    const auto dir = test::ScratchDir("SaveSetLibrary_Builds");
    std::vector<std::string> calls;
    SaveSetLibrary lib;
    lib.SetCallLog(&calls);
    EXPECT_EQ(lib.SS_SetCompany("too early"), 0);  // nothing created yet
    lib.SS_SetVersion(5);
    lib.SS_SetFileType(0);
    EXPECT_EQ(lib.SS_New(3, ".WSV"), 0);
    ASSERT_NE(lib.SS_New(2, ".WSV"), 0);
    lib.SS_SetAngleTypes({1, 2, 0});
    lib.SS_SetIlluminants({1, 2, 3});
    lib.SS_SetCMCFactors({2.0, 1.0, 1.0, 1.0});
    lib.SS_SetColorSpace(1);
    lib.SS_SetObserver(1);
    lib.SS_SetWarningLevel(0.75);
    lib.SS_SetCompany("Co");
    lib.SS_SetStatus("CRE");
    lib.SS_SetInstrument(77);
    double a[kPointCount], b[kPointCount];
    for (int p = 0; p < kPointCount; ++p) {
        a[p] = p;
        b[p] = 100.0 - p;
    }
    lib.SS_SetName("first");
    lib.SS_SetReflectance(0, a, kPointCount);
    lib.SS_SetReflectance(1, b, kPointCount);
    lib.SS_SetName2("n2");
    lib.SS_SetSystem("sys");
    lib.SS_SetTime(0);
    lib.SS_SetNotes("notes");
    lib.SS_AddRecord();
    lib.SS_SetInstrument(78);  // later records take the header as it then stands
    lib.SS_SetName("second");
    EXPECT_EQ(lib.SS_SetReflectance(0, a, 0), 0);
    b[5] = std::nan("");
    EXPECT_EQ(lib.SS_SetReflectance(0, b, kPointCount), 0);
    lib.SS_AddRecord();
    ASSERT_NE(lib.SS_Save((dir / "new.wsv").string()), 0) << lib.SS_GetIOError();
    lib.SS_Close();

    const SaveSetData back = LoadSaveSet(dir / "new.wsv");
    EXPECT_EQ(back.Version, 5);
    EXPECT_EQ(back.NumAngles, 2);
    EXPECT_EQ(back.Instrument, 78);
    ASSERT_EQ(back.Records.size(), 2u);
    EXPECT_EQ(back.Records[0].Name, "first");
    EXPECT_EQ(back.Records[0].Notes, "notes");
    EXPECT_EQ(back.Records[0].Instrument, 77);
    EXPECT_EQ(back.Records[0].Status, "CRE");
    EXPECT_EQ(back.Records[0].Curves[1][39], 61.0);
    EXPECT_EQ(back.Records[1].Name, "second");
    EXPECT_EQ(back.Records[1].Instrument, 78);
    EXPECT_EQ(back.Records[1].Curves[0], Curve{});  // both refused curves left it empty
    EXPECT_EQ(calls.front(), "SS_SetCompany");
    EXPECT_EQ(calls.back(), "SS_Close");
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "SS_AddRecord"), 2);
}

TEST(SaveSetLibrary, FailedSaveReportsTheFileAndKeepsTheSetInHand) {
    const auto dir = test::ScratchDir("SaveSetLibrary_FailedSave");
    fs::create_directory(dir / "folder.wsv");
    SaveSetLibrary lib;
    lib.SS_New(1, ".WSV");
    lib.SS_SetName("x");
    lib.SS_AddRecord();
    EXPECT_EQ(lib.SS_Save((dir / "folder.wsv").string()), 0);
    EXPECT_NE(lib.SS_GetIOError().find("folder.wsv"), std::string::npos);
    // The set is still there to be saved elsewhere.
    EXPECT_NE(lib.SS_Save((dir / "ok.wsv").string()), 0);
    EXPECT_EQ(LoadSaveSet(dir / "ok.wsv").Records.at(0).Name, "x");
}

}  // namespace
}  // namespace tintara
