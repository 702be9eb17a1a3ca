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
class PerformanceDocument;

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

    // The same certificates made page by page, for printing a long fandeck in bounded memory.
    // A document refers to this printer (its settings, and the counts it updates) and to the
    // workspace; both must outlive it.
    PerformanceDocument SCIPerformanceDocument();
    PerformanceDocument SCEPerformanceDocument();

  private:
    friend class PerformanceDocument;
    // Lays the certificate out on `paper`, handing every finished page to `sink`, without the
    // watermark and page numbers. With `blankSamples` the sample lines are printed empty: the
    // layout depends on line heights only, so the pages are the same ones, cheaply counted.
    void Build(int firstColumn, const char* dataSetLine, PageDescription& paper,
               const PageSink& sink, bool blankSamples);
    const GlobalVariables& m_ws;
};

// A performance certificate produced page by page: a counting pass finds the number of pages
// (for "Page n of m"), then each page is laid out, numbered and handed on, and none is kept.
class PerformanceDocument : public PagedDocument {
  public:
    const PageDescription& Outline() const override { return m_outline; }
    void Produce(const PageSink& sink) override;

  private:
    friend class PrintPerformance;
    PerformanceDocument(PrintPerformance& printer, int firstColumn, const char* dataSetLine);

    PrintPerformance& m_printer;
    int m_firstColumn;
    const char* m_dataSetLine;
    PageDescription m_outline;
    std::optional<PagePicture> m_watermark;
    std::size_t m_pageCount = 0;  // 0 until counted
};

}  // namespace tintara
