#include "report/Paint.h"

#include <algorithm>
#include <string>

#include "report/ReportText.h"
#include "workspace/Error.h"
#include "workspace/NumberFormat.h"
#include "workspace/StatusCode.h"

namespace tintara {

namespace {

constexpr const char* kCorrelationFormat =
    "Tile Name|>Raw DE|>Phase #1|>Phase #2|>Phase #3|>Phase #4|>Final DE";

// The sample-name cell of the compare grid: the name in a fixed 75-character field.
std::string NameField75(const std::string& name) {
    return PadCut(name, 75);
}

}  // namespace

std::optional<GridColor> CompareBand(int32_t row, int32_t rows) {
    if (row < 1 || row > rows - 3)
        return std::nullopt;
    return (row % 2 == 0) ? kGreenColor : kYellowColor;
}

bool SampleRowOnShow(const GlobalVariables& ws, int32_t samples, int32_t row) {
    const auto s = static_cast<std::size_t>(row - 1);
    return row >= 1 && row <= samples && s < ws.SampleNames.size() && s < ws.SampleDeltas.Rows() &&
           ws.SampleDeltas.Cols() >= static_cast<std::size_t>(kSampleDeltaColumns);
}

std::string DeText(double value) {
    return Format(value, "##0.00");
}

std::string CompareFormatString(int16_t colorSpace) {
    // The irregular blanks (two before the second Db, none before the second DE) are the
    // captions' own.
    return colorSpace == 0 ? "<Sample Name|> DL*|> Da*|> Db*|> DE|> DL*|> Da*|>  Db*|>DE"
                           : "<Sample Name|> DL |> Da |> Db |> DE|> DL |> Da |>  Db |>DE";
}

std::string PerformanceFormatString(int16_t colorSpace) {
    return colorSpace == 0 ? "<Sample Name|> DL*|> Da*|> Db*|> DE"
                           : "<Sample Name|> DL |> Da |> Db |> DE";
}

void RequireSampleData(const GlobalVariables& ws) {
    if (ws.SampleCount < 0)
        throw Error("the sample count is negative");
    const auto count = static_cast<std::size_t>(ws.SampleCount);
    if (ws.SampleDeltas.Rows() < count + 1 ||
        ws.SampleDeltas.Cols() < static_cast<std::size_t>(kSampleDeltaColumns)) {
        throw Error("the sample differences hold " + std::to_string(ws.SampleDeltas.Rows()) +
                    " rows of " + std::to_string(ws.SampleDeltas.Cols()) + " values; " +
                    std::to_string(count + 1) + " rows of " + std::to_string(kSampleDeltaColumns) +
                    " are needed for " + std::to_string(count) + " samples");
    }
    if (ws.SampleNames.size() < count) {
        throw Error("there are " + std::to_string(ws.SampleNames.size()) + " sample names for " +
                    std::to_string(count) + " samples");
    }
}

Paint::Paint(GlobalVariables& ws, ResultGridModel& grid, ProgressSink& progress)
    : m_ws(ws), m_grid(grid), m_progress(progress) {}

void Paint::LayOut(int32_t rows, int32_t cols, const std::string& format, int32_t dataPixels) {
    const int32_t tpp = m_ws.TwipsPerPixel;
    m_grid.SetVisible(false);
    m_progress.LetEventsRun();

    m_grid.SetRows(rows);
    m_grid.SetCols(cols);
    // An empty grid is empty: no cell keeps a text of the grid shown before (a sample name in
    // the tile grid's spacer row would be read as data).
    m_grid.ClearTexts(1, rows - 1);
    m_grid.SetFormatString(format);
    m_grid.SetColWidth(0, kNameColumnPixels * tpp);
    for (int32_t c = 1; c < cols; ++c)
        m_grid.SetColWidth(c, dataPixels * tpp);

    int32_t width = 3 * tpp;
    for (int32_t c = 0; c < cols; ++c)
        width += m_grid.ColWidth(c);
    m_grid.Width = width;
    m_grid.Left = (Window.ScaleWidth - width) / 2;
    m_grid.Top = Window.UpperBarHeight + 40 * tpp;
    m_grid.Height = Window.ScaleHeight - m_grid.Top - 2 * Window.StatusBarHeight;
    m_progress.LetEventsRun();
}

// ---- correlation grid ---------------------------------------------------------------------------

void Paint::BuildEmptyCorrelationGrid() {
    const int32_t tiles = m_ws.TileCount;
    if (tiles < 0)
        throw Error("the tile count is negative");
    LayOut(tiles + 3, 7, kCorrelationFormat, kCorrelationColumnPixels);
    const int32_t cols = m_grid.Cols();

    for (int32_t c = 1; c < cols; ++c)
        m_grid.SetCellBackColor(1, c, kAverageColor);
    m_grid.SetTextMatrix(1, 0, "Average DE");
    for (int32_t r = 2; r <= tiles + 2; r += 2) {
        for (int32_t c = 1; c < cols; ++c)
            m_grid.SetCellBackColor(r, c, kGreenColor);
    }
    for (int32_t r = 3; r <= tiles + 2; r += 2) {
        for (int32_t c = 1; c < cols; ++c)
            m_grid.SetCellBackColor(r, c, kYellowColor);
    }
    m_grid.SetVisible(true);
}

void Paint::WriteInstrumentPanels(std::optional<char> geometryLetter) {
    if (!geometryLetter) {
        InstrumentPanel1 = "Master : " + m_ws.MasterType + "   /   " + m_ws.MasterStatus;
        InstrumentPanel2 = "Target : " + m_ws.TargetType + "   /   " + m_ws.TargetStatus;
        return;
    }
    // The compare and performance views show the fandecks, in the geometry on show; the tile
    // sets' status (which profiling checks) is left alone.
    // Without a fandeck read, the tile sets are on show, as they were measured.
    const auto panel = [&](const char* side, GlobalVariables::FandeckIdentity& fandeck,
                           const std::string& tileType, const std::string& tileStatus) {
        if (fandeck.File.empty())
            return std::string(side) + " : " + tileType + "   /   " + tileStatus;
        StatusCode::SetGeometry(fandeck.Status, *geometryLetter);
        return std::string(side) + " : " + fandeck.Type + "   /   " + fandeck.Status;
    };
    InstrumentPanel1 = panel("Master", m_ws.MasterFandeck, m_ws.MasterType, m_ws.MasterStatus);
    InstrumentPanel2 = panel("Target", m_ws.TargetFandeck, m_ws.TargetType, m_ws.TargetStatus);
}

void Paint::RefreshDisplay() {
    WriteInstrumentPanels();

    const int32_t tiles = m_ws.TileCount;
    if (m_grid.Rows() < tiles + 3 || m_grid.Cols() < 7) {
        throw Error("the correlation grid is not laid out for " + std::to_string(tiles) + " tiles");
    }
    // Entry TileCount takes part in the averages, so every array needs TileCount + 1 entries.
    const auto need = static_cast<std::size_t>(tiles) + 1;
    if (m_ws.RawDE.Rows() < need || m_ws.RawDE.Cols() < 4 || m_ws.FinalDE.Rows() < need ||
        m_ws.FinalDE.Cols() < 4 || m_ws.OffsetDE.size() < need || m_ws.GainDE.size() < need ||
        m_ws.LinearityDE.size() < need || m_ws.WavelengthDE.size() < need ||
        m_ws.TileNames.size() < static_cast<std::size_t>(tiles)) {
        throw Error("the colour-difference tables do not cover " + std::to_string(tiles) +
                    " tiles");
    }

    // Column order is phase order: Raw, Offset, Gain, Linearity, Wavelength, Final.
    auto value = [&](int column, std::size_t i) -> double {
        switch (column) {
            case 1:
                return m_ws.RawDE(i, 3);
            case 2:
                return m_ws.OffsetDE[i];
            case 3:
                return m_ws.GainDE[i];
            case 4:
                return m_ws.LinearityDE[i];
            case 5:
                return m_ws.WavelengthDE[i];
            default:
                return m_ws.FinalDE(i, 3);
        }
    };

    for (int32_t i = 0; i < tiles; ++i) {
        m_grid.SetTextMatrix(i + 3, 0, m_ws.TileNames[i]);
        for (int column = 1; column <= 6; ++column) {
            m_grid.SetTextMatrix(i + 3, column, DeText(value(column, i)));
        }
    }
    // The averages take entries 0..TileCount inclusive, one more than the rows show, and divide
    // by TileCount + 1: this is how the averages have always been shown and users compare them.
    for (int column = 1; column <= 6; ++column) {
        double sum = 0.0;
        for (std::size_t i = 0; i < need; ++i)
            sum += value(column, i);
        m_grid.SetTextMatrix(1, column, DeText(sum / static_cast<double>(need)));
    }
}

void Paint::RefreshAvianDisplay() {
    BuildEmptyCorrelationGrid();
    RefreshDisplay();
}

void Paint::IndicateCell(int16_t column) {
    if (column < 1 || column >= m_grid.Cols()) {
        throw Error("there is no phase column " + std::to_string(column) + " to mark");
    }
    for (int32_t c = 1; c < m_grid.Cols(); ++c)
        m_grid.SetCellBackColor(0, c, kGreenColor);
    m_grid.SetCellBackColor(0, column, kAverageColor);
    if (column == 6) {
        for (int32_t r = 1; r < m_grid.Rows(); ++r)
            m_grid.SetCellBackColor(r, 6, kFinalColor);
    }
}

// ---- compare and performance grids --------------------------------------------------------------

// Sample rows 1..n-2 banded like the tile rows (even green, odd yellow), row n-1 a spacer and the
// last row, n, the average row.
void Paint::BandCompareRows() {
    const int32_t rows = m_grid.Rows();
    const int32_t last = rows - 1;
    const int32_t cols = m_grid.Cols();
    // Served on demand: a grid of a million samples stores no band.
    if (last - 2 >= 1) {
        m_grid.SetRowSource(1, last - 2, [rows, cols](int32_t row, GridRowCells& cells) {
            for (int32_t c = 1; c < cols; ++c)
                cells.Backs[c] = CompareBand(row, rows);
        });
    }
    if (last >= 1) {
        for (int32_t c = 1; c < cols; ++c)
            m_grid.SetCellBackColor(last, c, kAverageColor);
    }
}

void Paint::BuildEmptyCompareGrid(int32_t n) {
    if (n < 0)
        throw Error("a grid cannot have a negative number of rows");
    LayOut(n + 1, 9, CompareFormatString(m_ws.ColorSpace), kCompareColumnPixels);
    BandCompareRows();
    m_grid.SetVisible(true);
}

void Paint::BuildEmptyPerformanceGrid(int32_t n) {
    if (n < 0)
        throw Error("a grid cannot have a negative number of rows");
    LayOut(n + 1, 5, PerformanceFormatString(m_ws.ColorSpace), kCompareColumnPixels);
    BandCompareRows();
    m_grid.SetVisible(true);
}

void Paint::ShowGridData(int firstColumn, char geometryLetter) {
    RequireSampleData(m_ws);
    const int32_t samples = m_ws.SampleCount;
    const int32_t averageRow = samples + 2;
    if (m_grid.Rows() <= averageRow || m_grid.Cols() < 9) {
        throw Error("the compare grid is not laid out for " + std::to_string(samples) + " samples");
    }
    const int32_t rows = m_grid.Rows();
    const int32_t cols = m_grid.Cols();
    // The sample rows are formatted when shown, from the workspace's arrays.
    m_grid.SetRowSource(
        1, std::max(samples, rows - 3),
        [&ws = m_ws, samples, rows, cols, firstColumn](int32_t row, GridRowCells& cells) {
            for (int32_t c = 1; c < cols; ++c)
                cells.Backs[c] = CompareBand(row, rows);
            if (!SampleRowOnShow(ws, samples, row))
                return;
            const auto s = static_cast<std::size_t>(row - 1);
            cells.Texts[0] = NameField75(ws.SampleNames[s]);
            for (int k = 0; k < kDeltasPerGeometry; ++k)
                cells.Texts[k + 1] = DeText(ws.SampleDeltas(s, firstColumn + k));
        });
    for (int32_t c = 0; c < m_grid.Cols(); ++c)
        m_grid.SetTextMatrix(samples + 1, c, "");
    m_grid.SetTextMatrix(averageRow, 0, "Average");
    for (int k = 0; k < kDeltasPerGeometry; ++k) {
        m_grid.SetTextMatrix(averageRow, k + 1,
                             DeText(m_ws.SampleDeltas(samples, firstColumn + k)));
    }
    const bool sci = geometryLetter == 'I';
    m_ws.GridShowsSCI = sci;
    ViewSwitchCaption = sci ? "Show SCE Data" : "Show SCI Data";
    WriteInstrumentPanels(geometryLetter);
}

void Paint::ShowSCIGridData() {
    ShowGridData(kSciUncorrected, 'I');
}

void Paint::ShowSCEGridData() {
    ShowGridData(kSceUncorrected, 'E');
}

}  // namespace tintara
