// tintara validate: how well a coefficient file holds on verification samples measured on both
// instruments; prints the statistics, the bias, the worst samples and the per-wavelength
// difference, and writes the CSV and the PDF report when asked.
#include <chrono>
#include <filesystem>
#include <ostream>
#include <string>

#include "app/Validation.h"
#include "cli/Args.h"
#include "cli/Commands.h"
#include "engine/Utility.h"
#include "files/RWSaveSet.h"
#include "report/PdfWriter.h"
#include "report/ReportText.h"
#include "report/ValidationReport.h"

namespace tintara::cli {

int RunValidate(const Arguments& arguments, CommandContext& context) {
    const Args args(arguments, {"--ccf", "--master", "--target", "--report", "--csv"}, {"--sce"});
    if (!args.Positionals().empty())
        throw UsageError("unexpected argument " + args.Positionals()[0]);
    const ValidationRequest request{args.Required("--ccf"), args.Required("--master"),
                                    args.Required("--target"), args.Has("--sce")};

    GlobalVariables ws;
    LoadSettings(ws, context);
    RWSaveSet saveSets(ws);
    Utility utility(ws);
    const ValidationRun run = ValidateFandecks(ws, saveSets, utility, request);
    if (!run.Warning.empty())
        context.err << "Warning: " << run.Warning << "\n";

    if (args.Has("--csv"))
        WriteValidationCsv(run.Result, std::filesystem::path(args.Value("--csv")));
    if (args.Has("--report")) {
        WritePdf(ValidationReport(run, request, ShortDate(std::chrono::system_clock::now())),
                 std::filesystem::path(args.Value("--report")));
    }

    context.out << (run.Shown == Geometry::SCI ? "SCI" : "SCE") << ", " << run.Result.Samples.size()
                << " samples\n";
    PrintRows(context.out, ValidationStatisticsRows(run.Result));
    context.out << "\n";
    PrintRows(context.out, ValidationBiasRows(run.Result));
    context.out << "\n";
    PrintRows(context.out, ValidationWorstRows(run.Result));
    context.out << "\n";
    PrintRows(context.out, ValidationSpectralRows(run.Result));
    return 0;
}

}  // namespace tintara::cli
