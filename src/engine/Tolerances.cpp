#include "engine/Tolerances.h"

#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <istream>
#include <ostream>
#include <sstream>
#include <system_error>

#include "workspace/Error.h"
#include "workspace/NumberFormat.h"
#include "workspace/ProgramFiles.h"

namespace tintara {

namespace {

std::string Trim(const std::string& text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string::npos)
        return {};
    const auto last = text.find_last_not_of(" \t");
    return text.substr(first, last - first + 1);
}

// The whole field must be one finite number; "0.5abc", "", "nan" are not.
std::optional<double> ParseNumber(const std::string& field) {
    if (field.empty())
        return std::nullopt;
    errno = 0;
    char* end = nullptr;
    const double value = std::strtod(field.c_str(), &end);
    if (end != field.c_str() + field.size() || errno == ERANGE || !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

// List-directed input: fields end at a comma or a line end; blanks around them are ignored.
std::vector<std::string> Fields(std::istream& in) {
    std::vector<std::string> fields;
    std::string line;
    while (fields.size() < 3 && std::getline(in, line)) {
        std::stringstream parts(line);
        std::string part;
        while (std::getline(parts, part, ',')) {
            if (!part.empty() && part.back() == '\r')
                part.pop_back();
            part = Trim(part);
            if (!part.empty())
                fields.push_back(part);
        }
    }
    return fields;
}

void Note(ToleranceReadResult& result, const std::string& what) {
    result.ErrorNoted = true;
    if (!result.Detail.empty())
        result.Detail += "; ";
    result.Detail += what;
}

}  // namespace

bool ToleranceInRange(double limit) {
    return limit >= kMinimumTolerance && limit <= kMaximumTolerance;
}

ToleranceReadResult ReadTolerances(std::istream& in, const std::string& sourceName) {
    ToleranceReadResult result;
    ToleranceSettings& s = result.Settings;
    const std::vector<std::string> fields = Fields(in);
    const char* names[3] = {"single sample DE limit", "average DE limit", "colour space"};

    // Read in order; the first failure ends reading and the rest keep their defaults.
    for (std::size_t i = 0; i < 3; ++i) {
        if (i >= fields.size()) {
            Note(result, sourceName + ": the " + names[i] + " is missing");
            break;
        }
        const auto value = ParseNumber(fields[i]);
        if (!value) {
            Note(result, sourceName + ": the " + names[i] + " '" + fields[i] + "' is not a number");
            break;
        }
        if (i == 0)
            s.SingleSampleTolerance = *value;
        if (i == 1)
            s.AverageTolerance = *value;
        if (i == 2) {
            // Anything but a whole 0 or 2 is caught by the check below.
            s.ColorSpace = (*value == 0.0 || *value == 2.0) ? static_cast<int16_t>(*value) : -1;
        }
    }

    if (!ToleranceInRange(s.SingleSampleTolerance)) {
        Note(result, "the single sample DE limit " + NumberText(s.SingleSampleTolerance) +
                         " is outside 0.01..5.0");
        s.SingleSampleTolerance = kDefaultTolerance;
    }
    if (!ToleranceInRange(s.AverageTolerance)) {
        Note(result,
             "the average DE limit " + NumberText(s.AverageTolerance) + " is outside 0.01..5.0");
        s.AverageTolerance = kDefaultTolerance;
    }
    if (s.ColorSpace != 0 && s.ColorSpace != 2) {
        Note(result, "the colour space " + (fields.size() > 2 ? fields[2] : std::string("?")) +
                         " is neither 0 nor 2");
        s.ColorSpace = 0;
    }
    return result;
}

ToleranceReadResult ReadTolerances(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        ToleranceReadResult result;
        Note(result, "cannot open " + file.string());
        return result;
    }
    return ReadTolerances(in, file.string());
}

void WriteTolerances(std::ostream& out, const ToleranceSettings& settings) {
    out << PrintNumber(settings.SingleSampleTolerance) << "\r\n"
        << PrintNumber(settings.AverageTolerance) << "\r\n"
        << PrintNumber(settings.ColorSpace) << "\r\n";
}

void WriteTolerances(const std::filesystem::path& file, const ToleranceSettings& settings) {
    namespace fs = std::filesystem;
    std::error_code ec;
    const fs::path folder = file.has_parent_path() ? file.parent_path() : fs::path(".");
    fs::create_directories(folder, ec);
    if (ec)
        throw IoError("Cannot create the folder " + folder.string() + ": " + ec.message());
    const fs::path temporary =
        folder / (file.filename().string() + ".tmp-" + std::to_string(::getpid()));
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        if (!out) {
            throw IoError("Cannot write " + file.string() + ": " + std::strerror(errno));
        }
        WriteTolerances(out, settings);
        out.flush();
        if (!out) {
            out.close();
            fs::remove(temporary, ec);
            throw IoError("Cannot write " + file.string() + ": writing failed");
        }
    }
    fs::rename(temporary, file, ec);
    if (ec) {
        std::error_code ignored;
        fs::remove(temporary, ignored);
        throw IoError("Cannot replace " + file.string() + ": " + ec.message());
    }
}

