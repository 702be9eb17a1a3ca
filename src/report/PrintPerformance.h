// The performance certificate of a fandeck comparison, built as a page description.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "report/PageDescription.h"
#include "report/ReportText.h"
#include "workspace/GlobalVariables.h"

namespace tintara {

// Builds the performance certificate for the SCI or the SCE data of a comparison (the corrected
// group of SampleDeltas). Its rules differ from the screen's on purpose: a sample fails, and is
// marked " <FAIL", only when its DE is strictly greater than SingleSampleTolerance; the verdict
// depends on the average alone (" PASSED" exactly when the average DE is not greater than
// AverageTolerance), failed samples are counted but do not change it. A fandeck too long for one
// page continues on further pages that repeat the title, the identification and the captions,
// every page numbered; the averages, counts, limits, verdict and signature lines stay together on
// the last page.
class PrintPerformance {
  public:
    explicit PrintPerformance(const GlobalVariables& ws) : m_ws(ws) {}

    // The instruments named; unset, the tile sets' header fields (the commands name the fandecks
    // compared, FandeckIdentification).
    std::optional<InstrumentIdentification> Master;
    std::optional<InstrumentIdentification> Target;

    std::filesystem::path ProgramDirectory;  // where Watermark.jpg is looked for
    std::string DateText;                    // printed after "Date : "
    PageSetup Paper;                         // US Letter with half-inch margins unless set

    // Mean DE over the SampleCount samples of the data set starting at SampleDeltas column
    // `firstColumn` (0 for an empty fandeck).
    double AverageDE = 0.0;
    void CalculateAverageDE(int firstColumn);

    // Counts of the last page built.
    int32_t Passed = 0;
    int32_t Failed = 0;

    // Throw Error when the sample data are incomplete.
    PageDescription PrintSCIPerformanceData();
    PageDescription PrintSCEPerformanceData();

  private:
    PageDescription Build(int firstColumn, const char* dataSetLine);
    const GlobalVariables& m_ws;
};

}  // namespace tintara
