#include "files/SaveSetFile.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <fstream>
#include <functional>
#include <limits>
#include <stdexcept>

#include "files/DemoData.h"
#include "support/ExpectThrow.h"
#include "support/SqlFile.h"
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

// What reading `file` record by record says, or "" when every record came back.
std::string ReaderRefusal(const fs::path& file) {
    try {
        SaveSetReader reader(file);
        SaveSetRecord rec;
        while (reader.Next(rec)) {
        }
    } catch (const Error& e) {
        return e.what();
    }
    return "";
}

// What the whole-file read through SQL statements says, or "" when it read the file.
std::string StatementsRefusal(const fs::path& file) {
    try {
        LoadSaveSet(file, RecordPath::kStatements);
    } catch (const Error& e) {
        return e.what();
    }
    return "";
}

// The file must be refused by the whole-file read and, with the same message, by the record-by-
// record one and by the read through SQL statements, with a reason that names the file and
// contains `fragment`.
void ExpectRefused(const fs::path& file, const std::string& fragment) {
    try {
        LoadSaveSet(file);
        ADD_FAILURE() << "accepted " << file;
    } catch (const Error& e) {
        const std::string what = e.what();
        EXPECT_NE(what.find(file.string()), std::string::npos) << what;
        EXPECT_NE(what.find(fragment), std::string::npos) << what;
        EXPECT_EQ(ReaderRefusal(file), what);
        EXPECT_EQ(StatementsRefusal(file), what);
    }
}

// How many records a read of `file` takes from the pages.
int64_t PagesRead(const fs::path& file) {
    SaveSetReader reader(file);
    SaveSetRecord rec;
    while (reader.Next(rec)) {
    }
    return reader.RecordsFromPages();
}

// Every stored value of every record with its SQL type, as one text.
std::string StoredRecords(const fs::path& file) {
    return test::QuerySql(
        file,
        "SELECT group_concat(ordinal || typeof(name) || hex(name) || typeof(name2) || hex(name2) ||"
        " typeof(system) || hex(system) || typeof(notes) || hex(notes) || typeof(status) ||"
        " hex(status) || typeof(instrument) || instrument || typeof(time) || time ||"
        " typeof(curve_0) || hex(curve_0) || typeof(curve_1) || ifnull(hex(curve_1), '') ||"
        " typeof(checksum) || checksum, ';') FROM (SELECT * FROM records ORDER BY ordinal);");
}

