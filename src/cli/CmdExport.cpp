// tintara export: a save set to CGATS.17 (SPECTRAL_NM360 .. SPECTRAL_NM750 in percent) or, for a
// .cxf target, to CxF3.
#include <chrono>
#include <ctime>
#include <filesystem>
#include <ostream>
#include <string>

#include "cli/Args.h"
#include "cli/Commands.h"
#include "files/Interchange.h"
#include "workspace/Error.h"

namespace tintara::cli {

namespace {

// The CREATED keyword: local time, ISO 8601.
std::string Now() {
    const std::time_t t = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::tm local{};
    localtime_r(&t, &local);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &local);
    return text;
}

}  // namespace

int RunExport(const Arguments& arguments, CommandContext& context) {
    const Args args(arguments, {"-o"}, {});
    if (args.Positionals().size() != 1)
        throw UsageError("export needs exactly one save set");
    const std::filesystem::path in = args.Positionals()[0];
    const std::filesystem::path out = args.Required("-o");

    ExportOptions options;
    options.Created = Now();
    const SaveSetSummary written = ExportSaveSet(in, out, options);
    const SaveSetData& data = written.Header;
    const bool cxf = FormatForExport(out) == MeasurementFormat::Cxf;
    context.out << "Wrote " << out.string() << ": " << written.Records
                << (cxf ? " records as CxF3, ReflectanceSpectrum 360-750 nm by 10 nm (0-1)"
                        : " records, SPECTRAL_NM360 .. SPECTRAL_NM750 in percent");
    if (data.NumAngles == 2) {
        context.out << (cxf ? ", SCI and SCE as two measurement conditions"
                            : ", angle position 0 (SCI) in the first table and 1 (SCE) in the "
                              "second");
    }
    context.out << "\n";
    return 0;
}

}  // namespace tintara::cli
