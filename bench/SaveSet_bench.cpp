// Writing and reading a 100,000-record two-angle save set (a large fandeck), whole-file.
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstring>
#include <ctime>

#include <filesystem>
#include <string>
#include <vector>

#include "files/SaveSetLibrary.h"

namespace {

namespace fs = std::filesystem;

constexpr int kRecords = 100'000;

tintara::SaveSetData LargeFandeck() {
    tintara::SaveSetData d;
    d.NumAngles = 2;
    d.AngleTypes = {1, 2, 0};
    d.Company = "Bench";
    d.Status = "XXBIXX";
    d.Instrument = 203;
    d.Records.resize(kRecords);
    for (int r = 0; r < kRecords; ++r) {
        auto& rec = d.Records[r];
        rec.Name = "Sample " + std::to_string(r);
        rec.Name2 = "Deck A";
        rec.Instrument = 203;
        for (int a = 0; a < 2; ++a) {
            for (int p = 0; p < tintara::kPointCount; ++p) {
                rec.Curves[a][p] = 5.0 + (r % 97) * 0.9 + p * 0.1 - a * 0.5;
            }
        }
    }
    return d;
}

fs::path BenchFile() {
    return fs::temp_directory_path() / ("tintara-bench-" + std::to_string(::getpid()) + ".wsv");
}

// Argument 0: the records go straight into the pages (the program's way); 1: through SQL
// statements (the reference).
tintara::RecordPath PathOf(const benchmark::State& state) {
    return state.range(0) == 0 ? tintara::RecordPath::kPages : tintara::RecordPath::kStatements;
}

void BM_SaveSetWrite100k(benchmark::State& state) {
    const auto data = LargeFandeck();
    const auto file = BenchFile();
    for (auto _ : state)
        tintara::StoreSaveSet(data, file, PathOf(state));
    state.SetItemsProcessed(state.iterations() * kRecords);
    state.counters["MB"] = static_cast<double>(fs::file_size(file)) / 1e6;
    fs::remove(file);
}
BENCHMARK(BM_SaveSetWrite100k)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(5);

void BM_SaveSetRead100k(benchmark::State& state) {
    const auto file = BenchFile();
    tintara::StoreSaveSet(LargeFandeck(), file);
    for (auto _ : state) {
        auto back = tintara::LoadSaveSet(file, PathOf(state));
        benchmark::DoNotOptimize(back.Records.data());
    }
    state.SetItemsProcessed(state.iterations() * kRecords);
    fs::remove(file);
}
BENCHMARK(BM_SaveSetRead100k)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(5);

// The floor for the read: the same rows into the same structures through SQLite alone, with no
// check, no checksum and no header (the header is one row).
tintara::SaveSetData PlainSqliteRead(const fs::path& file) {
    tintara::SaveSetData d;
    sqlite3* db = nullptr;
    sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr);
    sqlite3_stmt* s = nullptr;
    sqlite3_prepare_v2(db, "SELECT max(ordinal) FROM records;", -1, &s, nullptr);
    if (sqlite3_step(s) == SQLITE_ROW)
        d.Records.reserve(static_cast<std::size_t>(sqlite3_column_int64(s, 0)) + 1);
    sqlite3_finalize(s);
    sqlite3_prepare_v2(db,
                       "SELECT ordinal, name, name2, system, notes, status, instrument, time, "
                       "curve_0, curve_1, checksum FROM records ORDER BY ordinal;",
                       -1, &s, nullptr);
    const auto text = [&](int col) {
        return std::string(reinterpret_cast<const char*>(sqlite3_column_text(s, col)),
                           static_cast<std::size_t>(sqlite3_column_bytes(s, col)));
    };
    while (sqlite3_step(s) == SQLITE_ROW) {
        auto& rec = d.Records.emplace_back();
        rec.Name = text(1);
        rec.Name2 = text(2);
        rec.System = text(3);
        rec.Notes = text(4);
        rec.Status = text(5);
        rec.Instrument = static_cast<int16_t>(sqlite3_column_int64(s, 6));
        rec.Time = static_cast<int32_t>(sqlite3_column_int64(s, 7));
        for (int a = 0; a < 2; ++a) {
            if (sqlite3_column_type(s, 8 + a) == SQLITE_BLOB)
                std::memcpy(rec.Curves[a].data(), sqlite3_column_blob(s, 8 + a),
                            sizeof rec.Curves[a]);
        }
    }
    sqlite3_finalize(s);
    sqlite3_close(db);
    return d;
}

