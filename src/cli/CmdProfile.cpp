// tintara profile: reads a Master and a Target tile set, runs the profiling sequence and prints
// the correlation grid.
#include <chrono>
#include <filesystem>
#include <ostream>
#include <string>

#include "app/ProfileRun.h"
#include "cli/Args.h"
#include "cli/Commands.h"
#include "cli/PdfOutput.h"
#include "engine/ProfileSequence.h"
#include "engine/Tolerances.h"
#include "files/CCFReadWrite.h"
#include "files/RWSaveSet.h"
#include "report/ProfileReport.h"
#include "report/ReportText.h"
#include "workspace/Error.h"

namespace tintara::cli {

int RunProfile(const Arguments& arguments, CommandContext& context) {
    const Args args(arguments,
                    {"--master", "--target", "--geometry", "--ccf", "--results-dir", "--report",
                     "--certificate", "--paper"},
                    {"--nocentroid"});
    if (!args.Positionals().empty())
        throw UsageError("unexpected argument " + args.Positionals()[0]);
    const std::string masterFile = args.Required("--master");
    const std::string targetFile = args.Required("--target");
    const std::string geometry = args.Value("--geometry", "sci");
    if (geometry != "sci" && geometry != "sce") {
        throw UsageError("--geometry must be sci or sce, not '" + geometry + "'");
    }

    GlobalVariables ws;
    // The colour space of every difference comes from the tolerance settings, as at start-up.
    const ProfilerIniLocation ini = LocateProfilerIni();
    const ToleranceReadResult tolerances = LoadTolerances(ws, ini);
    if (tolerances.ErrorNoted) {
        bool exists = false;
        for (const auto& path : ini.ReadPaths)
            exists = exists || std::filesystem::exists(path);
        // A missing file is the normal case for the command line; a damaged one is worth a word.
        if (exists) {
            context.err << kToleranceReadTitle << ": " << kToleranceReadText << " ("
                        << tolerances.Detail << ")\n";
        }
    }
    RWSaveSet reader(ws);
    std::string readDetail;
    try {
        ProfileTilePair(ws, reader,
                        {masterFile, targetFile, geometry == "sci", !args.Has("--nocentroid")},
                        &readDetail);
    } catch (const Refusal&) {
        if (!readDetail.empty())
            context.err << readDetail << "\n";
        throw;
    }

    // Saving, as the save-coefficients command does: the coefficient file by the merge rule (the
    // other geometry's block of an existing file is kept), then the per-tile result save sets.
    if (args.Has("--ccf")) {
        ws.CoefficientFile = args.Value("--ccf");
        CCFReadWrite(ws).WriteCoeficcients(ws.CoefficientFile);
        ws.CoefficientsLoaded = true;
    }
    if (args.Has("--results-dir")) {
        const std::filesystem::path folder = args.Value("--results-dir");
        std::error_code ec;
        std::filesystem::create_directories(folder, ec);
        if (ec)
            throw IoError("cannot create " + folder.string() + ": " + ec.message());
        reader.SetOutputFolder(folder);
        reader.WriteSaveSetResults();
    }
    // The profile component report and the Certificate of Instrument Performance, dated today.
    if (args.Has("--report")) {
        WriteProfileReport(ws, std::filesystem::path(args.Value("--report")),
                           ShortDate(std::chrono::system_clock::now()));
    }
    if (args.Has("--certificate")) {
        WriteCertificate(
            ProfileCertificate(ws, ShortDate(std::chrono::system_clock::now()), PaperOption(args)),
            args.Value("--certificate"), context);
    }

    for (const auto& row : CorrelationGridRows(ws)) {
        for (std::size_t c = 0; c < row.size(); ++c)
            context.out << (c ? "\t" : "") << row[c];
        context.out << "\n";
    }
    return 0;
}

}  // namespace tintara::cli
