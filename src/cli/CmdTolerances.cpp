// tintara tolerances: shows Profiler.ini, or validates new values and writes it.
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <ostream>
#include <string>
#include <system_error>

#include "cli/Args.h"
#include "cli/Commands.h"
#include "engine/ColorMatch.h"
#include "engine/Tolerances.h"
#include "workspace/Error.h"
#include "workspace/NumberFormat.h"

namespace tintara::cli {

namespace {

double ParseLimit(const std::string& option, const std::string& text, const char* what) {
    errno = 0;
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (text.empty() || end != text.c_str() + text.size() || errno == ERANGE ||
        !std::isfinite(value)) {
        throw UsageError(option + " needs a number, not '" + text + "'");
    }
    if (!ToleranceInRange(value)) {
        throw Error(std::string("the ") + what + " DE limit must be between 0.01 and 5.00, not " +
                    text);
    }
    return value;
}

}  // namespace

int RunTolerances(const Arguments& arguments, CommandContext& context) {
    const Args args(arguments, {"--single", "--average", "--space"}, {});
    args.RequireNoPositionals();

    const ProfilerIniLocation location = LocateProfilerIni();
    GlobalVariables ws;
    const ToleranceReadResult read = LoadTolerances(ws, location);
    ToleranceSettings settings{ws.SingleSampleTolerance, ws.AverageTolerance, ws.ColorSpace};

    const bool change = args.Has("--single") || args.Has("--average") || args.Has("--space");
    if (change) {
        // A damaged file is never half-overwritten with defaults the user did not choose.
        const bool all = args.Has("--single") && args.Has("--average") && args.Has("--space");
        bool exists = false;
        for (const auto& path : location.ReadPaths) {
            std::error_code ec;
            exists = exists || std::filesystem::exists(path, ec);
        }
        if (read.ErrorNoted && exists && !all) {
            throw Error(std::string(kToleranceReadText) + " (" + read.Detail +
                        "); Profiler.ini was not changed. Give --single, --average and --space "
                        "together to write all three settings anew.");
        }
        // Validate everything before anything is written.
        if (args.Has("--single")) {
            settings.SingleSampleTolerance =
                ParseLimit("--single", args.Value("--single"), "single sample");
        }
        if (args.Has("--average")) {
            settings.AverageTolerance = ParseLimit("--average", args.Value("--average"), "average");
        }
        if (args.Has("--space")) {
            const std::string space = args.Value("--space");
            if (space == "cielab") {
                settings.ColorSpace = kCieLab;
            } else if (space == "hunter") {
                settings.ColorSpace = kHunterLab;
            } else {
                throw UsageError("--space must be cielab or hunter, not '" + space + "'");
            }
        }
        WriteTolerances(location.WritePath, settings);
    } else if (read.ErrorNoted) {
        context.err << kToleranceReadTitle << ": " << kToleranceReadText << " (" << read.Detail
                    << ")\n";
    }

    context.out << "Single Tile DE Limit is -->\t"
                << Format(settings.SingleSampleTolerance, "#0.00") << "\n"
                << "Average Tile DE Limit -->\t" << Format(settings.AverageTolerance, "#0.00")
                << "\n"
                << "ColorSpace\t" << (settings.ColorSpace == kHunterLab ? "Hunter Lab" : "CIE Lab")
                << "\n"
                << "File\t" << (change ? location.WritePath : location.ReadPaths.front()).string()
                << "\n";
    return 0;
}

}  // namespace tintara::cli
