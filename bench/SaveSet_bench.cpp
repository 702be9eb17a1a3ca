// Writing and reading a 100,000-record two-angle save set (a large fandeck), whole-file.
#include <benchmark/benchmark.h>
#include <unistd.h>

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

}  // namespace
