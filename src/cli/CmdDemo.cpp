// tintara demo: makes the demo tile sets and fandecks and runs the profiling road over them.
//
// The road is a sequence of steps over one DemoRun; each step is a function of its own, listed in
// DemoSteps() in the order they run. A later step reads what earlier ones left in DemoRun.
#include <cstdio>
#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "cli/Args.h"
#include "cli/Commands.h"
#include "files/DemoData.h"
#include "files/SaveSetData.h"
#include "workspace/Error.h"
#include "workspace/GlobalVariables.h"
#include "workspace/MakeSensorList.h"

namespace tintara::cli {

namespace {

// What the steps share.
struct DemoRun {
    CommandContext& context;
    std::filesystem::path dir;
    DemoParameters parameters;
    // Written by MakeDemoSaveSets.
    std::filesystem::path masterTiles, targetTiles, masterFandeck, targetFandeck;
};

std::string Fixed(double value, int decimals) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

// Step 1: the four demo save sets.
void MakeDemoSaveSets(DemoRun& run) {
    const auto files = WriteDemoData(run.dir, run.parameters);
    run.masterTiles = files[0];
    run.targetTiles = files[1];
    run.masterFandeck = files[2];
    run.targetFandeck = files[3];

    const DemoParameters& p = run.parameters;
    GlobalVariables ws;
    const MakeSensorList catalogue(ws);
    std::ostream& out = run.context.out;
    out << "Demo save sets in " << run.dir.string() << "\n";
    struct Line {
        const std::filesystem::path& file;
        std::string what;
        int16_t instrument;
        const std::string& serial;
    };
    const Line lines[] = {
        {run.masterTiles, "32 tiles", p.MasterInstrument, p.MasterSerial},
        {run.targetTiles, "32 tiles", p.TargetInstrument, p.TargetSerial},
        {run.masterFandeck, std::to_string(p.FandeckSamples) + " samples", p.MasterInstrument,
         p.MasterSerial},
        {run.targetFandeck, std::to_string(p.FandeckSamples) + " samples", p.TargetInstrument,
         p.TargetSerial},
    };
    for (const Line& l : lines) {
        out << "  " << l.file.filename().string() << "\t" << l.what << ", SCI and SCE, status "
            << p.Status << ", " << catalogue.FindInstrument(l.instrument) << " (" << l.instrument
            << ") serial " << l.serial << "\n";
    }
    const InstrumentDifferenceModel& m = p.Target;
    out << "  Target model: offset " << Fixed(m.Offset, 2) << " %, gain " << Fixed(m.Gain, 3)
        << ", wavelength shift " << Fixed(m.WavelengthShiftNm, 1) << " nm, bandwidth "
        << Fixed(m.Bandwidth, 2) << ", nonlinearity " << Fixed(m.Nonlinearity, 3) << ", noise "
        << Fixed(m.NoiseSd, 3) << " %\n";
}

struct DemoStep {
    const char* title;
    void (*run)(DemoRun&);
};

// The road, in order. Further steps (profile SCI, profile SCE into the same coefficient file,
// convert the Target fandeck, compare before and after) are appended here.
const std::vector<DemoStep>& DemoSteps() {
    static const std::vector<DemoStep> steps = {
        {"Demo data", MakeDemoSaveSets},
    };
    return steps;
}

}  // namespace

int RunDemo(const Arguments& arguments, CommandContext& context) {
    const Args args(arguments, {"--dir"}, {});
    if (!args.Positionals().empty()) {
        throw UsageError("demo takes no file names; use --dir DIR");
    }
    DemoRun run{context, args.Value("--dir", "tintara-demo"), DemoParameters{}, {}, {}, {}, {}};
    const auto& steps = DemoSteps();
    for (std::size_t i = 0; i < steps.size(); ++i) {
        context.out << "== " << i + 1 << ". " << steps[i].title << " ==\n";
        steps[i].run(run);
    }
    return 0;
}

}  // namespace tintara::cli
