// tintara compare: the window's fandeck comparison and the performance grid with its verdict on
// stdout. With a coefficient file it is File > Open both fandecks and the coefficient file, then
// Generate > Correlated SaveSet; without one, the Instrument Performance wizard. The view shown
// (and printed) is the Master fandeck's geometry, or SCE with --sce, as the Display button
// switches it.
#include <filesystem>
#include <ostream>
#include <string>

#include "app/FandeckCompare.h"
#include "cli/Args.h"
#include "cli/CliUserInterface.h"
#include "cli/Commands.h"
#include "cli/PdfOutput.h"
#include "workspace/Error.h"
#include "workspace/StatusCode.h"

namespace tintara::cli {

int RunCompare(const Arguments& arguments, CommandContext& context) {
    const Args args(arguments,
                    {"--master", "--target", "--ccf", "--report", "--certificate", "--paper",
                     "--company", "--operator", "--tileset"},
                    {"--sce"});
    args.RequireNoPositionals();
    const std::string master = args.Required("--master");
    const std::string target = args.Required("--target");

    CommandSession session(context.err);
    CliUserInterface& ui = session.ui;
    ProfilerCommands& commands = session.commands;
    // The compare report is written when the SCI performance view is shown, where asked.
    commands.WriteCompareReport = args.Has("--report");
    if (args.Has("--report"))
        commands.CompareReportFile = std::filesystem::absolute(args.Value("--report"));
    using C = CommandId;
    if (args.Has("--ccf")) {
        session.CompareCorrected(master, target, args.Value("--ccf"));
    } else {
        ui.Answer("Master Fandeck File", master);
        ui.Answer("Target Fandeck File", target);
        session.Run(C::WizardPerformance, [](auto& s) { return s.ws.PerformanceDataReady; });
    }

    // SCI unless asked for SCE, or the Master fandeck holds SCE only. (The view on show has
    // written its letter into the status by now, so the angle count decides.)
    const GlobalVariables& ws = session.ws;
    const std::string& status = ws.MasterFandeck.Status;
    const bool oneAngle = ws.MasterFandeck.AngleCount < 2;
    const bool masterSce = oneAngle && StatusCode(status).Sce();
    const Geometry geometry = args.Has("--sce") || masterSce ? Geometry::SCE : Geometry::SCI;
    const auto holds = [&](Geometry g) {
        return ws.MasterFandeck.AngleCount >= 2 || StatusCode(status).Sci() == (g == Geometry::SCI);
    };
    if (!holds(geometry)) {
        throw Error(master + " holds " + (geometry == Geometry::SCE ? "SCI" : "SCE") +
                    " data only; there is no " + (geometry == Geometry::SCE ? "SCE" : "SCI") +
                    " comparison to show");
    }
    if (args.Has("--report") && !holds(Geometry::SCI))
        throw Error("The compare report shows SCI data, which " + master + " does not hold");

    // "Display" switches the grid to the performance view of the other geometry; the SCI view
    // writes the report.
    const auto showing = [&](Geometry g) {
        return commands.Grid().Cols() == 5 && ws.PerformanceShowsSCI == (g == Geometry::SCI);
    };
    if (args.Has("--report") && !showing(Geometry::SCI)) {
        commands.Execute(C::DisplayCommand);
        if (!showing(Geometry::SCI))
            commands.Execute(C::DisplayCommand);
    }
    for (int click = 0; click < 2 && !showing(geometry); ++click)
        commands.Execute(C::DisplayCommand);
    if (!showing(geometry))
        throw RefusalShown();

    if (args.Has("--certificate")) {
        ui.PdfFile = args.Value("--certificate");
        ui.Paper = PaperOption(args);
        commands.PerformanceHeader = {args.Value("--company"), args.Value("--operator"),
                                      args.Value("--tileset")};
        session.Run(C::InstrumentPerformance, [](auto& s) { return s.ui.Printed; });
    }

    WritePerformanceGrid(ws, geometry, context.out);
    context.out << VerdictLine(PerformancePassed(ws, geometry)) << "\n";
    return 0;
}

}  // namespace tintara::cli