void BM_SaveSetReadPlainSqlite100k(benchmark::State& state) {
    const auto file = BenchFile();
    tintara::StoreSaveSet(LargeFandeck(), file);
    for (auto _ : state) {
        auto back = PlainSqliteRead(file);
        benchmark::DoNotOptimize(back.Records.data());
    }
    state.SetItemsProcessed(state.iterations() * kRecords);
    fs::remove(file);
}
BENCHMARK(BM_SaveSetReadPlainSqlite100k)->Unit(benchmark::kMillisecond)->Iterations(5);

// Both reads in turn, many times, on the processor time each takes: the ratio stays put when the
// machine's load changes during the run, which the two benchmarks above, run one after the other,
// cannot promise.
void BM_SaveSetReadOverPlainSqlite100k(benchmark::State& state) {
    const auto file = BenchFile();
    tintara::StoreSaveSet(LargeFandeck(), file);
    const auto cpu = [] {
        timespec t{};
        ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
        return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
    };
    double ours = 0.0, plain = 0.0;
    for (auto _ : state) {
        double t0 = cpu();
        auto back = tintara::LoadSaveSet(file);
        benchmark::DoNotOptimize(back.Records.data());
        ours += cpu() - t0;
        back = {};
        t0 = cpu();
        auto floor = PlainSqliteRead(file);
        benchmark::DoNotOptimize(floor.Records.data());
        plain += cpu() - t0;
    }
    state.counters["ratio"] = ours / plain;
    fs::remove(file);
}
BENCHMARK(BM_SaveSetReadOverPlainSqlite100k)->Unit(benchmark::kMillisecond)->Iterations(10);

