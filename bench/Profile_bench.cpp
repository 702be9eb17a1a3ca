// The whole profiling sequence (raw DE, four phases, fine spectra) on the demo 32-tile pair, with
// the fast weight search and with the call-by-call reference search.
#include <benchmark/benchmark.h>

#include <chrono>

#include "engine/ProfileSequence.h"
#include "engine/Utility.h"
#include "engine/WavelengthSearch.h"
#include "files/DemoData.h"

namespace {

using namespace tintara;

// The demo tile pair in the SCI geometry (angle position 0), as the tile-set reader leaves it.
GlobalVariables DemoWorkspace() {
    const DemoSaveSets demo = MakeDemoData();
    GlobalVariables ws;
    const auto tiles = static_cast<int16_t>(demo.MasterTiles.Records.size());
    ws.DimensionTileArrays(tiles);
    ws.SetReferenceTiles(tiles);
    ws.InitializeVariables();
    for (int t = 0; t < tiles; ++t) {
        for (int w = 0; w < kPointCount; ++w) {
            ws.MasterReflectance(t, w) = demo.MasterTiles.Records[t].Curves[0][w];
            ws.TargetReflectance(t, w) = demo.TargetTiles.Records[t].Curves[0][w];
        }
        ws.TileNames[t] = demo.MasterTiles.Records[t].Name;
    }
    return ws;
}

// The grid's "Average DE": tiles 0..TileCount inclusive over TileCount + 1.
double GridAverage(const GlobalVariables& ws, int column) {
    double sum = 0.0;
    for (int t = 0; t <= ws.TileCount; ++t) {
        sum += column == 0 ? ws.RawDE(t, 3) : ws.FinalDE(t, 3);
    }
    return sum / (ws.TileCount + 1);
}

double ProfileMilliseconds(GlobalVariables& ws, WavelengthSearchMode mode) {
    Utility utility(ws);
    utility.SetWavelengthSearchMode(mode);
    const auto start = std::chrono::steady_clock::now();
    ProfileSequence(utility);
    const auto stop = std::chrono::steady_clock::now();
    return std::chrono::duration<double, std::milli>(stop - start).count();
}

void BM_ProfileDemoPairFast(benchmark::State& state) {
    GlobalVariables ws = DemoWorkspace();
    Utility utility(ws);
    utility.SetWavelengthSearchMode(WavelengthSearchMode::Fast);
    for (auto _ : state) {
        ProfileSequence(utility);
        benchmark::DoNotOptimize(ws.FinalDE.Row(0));
    }
    state.counters["raw_avg_DE"] = GridAverage(ws, 0);
    state.counters["final_avg_DE"] = GridAverage(ws, 1);
}
BENCHMARK(BM_ProfileDemoPairFast)->Unit(benchmark::kMillisecond);

void BM_WavelengthSearchFastOnePoint(benchmark::State& state) {
    GlobalVariables ws = DemoWorkspace();
    Utility utility(ws);
    ProfileSequence(utility);
    int w = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            FastWavelengthSearch(ws.TargetAfterLinearity, ws.MasterReflectance, ws.TileCount, w));
        w = (w + 1) % kPointCount;
    }
}
BENCHMARK(BM_WavelengthSearchFastOnePoint)->Unit(benchmark::kMicrosecond);

// Both paths in one run on fresh copies of the pair: the times, their ratio, and whether the two
// runs agree (they must, to the bit).
void BM_ProfileDemoPairFastVersusReference(benchmark::State& state) {
    const GlobalVariables pristine = DemoWorkspace();
    double fastMs = 0.0, referenceMs = 0.0;
    bool identical = true;
    GlobalVariables fast = pristine, reference = pristine;
    for (auto _ : state) {
        fast = pristine;
        reference = pristine;
        // The fast path is timed over several runs, its time being near the clock's resolution.
        constexpr int kFastRuns = 20;
        double total = 0.0;
        for (int i = 0; i < kFastRuns; ++i)
            total += ProfileMilliseconds(fast, WavelengthSearchMode::Fast);
        fastMs = total / kFastRuns;
        referenceMs = ProfileMilliseconds(reference, WavelengthSearchMode::Reference);
        identical = fast.WavelengthCoefficients == reference.WavelengthCoefficients &&
                    fast.TargetAfterWavelength == reference.TargetAfterWavelength &&
                    fast.FinalDE == reference.FinalDE &&
                    fast.WavelengthDE == reference.WavelengthDE;
    }
    state.counters["fast_ms"] = fastMs;
    state.counters["reference_ms"] = referenceMs;
    state.counters["ratio"] = referenceMs / fastMs;
    state.counters["identical"] = identical ? 1 : 0;
    state.counters["raw_avg_DE"] = GridAverage(fast, 0);
    state.counters["final_avg_DE"] = GridAverage(fast, 1);
}
BENCHMARK(BM_ProfileDemoPairFastVersusReference)->Unit(benchmark::kMillisecond)->Iterations(2);

}  // namespace