int Temporaries(const fs::path& folder) {
    int n = 0;
    for (const auto& entry : fs::directory_iterator(folder))
        n += entry.path().filename().string().rfind(".tintara-", 0) == 0 ? 1 : 0;
    return n;
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

// The records written into the pages are the ones SQL statements write, value for value and
// type for type, in a file SQLite finds sound; each way of reading gives back what was written,
// from either file. Texts long enough to spill over several pages, a NUL inside a text, NULL
// second curves and every size of integer are among them.
TEST(SaveSetStorage, PagesAndStatementsStoreAndReadTheSameRecords) {
    const auto dir = test::ScratchDir("SaveSetStorage_Paths");
    for (int16_t angles : {1, 2}) {
        for (int records : {0, 1, 3000}) {
            SCOPED_TRACE(std::to_string(angles) + " angles, " + std::to_string(records));
            SaveSetData d = SampleSet(records, angles);
            if (records > 2) {
                d.Records[1].Notes = std::string(200000, 'n');
                d.Records[2].Name = std::string("Röd\0 tile", 10);
                d.Records[2].Time = std::numeric_limits<int32_t>::min();
                d.Records[0].Instrument = std::numeric_limits<int16_t>::max();
            }
            const fs::path pages = dir / "pages.wsv";
            const fs::path statements = dir / "statements.wsv";
            StoreSaveSet(d, pages);
            StoreSaveSet(d, statements, RecordPath::kStatements);
            EXPECT_EQ(test::QuerySql(pages, "PRAGMA integrity_check;"), "ok");
            EXPECT_EQ(StoredRecords(pages), StoredRecords(statements));
            for (const fs::path& file : {pages, statements}) {
                EXPECT_EQ(LoadSaveSet(file), d) << file;
                EXPECT_EQ(LoadSaveSet(file, RecordPath::kStatements), d) << file;
                EXPECT_EQ(PagesRead(file), records) << file;  // every record from the pages
            }
        }
    }
}

// What the pages path does not take is read through statements, from the first record or from
// the one the pages had reached: a file in write-ahead-log mode, a records table laid out in
// another column order, a record numbered out of turn half way.
TEST(SaveSetReader, HandsFilesThePagesDoNotTakeToStatements) {
    const auto dir = test::ScratchDir("SaveSetReader_HandOver");
    const SaveSetData d = SampleSet(2000, 2);
    const fs::path wal = dir / "wal.wsv";
    StoreSaveSet(d, wal);
    test::ExecSql(wal, "PRAGMA journal_mode = WAL;");
    EXPECT_EQ(LoadSaveSet(wal), d);
    EXPECT_EQ(PagesRead(wal), 0);

    const fs::path reordered = dir / "reordered.wsv";
    StoreSaveSet(d, reordered);
    test::ExecSql(reordered,
                  "CREATE TABLE r (checksum INTEGER NOT NULL, ordinal INTEGER PRIMARY KEY,"
                  " name TEXT NOT NULL, name2 TEXT NOT NULL, system TEXT NOT NULL, notes TEXT NOT"
                  " NULL, status TEXT NOT NULL, instrument INTEGER NOT NULL, time INTEGER NOT"
                  " NULL, curve_0 BLOB NOT NULL, curve_1 BLOB);"
                  "INSERT INTO r SELECT checksum, ordinal, name, name2, system, notes, status,"
                  " instrument, time, curve_0, curve_1 FROM records;"
                  "DROP TABLE records; ALTER TABLE r RENAME TO records;");
    EXPECT_EQ(LoadSaveSet(reordered), d);
    EXPECT_EQ(PagesRead(reordered), 0);

    // Record 1500 moved to the end: the pages read up to it, statements find the gap.
    const fs::path gap = dir / "gap.wsv";
    StoreSaveSet(d, gap);
    test::ExecSql(gap, "UPDATE records SET ordinal = 5000 WHERE ordinal = 1500;");
    SaveSetReader reader(gap);
    SaveSetRecord rec;
    for (int r = 0; r < 1500; ++r) {
        ASSERT_TRUE(reader.Next(rec));
        ASSERT_EQ(rec, d.Records[static_cast<std::size_t>(r)]);
    }
    EXPECT_THROW_WHAT(reader.Next(rec), ParseError, "record 1500 is missing");
    EXPECT_EQ(reader.RecordsFromPages(), 1500);
}

// Files kept from earlier builds: the demo's Master tile set (two angle positions) and a
// one-angle results file whose second curves are NULL. A change to the stored layout or to the
// checksum makes them unreadable, which would strand every save set users already have.
TEST(SaveSetStorage, SaveSetsWrittenByEarlierBuildsStillRead) {
    const fs::path tilesFile = test::DataPath("savesets/demo-master-tiles.wsv");
    const SaveSetData tiles = LoadSaveSet(tilesFile);
    EXPECT_EQ(LoadSaveSet(tilesFile, RecordPath::kStatements), tiles);
    const SaveSetData demo = MakeDemoData().MasterTiles;
    ASSERT_EQ(tiles.Records.size(), demo.Records.size());
    EXPECT_EQ(tiles.NumAngles, 2);
    for (std::size_t r = 0; r < demo.Records.size(); ++r) {
        EXPECT_EQ(tiles.Records[r].Name, demo.Records[r].Name);
        EXPECT_EQ(tiles.Records[r].Curves, demo.Records[r].Curves) << "record " << r;
    }

    const fs::path oneAngle = test::DataPath("savesets/one-angle-results.wsv");
    const SaveSetData results = LoadSaveSet(oneAngle);
    EXPECT_EQ(LoadSaveSet(oneAngle, RecordPath::kStatements), results);
    ASSERT_EQ(results.Records.size(), 6u);
    EXPECT_EQ(results.NumAngles, 1);
    // Written again today and read back, it holds the same.
    const fs::path again = test::ScratchDir("SaveSet_Earlier") / "again.wsv";
    StoreSaveSet(results, again);
    const SaveSetData back = LoadSaveSet(again);
    ASSERT_EQ(back.Records.size(), results.Records.size());
    for (std::size_t r = 0; r < back.Records.size(); ++r) {
        EXPECT_EQ(back.Records[r].Name, results.Records[r].Name);
        EXPECT_EQ(back.Records[r].Curves, results.Records[r].Curves);
    }
    // Its checksums are the ones today's writer computes: the stored values agree row for row.
    const std::string stored =
        test::QuerySql(oneAngle, "SELECT group_concat(checksum) FROM records;");
    EXPECT_EQ(std::count(stored.begin(), stored.end(), ','), 5) << stored;
    EXPECT_EQ(test::QuerySql(again, "SELECT group_concat(checksum) FROM records;"), stored);
}

TEST(SaveSetStorage, RefusesFilesThatAreNotReadableSaveSets) {
    const auto dir = test::ScratchDir("SaveSetStorage_Refuses");
    ExpectRefused(dir / "missing.wsv", "does not exist");
    ExpectRefused(dir, "is a directory");
    std::ofstream(dir / "empty.wsv").close();
    ExpectRefused(dir / "empty.wsv", "empty");
    std::ofstream(dir / "text.wsv") << "Name,R,G,B\r\nRed,1,2,3\r\n" << std::string(600, 'x');
    ExpectRefused(dir / "text.wsv", "not a save set");
    test::ExecSql(dir / "foreign.wsv", "CREATE TABLE t(x); INSERT INTO t VALUES (1);");
    ExpectRefused(dir / "foreign.wsv", "another program");
    StoreSaveSet(SampleSet(2, 1), dir / "newer.wsv");
    test::ExecSql(dir / "newer.wsv", "PRAGMA user_version = 2;");
    ExpectRefused(dir / "newer.wsv", "newer");

    // A refusal leaves no file open behind it (a batch of refused files must not run the
    // process out of descriptors).
    const auto openFiles = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), {});
    };
    const auto before = openFiles();
    for (int k = 0; k < 20; ++k) {
        for (const char* name : {"text.wsv", "foreign.wsv", "newer.wsv"})
            EXPECT_NE(ReaderRefusal(dir / name), "");
    }
    EXPECT_EQ(openFiles(), before);
}

