#include "report/PrintPerformance.h"

#include <stdexcept>

#include "report/Paint.h"
#include "report/PrintCertificate.h"
#include "report/ReportText.h"
#include "workspace/NumberFormat.h"

namespace tintara {

void PrintPerformance::CalculateAverageDE(int firstColumn) {
    RequireSampleData(m_ws);
    double sum = 0.0;
    for (int32_t s = 0; s < m_ws.SampleCount; ++s)
        sum += m_ws.SampleDeltas(s, firstColumn + 3);
    AverageDE = m_ws.SampleCount > 0 ? sum / m_ws.SampleCount : 0.0;
}

void PrintPerformance::Build(int firstColumn, const char* dataSetLine, PageDescription& page,
                             const PageSink& sink, bool blankSamples) {
    RequireSampleData(m_ws);
    page.Pages.clear();
    page.Pages.emplace_back();

    PagePrinter printer(page, sink);
    printer.FooterHeight = LineHeight(kPageNumberFont);
    const bool hunter = m_ws.ColorSpace != 0;
    const CertificateIdentity id{Master.value_or(MasterIdentification(m_ws)),
                                 Target.value_or(TargetIdentification(m_ws))};
    PrintHeaderBlock(
        printer, id,
        {"The referenced Target Instrument has been compared to the master instrument listed "
         "below. The test results below show the conformance of the",
         hunter ? "Target Instrument to the Master, based on the set of samples listed below. The "
                  "reported data is shown for Hunter Lab, Ill D65 10 Observer."
                : "Target Instrument to the Master, based on the set of samples listed below. The "
                  "reported data is shown for CIE(1976) L*a*b*, Ill D65 10 Observer."});

    const PageFont courier12{"Courier New", 12.0, false, false};
    const std::vector<PrintLine> captions = {
        {courier12, dataSetLine},
        {courier12,
         hunter ? "Sample Name       DL    Da   Db   DE" : "Sample Name       DL*   Da*  Db*  DE"},
        {courier12, "-----------      ---   ---  ---  ---"}};
    StartTable(printer, id, captions);
    Passed = 0;
    Failed = 0;
    std::string line;
    for (int32_t s = 0; s < m_ws.SampleCount; ++s) {
        // Strictly greater: on paper a sample exactly at the limit passes.
        const bool fails = m_ws.SampleDeltas(s, firstColumn + 3) > m_ws.SingleSampleTolerance;
        ++(fails ? Failed : Passed);
        line.clear();
        if (!blankSamples) {
            line = PadCut(m_ws.SampleNames[s], 35) +
                   DeltaColumns(m_ws.SampleDeltas.Row(s) + firstColumn);
            line += fails ? " <FAIL" : " ";
        }
        printer.Print(line);
    }

    CalculateAverageDE(firstColumn);
    const bool averageFails = AverageDE > m_ws.AverageTolerance;
    const PageFont courier10{"Courier New", 10.0, false, false};
    std::vector<PrintLine> closing = {
        {courier12, "-----------                      ---"},
        {courier12, "Average DE                     " + AverageValue(AverageDE) +
                        (averageFails ? " <FAIL" : " ")},
        {courier10, "Total Number of Samples  : " + PrintNumber(Passed + Failed)},
        {courier10, "Number of Samples PASSED : " + PrintNumber(Passed)},
        {courier10, "Number of Samples FAILED : " + PrintNumber(Failed)},
        {courier10, ""},
        {courier10, ""},
        {courier10, "Single Sample DE Limit   : " + Format(m_ws.SingleSampleTolerance, "0.00")},
        {courier10, "Average Sample DE Limit  : " + Format(m_ws.AverageTolerance, "0.00")},
        // The verdict follows the average alone; failed single samples are reported above.
        {courier10,
         std::string("The Target Instrument has") + (averageFails ? " FAILED" : " PASSED")}};
    for (PrintLine& line : SignatureLines(10.0, DateText, Paper))
        closing.push_back(std::move(line));
    PrintTogether(printer, closing);
    printer.Finish();
}

PerformanceDocument::PerformanceDocument(PrintPerformance& printer, int firstColumn,
                                         const char* dataSetLine)
    : m_printer(printer),
      m_firstColumn(firstColumn),
      m_dataSetLine(dataSetLine),
      m_outline(printer.Paper) {
    RequireSampleData(printer.m_ws);
    m_watermark = WatermarkPicture(m_outline, printer.ProgramDirectory);
}

void PerformanceDocument::Produce(const PageSink& sink) {
    PageDescription current(m_printer.Paper);
    if (m_pageCount == 0) {
        m_printer.Build(
            m_firstColumn, m_dataSetLine, current, [&](Page&) { ++m_pageCount; }, true);
    }
    std::size_t number = 0;
    m_printer.Build(
        m_firstColumn, m_dataSetLine, current,
        [&](Page& page) {
            ++number;
            if (m_watermark)
                page.Pictures.push_back(*m_watermark);
            if (m_pageCount >= 2)
                page.Texts.push_back(
                    PageNumberText(m_outline, kPageNumberFont, number, m_pageCount));
            sink(page);
        },
        false);
    // The counting pass lays out the same lines; a difference would misnumber every page.
    if (number != m_pageCount)
        throw std::logic_error("the certificate's page count changed between its two passes");
}

PerformanceDocument PrintPerformance::SCIPerformanceDocument() {
    return PerformanceDocument(*this, kSciCorrected, "                      SCI Data");
}

PerformanceDocument PrintPerformance::SCEPerformanceDocument() {
    return PerformanceDocument(*this, kSceCorrected, "                      SCE Data");
}

PageDescription PrintPerformance::PrintSCIPerformanceData() {
    PerformanceDocument document = SCIPerformanceDocument();
    return CollectPages(document);
}

PageDescription PrintPerformance::PrintSCEPerformanceData() {
    PerformanceDocument document = SCEPerformanceDocument();
    return CollectPages(document);
}

}  // namespace tintara