double LimitFromPosition(int position) {
    return 5 - position / 20.0 + 0.05;
}

std::string LimitText(int position) {
    return Format(LimitFromPosition(position), "#0.00");
}

int PositionFromLimit(double limit) {
    // nearbyint rounds to even on a half under the default rounding mode.
    return static_cast<int>(std::nearbyint(101 - 20 * limit));
}

ProfilerIniLocation LocateProfilerIni(const std::filesystem::path& programDirectory,
                                      const std::optional<std::string>& tintaraHome,
                                      const std::optional<std::string>& xdgConfigHome,
                                      const std::optional<std::string>& home) {
    const char* name = "Profiler.ini";
    ProfilerIniLocation location;
    if (tintaraHome && !tintaraHome->empty()) {
        location.WritePath = std::filesystem::path(*tintaraHome) / name;
        location.ReadPaths = {location.WritePath};
        return location;
    }
    const std::filesystem::path beside = programDirectory / name;
    // An installed program ships a copy with the defaults in its data folder, read last.
    const auto shipped = ProgramDataFolder(programDirectory);
    if (::access(programDirectory.c_str(), W_OK) == 0) {
        location.WritePath = beside;
        location.ReadPaths = {beside};
        if (shipped)
            location.ReadPaths.push_back(*shipped / name);
        return location;
    }
    // An installed program: the user's own copy, falling back to the one installed beside it.
    std::filesystem::path config;
    if (xdgConfigHome && !xdgConfigHome->empty()) {
        config = std::filesystem::path(*xdgConfigHome) / "tintara";
    } else if (home && !home->empty()) {
        config = std::filesystem::path(*home) / ".config" / "tintara";
    } else {
        config = std::filesystem::temp_directory_path() / "tintara";
    }
    location.WritePath = config / name;
    location.ReadPaths = {location.WritePath, beside};
    if (shipped)
        location.ReadPaths.push_back(*shipped / name);
    return location;
}

std::filesystem::path ProgramDirectory() {
    std::error_code ec;
    const auto exe = std::filesystem::read_symlink("/proc/self/exe", ec);
    if (!ec && exe.has_parent_path())
        return exe.parent_path();
    return std::filesystem::current_path(ec);
}

ProfilerIniLocation LocateProfilerIni() {
    auto env = [](const char* variable) -> std::optional<std::string> {
        const char* value = std::getenv(variable);
        if (!value)
            return std::nullopt;
        return std::string(value);
    };
    return LocateProfilerIni(ProgramDirectory(), env("TINTARA_HOME"), env("XDG_CONFIG_HOME"),
                             env("HOME"));
}

ToleranceReadResult LoadTolerances(GlobalVariables& ws, const ProfilerIniLocation& location) {
    std::filesystem::path chosen = location.WritePath;
    for (const auto& candidate : location.ReadPaths) {
        std::error_code ec;
        if (std::filesystem::exists(candidate, ec)) {
            chosen = candidate;
            break;
        }
    }
    ToleranceReadResult result = ReadTolerances(chosen);
    ws.SingleSampleTolerance = result.Settings.SingleSampleTolerance;
    ws.AverageTolerance = result.Settings.AverageTolerance;
    ws.ColorSpace = result.Settings.ColorSpace;
    return result;
}

}  // namespace tintara