TEST(SaveSetStorage, RefusesDamagedDatabases) {
    const auto dir = test::ScratchDir("SaveSetStorage_Damaged");
    StoreSaveSet(SampleSet(2000, 2), dir / "good.wsv");  // about 1.4 MB, many pages
    const std::string bytes = test::FileBytes(dir / "good.wsv");
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
        test::ExecSql(file, sql);
        SCOPED_TRACE(sql);
        ExpectRefused(file, fragment);
    }
}

TEST(SaveSetStorage, RecordNumbersThatJumpAreRefusedWithoutReservingForThem) {
    const auto dir = test::ScratchDir("SaveSetStorage_Jump");
    const fs::path file = dir / "jump.wsv";
    StoreSaveSet(SampleSet(3, 1), file);
    // Just below any plausible cap, so only a bound from the file's size keeps memory small.
    test::ExecSql(file, "UPDATE records SET ordinal = 49999999 WHERE ordinal = 2;");
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

    // A write that fails half way (the file-size limit stops it; this works for root too): while
    // SQLite makes the file, or in the records after it, by either path.
    std::signal(SIGXFSZ, SIG_IGN);
    for (const rlim_t limit : {64 * 1024, 640 * 1024}) {
        for (const RecordPath path : {RecordPath::kPages, RecordPath::kStatements}) {
            SCOPED_TRACE(limit);
            rlimit old{};
            getrlimit(RLIMIT_FSIZE, &old);
            rlimit small = old;
            small.rlim_cur = limit;
            setrlimit(RLIMIT_FSIZE, &small);
            std::string what;
            try {
                StoreSaveSet(SampleSet(3000, 2), file, path);
            } catch (const IoError& e) {
                what = e.what();
            }
            setrlimit(RLIMIT_FSIZE, &old);
            EXPECT_NE(what.find(file.string()), std::string::npos) << what;
            EXPECT_NE(what.find("File too large"), std::string::npos) << what;
            EXPECT_EQ(LoadSaveSet(file), earlier);
        }
    }

    fs::create_directory(dir / "taken.wsv");  // a folder in the way
    EXPECT_THROW(StoreSaveSet(earlier, dir / "taken.wsv"), IoError);
    EXPECT_THROW(StoreSaveSet(earlier, dir / "nowhere" / "x.wsv"), IoError);
    EXPECT_EQ(std::distance(fs::directory_iterator(dir), {}), 2);  // no temporary file left
}

