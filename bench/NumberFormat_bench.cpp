// Throughput of the number rendering that every grid cell and coefficient line goes through,
// beside std::to_chars (shortest round trip) as the floor for turning a double into text.
#include <benchmark/benchmark.h>

#include <charconv>
#include <string>

#include "workspace/NumberFormat.h"

namespace {

constexpr double kStep = 0.0137;  // colour differences from 0 to a few hundred, never round

void BM_FormatDeltaE(benchmark::State& state) {
    double v = 0.0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(tintara::Format(v, "##0.00"));
        v += kStep;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_FormatDeltaE);

void BM_FormatDeltaEReference(benchmark::State& state) {
    double v = 0.0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(tintara::detail::ReferenceFormat(v, "##0.00"));
        v += kStep;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_FormatDeltaEReference);

void BM_FormatGain(benchmark::State& state) {
    double v = 0.0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(tintara::Format(v, "###.000000"));
        v += kStep;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_FormatGain);

void BM_PrintNumber(benchmark::State& state) {
    double v = 0.0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(tintara::PrintNumber(v));
        v += kStep;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_PrintNumber);

void BM_PrintNumberReference(benchmark::State& state) {
    double v = 0.0;
    for (auto _ : state) {
        const std::string text = tintara::detail::ReferenceNumberText(v);
        benchmark::DoNotOptimize((text[0] == '-' ? text : " " + text) + " ");
        v += kStep;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_PrintNumberReference);

// The floor: the shortest round-trip text of the same values, into a std::string likewise.
void BM_ToChars(benchmark::State& state) {
    double v = 0.0;
    for (auto _ : state) {
        char buffer[32];
        const auto result = std::to_chars(buffer, buffer + sizeof buffer, v);
        benchmark::DoNotOptimize(std::string(buffer, result.ptr));
        v += kStep;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ToChars);

void BM_ToCharsBuffer(benchmark::State& state) {
    double v = 0.0;
    for (auto _ : state) {
        char buffer[32];
        const auto result = std::to_chars(buffer, buffer + sizeof buffer, v);
        benchmark::DoNotOptimize(result.ptr);
        benchmark::ClobberMemory();
        v += kStep;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ToCharsBuffer);

}  // namespace
