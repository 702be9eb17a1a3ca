// tintara validate: how well a coefficient file holds on verification samples measured on both
// instruments. The fandecks are compared as tintara compare --ccf does (the window's commands),
// then the comparison is validated: statistics, bias, worst samples and the per-wavelength
// difference on stdout, the CSV and the PDF report when asked.
#include <chrono>
#include <filesystem>
#include <ostream>
#include <string>

#include "app/Validation.h"
#include "cli/Args.h"
#include "cli/CliUserInterface.h"
#include "cli/Commands.h"
#include "cli/PdfOutput.h"
#include "report/ReportText.h"
#include "report/ValidationReport.h"
#include "workspace/Error.h"
#include "workspace/StatusCode.h"

namespace tintara::cli {

int RunValidate(const Arguments& arguments, CommandContext& context) {
    const Args args(arguments, {"--ccf", "--master", "--target", "--report", "--csv"}, {"--sce"});
    args.RequireNoPositionals();
    const std::string ccf = args.Required("--ccf");
    const std::string master = args.Required("--master");
    const std::string target = args.Required("--target");

    CommandSession session(context.err);
    session.CompareCorrected(master, target, ccf);

    // SCI unless asked for SCE, or the Master fandeck holds SCE only.
    const GlobalVariables& ws = session.ws;
    const std::string& status = ws.MasterFandeck.Status;
    const bool masterSce = ws.MasterFandeck.AngleCount < 2 && StatusCode(status).Sce();
    const Geometry geometry = args.Has("--sce") || masterSce ? Geometry::SCE : Geometry::SCI;
    RequireCoefficients(ccf, geometry);
    const ValidationResult result = ValidateComparison(ws, geometry);

    if (args.Has("--csv"))
        WriteValidationCsv(result, std::filesystem::path(args.Value("--csv")));
    if (args.Has("--report")) {
        WriteCertificate(ValidationReport(result, geometry, ccf, master, target,
                                          ShortDate(std::chrono::system_clock::now())),
                         std::filesystem::path(args.Value("--report")));
    }

    context.out << (geometry == Geometry::SCI ? "SCI" : "SCE") << ", " << result.Samples.size()
                << " samples\n";
    PrintRows(context.out, ValidationStatisticsRows(result));
    context.out << "\n";
    PrintRows(context.out, ValidationBiasRows(result));
    context.out << "\n";
    PrintRows(context.out, ValidationWorstRows(result));
    context.out << "\n";
    PrintRows(context.out, ValidationSpectralRows(result));
    return 0;
}

}  // namespace tintara::cli