TEST(SaveSetReader, GivesWhatTheWholeFileReadGivesAndAnyRecordByItself) {
    const auto dir = test::ScratchDir("SaveSetReader_Same");
    for (int16_t angles : {1, 2}) {
        SCOPED_TRACE(angles);
        const fs::path file = dir / ("set" + std::to_string(angles) + ".wsv");
        SaveSetData d = SampleSet(300, angles);
        d.Records[5].Name = std::string(100, 'L');  // a long name, then short ones, in one record
        d.Records[5].Curves[1].fill(42.5);          // then a record without a second curve
        StoreSaveSet(d, file);

        SaveSetReader reader(file);
        SaveSetData header = d;
        header.Records.clear();
        EXPECT_EQ(reader.Header(), header);
        EXPECT_EQ(reader.RecordCount(), 300);
        SaveSetRecord rec;
        for (std::size_t r = 0; r < 300; ++r) {
            ASSERT_TRUE(reader.Next(rec));
            ASSERT_EQ(rec, d.Records[r]) << r;
            if (r == 1) {
                // Random access in between leaves the sequence where it was.
                SaveSetRecord one;
                reader.Read(299, one);
                EXPECT_EQ(one, d.Records[299]);
                reader.Read(0, one);
                EXPECT_EQ(one, d.Records[0]);
            }
        }
        EXPECT_FALSE(reader.Next(rec));
        EXPECT_FALSE(reader.Next(rec));
        for (int64_t outside : {int64_t{-1}, int64_t{300}}) {
            EXPECT_THROW_WHAT(
                reader.Read(outside, rec), Error,
                file.string() + ": record " + std::to_string(outside) + " does not exist");
        }
    }

    // Random access makes the same checks, for the record it reads only.
    const fs::path file = dir / "damaged.wsv";
    StoreSaveSet(SampleSet(6, 2), file);
    test::ExecSql(
        file,
        "UPDATE records SET name = 'X' WHERE ordinal = 2; DELETE FROM records WHERE ordinal = 4;");
    SaveSetReader reader(file);
    SaveSetRecord rec;
    EXPECT_NO_THROW(reader.Read(3, rec));
    EXPECT_EQ(rec.Name, "Tile 3");
    const std::pair<int64_t, const char*> damaged[] = {{2, "record 2 does not match its checksum"},
                                                       {4, "record 4 is missing"}};
    for (const auto& [ordinal, fragment] : damaged) {
        EXPECT_THROW_WHAT(reader.Read(ordinal, rec), ParseError, fragment);
    }

    // A kept fuzz finding numbers a record far beyond what the file can hold.
    const fs::path jump = test::DataPath("fuzz/SaveSet/record-numbering-jump.wsv");
    ExpectRefused(jump, "is missing");
    EXPECT_LE(SaveSetReader(jump).RecordCount(),
              static_cast<int64_t>(fs::file_size(jump) / (kPointCount * sizeof(double))));
}

