// Throughput of the number rendering that every grid cell and coefficient line goes through.
#include <benchmark/benchmark.h>

#include "workspace/NumberFormat.h"

static void BM_FormatDeltaE(benchmark::State& state) {
    double v = 0.0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(tintara::Format(v, "##0.00"));
        v += 0.0137;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_FormatDeltaE);
