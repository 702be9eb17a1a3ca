// tintara demo: makes the demo tile sets and fandecks and runs the profiling road over them.
//
// The road is a sequence of steps over one DemoRun; each step is a function of its own, listed in
// DemoSteps() in the order they run. A later step reads what earlier ones left in DemoRun.
#include <cstdio>
#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "app/FandeckCompare.h"
#include "cli/Args.h"
#include "cli/CliUserInterface.h"
#include "cli/Commands.h"
#include "cli/PdfOutput.h"
#include "engine/ProfileSequence.h"
#include "files/DemoData.h"
#include "files/SaveSetData.h"
#include "report/CompareReport.h"
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

// Steps 2 and 3: the window's profiling road for one geometry of the tile sets, saved into the
// one coefficient file (the SCE run keeps the SCI block the first run wrote).
// What the demo says in place of its certificates when this tintara has no page renderer.
constexpr const char* kNoCertificates = "no certificate: this tintara was built without Qt";

void ProfileGeometry(DemoRun& run, bool sci) {
    CommandSession session(run.context.err);
    CliUserInterface& ui = session.ui;
    const std::string geometry = sci ? "sci" : "sce";
    const std::filesystem::path results = run.dir / "results" / geometry;
    std::filesystem::create_directories(results);
    session.commands.FixCurrentFolder(results);
    run.coefficientFile = run.dir / "demo.ccf";
    const std::filesystem::path report = run.dir / ("profile-report-" + geometry + ".txt");
    const std::filesystem::path pdf = run.dir / ("profile-certificate-" + geometry + ".pdf");
    ui.GeometrySCI = sci;
    ui.Answer("Master Reflectance Save Sets", run.masterTiles);
    ui.Answer("Target Reflectance Save Sets", run.targetTiles);
    ui.Answer("Correlation Coefficient File", run.coefficientFile);
    ui.Answer("Profile Report", report);
    ui.PdfFile = pdf;
    ui.Paper = run.paper;

    using C = CommandId;
    session.Run(C::MasterInstrumentTileSet, [](auto& s) { return s.ws.MasterTilesSelected; });
    session.Run(C::TargetInstrumentTileSet, [](auto& s) { return s.ws.TargetTilesSelected; });
    session.Run(C::GenerateCCF, [](auto& s) { return s.ws.CoefficientsCalculated; });
    const GlobalVariables& ws = session.ws;
    for (const auto& row : CorrelationGridRows(ws)) {
        for (std::size_t c = 0; c < row.size(); ++c)
            run.context.out << (c ? "\t" : "  ") << row[c];
        run.context.out << "\n";
    }
    session.Run(C::SaveCoefficients, [](auto& s) { return s.commands.CoefficientsSaved(); });
    run.context.out << "  " << (sci ? "SCI" : "SCE") << " coefficients written to "
                    << run.coefficientFile.filename().string() << " (SCI block "
                    << (ws.SCICoefficientsPresent ? "real" : "placeholder") << ", SCE block "
                    << (ws.SCECoefficientsPresent ? "real" : "placeholder") << ")\n";
    run.context.out << "  " << ws.TileCount << " per-tile result save sets in " << results.string()
                    << "\n";
    // The profile component report and the Certificate of Instrument Performance of this run.
    session.commands.Execute(C::SaveProCompRep);
    if (!CanDrawCertificates()) {
        run.context.out << "  " << report.filename().string() << " written (" << kNoCertificates
                        << ")\n";
        return;
    }
    session.Run(C::ToPrinter, [](auto& s) { return s.ui.Printed; });
    run.context.out << "  " << report.filename().string() << " and " << pdf.filename().string()
                    << " written\n";
}

void ProfileSci(DemoRun& run) {
    ProfileGeometry(run, true);
}
void ProfileSce(DemoRun& run) {
    ProfileGeometry(run, false);
}

// Step 4: the window's legacy conversion of the Target fandeck with the coefficient file.
void ConvertTargetFandeck(DemoRun& run) {
    CommandSession session(run.context.err);
    run.correlatedFandeck = run.dir / "correlated-fandeck.wsv";
    session.ui.Answer("Target Fandeck File", run.targetFandeck);
    session.ui.Answer("Instrument Correlation Files", run.coefficientFile);
    session.ui.Answer("Correlated Fandeck File", run.correlatedFandeck);
    using C = CommandId;
    session.Run(C::TargetInstrumentSaveSet, [](auto& s) { return s.ws.TargetSaveSetLoaded; });
    session.Run(C::CorrelationFileMenu, [](auto& s) { return s.ws.CoefficientsLoaded; });
    session.Run(C::GenerateConvData, [](auto& s) { return !s.commands.ConversionFailed(); });
    session.Run(C::SaveCorrelatedFandeck,
                [](auto& s) { return std::filesystem::exists(s.ws.CorrelatedSaveSetFile); });
    run.context.out << "  " << session.ws.ConvertedRecordCount << " records of "
                    << run.targetFandeck.filename().string() << " corrected into "
                    << run.correlatedFandeck.filename().string() << "\n";
}

// Step 5: the Master fandeck against the Target fandeck as measured and as corrected, in both
// geometries (Generate > Correlated SaveSet); the compare report and the performance certificate
// of the corrected SCI data (Display, then Print > Instrument Performance).
void CompareBeforeAndAfter(DemoRun& run) {
    CommandSession session(run.context.err);
    CliUserInterface& ui = session.ui;
    const std::filesystem::path report = run.dir / kCompareReportName;
    const std::filesystem::path pdf = run.dir / "performance-certificate.pdf";
    session.commands.CompareReportFile = report;
    ui.PdfFile = pdf;
    ui.Paper = run.paper;
    session.CompareCorrected(run.masterFandeck, run.targetFandeck, run.coefficientFile);
    using C = CommandId;

    const GlobalVariables& ws = session.ws;
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
    // The SCI performance view writes the report; the certificate prints the view on show.
    session.Run(C::DisplayCommand, [](auto& s) { return s.ws.PerformanceShowsSCI; });
    if (!CanDrawCertificates()) {
        out << "  " << report.filename().string() << " written (" << kNoCertificates << ")\n";
        return;
    }
    session.Run(C::InstrumentPerformance, [](auto& s) { return s.ui.Printed; });
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
