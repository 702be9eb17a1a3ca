// tintara demo: makes the demo tile sets and fandecks and runs the profiling road over them.
//
// The road is a sequence of steps over one DemoRun; each step is a function of its own, listed in
// DemoSteps() in the order they run. A later step reads what earlier ones left in DemoRun.
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "app/ProfileRun.h"
#include "cli/Args.h"
#include "cli/Commands.h"
#include "cli/PdfOutput.h"
#include "engine/ProfileSequence.h"
#include "engine/Tolerances.h"
#include "engine/Utility.h"
#include "files/CCFReadWrite.h"
#include "files/DemoData.h"
#include "files/FandeckCompare.h"
#include "files/RWSaveSet.h"
#include "files/SaveSetData.h"
#include "report/CompareReport.h"
#include "report/PrintPerformance.h"
#include "report/ProfileReport.h"
#include "report/ReportText.h"
#include "workspace/Error.h"
#include "workspace/GlobalVariables.h"
#include "workspace/MakeSensorList.h"
#include "workspace/NumberFormat.h"

namespace tintara::cli {

namespace {

// What the steps share.
struct DemoRun {
    CommandContext& context;
    std::filesystem::path dir;
    DemoParameters parameters;
    // Written by MakeDemoSaveSets.
    std::filesystem::path masterTiles, targetTiles, masterFandeck, targetFandeck;
    // Written by the profile and convert steps.
    std::filesystem::path coefficientFile, correlatedFandeck;
    PageSetup paper;  // of the certificates
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

// Reports and certificates are dated today, in the short date form.
std::string Today() {
    return ShortDate(std::chrono::system_clock::now());
}

// The tolerance settings of Profiler.ini when there is one (defaults otherwise), as every
// command of the tool takes them.
void LoadSettings(GlobalVariables& ws) {
    LoadTolerances(ws, LocateProfilerIni());
}

// Steps 2 and 3: profile one geometry of the tile sets and save it into the one coefficient file
// (the SCE run keeps the SCI block the first run wrote).
void ProfileGeometry(DemoRun& run, bool sci) {
    GlobalVariables ws;
    LoadSettings(ws);
    RWSaveSet reader(ws);
    ProfileTilePair(ws, reader, {run.masterTiles, run.targetTiles, sci, true});
    for (const auto& row : CorrelationGridRows(ws)) {
        for (std::size_t c = 0; c < row.size(); ++c)
            run.context.out << (c ? "\t" : "  ") << row[c];
        run.context.out << "\n";
    }
    run.coefficientFile = run.dir / "demo.ccf";
    CCFReadWrite(ws).WriteCoeficcients(run.coefficientFile);
    run.context.out << "  " << (sci ? "SCI" : "SCE") << " coefficients written to "
                    << run.coefficientFile.filename().string() << " (SCI block "
                    << (ws.SCICoefficientsPresent ? "real" : "placeholder") << ", SCE block "
                    << (ws.SCECoefficientsPresent ? "real" : "placeholder") << ")\n";
    if (sci) {
        const std::filesystem::path results = run.dir / "results";
        std::filesystem::create_directories(results);
        reader.SetOutputFolder(results);
        reader.WriteSaveSetResults();
        run.context.out << "  " << ws.TileCount << " per-tile result save sets in "
                        << results.string() << "\n";
    }
    // The profile component report and the Certificate of Instrument Performance of this run.
    const std::string geometry = sci ? "sci" : "sce";
    const std::filesystem::path report = run.dir / ("profile-report-" + geometry + ".txt");
    WriteProfileReport(ws, report, Today());
    const std::filesystem::path pdf = run.dir / ("profile-certificate-" + geometry + ".pdf");
    WriteCertificate(ProfileCertificate(ws, Today(), run.paper), pdf, run.context);
    run.context.out << "  " << report.filename().string() << " and " << pdf.filename().string()
                    << " written\n";
}

void ProfileSci(DemoRun& run) {
    ProfileGeometry(run, true);
}
void ProfileSce(DemoRun& run) {
    ProfileGeometry(run, false);
}

// Step 4: the Target fandeck corrected with the coefficient file.
void ConvertTargetFandeck(DemoRun& run) {
    GlobalVariables ws;
    RWSaveSet saveSets(ws);
    run.correlatedFandeck = run.dir / "correlated-fandeck.wsv";
    const std::string warning =
        ConvertFandeck(ws, saveSets, run.coefficientFile.string(), run.targetFandeck.string(),
                       run.correlatedFandeck.string());
    if (!warning.empty())
        run.context.err << "Warning: " << warning << "\n";
    run.context.out << "  " << ws.FandeckRecordCount << " records of "
                    << run.targetFandeck.filename().string() << " corrected into "
                    << run.correlatedFandeck.filename().string() << "\n";
}

// Step 5: the Master fandeck against the Target fandeck as measured and as corrected, in both
// geometries; the compare report and the performance certificate of the corrected SCI data.
void CompareBeforeAndAfter(DemoRun& run) {
    GlobalVariables ws;
    LoadSettings(ws);
    RWSaveSet saveSets(ws);
    Utility utility(ws);
    CompareFandecks(ws, saveSets, utility, run.masterFandeck.string(), run.targetFandeck.string(),
                    run.coefficientFile.string());
    std::ostream& out = run.context.out;
    const auto samples = static_cast<std::size_t>(ws.SampleCount);
    out << "  " << samples << " samples, single sample limit "
        << Format(ws.SingleSampleTolerance, "0.00") << ", average limit "
        << Format(ws.AverageTolerance, "0.00") << "\n";
    for (const Geometry g : {Geometry::SCI, Geometry::SCE}) {
        const char* name = g == Geometry::SCI ? "SCI" : "SCE";
        for (const bool corrected : {false, true}) {
            const int first = corrected ? CorrectedColumn(g) : UncorrectedColumn(g);
            std::size_t failed = 0;
            for (std::size_t s = 0; s < samples; ++s)
                failed += ws.SampleDeltas(s, first + 3) >= ws.SingleSampleTolerance;
            out << "  " << name << (corrected ? " after correction:  " : " before correction: ")
                << "mean DL " << Format(ws.SampleDeltas(samples, first), "##0.00") << ", Da "
                << Format(ws.SampleDeltas(samples, first + 1), "##0.00") << ", Db "
                << Format(ws.SampleDeltas(samples, first + 2), "##0.00") << ", DE "
                << Format(ws.SampleDeltas(samples, first + 3), "##0.00") << "; " << failed
                << " samples at or above the single limit\n";
        }
        out << "  " << name << ": " << VerdictLine(PerformancePassed(ws, g)) << "\n";
    }
    const std::filesystem::path report = run.dir / kCompareReportName;
    WriteCompareReport(ws, report);
    IdentifyComparison(ws, saveSets, Geometry::SCI, {});
    PrintPerformance certificate(ws);
    certificate.ProgramDirectory = ProgramDirectory();
    certificate.DateText = Today();
    certificate.Paper = run.paper;
    const std::filesystem::path pdf = run.dir / "performance-certificate.pdf";
    WriteCertificate(certificate.PrintSCIPerformanceData(), pdf, run.context);
    out << "  " << report.filename().string() << " and " << pdf.filename().string() << " written\n";
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
        {"Profile SCI", ProfileSci},
        {"Profile SCE into the same coefficient file", ProfileSce},
        {"Convert the Target fandeck", ConvertTargetFandeck},
        {"Compare the fandecks before and after correction", CompareBeforeAndAfter},
    };
    return steps;
}

}  // namespace

int RunDemo(const Arguments& arguments, CommandContext& context) {
    const Args args(arguments, {"--dir", "--paper"}, {});
    if (!args.Positionals().empty()) {
        throw UsageError("demo takes no file names; use --dir DIR");
    }
    DemoRun run{context,
                args.Value("--dir", "tintara-demo"),
                DemoParameters{},
                {},
                {},
                {},
                {},
                {},
                {},
                PaperOption(args)};
    const auto& steps = DemoSteps();
    for (std::size_t i = 0; i < steps.size(); ++i) {
        context.out << "== " << i + 1 << ". " << steps[i].title << " ==\n";
        steps[i].run(run);
    }
    return 0;
}

}  // namespace tintara::cli
