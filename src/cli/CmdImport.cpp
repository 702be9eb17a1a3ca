// tintara import: a measurement file (CGATS in its dialects, or CxF3) to a save set.
#include <charconv>
#include <filesystem>
#include <ostream>
#include <string>

#include "cli/Args.h"
#include "cli/Commands.h"
#include "files/Interchange.h"
#include "workspace/Error.h"
#include "workspace/GlobalVariables.h"
#include "workspace/MakeSensorList.h"

namespace tintara::cli {

namespace {

int16_t ParseInstrument(const std::string& text) {
    int value = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (ec != std::errc() || end != text.data() + text.size() || value < -32768 || value > 32767) {
        throw UsageError("--instrument must be a whole number (an instrument ID), not '" + text +
                         "'");
    }
    return static_cast<int16_t>(value);
}

}  // namespace

int RunImport(const Arguments& arguments, CommandContext& context) {
    const Args args(arguments, {"-o", "--instrument", "--status", "--company"}, {});
    if (args.Positionals().size() != 1)
        throw UsageError("import needs exactly one input file");
    const std::filesystem::path in = args.Positionals()[0];
    const std::filesystem::path out = args.Required("-o");

    ImportOptions options;
    if (args.Has("--instrument"))
        options.Instrument = ParseInstrument(args.Value("--instrument"));
    if (args.Has("--status"))
        options.Status = args.Value("--status");
    if (args.Has("--company"))
        options.Company = args.Value("--company");

    // Nothing is written unless the whole file imports.
    ImportReport report;
    const SaveSetSummary saved = ImportMeasurements(in, out, options, &report);
    const SaveSetData& data = saved.Header;
    context.out << "Read " << in.string() << "\n";
    for (const std::string& line : report.Lines()) {
        context.out << "  " << line << "\n";
    }
    GlobalVariables ws;
    const MakeSensorList catalogue(ws);
    context.out << "  Instrument: " << data.Instrument << " "
                << catalogue.FindInstrument(data.Instrument) << "\n";
    context.out << "  Status: " << data.Status << "\n";
    context.out << "  Company: " << data.Company << "\n";
    context.out << "Wrote " << out.string() << ": " << saved.Records << " records, "
                << data.NumAngles << (data.NumAngles == 1 ? " angle position" : " angle positions")
                << "\n";
    return 0;
}

}  // namespace tintara::cli
