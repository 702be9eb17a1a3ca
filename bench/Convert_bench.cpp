// Fandeck conversion: a 100,000-record two-angle fandeck read, corrected, compared and written,
// and the curve correction on its own.
#include <benchmark/benchmark.h>

#include <unistd.h>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "LargeFandeck.h"
#include "app/FandeckCompare.h"
#include "engine/ProfileSequence.h"
#include "engine/Utility.h"
#include "files/CCFReadWrite.h"
#include "files/DemoData.h"
#include "files/ProfileCorrector.h"
#include "files/RWSaveSet.h"
#include "files/SaveSetLibrary.h"

namespace {

using namespace tintara;

constexpr int kRecords = 100000;

// The demo's coefficient file and fandecks stretched to 100,000 records, in a temporary folder.
struct Fixture {
    std::filesystem::path dir, ccf, master, target, output;

    Fixture() {
        dir = std::filesystem::temp_directory_path() /
              ("tintara-convert-bench-" + std::to_string(::getpid()));
        const auto files = bench::WriteLargeFandeck(dir, kRecords);
        ccf = files.ccf;
        master = files.master;
        target = files.target;
        output = dir / "correlated-100k.wsv";
    }
    ~Fixture() {
        std::error_code ec;
        std::filesystem::remove_all(dir, ec);
    }
};

Fixture& Data() {
    static Fixture fixture;
    return fixture;
}

// What Generate > Correlated SaveSet does with both fandecks and the coefficient file chosen.
void ReadConvertAndCompare(GlobalVariables& ws, RWSaveSet& saveSets, Utility& utility,
                           const Fixture& f) {
    ws.MasterSaveSetFile = f.master.string();
    if (!saveSets.ReadMasterFandeck())
        throw std::runtime_error(saveSets.LastError());
    ws.MasterSaveSetLoaded = true;
    ws.CoefficientFile = f.ccf.string();
    if (saveSets.ReadFandeckandBuildCorrelatedData(f.target.string()) !=
        RWSaveSet::kCorrelationDone)
        throw std::runtime_error(saveSets.LastError());
    CompareFandecks(ws, utility);
}

// Read both fandecks, correct the Target with the coefficient file, compute the deltas of every
// sample in both geometries, write the correlated fandeck.
void BM_ConvertFandeck100kEndToEnd(benchmark::State& state) {
    Fixture& f = Data();
    for (auto _ : state) {
        GlobalVariables ws;
        RWSaveSet saveSets(ws);
        Utility utility(ws);
        ReadConvertAndCompare(ws, saveSets, utility, f);
        ws.CorrelatedSaveSetFile = f.output.string();
        saveSets.WriteCorrelatedResults();
        benchmark::DoNotOptimize(ws.SampleDeltas(kRecords, 7));
    }
    state.SetItemsProcessed(state.iterations() * kRecords);
}
BENCHMARK(BM_ConvertFandeck100kEndToEnd)->Unit(benchmark::kMillisecond)->Iterations(3);

// The same road taken apart, so that a slow step shows.
void BM_ConvertFandeck100kReadAndCorrect(benchmark::State& state) {
    Fixture& f = Data();
    GlobalVariables ws;
    RWSaveSet saveSets(ws);
    ws.CoefficientFile = f.ccf.string();
    for (auto _ : state) {
        benchmark::DoNotOptimize(saveSets.ReadFandeckandBuildCorrelatedData(f.target.string()));
    }
    state.SetItemsProcessed(state.iterations() * kRecords);
}
BENCHMARK(BM_ConvertFandeck100kReadAndCorrect)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_CorrelatedDeltas100k(benchmark::State& state) {
    Fixture& f = Data();
    GlobalVariables ws;
    RWSaveSet saveSets(ws);
    Utility utility(ws);
    ReadConvertAndCompare(ws, saveSets, utility, f);
    for (auto _ : state) {
        CompareFandecks(ws, utility);
        benchmark::DoNotOptimize(ws.SampleDeltas(kRecords, 7));
    }
    state.SetItemsProcessed(state.iterations() * kRecords);
}
BENCHMARK(BM_CorrelatedDeltas100k)->Unit(benchmark::kMillisecond)->Iterations(3);

// The correction step alone: one 40-point curve per item, SCI and SCE alternating, two and
// four points at a time.
void BM_CorrectCurves(benchmark::State& state) {
    Fixture& f = Data();
    ProfileCorrector corrector;
    corrector.ReadCoefficientFile(f.ccf);
    corrector.SetWidth(static_cast<int>(state.range(0)));
    if (corrector.Width() != state.range(0)) {
        state.SkipWithError("this processor does not take that many points at a time");
        return;
    }
    const SaveSetData target = MakeDemoData().TargetFandeck;
    std::vector<double> curves;
    for (const SaveSetRecord& record : target.Records) {
        for (const auto& curve : record.Curves)
            curves.insert(curves.end(), curve.begin(), curve.end());
    }
    const std::size_t count = curves.size() / kPointCount;
    double out[kPointCount];
    std::size_t i = 0;
    for (auto _ : state) {
        corrector.Correct(i % 2 == 0 ? Geometry::SCI : Geometry::SCE,
                          curves.data() + i * kPointCount, out);
        benchmark::DoNotOptimize(out);
        benchmark::ClobberMemory();
        if (++i == count)
            i = 0;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_CorrectCurves)->Arg(2)->Arg(4)->Arg(8);  // points at a time

}  // namespace
