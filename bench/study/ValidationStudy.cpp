// How well profiles made from 32 tiles hold on a fandeck never used for profiling, for the demo
// pair and three simulated instrument pairs of our own. Prints a Markdown report on stdout;
// tools/validation-study runs it and keeps the result in docs/validation-study.md.
//
// Every pair is made by MakeDemoData: the same 32 tiles and 1,200 fandeck samples read on the
// Master, and on a Target that differs from it by the documented InstrumentDifferenceModel (in
// this order: wavelength shift, band pass, photometric nonlinearity, gain, offset, noise). The
// Target is profiled in SCI from the tiles alone (the four phases, with and without the
// wavelength-weight search), the coefficient file corrects the Target fandeck, and the fandeck is
// validated against the Master's; the tile set is cross-validated (each ordinary tile held out of
// the wavelength search in turn).
//
// Usage: tintara-validation-study WORK_DIR
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "engine/ColorMatch.h"
#include "engine/ProfileSequence.h"
#include "engine/Utility.h"
#include "engine/Validation.h"
#include "files/CCFReadWrite.h"
#include "files/DemoData.h"
#include "files/ProfileCorrector.h"
#include "files/RWSaveSet.h"
#include "files/SaveSetLibrary.h"
#include "workspace/Error.h"

namespace {

using namespace tintara;
namespace fs = std::filesystem;

struct Pair {
    std::string Name;
    std::string Story;
    InstrumentDifferenceModel Model;
    uint64_t Seed;
};

struct Outcome {
    ValidationResult Full;      // four phases
    ValidationResult NoSearch;  // wavelength weights left at (0, 1, 0)
    CrossValidationResult Cross;
    double TileRaw = 0, TileFinal = 0;
};

// The Target fandeck corrected with the coefficient file (SCI, angle position 0), validated
// against the Master fandeck in CIELAB with the default single-sample limit.
ValidationResult ValidateWith(const fs::path& dir, const fs::path& ccf) {
    const SaveSetData master = LoadSaveSet(dir / "master-fandeck.wsv");
    const SaveSetData target = LoadSaveSet(dir / "target-fandeck.wsv");
    ProfileCorrector corrector;
    corrector.ReadCoefficientFile(ccf);
    std::vector<Curve> corrected(target.Records.size());
    std::vector<ValidationPair> pairs;
    for (std::size_t s = 0; s < corrected.size(); ++s) {
        corrector.Correct(Geometry::SCI, target.Records[s].Curves[0], corrected[s]);
        pairs.push_back({master.Records[s].Name, master.Records[s].Curves[0].data(),
                         target.Records[s].Curves[0].data(), corrected[s].data()});
    }
    return Validate(pairs, kCieLab, 0.5);
}

// Reads the tile sets and runs the four phases, as the coefficient command does.
void Profile(GlobalVariables& ws, const fs::path& dir, bool search) {
    ws.InitializeVariables();
    ws.GeometryChoice = true;
    ws.UseCentroid = search;
    RWSaveSet reader(ws);
    bool failed = false;
    reader.ReadWSVRecord((dir / "master-tiles.wsv").string(), true, failed);
    if (!failed)
        reader.ReadWSVRecord((dir / "target-tiles.wsv").string(), false, failed);
    if (failed)
        throw Error(dir.string() + ": " + reader.LastError());
    Utility utility(ws);
    ProfileSequence(utility);
}

Outcome Study(const Pair& pair, const fs::path& work) {
    const fs::path dir = work / pair.Name;
    DemoParameters parameters;
    parameters.Target = pair.Model;
    parameters.Seed = pair.Seed;
    WriteDemoData(dir, parameters);
    Outcome outcome;
    for (bool search : {true, false}) {
        GlobalVariables ws;
        Profile(ws, dir, search);
        const fs::path ccf = dir / (search ? "profile.ccf" : "profile-nosearch.ccf");
        ws.CoefficientFile = ccf.string();
        CCFReadWrite(ws).WriteCoeficcients(ws.CoefficientFile);
        if (search) {
            outcome.Cross = CrossValidateWavelength(ws);
            for (int t = 0; t < ws.TileCount; ++t) {
                outcome.TileRaw += ws.RawDE(t, 3) / ws.TileCount;
                outcome.TileFinal += ws.FinalDE(t, 3) / ws.TileCount;
            }
            outcome.Full = ValidateWith(dir, ccf);
        } else {
            outcome.NoSearch = ValidateWith(dir, ccf);
        }
    }
    return outcome;
}

std::string F(double value, int decimals = 2) {
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: tintara-validation-study WORK_DIR\n";
        return 2;
    }
    const std::vector<Pair> pairs{
        {"demo", "the demo pair: every effect a little, noise 0.015 %", DemoParameters{}.Target,
         DemoParameters{}.Seed},
        {"photometric",
         "photometric only: offset, gain and nonlinearity, no wavelength error",
         {0.45, 0.975, 0.0, 0.0, 0.035, 0.01},
         0x5eed'0001},
        {"wavelength",
         "wavelength-dominated: 2.5 nm shift and a wider band, small photometric "
         "error",
         {0.10, 0.995, 2.5, 0.10, 0.005, 0.01},
         0x5eed'0002},
        {"noisy",
         "the demo's systematic errors with noise 0.10 % per point (a worn instrument)",
         {0.30, 0.985, 1.2, 0.06, 0.02, 0.10},
         0x5eed'0003},
    };
    try {
        std::cout << "| pair | model (offset %, gain, shift nm, band, nonlin, noise %) | tiles "
                     "raw -> final DE | fandeck mean DE before -> after | P95 before -> after | "
                     "after without search (mean / P95) | DE2000 after (mean / P95) | CV fitted "
                     "| CV predicted | CV gap |\n";
        std::cout << "|---|---|---|---|---|---|---|---|---|---|\n";
        for (const Pair& pair : pairs) {
            const Outcome o = Study(pair, argv[1]);
            const InstrumentDifferenceModel& m = pair.Model;
            std::cout << "| " << pair.Name << " | " << F(m.Offset) << ", " << F(m.Gain, 3) << ", "
                      << F(m.WavelengthShiftNm, 1) << ", " << F(m.Bandwidth) << ", "
                      << F(m.Nonlinearity, 3) << ", " << F(m.NoiseSd, 3) << " | " << F(o.TileRaw)
                      << " -> " << F(o.TileFinal) << " | " << F(o.Full.Before.DE.Mean) << " -> "
                      << F(o.Full.After.DE.Mean) << " | " << F(o.Full.Before.DE.P95) << " -> "
                      << F(o.Full.After.DE.P95) << " | " << F(o.NoSearch.After.DE.Mean) << " / "
                      << F(o.NoSearch.After.DE.P95) << " | " << F(o.Full.After.DE2000.Mean) << " / "
                      << F(o.Full.After.DE2000.P95) << " | " << F(o.Cross.MeanFitted, 3) << " | "
                      << F(o.Cross.MeanPredicted, 3) << " | " << F(o.Cross.Gap(), 3) << " |\n";
        }
        std::cout << "\nPairs:\n\n";
        for (const Pair& pair : pairs)
            std::cout << "- " << pair.Name << ": " << pair.Story << "\n";
    } catch (const Error& error) {
        std::cerr << error.what() << "\n";
        return 1;
    }
    return 0;
}