// The floor for the write: the same rows into the same table through SQLite alone, with the
// writer's settings, no check and no checksum.
// An empty records table with the writer's settings, a transaction open on it; the header table,
// one row, is left out.
sqlite3* CreatePlainRecordsTable(const fs::path& file) {
    fs::remove(file);
    sqlite3* db = nullptr;
    sqlite3_open_v2(file.c_str(), &db,
                    SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    sqlite3_exec(db,
                 "PRAGMA page_size = 65536; PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF;"
                 " PRAGMA locking_mode = EXCLUSIVE; BEGIN;"
                 "CREATE TABLE records (ordinal INTEGER PRIMARY KEY, name TEXT NOT NULL,"
                 " name2 TEXT NOT NULL, system TEXT NOT NULL, notes TEXT NOT NULL,"
                 " status TEXT NOT NULL, instrument INTEGER NOT NULL, time INTEGER NOT NULL,"
                 " curve_0 BLOB NOT NULL, curve_1 BLOB, checksum INTEGER NOT NULL);",
                 nullptr, nullptr, nullptr);
    return db;
}

void PlainSqliteWrite(const tintara::SaveSetData& d, const fs::path& file) {
    sqlite3* db = CreatePlainRecordsTable(file);
    sqlite3_stmt* s = nullptr;
    sqlite3_prepare_v2(db, "INSERT INTO records VALUES (?,?,?,?,?,?,?,?,?,?,?);", -1, &s, nullptr);
    const auto text = [&](int col, const std::string& t) {
        sqlite3_bind_text(s, col, t.data(), static_cast<int>(t.size()), SQLITE_STATIC);
    };
    for (std::size_t r = 0; r < d.Records.size(); ++r) {
        const auto& rec = d.Records[r];
        sqlite3_bind_int64(s, 1, static_cast<sqlite3_int64>(r));
        text(2, rec.Name);
        text(3, rec.Name2);
        text(4, rec.System);
        text(5, rec.Notes);
        text(6, rec.Status);
        sqlite3_bind_int(s, 7, rec.Instrument);
        sqlite3_bind_int(s, 8, rec.Time);
        for (int a = 0; a < 2; ++a)
            sqlite3_bind_blob(s, 9 + a, rec.Curves[a].data(), sizeof rec.Curves[a], SQLITE_STATIC);
        sqlite3_bind_int64(s, 11, 0);
        sqlite3_step(s);
        sqlite3_reset(s);
    }
    sqlite3_finalize(s);
    sqlite3_exec(db, "COMMIT;", nullptr, nullptr, nullptr);
    sqlite3_close(db);
}

void BM_SaveSetWritePlainSqlite100k(benchmark::State& state) {
    const auto data = LargeFandeck();
    const auto file = BenchFile();
    for (auto _ : state)
        PlainSqliteWrite(data, file);
    state.SetItemsProcessed(state.iterations() * kRecords);
    fs::remove(file);
}
BENCHMARK(BM_SaveSetWritePlainSqlite100k)->Unit(benchmark::kMillisecond)->Iterations(5);

// The floor under a conversion: every row of a save set read with SQLite alone and written into a
// new file with SQLite alone, eight rows to an INSERT as the writer does, with no correction, no
// check, no checksum and no copy.
void BM_CopyRowsPlainSqlite100k(benchmark::State& state) {
    const auto from = BenchFile();
    tintara::StoreSaveSet(LargeFandeck(), from);
    const fs::path to = from.string() + ".copy";
    constexpr int kRows = 8;
    for (auto _ : state) {
        sqlite3* in = nullptr;
        sqlite3_open_v2(from.c_str(), &in, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr);
        sqlite3* out = CreatePlainRecordsTable(to);
        std::string sql = "INSERT INTO records VALUES ";
        for (int r = 0; r < kRows; ++r)
            sql += r == 0 ? "(?,?,?,?,?,?,?,?,?,?,?)" : ",(?,?,?,?,?,?,?,?,?,?,?)";
        sqlite3_stmt* read = nullptr;
        sqlite3_stmt* write = nullptr;
        sqlite3_prepare_v2(in, "SELECT * FROM records ORDER BY ordinal;", -1, &read, nullptr);
        sqlite3_prepare_v2(out, sql.c_str(), -1, &write, nullptr);
        // Eight rows' values kept apart: a row's texts and curves live until the next step.
        std::vector<std::string> texts(kRows * 11);
        int pending = 0;
        while (sqlite3_step(read) == SQLITE_ROW) {
            for (int c = 0; c < 11; ++c) {
                sqlite3_value* v = sqlite3_column_value(read, c);
                const int at = pending * 11 + c + 1;
                switch (sqlite3_value_type(v)) {
                    case SQLITE_INTEGER:
                        sqlite3_bind_int64(write, at, sqlite3_value_int64(v));
                        break;
                    case SQLITE_NULL:
                        sqlite3_bind_null(write, at);
                        break;
                    default: {
                        std::string& t = texts[static_cast<std::size_t>(at - 1)];
                        t.assign(static_cast<const char*>(sqlite3_value_blob(v)),
                                 static_cast<std::size_t>(sqlite3_value_bytes(v)));
                        if (sqlite3_value_type(v) == SQLITE_TEXT)
                            sqlite3_bind_text(write, at, t.data(), static_cast<int>(t.size()),
                                              SQLITE_STATIC);
                        else
                            sqlite3_bind_blob(write, at, t.data(), static_cast<int>(t.size()),
                                              SQLITE_STATIC);
                    }
                }
            }
            if (++pending == kRows) {
                sqlite3_step(write);
                sqlite3_reset(write);
                pending = 0;
            }
        }
        sqlite3_finalize(read);
        sqlite3_finalize(write);
        sqlite3_exec(out, "COMMIT;", nullptr, nullptr, nullptr);
        sqlite3_close(out);
        sqlite3_close(in);
    }
    state.SetItemsProcessed(state.iterations() * kRecords);
    fs::remove(from);
    fs::remove(to);
}
BENCHMARK(BM_CopyRowsPlainSqlite100k)->Unit(benchmark::kMillisecond)->Iterations(5);

}  // namespace
