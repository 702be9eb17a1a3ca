#include "report/CompareReport.h"

#include <algorithm>
#include <ostream>

#include "report/ReportText.h"
#include "workspace/Error.h"
#include "workspace/NumberFormat.h"
#include "workspace/WriteFile.h"

namespace tintara {

namespace {

constexpr const char* kCrLf = "\r\n";

// A value right-aligned in 8 characters: the last 8 of 13 blanks and the formatted value.
std::string Field8(double value) {
    const std::string text = std::string(13, ' ') + DeText(value);
    return text.substr(text.size() - 8);
}

}  // namespace

void WriteCompareReport(const GlobalVariables& ws, std::ostream& out) {
    RequireSampleData(ws);
    const int32_t samples = ws.SampleCount;
    const int de = kSciCorrected + 3;
    out << "Sample Name                   dL      da      db      dE" << kCrLf;
    long above2 = 0, between = 0, below1 = 0;
    // One line at a time into a reused buffer: the report of a million samples is never held.
    std::string line;
    for (int32_t s = 0; s < samples; ++s) {
        const double sampleDe = ws.SampleDeltas(s, de);
        line = PadCut(ws.SampleNames[s], 25);
        for (int k = 0; k < 4; ++k)
            line += Field8(ws.SampleDeltas(s, kSciCorrected + k));
        line += sampleDe >= ws.SingleSampleTolerance ? "  <---" : " ";
        line += kCrLf;
        out.write(line.data(), static_cast<std::streamsize>(line.size()));
        if (sampleDe >= 2.0) {
            ++above2;
        } else if (sampleDe >= 1.0) {
            ++between;
        } else {
            ++below1;
        }
    }
    out << kCrLf << kCrLf;
    out << "Total Number of Samples is " << PrintNumber(samples) << kCrLf;
    out << kCrLf;
    out << "Number of Samples Gretaer than 2.0 DE is " << PrintNumber(above2) << kCrLf;
    out << "Number of Samples Between 1.0 and 2.0 DE is " << PrintNumber(between) << kCrLf;
    out << "Number of Samples Less than 1.0 DE is " << PrintNumber(below1) << kCrLf;
}

void WriteCompareReport(const GlobalVariables& ws, const std::filesystem::path& file) {
    // Checked before the file is touched, so incomplete data leave an earlier report alone.
    RequireSampleData(ws);
    WriteFileAtomically(file, [&](std::ostream& out) { WriteCompareReport(ws, out); });
}

void PerformanceView::Show(int firstColumn, char geometryLetter) {
    GlobalVariables& ws = m_paint.Workspace();
    ResultGridModel& grid = m_paint.Grid();
    ProgressSink& progress = m_paint.Progress();
    RequireSampleData(ws);
    const int32_t samples = ws.SampleCount;
    const int32_t averageRow = samples + 2;
    if (grid.Rows() <= averageRow || grid.Cols() < 5) {
        throw Error("the performance grid is not laid out for " + std::to_string(samples) +
                    " samples");
    }

    grid.SetVisible(false);
    const int32_t rows = grid.Rows();
    const int32_t cols = grid.Cols();
    const double limit = ws.SingleSampleTolerance;
    // The sample rows are formatted when shown, from the workspace's arrays: nothing is stored
    // per sample.
    grid.SetRowSource(
        1, std::max(samples, rows - 3),
        [&ws, samples, rows, cols, firstColumn, limit](int32_t row, GridRowCells& cells) {
            const auto band = CompareBand(row, rows);
            for (int32_t c = 1; c < cols; ++c)
                cells.Backs[c] = band;
            if (!SampleRowOnShow(ws, samples, row))
                return;
            const auto s = static_cast<std::size_t>(row - 1);
            cells.Texts[0] = ws.SampleNames[s];
            for (int k = 0; k < 4; ++k)
                cells.Texts[k + 1] = DeText(ws.SampleDeltas(s, firstColumn + k));
            // A DE equal to the limit fails on screen (the printed certificate is stricter about
            // equality; see PrintPerformance).
            if (ws.SampleDeltas(s, firstColumn + 3) >= limit) {
                for (int c = 1; c <= 4; ++c)
                    cells.Backs[c] = kFailColor;
            }
        });
    progress.LetEventsRun();
    grid.SetTextMatrix(averageRow, 0, "Average");
    for (int c = 1; c <= 3; ++c)
        grid.SetTextMatrix(averageRow, c, "");
    // The engine keeps the average in the entry after the last sample; it is shown, not recomputed.
    const double averageDe = ws.SampleDeltas(samples, firstColumn + 3);
    grid.SetTextMatrix(averageRow, 4, DeText(averageDe));
    if (averageDe >= ws.AverageTolerance) {
        for (int c = 1; c <= 4; ++c)
            grid.SetCellBackColor(averageRow, c, kFailColor);
    }
    grid.SetVisible(true);

    const bool sci = geometryLetter == 'I';
    ws.PerformanceShowsSCI = sci;
    if (m_paint.ViewSwitchEnabled)
        m_paint.ViewSwitchBackColor = kHighlightColor;
    m_paint.ViewSwitchCaption = sci ? "Show SCE Data" : "Show SCI Data";
    m_paint.WriteInstrumentPanels(geometryLetter);
}

void PerformanceView::ShowSCIPerformanceData() {
    Show(kSciCorrected, 'I');
    if (WriteReport) {
        WriteCompareReport(m_paint.Workspace(),
                           CompareReportFile.value_or(std::filesystem::path(kCompareReportName)));
    }
}

void PerformanceView::ShowSCEPerformanceData() {
    Show(kSceCorrected, 'E');
}

}  // namespace tintara
