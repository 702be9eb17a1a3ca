// Importing 100,000 samples from CGATS: a 10 nm percent file and an instrument's 0..1 export.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "files/Cgats.h"

namespace {

constexpr int kSamples = 100'000;

// SAMPLE_ID, SAMPLE_NAME and 40 spectral values with 4 decimals per row (about 34 MB in percent).
std::string BigCgats(bool fraction) {
    std::string text =
        "CGATS.17\nORIGINATOR \"bench\"\nNUMBER_OF_FIELDS 42\nBEGIN_DATA_FORMAT\n"
        "SAMPLE_ID SAMPLE_NAME";
    for (int nm = 360; nm <= 750; nm += 10)
        text += " SPECTRAL_NM" + std::to_string(nm);
    text += "\nEND_DATA_FORMAT\nNUMBER_OF_SETS " + std::to_string(kSamples) + "\nBEGIN_DATA\n";
    char cell[32];
    for (int s = 0; s < kSamples; ++s) {
        text += std::to_string(s + 1) + " \"Sample " + std::to_string(s + 1) + "\"";
        for (int i = 0; i < 40; ++i) {
            const double v = 5.0 + 80.0 * std::fabs(std::sin(0.05 * s + 0.17 * i));
            std::snprintf(cell, sizeof cell, " %.4f", fraction ? v / 100 : v);
            text += cell;
        }
        text += '\n';
    }
    return text + "END_DATA\n";
}

// Imports from a file, as `tintara import` does.
void ImportBig(benchmark::State& state, bool fraction) {
    const std::string text = BigCgats(fraction);
    const auto file = std::filesystem::temp_directory_path() /
                      ("tintara-bench-" + std::to_string(::getpid()) + ".txt");
    std::ofstream(file, std::ios::binary) << text;
    for (auto _ : state) {
        const tintara::SaveSetData data = tintara::ImportCgats(file);
        benchmark::DoNotOptimize(data.Records.data());
    }
    state.SetItemsProcessed(state.iterations() * kSamples);
    state.counters["MB"] = static_cast<double>(text.size()) / 1e6;
    std::filesystem::remove(file);
}

// Percent with no scale keyword: one pass over the values.
void BM_CgatsImport100kPercent(benchmark::State& state) {
    ImportBig(state, false);
}
BENCHMARK(BM_CgatsImport100kPercent)->Unit(benchmark::kMillisecond)->Iterations(5);

// 0..1 judged from the values: the measured points are read a second time, decimal point moved.
void BM_CgatsImport100kFraction(benchmark::State& state) {
    ImportBig(state, true);
}
BENCHMARK(BM_CgatsImport100kFraction)->Unit(benchmark::kMillisecond)->Iterations(5);

}  // namespace
