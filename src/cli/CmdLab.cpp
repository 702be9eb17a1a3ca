// tintara lab: the colour coordinates of every record of a save set or CGATS file.
#include <cmath>
#include <cstdio>
#include <fstream>
#include <ostream>
#include <string>

#include "cli/Args.h"
#include "cli/Commands.h"
#include "engine/ColorMatch.h"
#include "files/Cgats.h"
#include "files/SaveSetLibrary.h"
#include "workspace/Error.h"
#include "workspace/NumberFormat.h"

namespace tintara::cli {

namespace {

// Save sets are SQLite databases; anything else is read as CGATS text.
bool LooksLikeSaveSet(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    char magic[16] = {};
    in.read(magic, sizeof magic);
    return in.gcount() == sizeof magic &&
           std::string(magic, sizeof magic) == std::string("SQLite format 3\0", 16);
}

std::string Fixed6(double value) {
    if (std::fabs(value) < 5e-7)
        value = 0.0;  // no "-0.000000"
    char text[64];
    std::snprintf(text, sizeof text, "%.6f", value);
    return text;
}

}  // namespace

int RunLab(const Arguments& arguments, CommandContext& context) {
    const Args args(arguments, {"--space", "--angle"}, {});
    if (args.Positionals().size() != 1)
        throw UsageError("lab needs exactly one FILE");
    const std::filesystem::path file = args.Positionals()[0];

    const std::string space = args.Value("--space", "cielab");
    if (space != "cielab" && space != "hunter") {
        throw UsageError("--space must be cielab or hunter, not '" + space + "'");
    }
    const std::string angleText = args.Value("--angle", "0");
    if (angleText != "0" && angleText != "1") {
        throw UsageError("--angle must be 0 or 1, not '" + angleText + "'");
    }
    const int angle = angleText == "1" ? 1 : 0;

    if (!std::filesystem::exists(file))
        throw IoError(file.string() + ": no such file.");
    const SaveSetData data = LooksLikeSaveSet(file) ? LoadSaveSet(file) : ImportCgats(file);
    if (angle >= data.NumAngles) {
        throw Error(file.string() + " holds one angle position only; --angle 1 is not available.");
    }

    ColorMatch plm;
    plm.SetColorSpace(space == "hunter" ? kHunterLab : kCieLab);
    double coordinates[8];
    // Every record is checked before the first line: a refusal prints no coordinates.
    for (std::size_t r = 0; r < data.Records.size(); ++r) {
        double bad = 0.0;
        if (!UsableReflectance(data.Records[r].Curves[static_cast<std::size_t>(angle)], &bad)) {
            throw ComputeError(file.string() + ": record " + std::to_string(r + 1) + " (" +
                               Excerpt(data.Records[r].Name) + ") holds the reflectance " +
                               NumberText(bad) +
                               ", which is not a usable reading (a number within +-1000 %).");
        }
    }
    for (const SaveSetRecord& record : data.Records) {
        plm.SetTrialSpectrum(record.Curves[static_cast<std::size_t>(angle)]);
        plm.TrialCoordinates(coordinates);
        context.out << record.Name << '\t' << Fixed6(coordinates[0]) << '\t'
                    << Fixed6(coordinates[1]) << '\t' << Fixed6(coordinates[2]) << '\n';
    }
    return 0;
}

}  // namespace tintara::cli
