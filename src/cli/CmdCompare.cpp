// tintara compare: compares a Master fandeck with a Target fandeck (corrected with a coefficient
// file when one is given) and prints the performance grid and the verdict.
#include <chrono>
#include <ctime>
#include <filesystem>
#include <ostream>
#include <string>

#include "cli/Args.h"
#include "cli/Commands.h"
#include "cli/PdfOutput.h"
#include "engine/Tolerances.h"
#include "engine/Utility.h"
#include "files/FandeckCompare.h"
#include "files/RWSaveSet.h"
#include "report/CompareReport.h"
#include "report/PrintPerformance.h"
#include "report/ReportText.h"
#include "workspace/Error.h"

namespace tintara::cli {

namespace {

// The tolerances and colour space of Profiler.ini, as at start-up. A missing file is the normal
// case on the command line (defaults apply); a damaged one is worth a word.
void LoadSettings(GlobalVariables& ws, CommandContext& context) {
    const ProfilerIniLocation ini = LocateProfilerIni();
    const ToleranceReadResult result = LoadTolerances(ws, ini);
    if (!result.ErrorNoted)
        return;
    for (const auto& path : ini.ReadPaths) {
        if (std::filesystem::exists(path)) {
            context.err << kToleranceReadTitle << ": " << kToleranceReadText << " ("
                        << result.Detail << ")\n";
            return;
        }
    }
}

}  // namespace

int RunCompare(const Arguments& arguments, CommandContext& context) {
    const Args args(arguments,
                    {"--master", "--target", "--ccf", "--report", "--certificate", "--paper",
                     "--company", "--operator", "--tileset"},
                    {"--sce"});
    if (!args.Positionals().empty())
        throw UsageError("unexpected argument " + args.Positionals()[0]);
    const std::string master = args.Required("--master");
    const std::string target = args.Required("--target");

    GlobalVariables ws;
    LoadSettings(ws, context);
    RWSaveSet saveSets(ws);
    Utility utility(ws);
    const std::string warning =
        CompareFandecks(ws, saveSets, utility, master, target, args.Value("--ccf"));
    if (!warning.empty())
        context.err << "Warning: " << warning << "\n";

    // The view the compare command opens with follows the Master's status; --sce asks for the
    // other one.
    const bool masterSce = ws.MasterStatus.size() >= 3 && ws.MasterStatus[2] == 'E';
    const Geometry geometry = args.Has("--sce") || masterSce ? Geometry::SCE : Geometry::SCI;
    if (!ComparisonHolds(ws, saveSets, geometry)) {
        throw Error(master + " holds " + (geometry == Geometry::SCE ? "SCI" : "SCE") +
                    " data only; there is no " + (geometry == Geometry::SCE ? "SCE" : "SCI") +
                    " comparison to show");
    }

    if (args.Has("--report")) {
        if (!ComparisonHolds(ws, saveSets, Geometry::SCI)) {
            throw Error("The compare report shows SCI data, which " + master + " does not hold");
        }
        WriteCompareReport(ws, std::filesystem::path(args.Value("--report")));
    }
    if (args.Has("--certificate")) {
        IdentifyComparison(
            ws, saveSets, geometry,
            {args.Value("--company"), args.Value("--operator"), args.Value("--tileset")});
        PrintPerformance certificate(ws);
        certificate.ProgramDirectory = ProgramDirectory();
        certificate.DateText = ShortDate(std::chrono::system_clock::now());
        certificate.Paper = PaperOption(args);
        WriteCertificate(geometry == Geometry::SCI ? certificate.PrintSCIPerformanceData()
                                                   : certificate.PrintSCEPerformanceData(),
                         args.Value("--certificate"), context);
    }

    for (const auto& row : PerformanceGridRows(ws, geometry)) {
        for (std::size_t c = 0; c < row.size(); ++c)
            context.out << (c ? "\t" : "") << row[c];
        context.out << "\n";
    }
    context.out << VerdictLine(PerformancePassed(ws, geometry)) << "\n";
    return 0;
}

}  // namespace tintara::cli
