// Writing and reading a 100,000-record two-angle save set (a large fandeck), whole-file.
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstring>

#include <filesystem>

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

void BM_SaveSetWrite100k(benchmark::State& state) {
    const auto data = LargeFandeck();
    const auto file = BenchFile();
    for (auto _ : state)
        tintara::StoreSaveSet(data, file);
    state.SetItemsProcessed(state.iterations() * kRecords);
    state.counters["MB"] = static_cast<double>(fs::file_size(file)) / 1e6;
    fs::remove(file);
}
BENCHMARK(BM_SaveSetWrite100k)->Unit(benchmark::kMillisecond)->Iterations(5);

void BM_SaveSetRead100k(benchmark::State& state) {
    const auto file = BenchFile();
    tintara::StoreSaveSet(LargeFandeck(), file);
    for (auto _ : state) {
        auto back = tintara::LoadSaveSet(file);
        benchmark::DoNotOptimize(back.Records.data());
    }
    state.SetItemsProcessed(state.iterations() * kRecords);
    fs::remove(file);
}
BENCHMARK(BM_SaveSetRead100k)->Unit(benchmark::kMillisecond)->Iterations(5);

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

}  // namespace
