#include "files/SqlitePages.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

#include "support/SqlFile.h"
#include "support/TestPaths.h"

namespace tintara::sqlitepages {
namespace {

namespace fs = std::filesystem;

// One column value as SQLite hands it back.
struct Value {
    int type = SQLITE_NULL;
    int64_t integer = 0;
    double real = 0.0;
    std::string bytes;
    bool operator==(const Value& o) const {
        return type == o.type && integer == o.integer &&
               std::memcmp(&real, &o.real, sizeof real) == 0 && bytes == o.bytes;
    }
};

// A row of the test table t(id INTEGER PRIMARY KEY, i INTEGER, r REAL, s TEXT, b BLOB).
struct Row {
    int64_t id = 0;
    std::vector<Value> columns;  // i, r, s, b
    bool operator==(const Row& o) const { return id == o.id && columns == o.columns; }
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << "row " << row.id;
}

Value Integer(int64_t v) {
    return {SQLITE_INTEGER, v, 0.0, {}};
}
Value Real(double v) {
    return {SQLITE_FLOAT, 0, v, {}};
}
Value Text(std::string s) {
    return {SQLITE_TEXT, 0, 0.0, std::move(s)};
}
Value Blob(std::string s) {
    return {SQLITE_BLOB, 0, 0.0, std::move(s)};
}

// The record SQLite would store for `row`: the rowid alias as NULL, then the four columns.
std::string Record(const Row& row) {
    std::vector<uint32_t> types{0};
    for (const Value& v : row.columns) {
        switch (v.type) {
            case SQLITE_INTEGER:
                types.push_back(IntegerSerialType(v.integer));
                break;
            case SQLITE_FLOAT:
                types.push_back(7);
                break;
            case SQLITE_TEXT:
                types.push_back(static_cast<uint32_t>(2 * v.bytes.size() + 13));
                break;
            case SQLITE_BLOB:
                types.push_back(static_cast<uint32_t>(2 * v.bytes.size() + 12));
                break;
            default:
                types.push_back(0);
        }
    }
    std::string header;
    for (uint32_t t : types) {
        unsigned char buffer[9];
        header.append(reinterpret_cast<char*>(buffer),
                      static_cast<std::size_t>(PutVarint(buffer, t)));
    }
    std::string out(1, static_cast<char>(header.size() + 1));
    out += header;
    for (std::size_t c = 0; c < row.columns.size(); ++c) {
        const Value& v = row.columns[c];
        const uint32_t t = types[c + 1];
        unsigned char buffer[8];
        if (v.type == SQLITE_INTEGER) {
            PutInteger(buffer, t, v.integer);
            out.append(reinterpret_cast<char*>(buffer), SerialTypeBytes(t));
        } else if (v.type == SQLITE_FLOAT) {
            uint64_t bits = 0;
            std::memcpy(&bits, &v.real, sizeof bits);
            PutInteger(buffer, 6, static_cast<int64_t>(bits));
            out.append(reinterpret_cast<char*>(buffer), 8);
        } else {
            out += v.bytes;
        }
    }
    return out;
}

// A database holding the empty table t, as the file a save set's records are appended to.
uint32_t MakeEmptyTable(const fs::path& file, int pageSize) {
    fs::remove(file);
    test::ExecSql(file, "PRAGMA page_size = " + std::to_string(pageSize) +
                            "; CREATE TABLE t(id INTEGER PRIMARY KEY, i INTEGER, r REAL, s TEXT, "
                            "b BLOB);");
    return static_cast<uint32_t>(
        std::stoul(test::QuerySql(file, "SELECT rootpage FROM sqlite_schema WHERE name = 't';")));
}

std::vector<Row> SqliteRows(const fs::path& file) {
    std::vector<Row> rows;
    sqlite3* db = nullptr;
    sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_stmt* s = nullptr;
    sqlite3_prepare_v2(db, "SELECT id, i, r, s, b FROM t ORDER BY id;", -1, &s, nullptr);
    while (sqlite3_step(s) == SQLITE_ROW) {
        Row& row = rows.emplace_back();
        row.id = sqlite3_column_int64(s, 0);
        for (int c = 1; c < 5; ++c) {
            Value& v = row.columns.emplace_back();
            v.type = sqlite3_column_type(s, c);
            if (v.type == SQLITE_INTEGER)
                v.integer = sqlite3_column_int64(s, c);
            else if (v.type == SQLITE_FLOAT)
                v.real = sqlite3_column_double(s, c);
            else if (v.type != SQLITE_NULL && sqlite3_column_bytes(s, c) > 0)
                v.bytes.assign(static_cast<const char*>(sqlite3_column_blob(s, c)),
                               static_cast<std::size_t>(sqlite3_column_bytes(s, c)));
        }
    }
    sqlite3_finalize(s);
    sqlite3_close(db);
    return rows;
}

// What the scan gives, and how it ended.
struct Scanned {
    std::vector<Row> rows;
    TableScan::Step end = TableScan::Step::kStopped;
};

Scanned Scan(const fs::path& file, uint32_t root, std::size_t giveUpAfter = 1000000) {
    Scanned out;
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    TableScan scan(fd);
    struct Closer {
        int fd;
        ~Closer() { close(fd); }
    } closer{fd};
    if (!scan.Start(root))
        return out;
    TableScan::Step step;
    while ((step = scan.Next()) == TableScan::Step::kRow && out.rows.size() < giveUpAfter) {
        Row& row = out.rows.emplace_back();
        row.id = scan.Rowid();
        for (std::size_t c = 1; c < scan.Columns().size(); ++c) {
            const StoredValue& s = scan.Columns()[c];
            Value& v = row.columns.emplace_back();
            v.type = s.type;
            v.integer = s.integer;
            v.real = s.real;
            if (s.bytes)
                v.bytes.assign(reinterpret_cast<const char*>(s.bytes), s.size);
        }
    }
    out.end = step;
    return out;
}

// Rows that exercise every integer size, both ends of every varint length of the rowid, real
// numbers, texts and blobs up to several pages: around the largest payload a leaf keeps whole
// and the sizes that fill an exact number of overflow pages.
std::vector<Row> VariedRows(int pageSize, int plain) {
    const int64_t ints[] = {0,
                            1,
                            -1,
                            127,
                            128,
                            -129,
                            32767,
                            32768,
                            8388607,
                            -8388609,
                            2147483647,
                            2147483648,
                            140737488355327,
                            140737488355328,
                            std::numeric_limits<int64_t>::min(),
                            std::numeric_limits<int64_t>::max()};
    std::vector<Row> rows;
    int64_t id = -5;
    auto add = [&](std::vector<Value> columns) { rows.push_back({id, std::move(columns)}); };
    for (int k = 0; k < plain; ++k, ++id) {
        add({Integer(ints[k % 16]), Real(k * 0.1 - 3.0), Text("name " + std::to_string(k)),
             Blob(std::string(static_cast<std::size_t>(k % 90), static_cast<char>(k)))});
    }
    const int usable = pageSize;
    for (int size = usable - 60; size <= usable - 20; ++size, ++id)
        add({Value{}, Value{}, Value{}, Blob(std::string(static_cast<std::size_t>(size), 'x'))});
    for (int pages = 1; pages <= 3; ++pages) {
        for (int delta = -2; delta <= 2; ++delta, ++id) {
            add({Integer(id), Real(-0.0),
                 Text(std::string(static_cast<std::size_t>(pages * (usable - 4) + delta + 500),
                                  'T')),
                 Value{}});
        }
    }
    add({Real(std::numeric_limits<double>::infinity()), Value{}, Text(""), Blob("")});
    // Rowids on both sides of every varint length, up to the largest there is.
    for (int bits = 7; bits <= 56; bits += 7) {
        id = std::max(id + 1, (int64_t{1} << bits) - 1);
        add({Integer(bits)});
        id = std::max(id + 1, int64_t{1} << bits);
        add({Integer(-bits)});
    }
    id = std::numeric_limits<int64_t>::max();
    add({Text("last")});
    for (Row& row : rows)
        row.columns.resize(4);
    return rows;
}

std::string Check(const fs::path& file) {
    return test::QuerySql(file, "PRAGMA integrity_check;");
}

TEST(SqlitePages, AppendedRowsMakeADatabaseSqliteChecksAndReadsBack) {
    const auto dir = test::ScratchDir("SqlitePages_Append");
    for (int pageSize : {512, 4096, 65536}) {
        for (int plain : {0, 1, 3000}) {
            SCOPED_TRACE(std::to_string(pageSize) + " bytes a page, " + std::to_string(plain));
            const fs::path file = dir / "t.db";
            const uint32_t root = MakeEmptyTable(file, pageSize);
            ASSERT_TRUE(TableAppend::CanAppend(file, root));
            const std::vector<Row> rows =
                plain == 0 ? std::vector<Row>{} : VariedRows(pageSize, plain);
            TableAppend table(file, file, root);
            for (const Row& row : rows) {
                const std::string record = Record(row);
                std::memcpy(table.Row(row.id, record.size()), record.data(), record.size());
            }
            table.Finish();
            EXPECT_EQ(Check(file), "ok");
            EXPECT_EQ(SqliteRows(file), rows);
            const Scanned scanned = Scan(file, root);
            EXPECT_EQ(scanned.end, TableScan::Step::kEnd);
            EXPECT_EQ(scanned.rows, rows);
            // Every page is in use: the file is exactly the pages the header counts.
            EXPECT_EQ(std::stoll(test::QuerySql(file, "PRAGMA page_count;")) * pageSize,
                      static_cast<long long>(fs::file_size(file)));
            EXPECT_EQ(test::QuerySql(file, "PRAGMA freelist_count;"), "0");
        }
    }
}

// A table SQLite itself has written, rewritten and thinned out: deleted rows leave free blocks
// and fragments in the pages, updated rows move, long ones spill.
fs::path MakeWornTable(const fs::path& dir, int pageSize, uint32_t& root) {
    const fs::path file = dir / ("worn" + std::to_string(pageSize) + ".db");
    root = MakeEmptyTable(file, pageSize);
    std::string sql = "BEGIN;";
    for (int k = 0; k < 1500; ++k) {
        sql += "INSERT INTO t VALUES (" + std::to_string(k * 3 - 700) + ", " +
               std::to_string((k * 7919LL) << (k % 40)) + ", " + std::to_string(k * 0.25) +
               ", printf('%." + std::to_string(k % 7 == 0 ? 3 * pageSize : k % 50) +
               "c', 'n'), randomblob(" + std::to_string(k % 11 == 0 ? pageSize : k % 200) + "));";
    }
    sql +=
        "DELETE FROM t WHERE id % 4 = 0; UPDATE t SET s = s || s WHERE id % 5 = 1;"
        "UPDATE t SET b = NULL, s = NULL WHERE id % 9 = 2; COMMIT;";
    test::ExecSql(file, sql);
    return file;
}

TEST(SqlitePages, ScanGivesWhatSqliteGivesForTablesSqliteWrote) {
    const auto dir = test::ScratchDir("SqlitePages_Worn");
    for (int pageSize : {512, 4096}) {
        SCOPED_TRACE(pageSize);
        uint32_t root = 0;
        const fs::path file = MakeWornTable(dir, pageSize, root);
        const std::vector<Row> expected = SqliteRows(file);
        ASSERT_GT(expected.size(), 1000u);
        const Scanned scanned = Scan(file, root);
        EXPECT_EQ(scanned.end, TableScan::Step::kEnd);
        EXPECT_EQ(scanned.rows, expected);
        // Only an empty table that is the file's last page takes appended rows.
        EXPECT_FALSE(TableAppend::CanAppend(file, root));
    }
}

TEST(SqlitePages, ScanStopsAtDamageAndNeverRunsAway) {
    const auto dir = test::ScratchDir("SqlitePages_Damage");
    uint32_t root = 0;
    const fs::path good = MakeWornTable(dir, 512, root);
    const std::size_t rows = SqliteRows(good).size();
    const std::string bytes = test::FileBytes(good);
    auto pageOf = [&](const char* type, int skip) {
        return std::stoul(test::QuerySql(
            good, std::string("SELECT pageno FROM dbstat WHERE name = 't' AND pagetype = '") +
                      type + "' ORDER BY pageno LIMIT 1 OFFSET " + std::to_string(skip) + ";"));
    };
    const std::size_t leaf = (pageOf("leaf", 3) - 1) * 512;
    const std::size_t interior = (pageOf("internal", 0) - 1) * 512;
    auto put32 = [](std::string& s, std::size_t at, uint32_t v) {
        for (int i = 0; i < 4; ++i)
            s[at + static_cast<std::size_t>(i)] = static_cast<char>(v >> (24 - 8 * i));
    };
    std::vector<std::pair<std::string, std::string>> cases;
    cases.push_back({"cut in half", bytes.substr(0, bytes.size() / 2)});
    cases.push_back({"a leaf of an unknown kind", bytes});
    cases.back().second[leaf] = 0x42;
    cases.push_back({"a cell pointer into the page header", bytes});
    cases.back().second[leaf + 8] = 0;
    cases.back().second[leaf + 9] = 2;
    cases.push_back({"more cells than the page has room for", bytes});
    cases.back().second[leaf + 3] = 0x7f;
    for (uint32_t to : {1u, static_cast<uint32_t>(interior / 512 + 1), 0xfffffff0u}) {
        cases.push_back({"an interior page pointing to page " + std::to_string(to), bytes});
        put32(cases.back().second, interior + 8, to);
    }
    cases.push_back({"overflow pages linking past the end", bytes});
    for (int k = 0;; ++k) {
        const std::string page = test::QuerySql(
            good, "SELECT pageno FROM dbstat WHERE pagetype = 'overflow' LIMIT 1 OFFSET " +
                      std::to_string(k) + ";");
        if (page.empty())
            break;
        put32(cases.back().second, (std::stoul(page) - 1) * 512, 0xfffffff0u);
    }
    for (const auto& [what, damaged] : cases) {
        SCOPED_TRACE(what);
        const fs::path file = dir / "damaged.db";
        std::ofstream(file, std::ios::binary | std::ios::trunc) << damaged;
        const Scanned scanned = Scan(file, root, 4 * rows);
        EXPECT_EQ(scanned.end, TableScan::Step::kStopped);
        EXPECT_LT(scanned.rows.size(), rows);
    }
    // A file in write-ahead-log mode is left to SQLite from the start.
    test::ExecSql(good, "PRAGMA journal_mode = WAL;");
    EXPECT_EQ(Scan(good, root).end, TableScan::Step::kStopped);
    EXPECT_FALSE(TableAppend::CanAppend(good, root));
}

}  // namespace
}  // namespace tintara::sqlitepages
