// tintara profile: the window's profiling road (File > Open both tile sets, Generate >
// Correlation Coefficients, then the saves and the certificate asked for) and the correlation
// grid on stdout.
#include <filesystem>
#include <ostream>
#include <string>

#include "cli/Args.h"
#include "cli/CliUserInterface.h"
#include "cli/Commands.h"
#include "cli/PdfOutput.h"
#include "engine/ProfileSequence.h"
#include "engine/Validation.h"
#include "report/ValidationReport.h"
#include "workspace/Error.h"

namespace tintara::cli {

int RunProfile(const Arguments& arguments, CommandContext& context) {
    const Args args(arguments,
                    {"--master", "--target", "--geometry", "--ccf", "--results-dir", "--report",
                     "--certificate", "--paper"},
                    {"--nocentroid", "--cross-validate"});
    args.RequireNoPositionals();
    const std::string masterFile = args.Required("--master");
    const std::string targetFile = args.Required("--target");
    const std::string geometry = args.Value("--geometry", "sci");
    if (geometry != "sci" && geometry != "sce") {
        throw UsageError("--geometry must be sci or sce, not '" + geometry + "'");
    }

    CommandSession session(context.err, args.Has("--nocentroid") ? "NOCENTROID" : "");
    CliUserInterface& ui = session.ui;
    ui.GeometrySCI = geometry == "sci";
    ui.Answer("Master Reflectance Save Sets", masterFile);
    ui.Answer("Target Reflectance Save Sets", targetFile);
    // The per-tile result save sets go where the coefficient file is saved from: the current
    // folder, or the one named.
    if (args.Has("--results-dir")) {
        const std::filesystem::path folder = args.Value("--results-dir");
        std::error_code ec;
        std::filesystem::create_directories(folder, ec);
        if (ec)
            throw IoError("cannot create " + folder.string() + ": " + ec.message());
        session.commands.FixCurrentFolder(std::filesystem::absolute(folder));
    }

    using C = CommandId;
    session.Run(C::MasterInstrumentTileSet, [](auto& s) { return s.ws.MasterTilesSelected; });
    session.Run(C::TargetInstrumentTileSet, [](auto& s) { return s.ws.TargetTilesSelected; });
    session.Run(C::GenerateCCF, [](auto& s) { return s.ws.CoefficientsCalculated; });
    if (args.Has("--ccf")) {
        ui.Answer("Correlation Coefficient File", args.Value("--ccf"));
        session.Run(C::SaveCoefficients, [](auto& s) { return s.commands.CoefficientsSaved(); });
    }
    if (args.Has("--report")) {
        const std::filesystem::path report = args.Value("--report");
        ui.Answer("Profile Report", report);
        const int shown = ui.MessagesShown;
        session.commands.Execute(C::SaveProCompRep);
        if (ui.MessagesShown != shown)
            throw RefusalShown();
    }
    if (args.Has("--certificate")) {
        ui.PdfFile = args.Value("--certificate");
        ui.Paper = PaperOption(args);
        session.Run(C::ToPrinter, [](auto& s) { return s.ui.Printed; });
    }

    for (const auto& row : CorrelationGridRows(session.ws)) {
        for (std::size_t c = 0; c < row.size(); ++c)
            context.out << (c ? "\t" : "") << row[c];
        context.out << "\n";
    }
    // The leave-one-out check comes after the grid, which stays as it is without it.
    if (args.Has("--cross-validate")) {
        context.out << "\nCross-validation of the wavelength phase\n";
        PrintRows(context.out, CrossValidationRows(CrossValidateWavelength(session.ws)));
    }
    return 0;
}

}  // namespace tintara::cli
