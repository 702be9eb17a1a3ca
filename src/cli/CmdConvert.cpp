// tintara convert: the window's legacy conversion (File > Open the Target fandeck and the
// coefficient file, Generate > Converted Data, File > Save > Correlated Fandeck SaveSet).
#include <ostream>
#include <string>

#include "cli/Args.h"
#include "cli/CliUserInterface.h"
#include "cli/Commands.h"
#include "workspace/Error.h"

namespace tintara::cli {

int RunConvert(const Arguments& arguments, CommandContext& context) {
    const Args args(arguments, {"--ccf", "--in", "--out"}, {});
    args.RequireNoPositionals();
    const std::string ccf = args.Required("--ccf");
    const std::string in = args.Required("--in");
    const std::string out = args.Required("--out");

    CommandSession session(context.err);
    session.ui.Answer("Target Fandeck File", in);
    session.ui.Answer("Instrument Correlation Files", ccf);
    session.ui.Answer("Correlated Fandeck File", out);
    using C = CommandId;
    session.Run(C::TargetInstrumentSaveSet, [](auto& s) { return s.ws.TargetSaveSetLoaded; });
    session.Run(C::CorrelationFileMenu, [](auto& s) { return s.ws.CoefficientsLoaded; });
    session.Run(C::GenerateConvData, [](auto& s) { return !s.commands.ConversionFailed(); });
    // Nothing looks at the conversion after it is saved, so Save moves it into place rather than
    // copying it.
    session.commands.SaveSets().SetConversionKeptAfterSave(false);
    const int shown = session.ui.MessagesShown;
    session.commands.Execute(C::SaveCorrelatedFandeck);
    if (session.ui.MessagesShown != shown)
        throw RefusalShown();

    const GlobalVariables& ws = session.ws;
    const int16_t angles = ws.TargetFandeck.AngleCount;
    context.out << "Converted " << ws.ConvertedRecordCount << " records (" << angles
                << (angles == 1 ? " angle" : " angles") << ") of " << in << " into " << out << "\n";
    return 0;
}

}  // namespace tintara::cli
