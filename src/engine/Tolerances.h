// The tolerance settings (single-sample and average DE limits, colour space) and Profiler.ini.
#pragma once

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "workspace/GlobalVariables.h"

namespace tintara {

inline constexpr double kDefaultTolerance = 0.5;
inline constexpr double kMinimumTolerance = 0.01;  // DE, inclusive
inline constexpr double kMaximumTolerance = 5.0;   // DE, inclusive
inline constexpr int kScrollMinimum = 1;
inline constexpr int kScrollMaximum = 100;
inline constexpr const char* kToleranceReadTitle = "File Read Error";
inline constexpr const char* kToleranceReadText = "Error reading Tolerance defaults";

// The three settings. Limits are DE in the units of the colour space; ColorSpace is 0 (CIE
// L*a*b*) or 2 (Hunter Lab).
struct ToleranceSettings {
    double SingleSampleTolerance = kDefaultTolerance;
    double AverageTolerance = kDefaultTolerance;
    int16_t ColorSpace = 0;
    bool operator==(const ToleranceSettings&) const = default;
};

// What reading gave: the settings in effect (defaults where the file failed or was out of
// range) and whether the user must be told "Error reading Tolerance defaults" (title "File Read
// Error"). The caller shows the message; the reader never does.
struct ToleranceReadResult {
    ToleranceSettings Settings;
    bool ErrorNoted = false;
    std::string Detail;  // what went wrong, for logs and the command line; empty when all is well
};

bool ToleranceInRange(double limit);  // 0.01..5.0 inclusive, and a number

// Reads the three lines (single limit, average limit, colour space), each one number with
// blanks around it ignored. Reading stops at the first missing or unreadable line, keeping what
// was read; then each value out of range falls back to its default. Either notes an error.
ToleranceReadResult ReadTolerances(std::istream& in, const std::string& sourceName);
// A missing or unreadable file gives the defaults with the error noted.
ToleranceReadResult ReadTolerances(const std::filesystem::path& file);

// Writes the three lines as the print statement renders numbers (" .5 "), each ended by CR LF.
void WriteTolerances(std::ostream& out, const ToleranceSettings& settings);
// Writes beside the file and renames over it, creating the folder if needed, so a failure
// leaves any earlier file intact. Throws IoError.
void WriteTolerances(const std::filesystem::path& file, const ToleranceSettings& settings);

// The dialog's scroll bars: 0.05 DE per step, position 1 = 5.00, position 100 = 0.05.
double LimitFromPosition(int position);
std::string LimitText(int position);  // Format(limit, "#0.00")
// 101 - 20 x limit, rounded to the nearest integer with halves to even. Not clamped: a limit of
// 0.01 gives 101, outside the bar's range; the dialog clamps to kScrollMinimum..kScrollMaximum.
int PositionFromLimit(double limit);

// Where Profiler.ini lives. ReadPaths in the order to try (the first that exists is read).
struct ProfilerIniLocation {
    std::filesystem::path WritePath;
    std::vector<std::filesystem::path> ReadPaths;
};
// The rule: $TINTARA_HOME when set and not empty; else the program's directory when it can be
// written; else $XDG_CONFIG_HOME/tintara (or $HOME/.config/tintara), which is then read first,
// with the program directory's copy as the fallback. An installed program's data folder
// (ProgramDataFolder) holds a copy with the defaults, read last. Environment values are passed in
// so that the rule can be tested; an empty optional means "not set".
ProfilerIniLocation LocateProfilerIni(const std::filesystem::path& programDirectory,
                                      const std::optional<std::string>& tintaraHome,
                                      const std::optional<std::string>& xdgConfigHome,
                                      const std::optional<std::string>& home);
// The same from the real environment and the running executable's directory.
ProfilerIniLocation LocateProfilerIni();
// The directory of the running executable (falls back to the working directory).
std::filesystem::path ProgramDirectory();

// Reads from the first existing path of the location (defaults and the error when none exists)
// and stores the result in the workspace's SingleSampleTolerance, AverageTolerance, ColorSpace.
ToleranceReadResult LoadTolerances(GlobalVariables& ws, const ProfilerIniLocation& location);

}  // namespace tintara
