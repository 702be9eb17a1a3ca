// Throughput of the number rendering that every grid cell and coefficient line goes through,
// beside std::to_chars (shortest round trip) as the floor for turning a double into text.
#include <benchmark/benchmark.h>

#include <charconv>
#include <string>

#include "workspace/NumberFormat.h"

namespace {

// Renders colour differences from 0 to a few hundred, never round, one per iteration.
template <class Render>
void OverValues(benchmark::State& state, Render render) {
    double v = 0.0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(render(v));
        benchmark::ClobberMemory();
        v += 0.0137;
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_FormatDeltaE(benchmark::State& state) {
    OverValues(state, [](double v) { return tintara::Format(v, "##0.00"); });
}
BENCHMARK(BM_FormatDeltaE);

void BM_FormatDeltaEReference(benchmark::State& state) {
    OverValues(state, [](double v) { return tintara::detail::ReferenceFormat(v, "##0.00"); });
}
BENCHMARK(BM_FormatDeltaEReference);

void BM_FormatGain(benchmark::State& state) {
    OverValues(state, [](double v) { return tintara::Format(v, "###.000000"); });
}
BENCHMARK(BM_FormatGain);

void BM_PrintNumber(benchmark::State& state) {
    OverValues(state, [](double v) { return tintara::PrintNumber(v); });
}
BENCHMARK(BM_PrintNumber);

void BM_PrintNumberReference(benchmark::State& state) {
    OverValues(state, [](double v) {
        const std::string text = tintara::detail::ReferenceNumberText(v);
        return (text[0] == '-' ? text : " " + text) + " ";
    });
}
BENCHMARK(BM_PrintNumberReference);

// The floor: the shortest round-trip text of the same values, into a std::string and alone.
void BM_ToChars(benchmark::State& state) {
    OverValues(state, [](double v) {
        char buffer[32];
        return std::string(buffer, std::to_chars(buffer, buffer + sizeof buffer, v).ptr);
    });
}
BENCHMARK(BM_ToChars);

void BM_ToCharsBuffer(benchmark::State& state) {
    char buffer[32];
    OverValues(state,
               [&](double v) { return std::to_chars(buffer, buffer + sizeof buffer, v).ptr; });
}
BENCHMARK(BM_ToCharsBuffer);

}  // namespace
