// tintara convert: corrects a Target fandeck with a coefficient file and writes the correlated
// fandeck.
#include <ostream>
#include <string>

#include "cli/Args.h"
#include "cli/Commands.h"
#include "files/FandeckCompare.h"
#include "files/RWSaveSet.h"
#include "workspace/Error.h"

namespace tintara::cli {

int RunConvert(const Arguments& arguments, CommandContext& context) {
    const Args args(arguments, {"--ccf", "--in", "--out"}, {});
    if (!args.Positionals().empty())
        throw UsageError("unexpected argument " + args.Positionals()[0]);
    const std::string ccf = args.Required("--ccf");
    const std::string in = args.Required("--in");
    const std::string out = args.Required("--out");

    GlobalVariables ws;
    RWSaveSet saveSets(ws);
    const std::string warning = ConvertFandeck(ws, saveSets, ccf, in, out);
    if (!warning.empty())
        context.err << "Warning: " << warning << "\n";
    context.out << "Converted " << ws.FandeckRecordCount << " records (" << ws.FandeckAngleCount
                << (ws.FandeckAngleCount == 1 ? " angle" : " angles") << ") of " << in << " into "
                << out << "\n";
    return 0;
}

}  // namespace tintara::cli
