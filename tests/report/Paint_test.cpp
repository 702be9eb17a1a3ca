// The result grids: layout, filling, averages, phase marker, compare and performance views.
#include "report/Paint.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "report/CompareReport.h"
#include "report/ReportFixtures.h"
#include "support/TestPaths.h"
#include "workspace/Error.h"
#include "workspace/NumberFormat.h"

namespace tintara {
namespace {

// Records whether the grid was hidden each time events were let run.
class RecordingSink : public ProgressSink {
  public:
    explicit RecordingSink(const ResultGridModel& grid) : m_grid(grid) {}
    void LetEventsRun() override { visibleAtEvents.push_back(m_grid.Visible()); }
    std::vector<bool> visibleAtEvents;

  private:
    const ResultGridModel& m_grid;
};

struct GridFixture : ::testing::Test {
    GlobalVariables ws;
    ResultGridModel grid;
    RecordingSink sink{grid};
    Paint paint{ws, grid, sink};

    void SetUp() override {
        ws.TwipsPerPixel = 15;
        paint.Window = GridArea{15000, 9000, 600, 300};
    }
};

TEST_F(GridFixture, CorrelationGridForThirtyTwoTilesHasHeaderAverageSpacerAndTileRows) {
    test::FillTiles(ws, 32);
    paint.BuildEmptyCorrelationGrid();

    EXPECT_EQ(grid.Rows(), 35);
    EXPECT_EQ(grid.Cols(), 7);
    const std::vector<std::string> captions = {"Tile Name", "Raw DE",   "Phase #1", "Phase #2",
                                               "Phase #3",  "Phase #4", "Final DE"};
    for (int c = 0; c < 7; ++c) {
        EXPECT_EQ(grid.TextMatrix(0, c), captions[c]);
        EXPECT_EQ(grid.ColAlignment(c), c == 0 ? CellAlignment::Default : CellAlignment::Right);
        EXPECT_EQ(grid.ColWidth(c), (c == 0 ? 200 : 80) * 15);
    }
    EXPECT_EQ(grid.TextMatrix(1, 0), "Average DE");

    // Bands: average row, then green on even rows and yellow on odd rows through row 34; the
    // name column keeps the fixed colour.
    for (int c = 1; c < 7; ++c)
        EXPECT_EQ(grid.CellBackColor(1, c), kAverageColor);
    for (int r = 2; r <= 34; ++r) {
        EXPECT_EQ(grid.CellBackColor(r, 3), r % 2 == 0 ? kGreenColor : kYellowColor) << r;
        EXPECT_FALSE(grid.CellBackColor(r, 0).has_value()) << r;
    }

    // Centred, 40 pixels below the upper bar, clear of twice the status bar.
    const int width = (200 + 6 * 80 + 3) * 15;
    EXPECT_EQ(grid.Width, width);
    EXPECT_EQ(grid.Left, (15000 - width) / 2);
    EXPECT_EQ(grid.Top, 600 + 40 * 15);
    EXPECT_EQ(grid.Height, 9000 - (600 + 600) - 2 * 300);
    EXPECT_TRUE(grid.Visible());
    EXPECT_EQ(sink.visibleAtEvents, (std::vector<bool>{false, false}));
}

TEST_F(GridFixture, RefreshDisplayPutsTileIInRowIPlusThreeWithColumnsInPhaseOrder) {
    test::FillTiles(ws, 32);
    paint.BuildEmptyCorrelationGrid();
    paint.RefreshDisplay();

    EXPECT_EQ(grid.TextMatrix(3, 0), "Tile 1");
    EXPECT_EQ(grid.TextMatrix(34, 0), "Tile 32");
    for (int c = 0; c < 7; ++c)
        EXPECT_EQ(grid.TextMatrix(2, c), "") << c;
    for (int i : {0, 7, 31}) {
        const int row = i + 3;
        EXPECT_EQ(grid.TextMatrix(row, 1), Format(ws.RawDE(i, 3), "##0.00"));
        EXPECT_EQ(grid.TextMatrix(row, 2), Format(ws.OffsetDE[i], "##0.00"));
        EXPECT_EQ(grid.TextMatrix(row, 3), Format(ws.GainDE[i], "##0.00"));
        EXPECT_EQ(grid.TextMatrix(row, 4), Format(ws.LinearityDE[i], "##0.00"));
        EXPECT_EQ(grid.TextMatrix(row, 5), Format(ws.WavelengthDE[i], "##0.00"));
        EXPECT_EQ(grid.TextMatrix(row, 6), Format(ws.FinalDE(i, 3), "##0.00"));
    }
    EXPECT_EQ(paint.InstrumentPanel1, "Master : Datacolor SF600 Plus-CT   /   LAIIUX");
    EXPECT_EQ(paint.InstrumentPanel2, "Target : Color-Eye 7000A   /   LAIIUX");
}

TEST_F(GridFixture, AveragesTakeTileCountPlusOneEntries) {
    test::FillTiles(ws, 32);
    paint.BuildEmptyCorrelationGrid();
    paint.RefreshDisplay();

    // Entry 32 (no row of its own) holds 50 raw and 20 final: it must be in the average.
    double raw = 0.0, offset = 0.0, final = 0.0;
    for (int i = 0; i <= 32; ++i) {
        raw += ws.RawDE(i, 3);
        offset += ws.OffsetDE[i];
        final += ws.FinalDE(i, 3);
    }
    EXPECT_EQ(grid.TextMatrix(1, 1), Format(raw / 33, "##0.00"));
    EXPECT_EQ(grid.TextMatrix(1, 2), Format(offset / 33, "##0.00"));
    EXPECT_EQ(grid.TextMatrix(1, 6), Format(final / 33, "##0.00"));
    EXPECT_NE(grid.TextMatrix(1, 1), Format((raw - 50.0) / 32, "##0.00"));
}

TEST_F(GridFixture, DeCellsUseTwoDecimalsAndAtLeastOneIntegerDigit) {
    test::FillTiles(ws, 4);
    ws.RawDE(0, 3) = 0.004;
    ws.RawDE(1, 3) = 123.4;
    ws.RawDE(2, 3) = 7;
    ws.RawDE(3, 3) = -0.5;
    paint.RefreshAvianDisplay();
    EXPECT_EQ(grid.TextMatrix(3, 1), "0.00");
    EXPECT_EQ(grid.TextMatrix(4, 1), "123.40");
    EXPECT_EQ(grid.TextMatrix(5, 1), "7.00");
    EXPECT_EQ(grid.TextMatrix(6, 1), "-0.50");
}

TEST_F(GridFixture, RefreshAvianDisplayLaysOutAfreshOverACompareGrid) {
    test::FillTiles(ws, 16);
    paint.BuildEmptyCompareGrid(ws.TileCount + 2);
    ASSERT_EQ(grid.Cols(), 9);
    grid.SetTextMatrix(5, 8, "stale");
    paint.RefreshAvianDisplay();
    EXPECT_EQ(grid.Rows(), 19);
    EXPECT_EQ(grid.Cols(), 7);
    EXPECT_EQ(grid.TextMatrix(0, 6), "Final DE");
    EXPECT_EQ(grid.TextMatrix(18, 0), "Tile 16");
    EXPECT_EQ(grid.TextMatrix(1, 0), "Average DE");
}

TEST_F(GridFixture, IndicateCellMarksTheActivePhaseAndFinallyTheWholeFinalColumn) {
    test::FillTiles(ws, 32);
    paint.RefreshAvianDisplay();
    paint.IndicateCell(3);
    for (int c = 1; c < 7; ++c) {
        EXPECT_EQ(grid.CellBackColor(0, c), c == 3 ? kAverageColor : kGreenColor) << c;
    }
    EXPECT_EQ(grid.CellBackColor(5, 6), kYellowColor);

    paint.IndicateCell(6);
    EXPECT_EQ(grid.CellBackColor(0, 3), kGreenColor);
    EXPECT_EQ(grid.CellBackColor(0, 6), kAverageColor);
    for (int r = 1; r <= 34; ++r)
        EXPECT_EQ(grid.CellBackColor(r, 6), kFinalColor) << r;
    EXPECT_EQ(grid.CellBackColor(4, 5), kGreenColor);  // other columns keep their bands

    EXPECT_THROW(paint.IndicateCell(7), Error);
    EXPECT_THROW(paint.IndicateCell(0), Error);
}

TEST_F(GridFixture, RefreshDisplayRefusesTablesShorterThanTheTileCount) {
    test::FillTiles(ws, 16);
    paint.BuildEmptyCorrelationGrid();
    ws.OffsetDE.resize(10);
    EXPECT_THROW(paint.RefreshDisplay(), Error);
    ws.TileCount = 32;  // grid laid out for 16 tiles
    EXPECT_THROW(paint.RefreshDisplay(), Error);
}

TEST_F(GridFixture, CompareGridCaptionsFollowTheColourSpace) {
    test::FillSamples(ws, 3, [](int s) { return 0.5 * s; });
    ws.ColorSpace = 0;
    paint.BuildEmptyCompareGrid(5);
    EXPECT_EQ(grid.Rows(), 6);
    EXPECT_EQ(grid.Cols(), 9);
    EXPECT_EQ(grid.FormatString(), "<Sample Name|> DL*|> Da*|> Db*|> DE|> DL*|> Da*|>  Db*|>DE");
    EXPECT_EQ(grid.TextMatrix(0, 7), "  Db*");
    EXPECT_EQ(grid.TextMatrix(0, 8), "DE");
    EXPECT_EQ(grid.ColAlignment(0), CellAlignment::Left);
    EXPECT_EQ(grid.ColWidth(0), 200 * 15);
    EXPECT_EQ(grid.ColWidth(8), 60 * 15);
    EXPECT_EQ(grid.Width, (200 + 8 * 60 + 3) * 15);

    ws.ColorSpace = 2;
    paint.BuildEmptyCompareGrid(5);
    for (int c = 0; c < 9; ++c)
        EXPECT_EQ(grid.TextMatrix(0, c).find('*'), std::string::npos);
    EXPECT_EQ(grid.TextMatrix(0, 1), " DL ");
    paint.BuildEmptyPerformanceGrid(5);
    EXPECT_EQ(grid.Cols(), 5);
    EXPECT_EQ(grid.FormatString(), "<Sample Name|> DL |> Da |> Db |> DE");
    ws.ColorSpace = 0;
    paint.BuildEmptyPerformanceGrid(5);
    EXPECT_EQ(grid.FormatString(), "<Sample Name|> DL*|> Da*|> Db*|> DE");
}

TEST_F(GridFixture, CompareGridShowsTheChosenGeometryAndRewritesTheStatusLetter) {
    test::FillSamples(ws, 4, [](int s) { return 0.4 + 0.3 * s; });
    ws.MasterStatus = "LABIUX";
    ws.TargetStatus = "LABIUX";
    paint.BuildEmptyCompareGrid(ws.SampleCount + 2);

    paint.ShowSCIGridData();
    EXPECT_EQ(grid.TextMatrix(1, 0), "Sample 1" + std::string(67, ' '));
    EXPECT_EQ(grid.TextMatrix(1, 0).size(), 75u);
    for (int k = 0; k < 8; ++k) {
        EXPECT_EQ(grid.TextMatrix(3, k + 1), Format(ws.SampleDeltas(2, k), "##0.00")) << k;
        EXPECT_EQ(grid.TextMatrix(6, k + 1), Format(ws.SampleDeltas(4, k), "##0.00")) << k;
    }
    EXPECT_EQ(grid.TextMatrix(6, 0), "Average");
    for (int c = 0; c < 9; ++c)
        EXPECT_EQ(grid.TextMatrix(5, c), "");
    EXPECT_EQ(paint.ViewSwitchCaption, "Show SCE Data");
    EXPECT_EQ(ws.MasterStatus, "LAIIUX");
    EXPECT_EQ(paint.InstrumentPanel2, "Target : Color-Eye 7000A   /   LAIIUX");
    EXPECT_TRUE(ws.GridShowsSCI);

    paint.ShowSCEGridData();
    for (int k = 0; k < 8; ++k) {
        EXPECT_EQ(grid.TextMatrix(2, k + 1), Format(ws.SampleDeltas(1, 8 + k), "##0.00")) << k;
    }
    EXPECT_EQ(paint.ViewSwitchCaption, "Show SCI Data");
    EXPECT_EQ(ws.TargetStatus, "LAEIUX");
    EXPECT_EQ(paint.InstrumentPanel1, "Master : Datacolor SF600 Plus-CT   /   LAEIUX");
    EXPECT_FALSE(ws.GridShowsSCI);
}

TEST_F(GridFixture, CompareGridRefusesToFillAGridTooSmallOrDataTooShort) {
    test::FillSamples(ws, 4, [](int) { return 1.0; });
    paint.BuildEmptyCompareGrid(ws.SampleCount + 1);  // no room for the average row
    EXPECT_THROW(paint.ShowSCIGridData(), Error);
    paint.BuildEmptyCompareGrid(ws.SampleCount + 2);
    ws.SampleDeltas.Resize(4, kSampleDeltaColumns);  // no average entry
    EXPECT_THROW(paint.ShowSCIGridData(), Error);
}

// ---- performance view ---------------------------------------------------------------------------

struct PerformanceFixture : GridFixture {
    PerformanceView view{paint};
    std::filesystem::path dir;
    void SetUp() override {
        GridFixture::SetUp();
        dir = test::ScratchDir(::testing::UnitTest::GetInstance()->current_test_info()->name());
        view.CompareReportFile = dir / kCompareReportName;
        ws.SingleSampleTolerance = 1.0;
        ws.AverageTolerance = 0.8;
    }
};

TEST_F(PerformanceFixture, TenSamplesPutTheAverageInRowTwelveAndFailAtTheLimit) {
    // Corrected SCI DE: 0.2, 0.4, ... sample 4 is exactly at the 1.0 limit.
    test::FillSamples(ws, 10, [](int s) { return 0.2 * (s + 1); });
    paint.BuildEmptyPerformanceGrid(ws.SampleCount + 2);
    ASSERT_EQ(grid.Rows(), 13);
    view.ShowSCIPerformanceData();

    for (int s = 0; s < 10; ++s) {
        const int row = s + 1;
        EXPECT_EQ(grid.TextMatrix(row, 0), "Sample " + std::to_string(s + 1));
        EXPECT_EQ(grid.TextMatrix(row, 4), Format(0.2 * (s + 1), "##0.00"));
        EXPECT_EQ(grid.TextMatrix(row, 1), Format(ws.SampleDeltas(s, kSciCorrected), "##0.00"));
        const bool fails = s >= 4;  // 1.0 (equal) and above
        for (int c = 1; c <= 4; ++c) {
            EXPECT_EQ(grid.CellBackColor(row, c) == kFailColor, fails) << s << " " << c;
        }
    }
    for (int c = 0; c < 5; ++c)
        EXPECT_EQ(grid.TextMatrix(11, c), "");
    EXPECT_EQ(grid.TextMatrix(12, 0), "Average");
    for (int c = 1; c <= 3; ++c)
        EXPECT_EQ(grid.TextMatrix(12, c), "");
    EXPECT_EQ(grid.TextMatrix(12, 4), Format(ws.SampleDeltas(10, kSciCorrected + 3), "##0.00"));
    EXPECT_EQ(grid.CellBackColor(12, 4), kFailColor);  // average 1.1 >= 0.8
    EXPECT_TRUE(grid.Visible());
    EXPECT_TRUE(ws.PerformanceShowsSCI);
    EXPECT_EQ(paint.ViewSwitchCaption, "Show SCE Data");
    EXPECT_EQ(sink.visibleAtEvents.size(), 2u + 6u * 4u);  // layout twice, then per coloured cell
    EXPECT_TRUE(std::filesystem::exists(dir / kCompareReportName));
}

TEST_F(PerformanceFixture, TheShownAverageIsTheStoredOneAndAtTheLimitFails) {
    test::FillSamples(ws, 3, [](int) { return 0.1; });
    ws.SampleDeltas(3, kSceCorrected + 3) = 0.8;  // the engine's average, not recomputed here
    paint.BuildEmptyPerformanceGrid(ws.SampleCount + 2);
    view.ShowSCEPerformanceData();
    EXPECT_EQ(grid.TextMatrix(5, 4), "0.80");
    EXPECT_EQ(grid.CellBackColor(5, 1), kFailColor);
    EXPECT_NE(grid.CellBackColor(1, 1), kFailColor);
}

TEST_F(PerformanceFixture, SceViewUsesSceDataAndLeavesTheReportAlone) {
    test::FillSamples(ws, 4, [](int s) { return 0.3 * s; });
    ws.MasterStatus = "LABIUX";
    const auto report = dir / kCompareReportName;
    {
        std::ofstream earlier(report, std::ios::binary);
        earlier << "earlier report";
    }
    paint.BuildEmptyPerformanceGrid(ws.SampleCount + 2);
    paint.ViewSwitchEnabled = false;
    view.ShowSCEPerformanceData();
    for (int s = 0; s < 4; ++s) {
        EXPECT_EQ(grid.TextMatrix(s + 1, 4),
                  Format(ws.SampleDeltas(s, kSceCorrected + 3), "##0.00"));
    }
    EXPECT_EQ(test::ReadFile(report), "earlier report");
    EXPECT_EQ(paint.ViewSwitchCaption, "Show SCI Data");
    EXPECT_FALSE(paint.ViewSwitchBackColor.has_value());  // the command was not enabled
    EXPECT_EQ(ws.MasterStatus, "LAEIUX");
    EXPECT_FALSE(ws.PerformanceShowsSCI);

    paint.ViewSwitchEnabled = true;
    view.ShowSCIPerformanceData();
    EXPECT_EQ(paint.ViewSwitchBackColor, kHighlightColor);
    EXPECT_NE(test::ReadFile(report), "earlier report");
}

// ---- the model itself ---------------------------------------------------------------------------

TEST(ResultGridModel, ReshapingKeepsSurvivingCellsAndRangeIsChecked) {
    ResultGridModel grid;
    grid.SetRows(3);
    grid.SetCols(3);
    grid.SetTextMatrix(1, 1, "kept");
    grid.SetCellBackColor(1, 1, 0x12345678);  // only 24 bits are a colour
    grid.SetTextMatrix(2, 2, "dropped");
    grid.SetCols(2);
    grid.SetCols(4);
    EXPECT_EQ(grid.TextMatrix(1, 1), "kept");
    EXPECT_EQ(grid.CellBackColor(1, 1), 0x345678u);
    EXPECT_EQ(grid.TextMatrix(2, 2), "");
    EXPECT_THROW(grid.TextMatrix(3, 0), std::out_of_range);
    EXPECT_THROW(grid.SetCellBackColor(0, 4, 0), std::out_of_range);
    EXPECT_THROW(grid.SetRows(-1), std::out_of_range);

    int changes = 0;
    grid.Changed = [&] { ++changes; };
    grid.SetFormatString("<A|>B|C");
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(grid.TextMatrix(0, 0), "A");
    EXPECT_EQ(grid.ColAlignment(0), CellAlignment::Left);
    EXPECT_EQ(grid.ColAlignment(1), CellAlignment::Right);
    EXPECT_EQ(grid.ColAlignment(2), CellAlignment::Default);
    EXPECT_EQ(grid.TextMatrix(0, 3), "");  // beyond the captions

    grid.SetFormatString("a|b|c|d|e");  // more captions than columns add columns
    EXPECT_EQ(grid.Cols(), 5);
    EXPECT_EQ(grid.TextMatrix(0, 4), "e");
}

}  // namespace
}  // namespace tintara
