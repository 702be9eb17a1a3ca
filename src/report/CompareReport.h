// The plain-text compare report of a fandeck comparison, and the performance view that writes it.
#pragma once

#include <filesystem>
#include <iosfwd>
#include <optional>
#include <string>

#include "report/Paint.h"
#include "workspace/GlobalVariables.h"

namespace tintara {

inline constexpr const char* kCompareReportName = "CompareReport.txt";

// Writes the compare report of the SCI view (the corrected SCI group of SampleDeltas) to `out`,
// lines ended by CR LF. A sample fails, and is marked "  <---", at DE >= SingleSampleTolerance;
// the three DE bands are fixed at 1.0 and 2.0 whatever the tolerances. Throws Error when the
// sample data are incomplete (nothing is written then).
void WriteCompareReport(const GlobalVariables& ws, std::ostream& out);

// The same into `file`, replacing an earlier one only once the new text is complete.
void WriteCompareReport(const GlobalVariables& ws, const std::filesystem::path& file);

// The performance view: fills the performance grid (laid out by Paint::BuildEmptyPerformanceGrid
// for SampleCount + 2) with the corrected group of the SCI or the SCE data, marks samples with
// DE >= SingleSampleTolerance and an average >= AverageTolerance in the fail colour, and for the
// SCI view only writes the compare report.
class PerformanceView {
  public:
    explicit PerformanceView(Paint& paint) : m_paint(paint) {}

    // Where the SCI view writes the compare report: the working directory's "CompareReport.txt"
    // when unset. The GUI points it into the folder of the file last chosen.
    std::optional<std::filesystem::path> CompareReportFile;
    // False skips the report (a caller that writes it on request only).
    bool WriteReport = true;

    void ShowSCIPerformanceData();
    void ShowSCEPerformanceData();

  private:
    void Show(int firstColumn, char geometryLetter);
    Paint& m_paint;
};

}  // namespace tintara
