// The grid procedures: lay out and fill the correlation, compare and performance grids.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "report/ResultGridModel.h"
#include "workspace/GlobalVariables.h"
#include "workspace/Progress.h"

namespace tintara {

// Inner size of the main window and heights of its bars, twips, as the main window reports them
// before a layout. The grid is centred, 40 pixels below the upper bar, and kept clear of twice the
// status bar's height at the bottom.
struct GridArea {
    int32_t ScaleWidth = 0;
    int32_t ScaleHeight = 0;
    int32_t UpperBarHeight = 0;
    int32_t StatusBarHeight = 0;
};

// Pixel widths of the grid columns (multiplied by TwipsPerPixel when set).
inline constexpr int32_t kNameColumnPixels = 200;
inline constexpr int32_t kCorrelationColumnPixels = 80;
inline constexpr int32_t kCompareColumnPixels = 60;

// Columns of SampleDeltas where each group of DL, Da, Db, DE starts.
inline constexpr int kSciUncorrected = 0;
inline constexpr int kSciCorrected = 4;
inline constexpr int kSceUncorrected = 8;
inline constexpr int kSceCorrected = 12;

// Lays out and fills the main window's result grid from the workspace. Besides the grid it keeps,
// as plain data for the main window to show, the two instrument status-bar panels and the caption
// and highlight of the command that switches between the SCI and the SCE view. Layout procedures
// hide the grid while they work and let window events run through the progress sink.
//
// Every DE cell is Format(value, "##0.00"). Filling procedures never change Rows or Cols; they
// throw Error when the grid was laid out too small for the data or the workspace arrays are
// shorter than TileCount / SampleCount say.
class Paint {
  public:
    Paint(GlobalVariables& ws, ResultGridModel& grid, ProgressSink& progress = NullProgress());

    GridArea Window;                 // set by the main window; read by the layout procedures
    std::string InstrumentPanel1;    // "Master : <type>   /   <status>"
    std::string InstrumentPanel2;    // "Target : <type>   /   <status>"
    std::string ViewSwitchCaption;   // "Show SCE Data" / "Show SCI Data"
    bool ViewSwitchEnabled = false;  // set by the main window from its command state
    std::optional<GridColor> ViewSwitchBackColor;

    // ---- correlation grid: TileCount + 3 rows, 7 columns ----
    void BuildEmptyCorrelationGrid();
    void RefreshDisplay();
    void RefreshAvianDisplay();
    void IndicateCell(int16_t column);

    // ---- compare grid: n + 1 rows, 9 columns (SCI or SCE group of SampleDeltas) ----
    void BuildEmptyCompareGrid(int32_t n);
    void ShowSCIGridData();
    void ShowSCEGridData();

    // ---- performance grid: n + 1 rows, 5 columns (its filling is PerformanceView's) ----
    void BuildEmptyPerformanceGrid(int32_t n);

    // Both panels rewritten from the header fields; when `geometryLetter` is given, the third
    // character of MasterStatus and TargetStatus is replaced by it first (the change is kept).
    void WriteInstrumentPanels(std::optional<char> geometryLetter = std::nullopt);

    ResultGridModel& Grid() { return m_grid; }
    GlobalVariables& Workspace() { return m_ws; }
    ProgressSink& Progress() { return m_progress; }

  private:
    void LayOut(int32_t rows, int32_t cols, const std::string& format, int32_t dataPixels);
    void BandCompareRows();
    void ShowGridData(int firstColumn, char geometryLetter);

    GlobalVariables& m_ws;
    ResultGridModel& m_grid;
    ProgressSink& m_progress;
};

// Texts shared by the grid procedures and the reports.
std::string DeText(double value);                         // Format(value, "##0.00")
std::string CompareFormatString(int16_t colorSpace);      // compare grid captions
std::string PerformanceFormatString(int16_t colorSpace);  // performance grid captions

// The band colour of the data cells of `row` in a compare or performance grid of `rows` rows:
// sample rows 1..rows-3 green on even rows and yellow on odd ones; none on the spacer and average.
std::optional<GridColor> CompareBand(int32_t row, int32_t rows);

// Whether grid row `row` of a view of `samples` samples has its sample's name and differences in
// the workspace still: arrays emptied since the view was shown (a new tile set) leave the row
// blank until the next layout.
bool SampleRowOnShow(const GlobalVariables& ws, int32_t samples, int32_t row);

// Throws Error unless SampleDeltas holds SampleCount + 1 rows of all 16 columns and SampleNames
// one name per sample.
void RequireSampleData(const GlobalVariables& ws);

}  // namespace tintara
