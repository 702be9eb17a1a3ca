// Validation of a large fandeck: statistics of 100,000 paired readings, before and after.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "engine/ColorMatch.h"
#include "engine/Validation.h"

namespace {

using tintara::kPointCount;

void BM_Validate(benchmark::State& state) {
    const auto samples = static_cast<std::size_t>(state.range(0));
    std::vector<double> curves(samples * 3 * kPointCount);
    std::vector<tintara::ValidationPair> pairs(samples);
    for (std::size_t s = 0; s < samples; ++s) {
        double* master = curves.data() + s * 3 * kPointCount;
        const double peak = 380.0 + static_cast<double>(s % 350);
        for (int i = 0; i < kPointCount; ++i) {
            const double nm = 360.0 + 10.0 * i;
            master[i] = 5.0 + 70.0 * std::exp(-((nm - peak) / 60.0) * ((nm - peak) / 60.0));
            master[kPointCount + i] = master[i] * 0.98 + 0.3;          // as measured
            master[2 * kPointCount + i] = master[i] + 0.01 * (i % 3);  // corrected
        }
        pairs[s] = {"S", master, master + kPointCount, master + 2 * kPointCount};
    }
    for (auto _ : state) {
        const tintara::ValidationResult result = tintara::Validate(pairs, tintara::kCieLab, 0.5);
        benchmark::DoNotOptimize(result.After.DE.P95);
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * samples));
}
BENCHMARK(BM_Validate)->Arg(100000)->Unit(benchmark::kMillisecond);

}  // namespace