TEST(SaveSetStorage, StreamedSaveKeepsTheEarlierFileWhenItIsAbandoned) {
    const auto dir = test::ScratchDir("SaveSetStorage_Streamed");
    const fs::path file = dir / "deck.wsv";
    const SaveSetData earlier = SampleSet(3, 1);
    StoreSaveSet(earlier, file);
    ::chmod(file.c_str(), 0600);

    const SaveSetData d = SampleSet(40, 2);
    // Feeds d's records, with `spoil` applied to record `at` (-1: none).
    const auto source = [&d](int at, std::function<void(SaveSetRecord&)> spoil) {
        return [&d, at, spoil, next = std::size_t{0}](SaveSetRecord& rec) mutable {
            if (next == d.Records.size())
                return false;
            rec = d.Records[next];
            if (static_cast<int>(next++) == at)
                spoil(rec);
            return true;
        };
    };
    EXPECT_THROW(
        StoreSaveSet(
            d, source(10, [](SaveSetRecord&) { throw std::runtime_error("the source broke"); }),
            file),
        std::runtime_error);
    EXPECT_THROW_WHAT(
        StoreSaveSet(d, source(7, [](SaveSetRecord& rec) { rec.Curves[0][3] = std::nan(""); }),
                     file),
        Error, "record 7 (\"Tile 7\")");
    SaveSetData wrongHeader = d;
    wrongHeader.NumAngles = 3;
    EXPECT_THROW(StoreSaveSet(wrongHeader, source(-1, {}), file), Error);
    EXPECT_EQ(LoadSaveSet(file), earlier);
    EXPECT_EQ(Temporaries(dir), 0);

    StoreSaveSet(d, source(-1, {}), file);
    EXPECT_EQ(LoadSaveSet(file), d);
    struct stat st {};
    ::stat(file.c_str(), &st);
    EXPECT_EQ(st.st_mode & 07777, 0600u);
    EXPECT_EQ(Temporaries(dir), 0);
}

// Peak resident memory of this process so far, in MB.
double PeakMegabytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

TEST(SaveSetStorage, ALargeSaveSetStreamsThroughInBoundedMemory) {
    const auto dir = test::ScratchDir("SaveSetStorage_Large");
    const fs::path file = dir / "large.wsv";
    constexpr int kRecords = 200'000;  // about 140 MB on disk
    const double before = PeakMegabytes();
    int made = 0;
    StoreSaveSet(
        SampleSet(0, 2),
        [&](SaveSetRecord& rec) {
            if (made == kRecords)
                return false;
            rec.Name = "Sample " + std::to_string(made);
            rec.Curves[0].fill(made * 0.25);
            rec.Curves[1].fill(-made * 0.25);
            ++made;
            return true;
        },
        file);
    SaveSetReader reader(file);
    EXPECT_EQ(reader.RecordCount(), kRecords);
    SaveSetRecord rec;
    int64_t read = 0;
    bool same = true;
    while (reader.Next(rec)) {
        same = same && rec.Name == "Sample " + std::to_string(read) &&
               rec.Curves[0][39] == read * 0.25 && rec.Curves[1][0] == -read * 0.25;
        ++read;
    }
    EXPECT_EQ(read, kRecords);
    EXPECT_TRUE(same);
#ifndef __SANITIZE_ADDRESS__
    // Held whole, the records alone would take over 130 MB.
    EXPECT_LT(PeakMegabytes() - before, 40.0);
#endif
    fs::remove(file);
}

}  // namespace
}  // namespace tintara
