// The profile component report: raw and corrected colour differences of every tile, as text.
#pragma once

#include <filesystem>
#include <iosfwd>
#include <string>

#include "workspace/GlobalVariables.h"

namespace tintara {

inline constexpr const char* kProfileReportName = "ProfileReport.txt";

// Writes the report of the last profiling run, lines ended by CR LF. `dateText` is printed after
// "Date : " (the caller renders today's date, see ShortDate). Tile values are
// Format(v, " ##0.00;-#0.00"); the averages are the means over the TileCount tiles listed.
// Throws Error, writing nothing, when the tile tables do not cover TileCount tiles.
void WriteProfileReport(const GlobalVariables& ws, std::ostream& out, const std::string& dateText);

// The same into `file`, replacing an earlier one only once the new text is complete.
void WriteProfileReport(const GlobalVariables& ws, const std::filesystem::path& file,
                        const std::string& dateText);

// The label under which the window shows where the report went: "Full File Path is " and the
// chosen file's full path.
std::string FullFilePathText(const std::filesystem::path& file);

}  // namespace tintara
