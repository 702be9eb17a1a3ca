// Throughput of the colour-matching component: colour differences and fine spectra per second.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "engine/ColorMatch.h"
#include "engine/Utility.h"

namespace {

using tintara::kPointCount;

// A ladder of smooth, distinct curves so the work is not a repeat of one value.
std::vector<std::array<double, kPointCount>> Curves(int count) {
    std::vector<std::array<double, kPointCount>> curves(static_cast<std::size_t>(count));
    for (int c = 0; c < count; ++c) {
        const double peak = 400.0 + 11.0 * c;
        for (int i = 0; i < kPointCount; ++i) {
            const double nm = 360.0 + 10.0 * i;
            curves[static_cast<std::size_t>(c)][static_cast<std::size_t>(i)] =
                5.0 + 0.3 * c + 60.0 * std::exp(-((nm - peak) / 50.0) * ((nm - peak) / 50.0));
        }
    }
    return curves;
}

void BM_ReCalcDE(benchmark::State& state) {
    tintara::GlobalVariables ws;
    ws.ColorSpace = static_cast<int16_t>(state.range(0));
    tintara::Utility engine(ws);
    const auto curves = Curves(32);
    std::size_t i = 0;
    for (auto _ : state) {
        ws.MasterWorkSpectrum = curves[i % curves.size()];
        ws.SampleWorkSpectrum = curves[(i + 7) % curves.size()];
        engine.ReCalcDE();
        benchmark::DoNotOptimize(ws.DEResult.data());
        ++i;
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
    state.SetLabel(ws.ColorSpace == tintara::kHunterLab ? "Hunter Lab" : "CIELAB");
}
BENCHMARK(BM_ReCalcDE)->Arg(tintara::kCieLab)->Arg(tintara::kHunterLab);

void BM_FineSpectrum(benchmark::State& state) {
    tintara::ColorMatch plm;
    const auto curves = Curves(32);
    std::vector<double> fine(1);
    std::size_t i = 0;
    for (auto _ : state) {
        plm.SetTrialSpectrum(curves[i % curves.size()]);
        plm.GetFineSpectrum(fine);
        benchmark::DoNotOptimize(fine.data());
        ++i;
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}
BENCHMARK(BM_FineSpectrum);

// The 1 nm summation the folded weights replace, for comparison.
void BM_TristimulusBySummation(benchmark::State& state) {
    const auto curves = Curves(32);
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            tintara::colorimetry::TristimulusBySummation(curves[i % curves.size()]));
        ++i;
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}
BENCHMARK(BM_TristimulusBySummation);

}  // namespace
