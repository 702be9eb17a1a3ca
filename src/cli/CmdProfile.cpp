// tintara profile: reads a Master and a Target tile set, runs the profiling sequence and prints
// the correlation grid.
#include <chrono>
#include <filesystem>
#include <ostream>
#include <string>

#include "cli/Args.h"
#include "cli/Commands.h"
#include "engine/ProfileSequence.h"
#include "engine/Tolerances.h"
#include "engine/Utility.h"
#include "files/CCFReadWrite.h"
#include "files/RWSaveSet.h"
#include "report/PdfWriter.h"
#include "report/PrintCertificate.h"
#include "report/ProfileReport.h"
#include "report/ReportText.h"
#include "workspace/Error.h"

namespace tintara::cli {

namespace {

// The n-th character (1-based) of a status text, empty when the text is shorter.
std::string StatusChar(const std::string& status, std::size_t n) {
    return status.size() >= n ? status.substr(n - 1, 1) : std::string();
}

bool UvExempt(int16_t id) {
    return id == 2 || id == 208;
}  // Minolta CM-2002 and CM-700

// The refusals of the coefficient command once both tile sets are in: UV excluded on either
// instrument (unless exempt), then a specular-component mismatch.
void CheckProfileStatus(const GlobalVariables& ws) {
    if (!UvExempt(ws.MasterInstrumentID) && !UvExempt(ws.TargetInstrumentID) &&
        (StatusChar(ws.MasterStatus, 4) == "E" || StatusChar(ws.TargetStatus, 4) == "E")) {
        throw Refusal("Status Error",
                      "The Master and Target instruments must be set to UV Component Included");
    }
    if (StatusChar(ws.MasterStatus, 3) != StatusChar(ws.TargetStatus, 3)) {
        throw Refusal("Data Error", "The Master and Target status do NOT Match");
    }
}

void ReadTileSet(RWSaveSet& reader, const std::string& file, bool isMaster,
                 CommandContext& context) {
    bool failed = false;
    reader.ReadWSVRecord(file, isMaster, failed);
    if (!failed) {
        // The header's file dates, as the tile-set commands stamp them.
        reader.GetLastModifiedDate(file, isMaster);
        return;
    }
    if (!reader.LastError().empty())
        context.err << reader.LastError() << "\n";
    if (isMaster) {
        throw Refusal("File Read Error",
                      "There is a problem with the Save_Set File \n\n"
                      "It may be Corrupt, Empty or on a Mapped Drive\n"
                      "This may also be a Windows Permission error\n"
                      "Please contact your IT administrator to resolve these issues");
    }
    throw Refusal("File Read Error", "There is a problem with the Save_Set File ");
}

// The header texts of the side just read, as the tile-set commands take them from the last
// record; the coefficient file carries them.
void TakeHeaderTexts(GlobalVariables& ws, bool isMaster) {
    (isMaster ? ws.MasterCompany : ws.TargetCompany) = ws.RecordCompany;
    (isMaster ? ws.MasterOperator : ws.TargetOperator) = ws.RecordOperator;
    (isMaster ? ws.MasterSerial : ws.TargetSerial) = ws.RecordSerial;
    (isMaster ? ws.MasterTileSetSerial : ws.TargetTileSetSerial) = ws.RecordTileSetSerial;
}

}  // namespace

int RunProfile(const Arguments& arguments, CommandContext& context) {
    const Args args(arguments, {"--master", "--target", "--geometry", "--ccf", "--results-dir", "--report",
                     "--certificate"},
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
    ws.InitializeVariables();
    ws.GeometryChoice = geometry == "sci";
    ws.UseCentroid = !args.Has("--nocentroid");

    RWSaveSet reader(ws);
    ReadTileSet(reader, masterFile, true, context);
    TakeHeaderTexts(ws, true);
    ws.MasterTilesSelected = true;
    ReadTileSet(reader, targetFile, false, context);
    TakeHeaderTexts(ws, false);
    ws.TargetTilesSelected = true;
    CheckProfileStatus(ws);

    Utility utility(ws);
    ProfileSequence(utility);
    ws.CoefficientsCalculated = true;

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
        PrintCertificate certificate(ws);
        certificate.ProgramDirectory = ProgramDirectory();
        certificate.DateText = ShortDate(std::chrono::system_clock::now());
        const PageDescription page = certificate.PrintDocument();
        for (const std::string& note : page.Warnings)
            context.err << "Warning: " << note << "\n";
        WritePdf(page, std::filesystem::path(args.Value("--certificate")));
    }

    for (const auto& row : CorrelationGridRows(ws)) {
        for (std::size_t c = 0; c < row.size(); ++c)
            context.out << (c ? "\t" : "") << row[c];
        context.out << "\n";
    }
    return 0;
}

}  // namespace tintara::cli
